// kxbStartup: the order of the steps, the global mutex and failures. The
// sources are read in kxbstartup_sources.cpp, the derived keys made in
// kxbstartup_derive.cpp.
#include <cstdarg>
#include <cstdio>

#include "kxbpath.h"
#include "kxbstartup.h"
#include "kxlog.h"
#include "np_env.h"
#include "np_fio.h"
#include "np_mem.h"
#include "startup/kxbglobals.h"
#include "startup/kxbstartup_internal.h"
#include "startup/kxbstartup_origin.h"

namespace {

constexpr size_t kHomeBytes = 260;
constexpr size_t kErrorBytes = 2048;

bool sameValue(const KxbString& a, const KxbString& b) {
  if (a.isNull() || b.isNull()) return a.isNull() && b.isNull();
  return a.compare(b, true) == 0;
}

int failStartup(const char** errorMessage) {
  if (errorMessage != nullptr) *errorMessage = kxbStartupErrorBuffer();
  return 1;
}

}  // namespace

bool KxbStartupRun::get(const char* key, KxbString* value) const {
  KxbString name(key, true);
  if (options->getOption(name, value, true)) return true;
  // An unknown macro leaves the value expanded as far as it went; the key
  // is there all the same.
  return has(key);
}

bool KxbStartupRun::has(const char* key) const {
  return options->getOption(KxbString(key, true), nullptr, false);
}

void KxbStartupRun::derive(const char* key, const KxbString& value, int step,
                           const char* what) const {
  KxbString name(key, true);
  KxbString before;
  bool existed = options->getOption(name, &before, false);
  options->setOption(name, value);
  if (!existed || !sameValue(before, value)) {
    kxbOriginRecord(name, value, KXB_ORIGIN_DERIVED, KxbString(what, true), step);
  }
}

void KxbStartupRun::setError(const char* format, ...) const {
  va_list args;
  va_start(args, format);
  std::vsnprintf(error, kErrorBytes, format, args);
  va_end(args);
}

extern "C" int kxbStartup(const char** errorMessage, unsigned flags) {
  if (errorMessage != nullptr) *errorMessage = nullptr;
  // A value or a source lost for want of memory reads like an absent one,
  // so every allocation that fails during start-up fails start-up.
  const unsigned allocationFailures = np_mem_failures();
  KxbStartupRun run;
  run.error = kxbStartupErrorBuffer();
  run.hosted = (flags & KXB_STARTUP_HOSTED) != 0;
  run.log = kxlogGetLogger("KX.Base");

  // 1. Initialised?
  kxLock mutex = kxbGlobals().globalMutex;
  if (mutex == nullptr) {
    run.error[0] = '\0';
    return failStartup(errorMessage);
  }
  // 2. The dependency library (its loader writes into the error buffer).
  if (kxbLoadDependencyLibrary(kxbExecutableDirectory())) {
    if (!run.hosted) kxlogSetLevel(run.log, KXLOG_PROGRESS);
  } else if (!run.hosted) {
    return failStartup(errorMessage);
  }
  // 3. From here to the end under the global mutex.
  KxbGlobalMutexHold hold;

  // 4. The installation home.
  char home[kHomeBytes];
  np_env_get("KXEXEC_HOME", home, sizeof home);
  if (home[0] == '\0') {
    run.setError("%s", "The 'KXEXEC_HOME' environment variable is not set");
    return failStartup(errorMessage);
  }
  run.options = kxbGetConfigOptions(KxbString("", true));
  if (run.options == nullptr) {
    run.setError("%s", "Failed to create config options");
    return failStartup(errorMessage);
  }
  run.home = KxbString(home);
  run.exeDirectory = KxbString(kxbExecutableDirectory());
  auto ranOutOfMemory = [&] {
    if (np_mem_failures() == allocationFailures) return false;
    run.setError("%s", "Out of memory during start-up");
    return true;
  };
  if (ranOutOfMemory()) return failStartup(errorMessage);

  // 5. Config and user directories.
  KxbString etc = kxbConcatPath(run.home, KxbString("etc", true));
  run.configDirectory =
      !etc.isNull() && np_fio_stat(etc.asCstr()) == 0 ? etc : run.home;
  run.userDirectory = KxbString(kxbStartupGetUserPath());
  if (run.userDirectory.length() > 0) {
    kxlogWrite(run.log, KXLOG_PROGRESS, kStartupUnit, __LINE__, "UserPath '%s'",
               run.userDirectory.asCstr());
  }

  // 6 to 11.
  kxbStartupReadSources(run);
  if (ranOutOfMemory()) return failStartup(errorMessage);
  // 12 to 30.
  bool derived = kxbStartupDerive(run);
  if (ranOutOfMemory() || !derived) return failStartup(errorMessage);

  // 31.
  kxbSetBootLevel(2);
  hold.release();
  return 0;
}
