// Start-up's sources: which overrides which, the queued files, the
// queueing functions, repeated start-up and where each value came from.
// Every scenario runs in its own process (start-up changes the process for
// good).
#include <algorithm>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "kxbb.h"
#include "kxbconfigoptions.h"
#include "kxbstartup.h"
#include "kxlog.h"
#include "np_env.h"
#include "support/fresh_process.h"
#include "support/log_capture.h"
#include "support/startup_home.h"

namespace {

using kxb_test::effectiveOption;
using kxb_test::originOf;

// Layer n of the seven sources sets the keys L<n>..L7 to "n", so that L<n>
// ends up "n" exactly when every layer overrides the one before it.
std::string layer(int n) {
  std::string text = "# layer " + std::to_string(n) + "\n";
  for (int key = n; key <= 7; ++key) {
    text += "L" + std::to_string(key) + "=" + std::to_string(n) + "\n";
  }
  return text;
}

TEST(StartupSources, EachSourceOverridesTheOneBeforeAndRemembersItsOrigin) {
  kxb_test::StartupHome home;
  home.write("home/etc/app.cfg", layer(1) + "a=1\n");
  home.write("user/app.cfg", layer(2) + "a=2\n");
  home.write("home/etc/queued.cfg", layer(3));
  home.write("home/etc/macros/m.cfg", layer(4));
  home.write("home/etc/macros.cfg", layer(5));
  KXB_IN_FRESH_PROCESS([&] {
    ASSERT_TRUE(home.initialise());
    for (int key = 6; key <= 7; ++key) {
      np_env_set(("L" + std::to_string(key)).c_str(), "6");
    }
    np_env_set("a", "3");
    kxbStartupSetUserPath(home.user().c_str());
    const char* error = nullptr;
    ASSERT_EQ(0, kxbStartupAddConfigFile("queued.cfg", &error));
    EXPECT_EQ(nullptr, error);
    ASSERT_EQ(0, kxbStartupAddOption("L7", "7", &error));

    ASSERT_EQ(0, kxbStartup(&error, 0)) << error;
    EXPECT_EQ(nullptr, error);
    EXPECT_EQ(2u, kxbGetBootLevel());
    for (int key = 1; key <= 7; ++key) {
      std::string name = "L" + std::to_string(key);
      EXPECT_EQ(std::to_string(key), effectiveOption(name.c_str())) << name;
    }
    EXPECT_EQ("3", effectiveOption("a"));

    EXPECT_EQ("file " + home.etc() + "/app.cfg, line 2", originOf("L1"));
    EXPECT_EQ("file " + home.user() + "/app.cfg, line 2", originOf("L2"));
    EXPECT_EQ("file " + home.etc() + "/queued.cfg, line 2", originOf("L3"));
    EXPECT_EQ("macros directory file " + home.etc() + "/macros/m.cfg, line 2",
              originOf("L4"));
    EXPECT_EQ("file " + home.etc() + "/macros.cfg, line 2", originOf("L5"));
    EXPECT_EQ("environment", originOf("L6"));
    EXPECT_EQ("queued option", originOf("L7"));
    EXPECT_EQ("start-up step 8 (the config directory's macros)",
              originOf("BASE/MACROS_PATH"));

    KxbOptionOrigin origin;
    ASSERT_EQ(0, kxbStartupGetOptionOrigin("l4", &origin));
    EXPECT_EQ(KXB_ORIGIN_MACROS, origin.kind);
    EXPECT_EQ(2, origin.line);
    EXPECT_EQ(2, kxbStartupGetOptionOrigin("no such key", &origin));
    EXPECT_EQ(1, kxbStartupGetOptionOrigin(nullptr, &origin));

    // A value changed by the program no longer claims its file.
    kxbGetConfigOptions(KxbString(""))->setOption(KxbString("L1"),
                                                  KxbString("changed"));
    EXPECT_EQ("set by the program", originOf("L1"));
    kxbShutdown();
  });
}

TEST(StartupSources, QueuedFilesAreReadInQueueOrderFromConfigThenUserDirectory) {
  kxb_test::StartupHome home;
  home.write("home/etc/app.cfg", "x=app\n");
  home.write("user/app.cfg", "y=user app\n");
  home.write("home/etc/first.cfg", "x=first\nz=first\n");
  home.write("home/etc/second.cfg", "x=second\n");
  home.write("user/second.cfg", "# from the user\nx=user second\nonly=user\n");
  home.write("absolute.cfg", "abs=1\n");
  KXB_IN_FRESH_PROCESS([&] {
    ASSERT_TRUE(home.initialise());
    kxbStartupSetUserPath(home.user().c_str());
    const char* error = nullptr;
    kxbStartupAddConfigFile("first.cfg", &error);
    kxbStartupAddConfigFile("second.cfg", &error);
    kxbStartupAddConfigFile("missing.cfg", &error);
    kxbStartupAddConfigFile(home.path("absolute.cfg").c_str(), &error);
    KxbConfigOptions* files = kxbGetConfigOptions(KxbString(".@=Files=@."));
    KxbString key, value;
    ASSERT_TRUE(files->getOptionAt(0, &key, &value, false));
    EXPECT_STREQ("FileCount", key.asCstr());
    EXPECT_STREQ("4", value.asCstr());
    ASSERT_TRUE(files->getOptionAt(2, &key, &value, false));
    EXPECT_STREQ("FilePrefix_0002", key.asCstr());
    EXPECT_STREQ("second.cfg", value.asCstr());

    kxb_test::LogCapture capture("KX.Base", 1);
    ASSERT_EQ(0, kxbStartup(&error, 0)) << error;
    EXPECT_EQ("user second", effectiveOption("x"));
    EXPECT_EQ("first", effectiveOption("z"));
    EXPECT_EQ("user", effectiveOption("only"));
    EXPECT_EQ("1", effectiveOption("abs"));
    EXPECT_EQ("file " + home.user() + "/second.cfg, line 2", originOf("x"));

    std::vector<std::string> read;
    for (const auto& record : capture.find("Reading configuration file", 2)) {
      read.push_back(record.text);
    }
    auto reading = [](const std::string& path) {
      return "Reading configuration file '" + path + "'";
    };
    EXPECT_EQ((std::vector<std::string>{
                  reading(home.etc() + "/app.cfg"),
                  reading(home.user() + "/app.cfg"),
                  reading(home.etc() + "/first.cfg"),
                  reading(home.etc() + "/second.cfg"),
                  reading(home.user() + "/second.cfg"),
                  reading(home.path("absolute.cfg"))}),
              read);
    // A queued file missing from the config directory is reported at level
    // 4; its absence from the user directory is not.
    EXPECT_TRUE(capture.hasRecord(
        "Read failed due to missing file or possibly invalid content in '" +
            home.etc() + "/missing.cfg'",
        KXLOG_RECOVERABLE));
    EXPECT_EQ(1u, capture.count("Read failed", KXLOG_RECOVERABLE));
    EXPECT_TRUE(capture.hasRecord("UserPath '" + home.user() + "'", 2));
    kxbShutdown();
  });
}

TEST(StartupSources, ParsedOptionsQueueNamedAttributesAndBareWords) {
  kxb_test::StartupHome home;
  KXB_IN_FRESH_PROCESS([&] {
    ASSERT_TRUE(home.initialise());
    const char* error = nullptr;
    ASSERT_EQ(0, kxbStartupAddParsedOptions("a=1; verbose ; b=x%3Dy;;", &error));
    EXPECT_EQ(nullptr, error);
    ASSERT_EQ(0, kxbStartupAddParsedOptions(nullptr, &error));
    KxbConfigOptions* queued =
        kxbGetConfigOptions(KxbString(".@=CommandArgs=@."));
    ASSERT_EQ(3, queued->count());
    ASSERT_EQ(0, kxbStartup(&error, 0)) << error;
    EXPECT_EQ("1", effectiveOption("a"));
    EXPECT_EQ("<null>", effectiveOption("verbose"));
    EXPECT_EQ("x=y", effectiveOption("b"));
    EXPECT_EQ("queued option", originOf("verbose"));
    kxbShutdown();
  });
}

TEST(StartupSources, QueueingBeforeInitialisationFailsWithAReason) {
  const char* error = nullptr;
  EXPECT_EQ(1, kxbStartupAddOption("a", "1", &error));
  ASSERT_NE(nullptr, error);
  EXPECT_NE(std::string::npos, std::string(error).find("not initialised"));
  EXPECT_EQ(1, kxbStartupAddConfigFile("a.cfg", &error));
  EXPECT_EQ(1, kxbStartupAddParsedOptions("a=1", &error));
}

TEST(StartupSources, SeveralThreadsQueueAtOnce) {
  kxb_test::StartupHome home;
  KXB_IN_FRESH_PROCESS([&] {
    ASSERT_TRUE(home.initialise());
    constexpr int kThreads = 8;
    constexpr int kEach = 50;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
      threads.emplace_back([t] {
        for (int i = 0; i < kEach; ++i) {
          std::string name = "t" + std::to_string(t) + "_" + std::to_string(i);
          const char* error = nullptr;
          kxbStartupAddConfigFile((name + ".cfg").c_str(), &error);
          kxbStartupAddOption(name.c_str(), "v", &error);
          kxbStartupAddParsedOptions(("p" + name + "=w").c_str(), &error);
        }
      });
    }
    for (auto& thread : threads) thread.join();
    KxbConfigOptions* files = kxbGetConfigOptions(KxbString(".@=Files=@."));
    KxbString value;
    files->getOption(KxbString("FileCount"), &value, false);
    EXPECT_STREQ("400", value.asCstr());
    EXPECT_EQ(401, files->count());
    // Every number was handed out once: 400 distinct file names.
    std::vector<std::string> names;
    for (unsigned i = 1; files->getOptionAt(i, nullptr, &value, false); ++i) {
      names.push_back(value.asCstr());
    }
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names.end(), std::unique(names.begin(), names.end()));
    EXPECT_EQ(800, kxbGetConfigOptions(KxbString(".@=CommandArgs=@."))->count());
    kxbShutdown();
  });
}

TEST(StartupSources, RepeatedStartupReadsEverySourceAgain) {
  kxb_test::StartupHome home;
  home.write("home/etc/app.cfg", "a=1\nBASE/TEMP=" + home.root() + "\n");
  KXB_IN_FRESH_PROCESS([&] {
    ASSERT_TRUE(home.initialise());
    const char* error = nullptr;
    kxbStartupAddOption("q", "queued", &error);
    ASSERT_EQ(0, kxbStartup(&error, 0)) << error;
    EXPECT_STREQ(home.root().c_str(), kxbbGetTempPath());
    EXPECT_EQ("1", effectiveOption("a"));
    std::string macros = effectiveOption("BASE/MACROS_PATH");

    home.write("home/etc/app.cfg", "a=2\nb=new\nq=file\nBASE/TEMP=/tmp\n");
    kxbGetConfigOptions(KxbString(""))->setOption(KxbString("kept"),
                                                  KxbString("yes"));
    kxb_test::LogCapture capture;
    ASSERT_EQ(0, kxbStartup(&error, 0)) << error;
    // The base layer keeps the first temporary directory.
    EXPECT_TRUE(capture.hasRecord(
        "ZK Utility path is already set to '" + home.root() + "'.", KXLOG_NOTABLE));
    EXPECT_EQ(2u, kxbGetBootLevel());
    EXPECT_EQ("2", effectiveOption("a"));
    EXPECT_EQ("new", effectiveOption("b"));
    EXPECT_EQ("queued", effectiveOption("q"));  // queues survive start-up
    EXPECT_EQ("yes", effectiveOption("kept"));
    EXPECT_EQ(macros, effectiveOption("BASE/MACROS_PATH"));
    EXPECT_EQ("file " + home.etc() + "/app.cfg, line 2", originOf("b"));
    kxbShutdown();
    EXPECT_EQ(0u, kxbGetBootLevel());
  });
}

}  // namespace
