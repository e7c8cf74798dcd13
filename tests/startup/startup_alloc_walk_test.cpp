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

// Start-up either reads every source or fails: running out of memory while
// reading a file or a directory must never pass for a missing file. A
// start-up that succeeds has every option (a fault may still have cost it
// a log record); a failed one gives a reason, leaves the global mutex free,
// and the next start-up sets every option again.
TEST(StartupAllocationWalk, FailsWithAReasonOrReadsEverySource) {
  kxb_test::StartupHome home;
  writeSources(home);
  KXB_IN_FRESH_PROCESS([&] {
    ASSERT_TRUE(home.initialise());
    startOnce();
    int lostSources = 0;
    kxb_test::walkPoolAndHeap("start-up", [&](kxb_test::AllocFault& fault) {
      kxbClearConfigOptions(KxbString("", true));
      const char* reason = nullptr;
      fault.arm();
      const int result = kxbStartup(&reason, 0);
      const bool hit = fault.disarm();
      EXPECT_TRUE(globalMutexIsFree());
      if (result == 0) {
        expectEveryOption(home);
        return;
      }
      ASSERT_TRUE(hit) << reason;
      ASSERT_EQ(1, result);
      ASSERT_NE(nullptr, reason);
      EXPECT_STRNE("", reason);
      if (std::string(reason) == "Out of memory during start-up") ++lostSources;
      kxbClearConfigOptions(KxbString("", true));
      ASSERT_EQ(0, kxbStartup(&reason, 0)) << reason;
      expectEveryOption(home);
    });
    // Most faults fall where a step would have gone on without its value.
    EXPECT_GT(lostSources, 100);
    kxbShutdown();
    checkLeaks();
  });
}

}  // namespace
