// Start-up running out of memory at every allocation: with the n-th pool
// (or heap) allocation failing, for n = 1, 2, 3, ... until start-up no
// longer reaches the fault. The effective set is cleared before each run,
// so a source that was silently lost shows. It all runs in one fresh
// process (start-up changes the process for good); under AddressSanitizer
// the process checks for leaks before it ends.
#include <string>

#include <gtest/gtest.h>

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

#include "kxbconfigoptions.h"
#include "kxbstartup.h"
#include "support/alloc_walk.h"
#include "support/fresh_process.h"
#include "support/startup_home.h"

namespace {

using kxb_test::effectiveOption;
using kxb_test::globalMutexIsFree;

void writeSources(const kxb_test::StartupHome& home) {
  home.write("home/etc/app.cfg",
             "# application settings\nfrom_app=app\nshared=app\n"
             "BASE/TEMP=%%KXEXEC_HOME%%/tmp\n");
  home.write("home/etc/macros/a.cfg", "from_macros=m\nshared=macros\n");
  home.write("home/etc/macros.cfg", "from_macros_cfg=mc\n");
  home.write("home/etc/site.cfg", "from_queued_file=q\n");
}

// Every source's option is in the effective set.
void expectEveryOption(const kxb_test::StartupHome& home) {
  EXPECT_EQ("app", effectiveOption("from_app"));
  EXPECT_EQ("macros", effectiveOption("shared"));
  EXPECT_EQ("m", effectiveOption("from_macros"));
  EXPECT_EQ("mc", effectiveOption("from_macros_cfg"));
  EXPECT_EQ("q", effectiveOption("from_queued_file"));
  EXPECT_EQ("o", effectiveOption("from_option"));
  EXPECT_EQ(home.home(), effectiveOption("KXEXEC_HOME"));
  EXPECT_EQ(home.home() + "/tmp", effectiveOption("TEMP", true));
}

// Initialises, queues a file and an option, and starts up once cleanly.
void startOnce() {
  const char* error = nullptr;
  ASSERT_EQ(0, kxbStartupAddConfigFile("site.cfg", &error));
  ASSERT_EQ(0, kxbStartupAddOption("from_option", "o", &error));
  ASSERT_EQ(0, kxbStartup(&error, 0)) << error;
}

void checkLeaks() {
#if defined(__SANITIZE_ADDRESS__)
  EXPECT_EQ(0, __lsan_do_recoverable_leak_check());
#endif
}

// What holds today: start-up never crashes, never keeps the global mutex,
// gives a reason whenever it fails, and a start-up after a faulted one
// sets every option again.
TEST(StartupAllocationWalk, FailsWithAReasonAndRecovers) {
  kxb_test::StartupHome home;
  writeSources(home);
  KXB_IN_FRESH_PROCESS([&] {
    ASSERT_TRUE(home.initialise());
    startOnce();
    kxb_test::walkPoolAndHeap("start-up", [&](kxb_test::AllocFault& fault) {
      kxbClearConfigOptions(KxbString("", true));
      const char* reason = nullptr;
      fault.arm();
      const int result = kxbStartup(&reason, 0);
      const bool hit = fault.disarm();
      EXPECT_TRUE(globalMutexIsFree());
      if (result != 0) {
        EXPECT_TRUE(hit);
        ASSERT_NE(nullptr, reason);
        EXPECT_STRNE("", reason);
      }
      kxbClearConfigOptions(KxbString("", true));
      ASSERT_EQ(0, kxbStartup(&reason, 0)) << reason;
      expectEveryOption(home);
    });
    kxbShutdown();
    checkLeaks();
  });
}

// The rule start-up does not meet yet: a start-up that reports success
// must have read every source. Running out of memory while reading a file
// or a directory is taken for a missing file, so start-up goes on without
// that file's options and succeeds (seen from the 9th pool allocation
// on). Run with --gtest_also_run_disabled_tests.
TEST(StartupAllocationWalk, DISABLED_SucceedsOnlyWithEveryOptionSet) {
  kxb_test::StartupHome home;
  writeSources(home);
  KXB_IN_FRESH_PROCESS([&] {
    ASSERT_TRUE(home.initialise());
    startOnce();
    kxb_test::walkPoolAndHeap("start-up", [&](kxb_test::AllocFault& fault) {
      kxbClearConfigOptions(KxbString("", true));
      const char* reason = nullptr;
      fault.arm();
      const int result = kxbStartup(&reason, 0);
      const bool hit = fault.disarm();
      if (hit && result == 1) return;
      ASSERT_EQ(0, result) << reason;
      expectEveryOption(home);
    });
    kxbShutdown();
  });
}

}  // namespace
