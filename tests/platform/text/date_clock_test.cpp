// The current date and time, local and UTC, against the C library's clock.
#include <gtest/gtest.h>

#include <time.h>

#include <cmath>
#include <cstdint>
#include <optional>
#include <string>

#include "kxs_date.h"
#include "support/time_zone.h"

namespace {

constexpr double kMsPerDay = 86400000.0;

int64_t toMs(double date) { return std::llround(date * kMsPerDay); }

// Seconds from the Unix epoch back to day 0 (1899-12-30), by the C library.
int64_t unixSecondsOfDayZero() {
  struct tm tm = {};
  tm.tm_year = -1;
  tm.tm_mon = 11;
  tm.tm_mday = 30;
  return timegm(&tm);
}

// A number is a whole millisecond when its split composes back to itself.
void expectWholeMillisecond(double date) {
  int e[7];
  ASSERT_EQ(kxs_decompose_date_milli(date, &e[0], &e[1], &e[2], &e[3], &e[4],
                                     &e[5], &e[6]),
            1);
  double again;
  ASSERT_EQ(kxs_compose_date_milli(e[0], e[1], e[2], e[3], e[4], e[5], e[6],
                                   &again),
            1);
  EXPECT_EQ(again, date);
}

TEST(DateClock, UtcNowMatchesTheSystemClock) {
  const int64_t dayZero = unixSecondsOfDayZero();
  const time_t before = time(nullptr);
  const double now = kxs_gmtimetoday();
  const time_t after = time(nullptr);
  const int64_t ms = toMs(now);
  EXPECT_GE(ms, (before - dayZero) * 1000);
  EXPECT_LT(ms, (after + 1 - dayZero) * 1000);
  expectWholeMillisecond(now);
}

TEST(DateClock, LocalAndUtcNowDifferByTheZoneOffset) {
  // Fixed POSIX zones need no zone database: UTC+5:30, UTC-8, UTC, and
  // whatever the machine runs in.
  for (const char* zone : {"XST-5:30", "YST8", "UTC0", ""}) {
    std::optional<kxb_test::ScopedTimeZone> scoped;
    if (*zone != '\0') scoped.emplace(zone);
    const double utcBefore = kxs_gmtimetoday();
    const double local = kxs_timetoday();
    const double utcAfter = kxs_gmtimetoday();
    const time_t t = time(nullptr);
    struct tm lt;
    ASSERT_NE(localtime_r(&t, &lt), nullptr);
    const int64_t offsetMs = static_cast<int64_t>(lt.tm_gmtoff) * 1000;
    if (*zone == 'X') {
      EXPECT_EQ(offsetMs, 19800000);  // the zone really was applied
    }
    const int64_t localAsUtc = toMs(local) - offsetMs;
    EXPECT_LE(toMs(utcBefore), localAsUtc) << zone;
    EXPECT_LE(localAsUtc, toMs(utcAfter)) << zone;
    expectWholeMillisecond(local);
  }
}

}  // namespace
