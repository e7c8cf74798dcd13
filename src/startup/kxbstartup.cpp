// Start-up's queueing functions.
#include <cstring>

#include "kxbstartup.h"
#include "startup/kxbglobals.h"

namespace {
char g_userPath[260];
}  // namespace

extern "C" void kxbStartupSetUserPath(const char* path) {
  kxLock lock = kxbGlobals().globalMutex;
  if (lock != nullptr) kxLockGet(lock, 1, 1);
  size_t n = path == nullptr ? 0 : strnlen(path, sizeof g_userPath - 1);
  if (n > 0) std::memcpy(g_userPath, path, n);
  g_userPath[n] = '\0';
  if (lock != nullptr) kxLockRelease(lock);
}

extern "C" const char* kxbStartupGetUserPath(void) { return g_userPath; }
