// Every way start-up fails, the text the caller receives, what stays set,
// and the effective-options dump with its masks. Each scenario runs in its
// own process.
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "kxbstartup.h"
#include "kxlog.h"
#include "np_env.h"
#include "startup/kxbstartup_internal.h"
#include "support/fresh_process.h"
#include "support/log_capture.h"
#include "support/startup_home.h"

namespace {

using kxb_test::effectiveOption;
using kxb_test::globalMutexIsFree;

TEST(StartupFailure, WithoutInitialisationStartupFailsWithNoText) {
  const char* error = "untouched";
  EXPECT_EQ(1, kxbStartup(&error, 0));
  ASSERT_NE(nullptr, error);
  EXPECT_STREQ("", error);
  EXPECT_EQ(0u, kxbGetBootLevel());
}

TEST(StartupFailure, EachFailureHasItsTextAndReleasesTheMutex) {
  struct Case {
    const char* name;
    const char* app;       // app.cfg
    bool noHome;           // KXEXEC_HOME unset
    const char* expected;  // the text, or its beginning when it ends in '*'
  };
  const std::string longName(1100, 'x');
  const Case cases[] = {
      {"no home", "a=1\n", true,
       "The 'KXEXEC_HOME' environment variable is not set"},
      {"missing log file", "a=1\nBASE/LOGCONFIG_PATH=/no/such/log.cfg\n", false,
       "Logging configuration file /no/such/log.cfg does not exist."},
      {"bad log file", "a=1\nBASE/LOGCONFIG_PATH=%%KXEXEC_HOME%%/bad.cfg\n",
       false, "Failed to configure logging."},
      {"dependency start-up", "a=1\nBASE/EXE_PATH=/no/such/bin\n", false,
       "Dependency startup failed"},
      {"catalogue", "a=1\nBASE/MESSAGE_PATH=/no/such/catalogue\n", false,
       "*"},
      {"probe fragment", "a=1\nBASE/MESSAGE_PATH=%%KXEXEC_HOME%%/nofragments\n",
       false, "Error message database or one of its components is not found: *"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    kxb_test::StartupHome home;
    home.write("home/etc/app.cfg", c.app);
    home.write("home/bad.cfg", "level = 9\n");
    home.write("home/nofragments/en/base_services.msg", "1 one\n");
    KXB_IN_FRESH_PROCESS([&] {
      ASSERT_TRUE(home.initialise());
      if (c.noHome) np_env_set("KXEXEC_HOME", nullptr);
      const char* error = nullptr;
      ASSERT_EQ(1, kxbStartup(&error, 0));
      ASSERT_NE(nullptr, error);
      std::string expected = c.expected;
      if (!expected.empty() && expected.back() == '*') {
        expected.pop_back();
        EXPECT_EQ(expected, std::string(error).substr(0, expected.size()));
        EXPECT_GT(std::strlen(error), expected.size()) << error;
      } else {
        EXPECT_STREQ(c.expected, error);
      }
      EXPECT_EQ(1u, kxbGetBootLevel());
      EXPECT_TRUE(globalMutexIsFree());
      // What was set before the failure stays set.
      if (!c.noHome) {
        EXPECT_EQ("1", effectiveOption("a"));
      }
      kxbShutdown();
    });
  }
}

TEST(StartupFailure, LongLoggingPathsAreCutInTheMessage) {
  kxb_test::StartupHome home;
  std::string path = "/" + std::string(1500, 'p');
  home.write("home/etc/app.cfg", "BASE/LOGCONFIG_PATH=" + path + "\n");
  KXB_IN_FRESH_PROCESS([&] {
    ASSERT_TRUE(home.initialise());
    const char* error = nullptr;
    ASSERT_EQ(1, kxbStartup(&error, 0));
    EXPECT_EQ("Logging configuration file " + path.substr(0, 1024) +
                  " does not exist.",
              error);
    kxbShutdown();
  });
}

TEST(StartupFailure, HostedStartupOutlivesAFailedDependencyStartup) {
  kxb_test::StartupHome home;
  home.write("home/etc/app.cfg", "BASE/EXE_PATH=/no/such/bin\n");
  KXB_IN_FRESH_PROCESS([&] {
    ASSERT_TRUE(home.initialise());
    const char* error = nullptr;
    EXPECT_EQ(0, kxbStartup(&error, KXB_STARTUP_HOSTED));
    EXPECT_EQ(nullptr, error);
    EXPECT_STREQ("Dependency startup failed", kxbStartupErrorBuffer());
    EXPECT_EQ(2u, kxbGetBootLevel());
    kxbShutdown();
  });
}

TEST(StartupDump, MasksSecretsExactly) {
  auto mask = [](const char* key, const char* value) {
    return std::string(kxbStartupMaskValue(KxbString(key), KxbString(value)).asCstr());
  };
  EXPECT_EQ("host=x,Pass=********,port=1",
            mask("BASE/AUTH_SERVER_LOC", "host=x,Pass=abc,port=1"));
  EXPECT_EQ("host=x,pass=********/y", mask("base/auth_server_loc", "host=x,pass=abc/y"));
  EXPECT_EQ("host=x,PASS=********", mask("BASE/AUTH_SERVER_LOC", "host=x,PASS=abc"));
  EXPECT_EQ("host=x,pass=********,port=1",
            mask("BASE/AUTH_SERVER_LOC", "host=x,pass=,port=1"));
  // At the very start of the value "pass=" is left alone.
  EXPECT_EQ("pass=abc,host=x", mask("BASE/AUTH_SERVER_LOC", "pass=abc,host=x"));
  EXPECT_EQ("host=x", mask("BASE/AUTH_SERVER_LOC", "host=x"));
  EXPECT_EQ("********", mask("BASE/AUTH_SERVER_PASS", "secret"));
  EXPECT_EQ("********", mask("MetaPass", "secret"));
  EXPECT_EQ("pass=abc", mask("OTHER", "pass=abc"));
  EXPECT_EQ("abc", mask("METAPASSWORD", "abc"));
}

TEST(StartupDump, ListsEveryOptionInInsertionOrderMasked) {
  kxb_test::StartupHome home;
  home.write("home/etc/app.cfg",
             "BASE/AUTH_SERVER_LOC=host=x,Pass=abc,port=1\n"
             "BASE/AUTH_SERVER_PASS=secret\nmetapass=hidden\nplain=%%x%%\n");
  KXB_IN_FRESH_PROCESS([&] {
    ASSERT_TRUE(home.initialise());
    kxb_test::LogCapture capture("KX.Base", 1);
    const char* error = nullptr;
    ASSERT_EQ(0, kxbStartup(&error, 0)) << error;
    auto records = capture.find("", KXLOG_NOTABLE, "KX.Base");
    size_t start = 0;
    while (start < records.size() && records[start].text != "Effective options:") {
      ++start;
    }
    ASSERT_LT(start + 5, records.size()) << capture.dump();
    EXPECT_EQ("BASE/PLUGIN_PATH=" + effectiveOption("BASE/PLUGIN_PATH"),
              records[start + 1].text);
    EXPECT_EQ("BASE/AUTH_SERVER_LOC=host=x,Pass=********,port=1",
              records[start + 2].text);
    EXPECT_EQ("BASE/AUTH_SERVER_PASS=********", records[start + 3].text);
    EXPECT_EQ("metapass=********", records[start + 4].text);
    EXPECT_EQ("plain=%%x%%", records[start + 5].text);
    EXPECT_EQ(0u, capture.count("secret"));
    EXPECT_EQ(0u, capture.count("hidden"));
    EXPECT_EQ(0u, capture.count("abc"));
    kxbShutdown();
  });
}

}  // namespace
