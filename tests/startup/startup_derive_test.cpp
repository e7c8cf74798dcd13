// Start-up's derived keys and the settings it hands on, with and without
// the hosted bit, and the message catalogue search. Each scenario runs in
// its own process.
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "kxbdate.h"
#include "kxbstartup.h"
#include "kxlog.h"
#include "np_env.h"
#include "np_stamp.h"
#include "rk_auth.h"
#include "support/assertions.h"
#include "support/fresh_process.h"
#include "support/log_capture.h"
#include "support/startup_home.h"
#include "support/textio_env.h"
#include "values/kxbdatavar_internal.h"

namespace {

using kxb_test::effectiveOption;
using kxb_test::environmentVariable;
using kxb_test::LogCapture;
using kxb_test::originOf;

// A logging configuration that lets every record through, so that records
// written after start-up configures logging can be captured.
void logEverything(const kxb_test::StartupHome& home, std::string* app) {
  home.write("home/etc/log.cfg", "level = 1\ndestination = stderr\n");
  *app += "BASE/LOGCONFIG_PATH=" + home.etc() + "/log.cfg\n";
}

TEST(StartupDerive, KeysAndSettingsWithoutTheHostedBit) {
  kxb_test::StartupHome home;
  home.mkdir("inst/bin");
  home.mkdir("inst/lib");
  std::string app =
      "BASE/EXE_PATH=" + home.path("inst/bin") + "/\n"
      "BASE/PLUGIN_PATH=%%BASE/EXE_PATH%%plugins\n"
      "ZKN/timeout=30\n"
      "zkenv/KX_TRACE=%%BASE/TEMP%%/trace\n"
      "BASE/AUTH_DEFAULT_DOMAIN=CORP\n"
      "BASE/DATE_FORMAT=iso8601_no_milli\n"
      "BASE/TIME_BASE=gmt\n"
      "BASE/HIGH_PRECISION_TIMER=1\n"
      "BASE/MESSAGE_LOCALE=en\n"
      "BASE/MESSAGE_LEVEL=3\n";
  logEverything(home, &app);
  home.write("home/etc/app.cfg", app);
  KXB_IN_FRESH_PROCESS([&] {
    ASSERT_TRUE(home.initialise());
    np_env_set("TEMP", "/no/such/temp");
    kxbStartupSetUserPath(home.user().c_str());
    LogCapture capture("KX.Base", 1);
    const char* error = nullptr;
    ASSERT_EQ(0, kxbStartup(&error, 0)) << error;

    std::string exe = home.path("inst/bin") + "/";
    EXPECT_EQ(exe + "plugins", effectiveOption("BASE/PLUGIN_PATH"));
    EXPECT_EQ("start-up step 12 (macros expanded)", originOf("BASE/PLUGIN_PATH"));
    EXPECT_EQ("/no/such/temp", effectiveOption("BASE/TEMP"));
    EXPECT_EQ("/no/such/temp", effectiveOption("TEMP"));
    EXPECT_EQ("/no/such/temp", effectiveOption("BASE/SHARED_OUTPUT_PATH"));
    EXPECT_TRUE(capture.hasRecord(
        "Failed to set ZK Utility path, '/no/such/temp'.", KXLOG_RECOVERABLE));
    EXPECT_EQ(home.etc() + "/macros", effectiveOption("BASE/MACROS_PATH"));
    EXPECT_EQ(home.home() + "/share/msg", effectiveOption("BASE/MESSAGE_PATH"));
    EXPECT_EQ(home.home() + "/share/msg",
              environmentVariable("KAXEL_ERROR_LOCATION"));
    EXPECT_EQ(home.path("inst/lib"), effectiveOption("BASE/LIBRARY_PATH"));
    EXPECT_EQ(home.user() + "/repositories",
              effectiveOption("BASE/REPOS_USER_PATH"));
    EXPECT_EQ(home.etc() + "/repositories",
              effectiveOption("BASE/REPOS_SYS_PATH"));
    EXPECT_EQ(home.home(), effectiveOption("KXEXEC_HOME"));

    ASSERT_NE(nullptr, rkGetKeyValue("TIMEOUT"));
    EXPECT_STREQ("30", rkGetKeyValue("TIMEOUT"));
    EXPECT_EQ("/no/such/temp/trace", environmentVariable("KX_TRACE"));
    EXPECT_EQ("CORP", environmentVariable("AUTH_DEFAULT_DOMAIN"));
    EXPECT_EQ("en", environmentVariable("KAXEL_ERROR_LOCALE"));
    EXPECT_EQ("3", environmentVariable("KAXEL_ERROR_LEVEL"));
    EXPECT_TRUE(kxbDatavarIsoDates());
    EXPECT_FALSE(kxbDatavarIsoMillis());
    EXPECT_TRUE(KxbDate::getUseUTC());
    EXPECT_EQ(1, np_stamp_safe_mode());

    EXPECT_TRUE(capture.hasRecord("Set ZKN: TIMEOUT=30", KXLOG_PROGRESS));
    EXPECT_TRUE(capture.hasRecord(
        "ISO8601 without milleseconds date format will be used", KXLOG_NOTABLE));
    EXPECT_TRUE(capture.hasRecord(
        "Setting env var for ZK KX_TRACE=/no/such/temp/trace", KXLOG_NOTABLE));
    EXPECT_TRUE(capture.hasRecord(
        "BASE/REPOS_USER_PATH=" + home.user() + "/repositories", KXLOG_NOTABLE));
    EXPECT_TRUE(capture.hasRecord(
        "BASE/REPOS_SYS_PATH=" + home.etc() + "/repositories", KXLOG_NOTABLE));
    EXPECT_TRUE(capture.hasRecord("KXEXEC_HOME=" + home.home(), KXLOG_NOTABLE));
    EXPECT_TRUE(capture.hasRecord("Extension specific startup", KXLOG_PROGRESS));
    EXPECT_TRUE(capture.hasRecord("Run dep startup", KXLOG_PROGRESS));
    EXPECT_TRUE(capture.hasRecord("Effective options:", KXLOG_NOTABLE));
    kxbShutdown();
  });
}

TEST(StartupDerive, HostedBitKeepsTheHostsLoggingAndToleratesGaps) {
  kxb_test::StartupHome home;  // no app.cfg, no repositories
  KXB_IN_FRESH_PROCESS([&] {
    ASSERT_TRUE(home.initialise());
    kxLogger* base = kxlogGetLogger("KX.Base");
    kxlogSetLevel(base, KXLOG_RECOVERABLE);
    {
      LogCapture capture;
      const char* error = nullptr;
      ASSERT_EQ(0, kxbStartup(&error, KXB_STARTUP_HOSTED)) << error;
      EXPECT_EQ(0u, capture.count("Read failed"));
      EXPECT_EQ(0u, capture.count("Effective options:"));
    }
    // The host's level stands: no default logging, no level 2.
    EXPECT_EQ(KXLOG_RECOVERABLE, kxlogGetLevel(base));
    EXPECT_EQ(home.etc(), effectiveOption("BASE/REPOS_SYS_PATH"));
    EXPECT_EQ("<absent>", effectiveOption("BASE/REPOS_USER_PATH"));
    EXPECT_EQ("<null>", effectiveOption("BASE/TEMP"));
    EXPECT_EQ("<null>", effectiveOption("TEMP"));

    // Below level 3 the hosted start-up dumps and logs the repository
    // directory at level 2; KXEXEC_HOME is not logged.
    kxlogSetLevel(base, KXLOG_TRACE);
    LogCapture capture;
    const char* error = nullptr;
    ASSERT_EQ(0, kxbStartup(&error, KXB_STARTUP_HOSTED)) << error;
    EXPECT_TRUE(capture.hasRecord("Effective options:", KXLOG_NOTABLE));
    // Each appears once, in the dump (the first start-up set both).
    EXPECT_EQ(1u, capture.count("KXEXEC_HOME="));
    EXPECT_EQ(1u, capture.count("BASE/REPOS_SYS_PATH="));
    kxbShutdown();
  });
}

TEST(StartupDerive, MissingDependencyLibraryFailsUnlessHosted) {
  kxb_test::StartupHome home;
  home.mkdir("host");
  std::filesystem::create_symlink(
      kxb_test::companionDirectory() + "/libkxbio311.so",
      home.path("host/libkxbio311.so"));
  KXB_IN_FRESH_PROCESS([&] {
    np_env_set("KXEXEC_HOME", home.home().c_str());
    np_env_set("KAXEL_ERROR_LOCATION", nullptr);
    const char* error = nullptr;
    ASSERT_EQ(0, kxbInitialize(home.path("host/app").c_str(), &error)) << error;
    EXPECT_EQ(1, kxbStartup(&error, 0));
    ASSERT_NE(nullptr, error);
    EXPECT_NE(std::string::npos, std::string(error).find("kxbdeps311")) << error;
    EXPECT_EQ(1u, kxbGetBootLevel());

    kxb_test::AssertionRecorder raised("kxbstartup");
    ASSERT_EQ(0, kxbStartup(&error, KXB_STARTUP_HOSTED)) << error;
    EXPECT_EQ((std::vector<std::string>{"startup func was not registered"}),
              raised.messages());
    EXPECT_EQ(2u, kxbGetBootLevel());
    // An executable directory not called "bin" is the library directory.
    EXPECT_EQ(home.path("host"), effectiveOption("BASE/LIBRARY_PATH"));
    kxbShutdown();
  });
}

TEST(StartupDerive, AuthenticationServerGoesToTheToolkit) {
  kxb_test::StartupHome home;
  std::string app =
      "BASE/AUTH_SERVER_LOC=host=auth,pass=s3cret,port=8561\n"
      "BASE/AUTH_SERVER_USER=svc\n"
      "BASE/AUTH_SERVER_PASS=pw\n"
      "BASE/AUTH_SERVER_REPOSNAME=Foundation\n"
      "BASE/AUTH_SERVER_SSPI=yes\n";
  logEverything(home, &app);
  home.write("home/etc/app.cfg", app);
  KXB_IN_FRESH_PROCESS([&] {
    ASSERT_TRUE(home.initialise());
    LogCapture capture("KX.Base", 1);
    const char* error = nullptr;
    ASSERT_EQ(0, kxbStartup(&error, 0)) << error;
    EXPECT_TRUE(capture.hasRecord("SSPI is enabled", KXLOG_PROGRESS));
    rkAuthServerLoc kept;
    ASSERT_EQ(1, rkGetAuthServerLoc(&kept));
    EXPECT_STREQ("auth", kept.host);
    EXPECT_EQ(8561, kept.port);
    EXPECT_STREQ("svc", kept.user);
    EXPECT_STREQ("pw", kept.password);
    EXPECT_STREQ("Foundation", kept.repository);
    EXPECT_EQ(1, kept.sspi);
    EXPECT_EQ("<absent>", effectiveOption("BASE/AUTH_SERVER_IS_PROFILE"));

    // A profile location: the profile flag, logged with the secret masked.
    kxb_test::LogCapture second("KX.Base", 1);
    home.write("home/etc/app.cfg", app +
                                       "BASE/AUTH_SERVER_LOC=profile=Admin,"
                                       "pass=s3cret\nBASE/AUTH_SERVER_SSPI=maybe\n");
    ASSERT_EQ(0, kxbStartup(&error, 0)) << error;
    EXPECT_TRUE(second.hasRecord("SSPI is disabled", KXLOG_PROGRESS));
    EXPECT_TRUE(second.hasRecord(
        "Metadata profile (profile=Admin,pass=********) supplies "
        "authenticating server location.",
        KXLOG_NOTABLE));
    EXPECT_EQ("YES", effectiveOption("BASE/AUTH_SERVER_IS_PROFILE"));
    EXPECT_EQ(0u, second.count("s3cret"));

    // A bad one is logged and start-up goes on.
    kxb_test::LogCapture third("KX.Base", 1);
    home.write("home/etc/app.cfg", app + "BASE/AUTH_SERVER_LOC=host=auth,port=0\n");
    ASSERT_EQ(0, kxbStartup(&error, 0)) << error;
    EXPECT_TRUE(third.hasRecord("Failed to set authenticating server location "
                                "(The port '0' of the authentication server "
                                "location is not a number from 1 to 65535.).",
                                KXLOG_NOTABLE));
    kxbShutdown();
  });
}

// The four places the catalogue search looks, each in its own process:
// which one exists decides BASE/MESSAGE_PATH.
TEST(StartupDerive, MessagePathSearchTriesEachCandidate) {
  struct Case {
    const char* catalogue;  // relative to the root; "" for none besides home
    const char* expected;   // relative to the root
    int candidates;         // "Looking for message path" records
  };
  const Case cases[] = {
      {"home/share/msg", "home/share/msg", 1},
      {"tivmisc", "tivmisc", 2},
      {"misc/zenfold", "misc/zenfold", 3},
      {"", "home", 3},
  };
  for (const Case& c : cases) {
    kxb_test::StartupHome home;
    home.remove("home/share");
    kxb_test::writeCatalogue(home.path(c.catalogue[0] != '\0' ? c.catalogue : "home"));
    if (std::string(c.catalogue) == "misc/zenfold") home.mkdir("misc");
    SCOPED_TRACE(c.expected);
    KXB_IN_FRESH_PROCESS([&] {
      ASSERT_TRUE(home.initialise());
      LogCapture capture("KX.Base", 1);
      const char* error = nullptr;
      ASSERT_EQ(0, kxbStartup(&error, 0)) << error;
      std::string expected = home.path(c.expected);
      EXPECT_EQ(expected, effectiveOption("BASE/MESSAGE_PATH"));
      EXPECT_EQ(expected, environmentVariable("KAXEL_ERROR_LOCATION"));
      EXPECT_EQ(static_cast<size_t>(c.candidates),
                capture.count("Looking for message path", KXLOG_PROGRESS));
      EXPECT_TRUE(capture.hasRecord(
          "Setting message path to '" + expected + "'.", KXLOG_PROGRESS));
      if (c.candidates > 1) {
        EXPECT_TRUE(capture.hasRecord(
            "Started with kxexec temp path '" + home.root() + "'."));
      }
      kxbShutdown();
    });
  }
}

TEST(StartupDerive, MessagePathFromTheEnvironmentOrTheOptionIsKept) {
  kxb_test::StartupHome home;
  kxb_test::writeCatalogue(home.path("chosen"));
  kxb_test::writeCatalogue(home.path("configured"));
  home.write("home/etc/app.cfg",
             "BASE/MESSAGE_PATH=" + home.path("configured") + "\n");
  // The environment's KAXEL_ERROR_LOCATION wins when initialisation did not
  // set it itself.
  KXB_IN_FRESH_PROCESS([&] {
    np_env_set("KAXEL_ERROR_LOCATION", home.path("chosen").c_str());
    np_env_set("KXEXEC_HOME", home.home().c_str());
    const char* error = nullptr;
    ASSERT_EQ(0, kxbInitialize((kxb_test::companionDirectory() + "/t").c_str(),
                               &error));
    LogCapture capture("KX.Base", 1);
    ASSERT_EQ(0, kxbStartup(&error, 0)) << error;
    EXPECT_EQ(home.path("chosen"), effectiveOption("BASE/MESSAGE_PATH"));
    EXPECT_EQ(0u, capture.count("Looking for message path"));
    kxbShutdown();
  });
  // Otherwise a configured BASE/MESSAGE_PATH is kept and exported.
  KXB_IN_FRESH_PROCESS([&] {
    ASSERT_TRUE(home.initialise());
    const char* error = nullptr;
    ASSERT_EQ(0, kxbStartup(&error, 0)) << error;
    EXPECT_EQ(home.path("configured"), effectiveOption("BASE/MESSAGE_PATH"));
    EXPECT_EQ(home.path("configured"),
              environmentVariable("KAXEL_ERROR_LOCATION"));
    kxbShutdown();
  });
}

}  // namespace
