#include "kxlog.h"

#include <atomic>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "kx_fault.h"
#include "support/log_capture.h"

namespace {

namespace fs = std::filesystem;
using kxb_test::LogCapture;

// A scratch directory removed with everything in it at the end of the test.
class ScratchDir {
 public:
  ScratchDir() {
    std::random_device random;
    path_ = fs::temp_directory_path() /
            ("kxlog_test_" + std::to_string(random()) + std::to_string(random()));
    fs::create_directories(path_);
  }
  ~ScratchDir() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }
  std::string file(const std::string& name) const { return (path_ / name).string(); }
  std::string write(const std::string& name, const std::string& text) const {
    std::ofstream(file(name), std::ios::binary) << text;
    return file(name);
  }

 private:
  fs::path path_;
};

std::string readAll(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

std::vector<std::string> linesContaining(const std::string& text,
                                         const std::string& piece) {
  std::vector<std::string> found;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) {
    if (line.find(piece) != std::string::npos) found.push_back(line);
  }
  return found;
}

// Every test starts from the default levels with records going to a scratch
// file rather than the terminal, and leaves the default configuration.
class KxlogTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string quiet = scratch_.write("quiet.cfg",
        "destination = file:" + scratch_.file("quiet.log") + "\n");
    ASSERT_EQ(0, kxlogConfigure(quiet.c_str())) << kxlogLastError();
  }
  void TearDown() override {
    kxFaultReset();
    kxlogConfigure(nullptr);
  }

 private:
  ScratchDir scratch_;
};

TEST_F(KxlogTest, LevelsInheritFromNearestDottedAncestorAndOwnLevelsOverride) {
  kxLogger* root = kxlogGetLogger(nullptr);
  kxLogger* a = kxlogGetLogger("Inh.A");
  kxLogger* abc = kxlogGetLogger("Inh.A.B.C");
  kxLogger* sibling = kxlogGetLogger("Inh.AB");  // not a child of Inh.A

  EXPECT_EQ(3, kxlogGetLevel(root));
  EXPECT_EQ(3, kxlogGetLevel(abc));

  kxlogSetLevel(root, 4);
  EXPECT_EQ(4, kxlogGetLevel(abc));

  // A level on an ancestor that was never asked for as a logger still counts.
  kxlogSetLevel(kxlogGetLogger("Inh"), 2);
  EXPECT_EQ(2, kxlogGetLevel(abc));
  EXPECT_EQ(2, kxlogGetLevel(sibling));

  kxlogSetLevel(a, 5);
  EXPECT_EQ(5, kxlogGetLevel(a));
  EXPECT_EQ(5, kxlogGetLevel(abc));
  EXPECT_EQ(2, kxlogGetLevel(sibling));

  kxlogSetLevel(abc, 1);
  EXPECT_EQ(1, kxlogGetLevel(abc));
  EXPECT_EQ(5, kxlogGetLevel(kxlogGetLogger("Inh.A.B")));

  // 0 removes the own level: inheritance again.
  kxlogSetLevel(a, 0);
  EXPECT_EQ(2, kxlogGetLevel(a));
  EXPECT_EQ(2, kxlogGetLevel(kxlogGetLogger("Inh.A.B")));

  // Out-of-range levels are ignored; the root's 0 means the default 3.
  kxlogSetLevel(a, 6);
  kxlogSetLevel(a, -1);
  EXPECT_EQ(2, kxlogGetLevel(a));
  kxlogSetLevel(root, 0);
  EXPECT_EQ(3, kxlogGetLevel(root));

  // A configuration forgets every own level.
  ASSERT_EQ(0, kxlogConfigure(nullptr));
  EXPECT_EQ(3, kxlogGetLevel(abc));
  kxlogSetLevel(a, 1);
  ScratchDir dir;
  std::string config = dir.write("l.cfg", "level.Inh.A.B = 4\n");
  ASSERT_EQ(0, kxlogConfigure(config.c_str())) << kxlogLastError();
  EXPECT_EQ(3, kxlogGetLevel(a));
  EXPECT_EQ(4, kxlogGetLevel(abc));
}

TEST_F(KxlogTest, IsEnabledSeesLevelChangesMadeAfterItCachedALevel) {
  kxLogger* leaf = kxlogGetLogger("Cache.X.Leaf");
  EXPECT_FALSE(kxlogIsEnabled(leaf, 2));
  EXPECT_TRUE(kxlogIsEnabled(leaf, 3));

  kxlogSetLevel(kxlogGetLogger("Cache"), 1);
  EXPECT_TRUE(kxlogIsEnabled(leaf, 1));

  kxlogSetLevel(kxlogGetLogger("Cache.X"), 5);
  EXPECT_FALSE(kxlogIsEnabled(leaf, 4));
  EXPECT_TRUE(kxlogIsEnabled(leaf, 5));
  // Levels above 5 count as 5, so an error record is never filtered out.
  EXPECT_TRUE(kxlogIsEnabled(leaf, 9));
}

TEST_F(KxlogTest, LoggersAreUniquePerNameAndNullOrEmptyNameIsTheRoot) {
  kxLogger* one = kxlogGetLogger("Names.One");
  EXPECT_EQ(one, kxlogGetLogger("Names.One"));
  EXPECT_NE(one, kxlogGetLogger("Names.one"));
  EXPECT_STREQ("Names.One", kxlogGetName(one));
  EXPECT_EQ(kxlogGetLogger(nullptr), kxlogGetLogger(""));
  EXPECT_STREQ("", kxlogGetName(kxlogGetLogger(nullptr)));
  EXPECT_STREQ("", kxlogGetName(nullptr));
}

TEST_F(KxlogTest, RecordsCarryLoggerLevelUnitLineAndFormattedText) {
  LogCapture capture;
  kxLogger* logger = kxlogGetLogger("Rec.Unit");
  kxlogWrite(logger, 4, "kxbunit", 77, "Read failed for '%s' after %d tries", "a.cfg", 3);
  kxlogWrite(logger, 2, "kxbunit", 78, "below the level %d", 2);
  kxlogWrite(logger, 9, "kxbunit", 79, "clamped up");
  kxlogWrite(nullptr, 3, nullptr, 0, "on the root");

  std::vector<kxb_test::LogRecord> records = capture.records();
  ASSERT_EQ(3u, records.size()) << capture.dump();
  EXPECT_EQ("Rec.Unit", records[0].logger);
  EXPECT_EQ(4, records[0].level);
  EXPECT_EQ("kxbunit", records[0].unit);
  EXPECT_EQ(77, records[0].line);
  EXPECT_EQ("Read failed for 'a.cfg' after 3 tries", records[0].text);
  EXPECT_EQ(5, records[1].level);
  EXPECT_EQ("", records[2].logger);
  EXPECT_EQ("on the root", records[2].text);

  // Lowering the level lets the progress record through.
  kxlogSetLevel(logger, 2);
  kxlogWrite(logger, 2, "kxbunit", 80, "now %s", "visible");
  EXPECT_TRUE(capture.hasRecord("now visible", 2, "Rec.Unit"));
}

TEST_F(KxlogTest, LongRecordsAreNotCutAtTheSmallBufferButAtTheRecordLimit) {
  LogCapture capture;
  std::string medium(5000, 'm');
  std::string huge(70000, 'h');
  kxlogWrite(nullptr, 5, "u", 1, "<%s>", medium.c_str());
  kxlogWrite(nullptr, 5, "u", 2, "%s", huge.c_str());
  auto records = capture.records();
  ASSERT_EQ(2u, records.size());
  EXPECT_EQ("<" + medium + ">", records[0].text);
  EXPECT_LT(records[1].text.size(), huge.size());
  EXPECT_GE(records[1].text.size(), 60000u);
  EXPECT_EQ(std::string::npos, records[1].text.find_first_not_of('h'));
}

TEST_F(KxlogTest, NestedCapturesBothReceiveAndRestoreTheLevelTheyLowered) {
  kxLogger* logger = kxlogGetLogger("Nest.L");
  LogCapture outer;
  {
    LogCapture inner("Nest.L", 1);
    EXPECT_EQ(1, kxlogGetLevel(logger));
    kxlogWrite(logger, 1, "u", 1, "first");
  }
  EXPECT_EQ(3, kxlogGetLevel(logger));
  kxlogWrite(logger, 1, "u", 2, "filtered again");
  kxlogWrite(logger, 3, "u", 3, "second");
  EXPECT_EQ(1u, outer.count("first"));
  EXPECT_EQ(0u, outer.count("filtered"));
  EXPECT_TRUE(outer.hasRecord("second", 3, "Nest.L"));
  EXPECT_FALSE(outer.hasRecord("absent"));
  outer.clear();
  EXPECT_TRUE(outer.records().empty());
}

TEST_F(KxlogTest, ConfigurationFileSetsLevelsPatternAndFileDestination) {
  ScratchDir dir;
  std::string logFile = dir.file("sub/out.log");
  std::string config = dir.write("log.cfg",
      "# comment\n"
      "\n"
      "  level = 4  \n"
      "level.Cfg.Quiet=5\n"
      "level.Cfg.Chatty = 1\r\n"
      "destination = file:" + logFile + "\n");
  ASSERT_EQ(0, kxlogInitialize());
  ASSERT_EQ(0, kxlogConfigure(config.c_str())) << kxlogLastError();
  EXPECT_STREQ("", kxlogLastError());

  EXPECT_EQ(4, kxlogGetLevel(nullptr));
  EXPECT_EQ(5, kxlogGetLevel(kxlogGetLogger("Cfg.Quiet.Deeper")));
  EXPECT_EQ(1, kxlogGetLevel(kxlogGetLogger("Cfg.Chatty")));
  EXPECT_EQ(4, kxlogGetLevel(kxlogGetLogger("Cfg.Other")));

  kxlogWrite(kxlogGetLogger("Cfg.Chatty"), 2, "kxbcfg", 12, "chatty %d", 12);
  kxlogWrite(kxlogGetLogger("Cfg.Quiet"), 4, "kxbcfg", 13, "quiet dropped");
  std::string written = readAll(logFile);
  auto lines = linesContaining(written, "chatty 12");
  ASSERT_EQ(1u, lines.size()) << written;
  EXPECT_NE(std::string::npos, lines[0].find("[Cfg.Chatty]"));
  EXPECT_NE(std::string::npos, lines[0].find("progress"));
  EXPECT_NE(std::string::npos, lines[0].find("kxbcfg:12"));
  EXPECT_TRUE(linesContaining(written, "quiet dropped").empty());

  // A second configuration appends to the file and applies its pattern.
  std::string second = dir.write("log2.cfg",
      "destination = file:" + logFile + "\n"
      "pattern = %n|%k|%s:%#|%v\n");
  ASSERT_EQ(0, kxlogConfigure(second.c_str())) << kxlogLastError();
  EXPECT_EQ(3, kxlogGetLevel(kxlogGetLogger("Cfg.Chatty")));  // levels reset
  kxlogWrite(kxlogGetLogger("Cfg.P"), 5, "kxbpat", 5, "patterned");
  written = readAll(logFile);
  EXPECT_EQ(1u, linesContaining(written, "chatty 12").size());
  EXPECT_EQ(1u, linesContaining(written, "Cfg.P|error|kxbpat:5|patterned").size())
      << written;
  kxlogTerminate();
}

TEST_F(KxlogTest, MalformedConfigurationFailsNamingFileAndLineAndChangesNothing) {
  ScratchDir dir;
  std::string logFile = dir.file("kept.log");
  std::string good = dir.write("good.cfg", "level = 2\ndestination = file:" + logFile + "\n");
  ASSERT_EQ(0, kxlogInitialize());
  ASSERT_EQ(0, kxlogConfigure(good.c_str())) << kxlogLastError();
  kxlogSetLevel(kxlogGetLogger("Bad.Kept"), 5);

  struct Case {
    const char* text;
    const char* line;
    const char* reason;
  };
  const Case cases[] = {
      {"level = 3\nno equals sign here\n", ":2:", "key = value"},
      {"# c\n\nlevel = 6\n", ":3:", "1 to 5"},
      {"level = two\n", ":1:", "1 to 5"},
      {"level.Bad.X = 0\n", ":1:", "1 to 5"},
      {"level. = 2\n", ":1:", "logger name"},
      {"level = 2\ncolour = red\n", ":2:", "unknown key 'colour'"},
      {"destination = syslog\n", ":1:", "destination"},
      {"destination = file:\n", ":1:", "destination"},
      {"level = 2\npattern =\n", ":2:", "pattern"},
  };
  for (const Case& c : cases) {
    std::string path = dir.write("bad.cfg", c.text);
    EXPECT_NE(0, kxlogConfigure(path.c_str())) << c.text;
    std::string error = kxlogLastError();
    EXPECT_NE(std::string::npos, error.find(path + c.line)) << error;
    EXPECT_NE(std::string::npos, error.find(c.reason)) << error;
  }

  // The good configuration is still in force: levels and destination.
  EXPECT_EQ(2, kxlogGetLevel(nullptr));
  EXPECT_EQ(5, kxlogGetLevel(kxlogGetLogger("Bad.Kept")));
  kxlogWrite(nullptr, 2, "u", 1, "still to the kept file");
  EXPECT_EQ(1u, linesContaining(readAll(logFile), "still to the kept file").size());
  kxlogTerminate();
}

TEST_F(KxlogTest, MissingUnreadableAndUnopenableFilesFailWithTheirReason) {
  ScratchDir dir;
  kxlogSetLevel(nullptr, 5);

  std::string missing = dir.file("missing.cfg");
  EXPECT_NE(0, kxlogConfigure(missing.c_str()));
  std::string error = kxlogLastError();
  EXPECT_NE(std::string::npos, error.find(missing)) << error;
  EXPECT_NE(std::string::npos, error.find("No such file")) << error;

  std::string readable = dir.write("ok.cfg", "level = 1\n");
  kxFaultArm(KX_FAULT_OPEN, 1);
  EXPECT_NE(0, kxlogConfigure(readable.c_str()));
  error = kxlogLastError();
  EXPECT_NE(std::string::npos, error.find(readable)) << error;
  EXPECT_NE(std::string::npos, error.find("Permission denied")) << error;

  EXPECT_NE(0, kxlogConfigure(""));
  EXPECT_STRNE("", kxlogLastError());

  // The destination itself cannot be opened: its line is named.
  std::string blocker = dir.write("plain", "x");
  std::string unopenable = dir.write("dest.cfg",
      "level = 1\ndestination = file:" + blocker + "/under/a/file.log\n");
  EXPECT_NE(0, kxlogConfigure(unopenable.c_str()));
  error = kxlogLastError();
  EXPECT_NE(std::string::npos, error.find(unopenable + ":2:")) << error;
  EXPECT_NE(std::string::npos, error.find(blocker + "/under/a/file.log")) << error;

  EXPECT_EQ(5, kxlogGetLevel(nullptr));  // nothing changed by any of them

  // The reason is per thread: another thread sees none.
  std::string other = "unset";
  std::thread([&] { other = kxlogLastError(); }).join();
  EXPECT_EQ("", other);
}

TEST_F(KxlogTest, RecordsReachTheDestinationOnlyWhileInitialised) {
  ScratchDir dir;
  std::string logFile = dir.file("life.log");
  std::string config = dir.write("life.cfg", "destination = file:" + logFile + "\n");
  ASSERT_EQ(0, kxlogConfigure(config.c_str())) << kxlogLastError();

  // The test program holds logging up already: count it down to zero,
  // probing the file after each step, and count it back up at the end.
  int held = 0;
  for (;; ++held) {
    std::string probe = "probe " + std::to_string(held);
    kxlogWrite(nullptr, 5, "u", 0, "%s", probe.c_str());
    if (linesContaining(readAll(logFile), probe).empty()) break;
    ASSERT_LT(held, 100);
    kxlogTerminate();
  }

  LogCapture capture;
  kxlogWrite(nullptr, 5, "u", 1, "before init");
  ASSERT_EQ(0, kxlogInitialize());
  // The first initialisation installed the default configuration (standard
  // error): point it at the file again.
  ASSERT_EQ(0, kxlogConfigure(config.c_str())) << kxlogLastError();
  ASSERT_EQ(0, kxlogInitialize());
  kxlogWrite(nullptr, 5, "u", 2, "while counted twice");
  kxlogTerminate();
  kxlogWrite(nullptr, 5, "u", 3, "still counted once");
  kxlogTerminate();
  kxlogWrite(nullptr, 5, "u", 4, "after terminate");
  kxlogTerminate();  // unmatched: ignored
  ASSERT_EQ(0, kxlogConfigure(config.c_str())) << kxlogLastError();
  kxlogWrite(nullptr, 5, "u", 5, "configured but not initialised");

  std::string written = readAll(logFile);
  EXPECT_TRUE(linesContaining(written, "before init").empty()) << written;
  EXPECT_EQ(1u, linesContaining(written, "while counted twice").size()) << written;
  EXPECT_EQ(1u, linesContaining(written, "still counted once").size()) << written;
  EXPECT_TRUE(linesContaining(written, "after terminate").empty()) << written;
  EXPECT_TRUE(linesContaining(written, "configured but not").empty()) << written;
  // The capture saw them all.
  EXPECT_EQ(5u, capture.records().size()) << capture.dump();

  for (int i = 0; i < held; ++i) ASSERT_EQ(0, kxlogInitialize());
}

TEST_F(KxlogTest, ConcurrentLoggingLevelChangesAndReconfigurationStayConsistent) {
  ScratchDir dir;
  std::string logFile = dir.file("conc.log");
  std::string config = dir.write("conc.cfg",
      "level = 5\ndestination = file:" + logFile + "\npattern = %n %v\n");
  std::string other = dir.write("other.cfg",
      "level = 1\ndestination = file:" + dir.file("other.log") + "\n");
  ASSERT_EQ(0, kxlogInitialize());
  LogCapture capture;

  constexpr int kWriters = 4;
  constexpr int kRecords = 300;
  std::atomic<bool> stop{false};
  std::vector<std::thread> threads;
  for (int t = 0; t < kWriters; ++t) {
    threads.emplace_back([t] {
      std::string name = "Conc.W" + std::to_string(t);
      for (int i = 0; i < kRecords; ++i) {
        kxLogger* logger = kxlogGetLogger((name + ".L" + std::to_string(i % 7)).c_str());
        // Level 5 always passes; level 1 depends on the churn below.
        kxlogWrite(logger, 5, "conc", i, "writer %d record %d", t, i);
        kxlogWrite(logger, 1, "conc", i, "maybe %d", i);
        kxlogIsEnabled(logger, 2);
      }
    });
  }
  threads.emplace_back([&stop] {
    for (int i = 0; !stop.load(); ++i) {
      kxlogSetLevel(kxlogGetLogger("Conc"), 1 + i % 5);
      kxlogSetLevel(kxlogGetLogger(("Conc.W" + std::to_string(i % kWriters)).c_str()),
                    i % 6);
    }
  });
  threads.emplace_back([&stop, &config, &other] {
    while (!stop.load()) {
      EXPECT_EQ(0, kxlogConfigure(config.c_str())) << kxlogLastError();
      EXPECT_EQ(0, kxlogConfigure(other.c_str())) << kxlogLastError();
    }
  });
  for (int t = 0; t < kWriters; ++t) threads[t].join();
  stop = true;
  for (size_t t = kWriters; t < threads.size(); ++t) threads[t].join();

  EXPECT_EQ(static_cast<size_t>(kWriters * kRecords),
            capture.count("record", 5));
  // Whatever happened in between, the final levels are what lookups give.
  kxlogSetLevel(kxlogGetLogger("Conc"), 4);
  for (int t = 0; t < kWriters; ++t) {
    std::string name = "Conc.W" + std::to_string(t);
    kxlogSetLevel(kxlogGetLogger(name.c_str()), 0);
    EXPECT_EQ(4, kxlogGetLevel(kxlogGetLogger((name + ".L3").c_str())));
  }
  ASSERT_EQ(0, kxlogConfigure(config.c_str()));
  kxlogWrite(kxlogGetLogger("Conc.Final"), 5, "conc", 1, "final line");
  EXPECT_EQ(1u, linesContaining(readAll(logFile), "Conc.Final final line").size());
  kxlogTerminate();
}

}  // namespace
