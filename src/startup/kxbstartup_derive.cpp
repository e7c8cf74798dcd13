// Start-up steps 12 to 30: the keys derived from the sources, and the
// settings handed on to the base layer, the message catalogue, logging,
// dates, the environment, the authentication toolkit and the dependency
// library.
#include <cstdio>
#include <cstring>

#include "kxbb.h"
#include "kxbdatavar.h"
#include "kxbdate.h"
#include "kxbpath.h"
#include "kxbstartup.h"
#include "kxlog.h"
#include "kxmsg.h"
#include "np_env.h"
#include "np_fio.h"
#include "np_stamp.h"
#include "rk_auth.h"
#include "startup/kxbglobals.h"
#include "startup/kxbstartup_internal.h"

namespace {

constexpr size_t kBufferBytes = 2048;
constexpr int kMaxLogConfigChars = 1024;

const char* text(const KxbString& value) {
  return value.isNull() ? "" : value.asCstr();
}

bool exists(const KxbString& path) {
  return !path.isNull() && path.length() > 0 && np_fio_stat(path.asCstr()) == 0;
}

// `path` without one trailing "/" or "\".
KxbString withoutTrailingSeparator(const KxbString& path) {
  int length = path.length();
  if (length > 1) {
    KxbString last = path.right(1);
    if (last.compare("/") == 0 || last.compare("\\") == 0) {
      return path.mid(0, length - 1);
    }
  }
  return path;
}

// True when `key` begins with the ASCII `prefix`, ignoring case.
bool hasPrefix(const KxbString& key, const char* prefix) {
  if (key.isNull()) return false;
  const char* text = key.asCstr();
  for (; *prefix != '\0'; ++prefix, ++text) {
    char c = *text;
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 32);
    if (c != *prefix) return false;
  }
  return true;
}

// The options whose keys begin with `prefix` (upper-case ASCII, matched in
// any case): calls fn(rest of the key, expanded value) for each, in
// insertion order. Only the matching values are expanded.
template <typename Fn>
void forEachPrefixed(const KxbStartupRun& run, const char* prefix, Fn fn) {
  const unsigned length = static_cast<unsigned>(std::strlen(prefix));
  KxbString key;
  KxbString value;
  for (unsigned i = 0; run.options->getOptionAt(i, &key, nullptr, false); ++i) {
    if (!hasPrefix(key, prefix)) continue;
    run.options->getOptionAt(i, nullptr, &value, true);
    fn(key.mid(length), value);
  }
}

// 17c: the message catalogue's directory, searched from the home.
KxbString searchMessagePath(const KxbStartupRun& run) {
  auto candidate = [&](const KxbString& path) {
    kxlogWrite(run.log, KXLOG_PROGRESS, kStartupUnit, __LINE__,
               "Looking for message path '%s'.", text(path));
    return exists(path);
  };
  KxbString shareMsg = kxbConcatPath(
      kxbConcatPath(run.home, KxbString("share", true)), KxbString("msg", true));
  if (candidate(shareMsg)) return shareMsg;
  KxbString parent = kxbParsePath(withoutTrailingSeparator(run.home), nullptr);
  kxlogWrite(run.log, KXLOG_PROGRESS, kStartupUnit, __LINE__,
             "Started with kxexec temp path '%s'.", text(parent));
  KxbString tivmisc = kxbConcatPath(parent, KxbString("tivmisc", true));
  if (candidate(tivmisc)) return tivmisc;
  KxbString misc = kxbConcatPath(parent, KxbString("misc", true));
  if (candidate(misc)) return kxbConcatPath(misc, KxbString("zenfold", true));
  return run.home;
}

// 17: BASE/MESSAGE_PATH and KAXEL_ERROR_LOCATION.
void settleMessagePath(const KxbStartupRun& run) {
  KxbString path;
  if (!kxbErrorLocationWasSet() && run.get("KAXEL_ERROR_LOCATION", &path)) {
    run.derive("BASE/MESSAGE_PATH", path, 17, "KAXEL_ERROR_LOCATION");
    return;
  }
  if (!run.get("BASE/MESSAGE_PATH", &path)) {
    path = searchMessagePath(run);
    kxlogWrite(run.log, KXLOG_PROGRESS, kStartupUnit, __LINE__,
               "Setting message path to '%s'.", text(path));
    run.derive("BASE/MESSAGE_PATH", path, 17, "message catalogue search");
  }
  np_env_set("KAXEL_ERROR_LOCATION", text(path));
}

// 18: one message setting exported unless the environment has it already.
void exportMessageSetting(const KxbStartupRun& run, const char* variable,
                          const char* key) {
  KxbString value;
  if (run.has(variable) || !run.get(key, &value)) return;
  np_env_set(variable, text(value));
}

// 19: opens the catalogue and reads the probe fragment.
bool openCatalogue(const KxbStartupRun& run) {
  // A start-up run again gives back the count the previous one took, so
  // that shutdown's one release closes the catalogue.
  if (kxbStartupHoldsCatalogue()) {
    kxmsg112_terminate();
    kxbStartupSetHoldsCatalogue(false);
  }
  const char* reason = nullptr;
  if (kxmsg112_initialize(&reason) != 0) {
    run.setError("%s", reason != nullptr ? reason : "");
    return false;
  }
  kxbStartupSetHoldsCatalogue(true);
  char fragment[kBufferBytes];
  if (kxmsg112_get_fragment(444, fragment, sizeof fragment) != 0) {
    run.setError("Error message database or one of its components is not "
                 "found: %s",
                 fragment);
    return false;
  }
  return true;
}

// 20: BASE/LIBRARY_PATH from BASE/EXE_PATH.
KxbString libraryPath(const KxbStartupRun& run, const KxbString& exePath) {
  KxbString name;
  KxbString parent = kxbParsePath(withoutTrailingSeparator(exePath), &name);
  if (!name.isNull() && name.compare("bin", false) == 0) {
    KxbString lib = kxbConcatPath(parent, KxbString("lib", true));
    if (exists(lib)) return lib;
  }
  return run.exeDirectory;
}

// 21: logging. False on a failure, with its text set.
bool configureLogging(const KxbStartupRun& run) {
  KxbString path;
  if (!run.get("BASE/LOGCONFIG_PATH", &path)) {
    if (!run.hosted) kxlogConfigure(nullptr);
    return true;
  }
  if (exists(path)) {
    if (kxlogConfigure(path.asCstr()) == 0) return true;
    run.setError("%s", "Failed to configure logging.");
    return false;
  }
  run.setError("Logging configuration file %.*s does not exist.",
               kMaxLogConfigChars, text(path));
  return false;
}

// 24: the repository directories.
void deriveRepositories(const KxbStartupRun& run) {
  KxbString path;
  if (run.userDirectory.length() > 0 && !run.has("BASE/REPOS_USER_PATH")) {
    path = kxbConcatPath(run.userDirectory, KxbString("repositories", true));
    run.derive("BASE/REPOS_USER_PATH", path, 24,
               "the user directory's repositories");
    kxlogWrite(run.log, KXLOG_NOTABLE, kStartupUnit, __LINE__,
               "BASE/REPOS_USER_PATH=%s", text(path));
  }
  if (!run.has("BASE/REPOS_SYS_PATH")) {
    path = kxbConcatPath(run.configDirectory, KxbString("repositories", true));
    if (run.hosted && !exists(path)) path = run.configDirectory;
    run.derive("BASE/REPOS_SYS_PATH", path, 24,
               "the config directory's repositories");
    kxlogWrite(run.log, run.hosted ? KXLOG_PROGRESS : KXLOG_NOTABLE,
               kStartupUnit, __LINE__, "BASE/REPOS_SYS_PATH=%s", text(path));
  }
}

// 25: the form of dates as text.
void applyDateFormat(const KxbStartupRun& run) {
  KxbString format;
  if (!run.get("BASE/DATE_FORMAT", &format) || format.isNull()) return;
  if (format.compare("ISO8601", false) == 0) {
    kxlogWrite(run.log, KXLOG_NOTABLE, kStartupUnit, __LINE__,
               "ISO8601 date format will be used");
    kxbSetDatavarIsoDates(true);
    kxbSetDatavarIsoMillis(true);
  } else if (format.compare("ISO8601_NO_MILLI", false) == 0) {
    kxlogWrite(run.log, KXLOG_NOTABLE, kStartupUnit, __LINE__,
               "ISO8601 without milleseconds date format will be used");
    kxbSetDatavarIsoDates(true);
  }
}

// 28: the authenticating server, handed to the toolkit.
void applyAuthServer(const KxbStartupRun& run) {
  KxbString location;
  if (!run.get("BASE/AUTH_SERVER_LOC", &location)) return;
  KxbString password, repository, user, sspiText;
  run.get("BASE/AUTH_SERVER_PASS", &password);
  run.get("BASE/AUTH_SERVER_REPOSNAME", &repository);
  run.get("BASE/AUTH_SERVER_USER", &user);
  bool sspi = false;
  if (run.get("BASE/AUTH_SERVER_SSPI", &sspiText)) {
    bool failed = false;
    KxbDatavar flag;
    flag.assign(sspiText);
    sspi = flag.asBool(&failed);
    if (failed) sspi = false;
  }
  kxlogWrite(run.log, KXLOG_PROGRESS, kStartupUnit, __LINE__, "SSPI is %s",
             sspi ? "enabled" : "disabled");
  char reason[kBufferBytes] = "";
  int length = static_cast<int>(sizeof reason);
  int result = rkSetAuthServerLoc(location.asCstr(), repository.asCstr(),
                                  user.asCstr(), password.asCstr(), sspi ? 1 : 0,
                                  reason, &length);
  if (result == RK_AUTH_LOC_PROFILE) {
    kxlogWrite(run.log, KXLOG_NOTABLE, kStartupUnit, __LINE__,
               "Metadata profile (%s) supplies authenticating server location.",
               text(kxbStartupMaskValue(KxbString("BASE/AUTH_SERVER_LOC", true),
                                        location)));
    run.derive("BASE/AUTH_SERVER_IS_PROFILE", KxbString("YES", true), 28,
               "the location names a metadata profile");
  } else if (result != RK_AUTH_LOC_SERVER) {
    kxlogWrite(run.log, KXLOG_NOTABLE, kStartupUnit, __LINE__,
               "Failed to set authenticating server location (%s).", reason);
  }
}

}  // namespace

bool kxbStartupDerive(const KxbStartupRun& run) {
  KxbString value;

  // 12. The plug-in path, expanded once and for all.
  run.get("BASE/PLUGIN_PATH", &value);
  run.derive("BASE/PLUGIN_PATH", value, 12, "macros expanded");

  // 13. Stamps that ignore clock adjustments.
  KxbString timer;
  if (run.options->getOption(KxbString("BASE/HIGH_PRECISION_TIMER", true),
                             &timer, false) &&
      timer.length() > 0) {
    np_stamp_set_safe_mode();
  }

  // 14. Temporary directories.
  KxbString temp;
  if (!run.get("BASE/TEMP", &temp)) {
    run.options->getOption(KxbString("TEMP", true), &temp, false);
    run.derive("BASE/TEMP", temp, 14, "the TEMP option");
  }
  run.derive("TEMP", temp, 14, "a copy of BASE/TEMP");
  KxbString sortTemp;
  if (!run.get("BASE/SORTTEMP", &sortTemp)) sortTemp = temp;
  char inForce[kBufferBytes] = "";
  int result = kxbbSetTempPath(sortTemp.asCstr(), inForce, sizeof inForce);
  if (result < 0) {
    kxlogWrite(run.log, KXLOG_NOTABLE, kStartupUnit, __LINE__,
               "ZK Utility path is already set to '%s'.", inForce);
  } else if (result > 0) {
    kxlogWrite(run.log, KXLOG_RECOVERABLE, kStartupUnit, __LINE__,
               "Failed to set ZK Utility path, '%s'.", text(sortTemp));
  }

  // 15.
  if (!run.has("BASE/SHARED_OUTPUT_PATH")) {
    run.derive("BASE/SHARED_OUTPUT_PATH", temp, 15, "a copy of BASE/TEMP");
  }

  // 16. Kernel settings for the authentication toolkit.
  forEachPrefixed(run, "ZKN/", [&](KxbString name, const KxbString& setting) {
    name.uppercase();
    kxlogWrite(run.log, KXLOG_PROGRESS, kStartupUnit, __LINE__, "Set ZKN: %s=%s",
               text(name), text(setting));
    rkSetKeyValue(name.asCstr(), text(setting));
  });

  // 17 to 19. The message catalogue.
  settleMessagePath(run);
  exportMessageSetting(run, "KAXEL_ERROR_LOCALE", "BASE/MESSAGE_LOCALE");
  exportMessageSetting(run, "KAXEL_ERROR_LEVEL", "BASE/MESSAGE_LEVEL");
  if (!openCatalogue(run)) return false;

  // 20. Executable and library directories.
  KxbString exePath;
  if (!run.get("BASE/EXE_PATH", &exePath)) {
    exePath = run.exeDirectory;
    run.derive("BASE/EXE_PATH", exePath, 20, "the executable directory");
  }
  if (!run.has("BASE/LIBRARY_PATH")) {
    run.derive("BASE/LIBRARY_PATH", libraryPath(run, exePath), 20,
               "beside BASE/EXE_PATH");
  }
  if (!run.hosted) kxlogSetLevel(run.log, KXLOG_PROGRESS);

  // 21. Logging.
  if (!configureLogging(run)) return false;

  // 22. Time base.
  KxbString timeBase;
  run.get("BASE/TIME_BASE", &timeBase);
  KxbDate::setUseUTC(!timeBase.isNull() && timeBase.compare("GMT", false) == 0);

  // 23. The dump.
  if (!run.hosted || kxlogGetLevel(run.log) < KXLOG_NOTABLE) {
    kxbStartupDumpOptions(run);
  }

  // 24 to 26.
  deriveRepositories(run);
  applyDateFormat(run);
  KxbString domain;
  if (run.get("BASE/AUTH_DEFAULT_DOMAIN", &domain)) {
    np_env_set("AUTH_DEFAULT_DOMAIN", text(domain));
  }

  // 27. Environment variables for the kernel.
  forEachPrefixed(run, "ZKENV/", [&](const KxbString& name,
                                     const KxbString& setting) {
    kxlogWrite(run.log, KXLOG_NOTABLE, kStartupUnit, __LINE__,
               "Setting env var for ZK %s=%s", text(name), text(setting));
    np_env_set(name.asCstr(), text(setting));
  });

  // 28.
  applyAuthServer(run);

  // 29.
  run.derive("KXEXEC_HOME", run.home, 29, "the KXEXEC_HOME environment variable");
  if (!run.hosted) {
    kxlogWrite(run.log, KXLOG_NOTABLE, kStartupUnit, __LINE__, "KXEXEC_HOME=%s",
               text(run.home));
  }
  kxlogWrite(run.log, KXLOG_PROGRESS, kStartupUnit, __LINE__,
             "Extension specific startup");

  // 30. The dependency library's own start-up.
  kxlogWrite(run.log, KXLOG_PROGRESS, kStartupUnit, __LINE__, "Run dep startup");
  KxbDepsStartupFn startup = kxbDependencyStartup();
  if (startup == nullptr) {
    kxbAssertFailure("startup func was not registered", kStartupUnit, __LINE__);
  } else {
    run.get("BASE/EXE_PATH", &exePath);
    if (startup(text(exePath)) != 0) {
      run.setError("%s", "Dependency startup failed");
      if (!run.hosted) return false;
    }
  }
  return true;
}
