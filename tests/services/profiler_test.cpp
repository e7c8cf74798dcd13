#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "kxbprofiler.h"
#include "kxlog.h"
#include "support/log_capture.h"

namespace {

// Sleeps long enough for a section to register clearly in thousandths.
void busy(int millis) {
  std::this_thread::sleep_for(std::chrono::milliseconds(millis));
}

TEST(Profiler, NestedSectionsCountOwnTime) {
  RTProfiler profiler;
  profiler.enter();
  busy(5);
  profiler.enter();
  busy(30);
  profiler.exit("inner");
  profiler.exit("outer");
  int innerMs = 0, innerCount = 0, outerMs = 0, outerCount = 0;
  ASSERT_TRUE(profiler.getData("inner", &innerMs, &innerCount));
  ASSERT_TRUE(profiler.getData("outer", &outerMs, &outerCount));
  EXPECT_EQ(1, innerCount);
  EXPECT_EQ(1, outerCount);
  EXPECT_GE(innerMs, 30);
  // The outer section's own time excludes the inner 30 ms.
  EXPECT_LT(outerMs, innerMs);

  profiler.enter();
  profiler.exit("inner");
  ASSERT_TRUE(profiler.getData("inner", &innerMs, &innerCount));
  EXPECT_EQ(2, innerCount);

  int ms = 7, count = 7;
  EXPECT_FALSE(profiler.getData("absent", &ms, &count));
  EXPECT_EQ(0, ms);
  EXPECT_EQ(0, count);
}

TEST(Profiler, ExitWithoutEnterIsReportedAndChangesNothing) {
  kxb_test::LogCapture capture;
  RTProfiler profiler;
  profiler.exit("stray");
  EXPECT_TRUE(capture.hasRecord(
      "Inconsistent profile entry/exit count for stray.", KXLOG_ERROR,
      "KX.RTProfiler"));
  EXPECT_EQ(nullptr, profiler.getId(true));
}

TEST(Profiler, LongNamesShareTheirFirst255Bytes) {
  RTProfiler profiler;
  std::string a(300, 'n');
  std::string b = std::string(255, 'n') + "different tail";
  profiler.enter();
  profiler.exit(a.c_str());
  profiler.enter();
  profiler.exit(b.c_str());
  int ms = 0, count = 0;
  ASSERT_TRUE(profiler.getData(a.c_str(), &ms, &count));
  EXPECT_EQ(2, count);
  const char* id = profiler.getId(true);
  ASSERT_NE(nullptr, id);
  EXPECT_EQ(255u, std::string(id).size());
  EXPECT_EQ(nullptr, profiler.getId(false));
  EXPECT_EQ(nullptr, profiler.getId(false));
}

TEST(Profiler, WalkDumpAndReset) {
  RTProfiler profiler;
  for (const char* name : {"b", "a", "c"}) {
    profiler.enter();
    profiler.exit(name);
  }
  EXPECT_STREQ("a", profiler.getId(true));
  EXPECT_STREQ("b", profiler.getId(false));
  EXPECT_STREQ("c", profiler.getId(false));
  EXPECT_EQ(nullptr, profiler.getId(false));
  EXPECT_STREQ("a", profiler.getId(true));

  {
    kxb_test::LogCapture quiet("KX.RTProfiler", 2);
    profiler.dump("run");
    EXPECT_EQ(0u, quiet.records().size());
  }
  {
    kxb_test::LogCapture capture("KX.RTProfiler", 1);
    profiler.dump("run");
    auto records = capture.records();
    ASSERT_EQ(4u, records.size()) << capture.dump();
    EXPECT_EQ("Profiler dump run", records[0].text);
    EXPECT_EQ(0u, records[1].text.rfind("a,", 0));
    EXPECT_EQ(0u, records[3].text.rfind("c,", 0));
    EXPECT_NE(std::string::npos, records[3].text.find(",1"));
  }
  {
    kxb_test::LogCapture capture("KX.RTProfiler", 2);
    profiler.reset("done");  // clears even when the level hides the line
  }
  int ms = 0, count = 0;
  EXPECT_FALSE(profiler.getData("a", &ms, &count));
  EXPECT_EQ(nullptr, profiler.getId(true));
}

}  // namespace
