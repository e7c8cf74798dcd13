// Time stamps across the switch to safe mode.
#include "np_stamp.h"

#include <gtest/gtest.h>

#include "support/fresh_process.h"

namespace {

bool notBefore(const np_stamp& later, const np_stamp& earlier) {
  return later.seconds > earlier.seconds ||
         (later.seconds == earlier.seconds &&
          later.nanoseconds >= earlier.nanoseconds);
}

TEST(StampSafeMode, StampsStayContinuousAcrossTheSwitch) {
  KXB_IN_FRESH_PROCESS([] {
    EXPECT_EQ(0, np_stamp_safe_mode());
    np_stamp before;
    np_stamp_current(&before);
    np_stamp_set_safe_mode();
    np_stamp_set_safe_mode();  // a second call changes nothing
    EXPECT_EQ(1, np_stamp_safe_mode());
    np_stamp previous = before;
    for (int i = 0; i < 10000; ++i) {
      np_stamp now;
      np_stamp_current(&now);
      ASSERT_TRUE(notBefore(now, previous)) << i;
      ASSERT_GE(now.nanoseconds, 0);
      ASSERT_LT(now.nanoseconds, 1000000000);
      previous = now;
    }
    // The raw clock continues the monotonic one: no jump across the switch.
    np_duration elapsed;
    np_stamp_diff(&before, &previous, &elapsed);
    EXPECT_GE(elapsed.seconds, 0);
    EXPECT_LT(elapsed.seconds, 5);
  });
}

}  // namespace
