// Environment variables, serialised on one mutex.
#include "np_env.h"

#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <mutex>

#include "np_mem.h"

namespace {

std::mutex& environmentMutex() {
  static std::mutex mutex;
  return mutex;
}

void clearBuffer(char* buffer, size_t size) {
  if (buffer != nullptr && size >= 1) buffer[0] = '\0';
}

}  // namespace

extern "C" int np_env_get(const char* name, char* buffer, size_t size) {
  if (name == nullptr || (buffer == nullptr && size > 0)) {
    return NP_ENV_BAD_ARGUMENT;
  }
  std::lock_guard<std::mutex> lock(environmentMutex());
  const char* value = getenv(name);
  if (value == nullptr) {
    clearBuffer(buffer, size);
    return NP_ENV_ABSENT;
  }
  size_t bytes = strlen(value) + 1;
  if (bytes > size) {
    clearBuffer(buffer, size);
    return NP_ENV_TOO_SMALL;
  }
  memcpy(buffer, value, bytes);
  return NP_ENV_FOUND;
}

extern "C" int np_env_set(const char* name, const char* value) {
  if (name == nullptr || name[0] == '\0' || strchr(name, '=') != nullptr) {
    return EINVAL;
  }
  std::lock_guard<std::mutex> lock(environmentMutex());
  int result = value == nullptr ? unsetenv(name) : setenv(name, value, 1);
  return result == 0 ? 0 : errno;
}

extern "C" char* np_env_block(void) {
  std::lock_guard<std::mutex> lock(environmentMutex());
  size_t total = 1;
  for (char** entry = environ; entry != nullptr && *entry != nullptr;
       ++entry) {
    if (**entry == '\0') continue;  // would end the block early
    total += strlen(*entry) + 1;
  }
  char* block = static_cast<char*>(np_mem_alloc(total));
  if (block == nullptr) return nullptr;
  char* at = block;
  for (char** entry = environ; entry != nullptr && *entry != nullptr;
       ++entry) {
    if (**entry == '\0') continue;
    size_t bytes = strlen(*entry) + 1;
    memcpy(at, *entry, bytes);
    at += bytes;
  }
  *at = '\0';
  return block;
}

extern "C" void np_env_block_free(char* block) { np_mem_free(block); }
