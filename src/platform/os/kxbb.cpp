#include "kxbb.h"

#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <mutex>
#include <string>

#include "np_env.h"

namespace {

std::mutex g_mutex;
int g_count = 0;
std::string g_executable;
std::string g_tempPath;

}  // namespace

extern "C" int kxbbInitialize(const char* executablePath, char* errorBuffer,
                              size_t size) {
  std::lock_guard<std::mutex> hold(g_mutex);
  const char* reason = nullptr;
  if (executablePath == nullptr || *executablePath == '\0') {
    reason = "No executable path given.";
  } else if (std::strlen(executablePath) >= PATH_MAX) {
    reason = "Executable path exceeds the system's path limit.";
  }
  if (reason != nullptr) {
    if (errorBuffer != nullptr && size > 0) {
      std::snprintf(errorBuffer, size, "%s", reason);
    }
    return 1;
  }
  if (g_count++ == 0) g_executable = executablePath;
  return 0;
}

extern "C" int kxbbInitializeWithZK(void* zkContext) {
  if (zkContext == nullptr) return 1;
  std::lock_guard<std::mutex> hold(g_mutex);
  if (g_count++ == 0) g_executable.clear();
  return 0;
}

extern "C" void kxbbTerminate(void) {
  std::lock_guard<std::mutex> hold(g_mutex);
  if (g_count == 0) return;
  if (--g_count == 0) {
    g_executable.clear();
    g_tempPath.clear();
  }
}

extern "C" const char* kxbbGetExecutablePath(void) {
  std::lock_guard<std::mutex> hold(g_mutex);
  return g_executable.c_str();
}

extern "C" int kxbbSetTempPath(const char* path, char* buffer, size_t size) {
  std::lock_guard<std::mutex> hold(g_mutex);
  if (!g_tempPath.empty()) {
    if (buffer != nullptr && size > 0) {
      std::snprintf(buffer, size, "%s", g_tempPath.c_str());
    }
    return -1;
  }
  struct stat info;
  if (path == nullptr || *path == '\0' || std::strlen(path) >= PATH_MAX ||
      stat(path, &info) != 0 || !S_ISDIR(info.st_mode)) {
    return 1;
  }
  g_tempPath = path;
  return 0;
}

extern "C" const char* kxbbGetTempPath(void) {
  std::lock_guard<std::mutex> hold(g_mutex);
  if (!g_tempPath.empty()) return g_tempPath.c_str();
  thread_local char tmpdir[PATH_MAX];
  if (np_env_get("TMPDIR", tmpdir, sizeof tmpdir) == NP_ENV_FOUND &&
      tmpdir[0] != '\0') {
    return tmpdir;
  }
  return "/tmp";
}

extern "C" int kxbbSelfPath(char* buffer, size_t size) {
  if (buffer == nullptr || size == 0) return 1;
  buffer[0] = '\0';
  ssize_t n = readlink("/proc/self/exe", buffer, size);
  if (n <= 0 || static_cast<size_t>(n) >= size) {
    buffer[0] = '\0';
    return 1;
  }
  buffer[n] = '\0';
  return 0;
}
