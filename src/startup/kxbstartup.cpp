// Start-up's queueing functions and the user path.
#include <cstdio>
#include <cstring>

#include "kxbconfigoptions.h"
#include "kxbparse.h"
#include "kxbstartup.h"
#include "startup/kxbglobals.h"
#include "startup/kxbstartup_internal.h"

namespace {

char g_userPath[260];

constexpr char kNotInitialised[] =
    "The library is not initialised: nothing can be queued for start-up.";
constexpr char kOutOfMemory[] = "Out of memory while queueing for start-up.";

// The queue `name`, or null when the library is not initialised or memory
// ran out (then *reason says which).
KxbConfigOptions* queue(const char* name, const char** reason) {
  if (kxbGlobals().globalMutex == nullptr) {
    *reason = kNotInitialised;
    return nullptr;
  }
  KxbConfigOptions* set = kxbGetConfigOptions(KxbString(name, true));
  if (set == nullptr) *reason = kOutOfMemory;
  return set;
}

}  // namespace

int kxbStartupFail(const char** errorMessage, int result, const char* text) {
  std::snprintf(kxbStartupErrorBuffer(), 2048, "%s", text);
  if (errorMessage != nullptr) *errorMessage = kxbStartupErrorBuffer();
  return result;
}

int kxbQueuedFileCount(KxbConfigOptions* files) {
  KxbString countText;
  if (!files->getOption(KxbString(kFileCountKey, true), &countText, false) ||
      countText.isNull()) {
    return 0;
  }
  bool bad = false;
  const int count = countText.asInt(&bad);
  return bad ? 0 : count;
}

KxbString kxbQueuedFileKey(int number) {
  char key[32];
  std::snprintf(key, sizeof key, "FilePrefix_%4.4d", number);
  return KxbString(key);
}

extern "C" int kxbStartupAddConfigFile(const char* fileName,
                                       const char** errorMessage) {
  if (errorMessage != nullptr) *errorMessage = nullptr;
  KxbGlobalMutexHold hold;
  const char* reason = nullptr;
  KxbConfigOptions* files = queue(kQueuedFilesSet, &reason);
  if (files == nullptr) return kxbStartupFail(errorMessage, 1, reason);
  const int count = kxbQueuedFileCount(files) + 1;
  KxbString newCount;
  newCount.assign(count);
  if (newCount.isNull() ||
      !files->setOption(KxbString(kFileCountKey, true), newCount) ||
      !files->setOption(kxbQueuedFileKey(count), KxbString(fileName))) {
    return kxbStartupFail(errorMessage, 1, kOutOfMemory);
  }
  return 0;
}

extern "C" int kxbStartupAddOption(const char* key, const char* value,
                                   const char** errorMessage) {
  if (errorMessage != nullptr) *errorMessage = nullptr;
  KxbGlobalMutexHold hold;
  const char* reason = nullptr;
  KxbConfigOptions* options = queue(kQueuedOptionsSet, &reason);
  if (options == nullptr) return kxbStartupFail(errorMessage, 1, reason);
  if (!options->setOption(KxbString(key), KxbString(value))) {
    return kxbStartupFail(errorMessage, 1, kOutOfMemory);
  }
  return 0;
}

extern "C" int kxbStartupAddParsedOptions(const char* text,
                                          const char** errorMessage) {
  if (errorMessage != nullptr) *errorMessage = nullptr;
  KxbGlobalMutexHold hold;
  KxbParse attributes;
  if (!attributes.parse(KxbString(text))) {
    return kxbStartupFail(errorMessage, 1, "Failed to parse options string.");
  }
  const char* reason = nullptr;
  KxbConfigOptions* options = nullptr;
  for (int i = 0; i < attributes.getAttributeCount(); ++i) {
    if (options == nullptr) {
      options = queue(kQueuedOptionsSet, &reason);
      if (options == nullptr) return kxbStartupFail(errorMessage, 1, reason);
    }
    KxbString name;
    KxbString value;
    if (!attributes.getAttribute(i, &name, &value)) {
      return kxbStartupFail(errorMessage, 2, "Failed to retrieve parsed option.");
    }
    bool stored;
    if (!name.isNull() && name.length() > 0) {
      stored = options->setOption(name, value);
    } else if (!value.isNull()) {
      // A bare word is a key without a value.
      stored = options->setOption(value, KxbString());
    } else {
      continue;  // an attribute left empty by trimming
    }
    if (!stored) return kxbStartupFail(errorMessage, 2, "Failed to retrieve parsed option.");
  }
  return 0;
}

extern "C" void kxbStartupSetUserPath(const char* path) {
  KxbGlobalMutexHold hold;
  size_t n = path == nullptr ? 0 : strnlen(path, sizeof g_userPath - 1);
  if (n > 0) std::memcpy(g_userPath, path, n);
  g_userPath[n] = '\0';
}

extern "C" const char* kxbStartupGetUserPath(void) { return g_userPath; }
