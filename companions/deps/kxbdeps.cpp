// libkxbdeps311.so. See src/startup/kxbdeps.h.
#include "startup/kxbdeps.h"

#include <atomic>
#include <cstdio>
#include <filesystem>
#include <string>
#include <system_error>

namespace {

std::atomic<bool> g_started{false};
std::string g_executablePath;
std::string g_lastError;

const char* libraryVersion() { return KXB_DEPS_VERSION; }
const char* build() { return KXB_DEPS_COMPILER ", " __DATE__ " " __TIME__; }
int isStarted() { return g_started.load() ? 1 : 0; }
const char* executablePath() { return g_executablePath.c_str(); }
const char* lastError() { return g_lastError.c_str(); }

const KxbDepsInterface kInterface = {
    KXB_DEPS_INTERFACE_VERSION, libraryVersion, build, isStarted,
    executablePath, lastError,
};

}  // namespace

extern "C" __attribute__((visibility("default"))) int KxbDepsStartup(
    const char* path) {
  try {
    if (path == nullptr || *path == '\0') {
      g_lastError = "No executable path given to the dependency library";
      return 1;
    }
    std::error_code error;
    if (!std::filesystem::exists(path, error)) {
      g_lastError = std::string("Executable path ") + path + " does not exist";
      if (error) g_lastError += ": " + error.message();
      return 1;
    }
    g_executablePath = path;
    g_lastError.clear();
    g_started = true;
    return 0;
  } catch (...) {
    return 1;
  }
}

extern "C" __attribute__((visibility("default"))) void KxbDepsShutdown(void) {
  g_started = false;
  g_executablePath.clear();
}

extern "C" __attribute__((visibility("default"))) const KxbDepsInterface*
KxbDepsGetInterface(int version) {
  return version == KXB_DEPS_INTERFACE_VERSION ? &kInterface : nullptr;
}
