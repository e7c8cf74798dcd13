// Library initialisation and shutdown. See kxbstartup.h.
#include <cstdio>
#include <cstring>

#include "kx_atomic.h"
#include "kxbb.h"
#include "startup/kxbdeps.h"
#include "kxbmempool.h"
#include "kxbpath.h"
#include "kxbstartup.h"
#include "kxlog.h"
#include "kxmsg.h"
#include "np_dso.h"
#include "np_env.h"
#include "np_fio.h"
#include "services/kxbtextio_loader.h"
#include "startup/kxbconfigstore.h"
#include "startup/kxbglobals.h"
#include "startup/kxbstartup_internal.h"
#include "startup/kxbstartup_origin.h"

namespace {

constexpr size_t kMaxPath = 260;
constexpr char kUnit[] = "kxbupdown";

// Only initialisation and shutdown change these, from one thread.
int g_initCount = 0;
unsigned g_bootLevel = 0;
char g_executableDirectory[kMaxPath + 1];
char g_errorBuffer[256];

struct DependencyLibrary {
  np_dso_handle handle = nullptr;
  bool loaded = false;
  KxbDepsStartupFn startup = nullptr;
  KxbDepsShutdownFn shutdown = nullptr;
  KxbDepsGetInterfaceFn getInterface = nullptr;
  char error[2048] = "";
} g_deps;

bool g_errorLocationSet = false;
// Start-up opened the message catalogue; shutdown closes it.
bool g_startupHoldsCatalogue = false;

kxLogger* baseLogger() { return kxlogGetLogger("KX.Base"); }

void setError(const char* text) {
  std::snprintf(g_errorBuffer, sizeof g_errorBuffer, "%s", text);
}

// Undoes a failed initialisation: every failure after the first check ends
// here, also when the base layer never came up.
int failInitialisation(const char** errorMessage) {
  g_initCount = 0;
  KxbGlobals& globals = kxbGlobals();
  kxLockDestroy(globals.globalMutex);
  globals.globalMutex = nullptr;
  kxLockDestroy(globals.singletonMutex);
  globals.singletonMutex = nullptr;
  kxbbTerminate();
  if (errorMessage != nullptr) *errorMessage = g_errorBuffer;
  return 1;
}

// KAXEL_ERROR_LOCATION, when empty, becomes KXEXEC_HOME's "share/msg" (or
// the home itself when it has no "share").
void setMessageLocation() {
  char location[kMaxPath];
  np_env_get("KAXEL_ERROR_LOCATION", location, sizeof location);
  if (location[0] != '\0') return;
  char home[kMaxPath];
  np_env_get("KXEXEC_HOME", home, sizeof home);
  if (home[0] == '\0') return;
  KxbString homePath(home, true);
  KxbString share = kxbConcatPath(homePath, KxbString("share", true));
  KxbString chosen = homePath;
  if (!share.isNull() && np_fio_stat(share.asCstr()) == 0) {
    chosen = kxbConcatPath(share, KxbString("msg", true));
  }
  if (chosen.isNull()) return;
  np_env_set("KAXEL_ERROR_LOCATION", chosen.asCstr());
  g_errorLocationSet = true;
}

}  // namespace

bool kxbLoadDependencyLibrary(const char* directory) {
  if (g_deps.loaded) return true;
  char fileName[256];
  KxbString path;
  if (np_dso_mkfname("kxbdeps311", fileName, 255) == 0) {
    path = kxbConcatPath(KxbString(directory, true), KxbString(fileName, true));
  }
  kxlogWrite(baseLogger(), KXLOG_PROGRESS, "kxbstartup", __LINE__, "Load %s",
             path.asCstr());
  np_dso_handle handle = nullptr;
  int result = path.isNull() ? NP_DSO_BAD_ARGUMENT
                             : np_dso_load(path.asCstr(), 0, &handle);
  if (result == NP_DSO_OK) {
    g_deps.startup = reinterpret_cast<KxbDepsStartupFn>(
        np_dso_getsym(handle, "KxbDepsStartup"));
    g_deps.shutdown = reinterpret_cast<KxbDepsShutdownFn>(
        np_dso_getsym(handle, "KxbDepsShutdown"));
    g_deps.getInterface = reinterpret_cast<KxbDepsGetInterfaceFn>(
        np_dso_getsym(handle, "KxbDepsGetInterface"));
    if (g_deps.startup != nullptr && g_deps.shutdown != nullptr &&
        g_deps.getInterface != nullptr) {
      g_deps.handle = handle;
      g_deps.loaded = true;
      return true;
    }
    std::snprintf(g_deps.error, sizeof g_deps.error, "%s",
                  "Failed to find dependency startup/shutdown/interface "
                  "functions");
  } else if (result == NP_DSO_LOADER_ERROR) {
    std::snprintf(g_deps.error, sizeof g_deps.error, "%s",
                  np_dso_loaderr(handle));
  } else {
    std::snprintf(g_deps.error, sizeof g_deps.error, "%s",
                  "Error loading dependency library");
  }
  np_dso_unload(handle);
  g_deps.handle = nullptr;
  g_deps.startup = nullptr;
  g_deps.shutdown = nullptr;
  g_deps.getInterface = nullptr;
  return false;
}

const char* kxbDependencyError() { return g_deps.error; }

char* kxbStartupErrorBuffer() { return g_deps.error; }

bool kxbStartupHoldsCatalogue() { return g_startupHoldsCatalogue; }

void kxbStartupSetHoldsCatalogue(bool holds) { g_startupHoldsCatalogue = holds; }

KxbDepsStartupFn kxbDependencyStartup() {
  return g_deps.handle != nullptr ? g_deps.startup : nullptr;
}

const KxbDepsInterface* kxbDependencyInterface(int version) {
  return g_deps.handle != nullptr && g_deps.getInterface != nullptr
             ? g_deps.getInterface(version)
             : nullptr;
}

const char* kxbExecutableDirectory() { return g_executableDirectory; }

bool kxbErrorLocationWasSet() { return g_errorLocationSet; }

void kxbSetBootLevel(unsigned level) { g_bootLevel = level; }

extern "C" int kxbInitialize(const char* executablePath,
                             const char** errorMessage) {
  return kxbInitializeWithZK(executablePath, nullptr, errorMessage);
}

extern "C" int kxbInitializeWithZK(const char* executablePath,
                                   void* zkContext,
                                   const char** errorMessage) {
  if (g_initCount >= 1) {
    ++g_initCount;
    return 0;
  }
  const char* exe = executablePath != nullptr ? executablePath : "";
  if (std::strlen(exe) > kMaxPath) {
    setError("Executable path exceeds maximum path length.");
    return failInitialisation(errorMessage);
  }
  g_initCount = 1;
  char fileName[kMaxPath];
  if (np_fio_pparse(exe, g_executableDirectory, kMaxPath + 1, fileName,
                    kMaxPath) != 0 ||
      g_executableDirectory[0] == '\0') {
    g_executableDirectory[0] = '\0';
    setError("Path to executable could not be determined.");
    return failInitialisation(errorMessage);
  }
  g_errorBuffer[0] = '\0';
  int base = zkContext == nullptr
                 ? kxbbInitialize(exe, g_errorBuffer, sizeof g_errorBuffer)
                 : kxbbInitializeWithZK(zkContext);
  if (base != 0) return failInitialisation(errorMessage);
  if (kxlogInitialize() != 0) {
    setError("Failed to initialize logging.");
    return failInitialisation(errorMessage);
  }
  KxbGlobals& globals = kxbGlobals();
  globals.globalMutex = kxLockCreate(0, 0);
  if (globals.globalMutex == nullptr) {
    setError("Failed to create global mutex");
    kxlogTerminate();
    return failInitialisation(errorMessage);
  }
  globals.singletonMutex = kxLockCreate(0, 0);
  if (globals.singletonMutex == nullptr) {
    setError("Failed to create singleton mutex");
    kxlogTerminate();
    return failInitialisation(errorMessage);
  }
  kxbRegisterDefaultAssertionHandler();
  if (!KxbMemPool::initialize()) {
    setError("Failed to initialize KX mem pool");
    kxlogTerminate();
    return failInitialisation(errorMessage);
  }
  if (!kxbLoadTextIO(g_executableDirectory, g_errorBuffer,
                     sizeof g_errorBuffer)) {
    KxbMemPool::terminate();
    kxlogTerminate();
    return failInitialisation(errorMessage);
  }
  if (!kxbCreateConfigOptionStore()) {
    setError("Failed to create config options");
    kxbUnloadTextIO();
    KxbMemPool::terminate();
    kxlogTerminate();
    return failInitialisation(errorMessage);
  }
  setMessageLocation();
  kxbStartupSetUserPath("");
  // A missing dependency library is met again, and reported, by start-up.
  kxbLoadDependencyLibrary(g_executableDirectory);
  g_bootLevel = 1;
  return 0;
}

extern "C" void kxbShutdown(void) {
  if (g_initCount == 0) return;
  kxLogger* log = baseLogger();
  kxlogWrite(log, KXLOG_TRACE, kUnit, __LINE__, "Entered kxbShutdown");
  if (--g_initCount > 0) {
    kxlogWrite(log, KXLOG_TRACE, kUnit, __LINE__, "kxbShutdown more references");
    return;
  }
  kxlogWrite(log, KXLOG_TRACE, kUnit, __LINE__, "kxbShutdown calling depsShutdown");
  if (g_deps.loaded && g_deps.handle != nullptr) {
    g_deps.shutdown();
    np_dso_unload(g_deps.handle);
    g_deps.handle = nullptr;
  }
  kxlogWrite(log, KXLOG_TRACE, kUnit, __LINE__,
             "kxbShutdown calling shutdown handlers");
  kxbRunShutdownHandlers();
  kxlogWrite(log, KXLOG_TRACE, kUnit, __LINE__,
             "kxbShutdown destroying config opts");
  kxbDestroyConfigOptionStore();
  kxbOriginForget();
  kxlogWrite(log, KXLOG_TRACE, kUnit, __LINE__,
             "kxbShutdown tossing text file support");
  kxbUnloadTextIO();
  kxlogWrite(log, KXLOG_TRACE, kUnit, __LINE__, "kxbShutdown freeing memory pool");
  KxbMemPool::terminate();
  kxlogWrite(log, KXLOG_TRACE, kUnit, __LINE__,
             "kxbShutdown terminating message file support");
  kxmsg112_terminate();
  g_startupHoldsCatalogue = false;
  KxbGlobals& globals = kxbGlobals();
  kxlogWrite(log, KXLOG_TRACE, kUnit, __LINE__,
             "kxbShutdown destroying global mutex");
  if (globals.globalMutex != nullptr) {
    kxLockDestroy(globals.globalMutex);
    globals.globalMutex = nullptr;
  }
  kxlogWrite(log, KXLOG_TRACE, kUnit, __LINE__,
             "kxbShutdown destroying global singleton mutex");
  if (globals.singletonMutex != nullptr) {
    kxLockDestroy(globals.singletonMutex);
    globals.singletonMutex = nullptr;
  }
  kxlogWrite(log, KXLOG_TRACE, kUnit, __LINE__, "kxbShutdown terminating kxbb");
  kxlogTerminate();
  kxbbTerminate();
  g_bootLevel = 0;
}

extern "C" unsigned kxbGetBootLevel(void) { return g_bootLevel; }
