// Composition and decomposition of day numbers, checked against the C
// library's calendar.
#include <gtest/gtest.h>

#include <time.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>

#include "kxs_date.h"

namespace {

constexpr double kMsPerDay = 86400000.0;

int64_t toMs(double date) { return std::llround(date * kMsPerDay); }

// Seconds from the Unix epoch to a UTC date, by the C library.
time_t cUtc(int y, int m, int d, int h = 0, int mi = 0, int s = 0) {
  struct tm tm = {};
  tm.tm_year = y - 1900;
  tm.tm_mon = m - 1;
  tm.tm_mday = d;
  tm.tm_hour = h;
  tm.tm_min = mi;
  tm.tm_sec = s;
  return timegm(&tm);
}

double compose(int y, int m, int d, int h = 0, int mi = 0, int s = 0,
               int ms = 0) {
  double date = std::numeric_limits<double>::quiet_NaN();
  EXPECT_EQ(kxs_compose_date_milli(y, m, d, h, mi, s, ms, &date), 1)
      << y << "-" << m << "-" << d << " " << h << ":" << mi << ":" << s << "."
      << ms;
  return date;
}

TEST(DateCalendar, AgreesWithTheCLibraryOverYears1To9999) {
  // The C library's proleptic Gregorian calendar is the oracle: it says which
  // days exist, how far apart they are and on which weekday they fall.
  const time_t dayZero = cUtc(1899, 12, 30);
  std::mt19937_64 rng(20240307);
  std::uniform_int_distribution<int> year(1, 9999), month(1, 12), day(1, 31),
      hour(0, 23), minsec(0, 59), milli(0, 999);
  int valid = 0;
  for (int i = 0; i < 200000; ++i) {
    const int y = year(rng), m = month(rng), d = day(rng), h = hour(rng),
              mi = minsec(rng), s = minsec(rng), ms = milli(rng);
    struct tm tm = {};
    tm.tm_year = y - 1900;
    tm.tm_mon = m - 1;
    tm.tm_mday = d;
    tm.tm_hour = h;
    tm.tm_min = mi;
    tm.tm_sec = s;
    const time_t t = timegm(&tm);
    const bool exists = tm.tm_mon == m - 1 && tm.tm_mday == d;

    double date = -12345.0;
    ASSERT_EQ(kxs_compose_date_milli(y, m, d, h, mi, s, ms, &date),
              exists ? 1 : 0)
        << y << "-" << m << "-" << d;
    if (!exists) {
      EXPECT_EQ(date, -12345.0);
      continue;
    }
    ++valid;
    ASSERT_EQ(toMs(date), (static_cast<int64_t>(t) - dayZero) * 1000 + ms)
        << y << "-" << m << "-" << d;
    ASSERT_EQ(kxs_day_of_week(date), tm.tm_wday) << y << "-" << m << "-" << d;

    int e[7] = {-1, -1, -1, -1, -1, -1, -1};
    ASSERT_EQ(kxs_decompose_date_milli(date, &e[0], &e[1], &e[2], &e[3], &e[4],
                                       &e[5], &e[6]),
              1);
    const int want[7] = {y, m, d, h, mi, s, ms};
    for (int k = 0; k < 7; ++k) ASSERT_EQ(e[k], want[k]) << k;
  }
  // About 1 in 60 random days does not exist; most do.
  EXPECT_GT(valid, 190000);
}

TEST(DateCalendar, DayZeroIs18991230AndFractionsCountForward) {
  EXPECT_EQ(compose(1899, 12, 30), 0.0);
  EXPECT_EQ(compose(1899, 12, 31, 12), 1.5);
  EXPECT_EQ(compose(1900, 1, 1), 2.0);
  // Before day 0 the fraction still counts forward within the day.
  EXPECT_EQ(compose(1899, 12, 29, 18), -0.25);
  EXPECT_EQ(compose(1899, 12, 29, 6), -0.75);
  EXPECT_EQ(compose(1899, 12, 30, 6), 0.25);

  // Later instants are larger, on either side of day 0: compare the order
  // of random element tuples with the order of their numbers.
  std::mt19937_64 rng(7);
  std::uniform_int_distribution<int> year(1, 9999), month(1, 12), day(1, 28),
      hour(0, 23), minsec(0, 59), milli(0, 999);
  for (int i = 0; i < 20000; ++i) {
    int a[7], b[7];
    for (int* x : {a, b}) {
      x[0] = i % 2 ? year(rng) : 1895 + i % 10;
      x[1] = month(rng);
      x[2] = day(rng);
      x[3] = hour(rng);
      x[4] = minsec(rng);
      x[5] = minsec(rng);
      x[6] = milli(rng);
    }
    if (i % 3 == 0) {
      for (int k = 0; k < 6; ++k) b[k] = a[k];  // same second, differing ms
    }
    const double da = compose(a[0], a[1], a[2], a[3], a[4], a[5], a[6]);
    const double db = compose(b[0], b[1], b[2], b[3], b[4], b[5], b[6]);
    const bool tupleLess = std::lexicographical_compare(a, a + 7, b, b + 7);
    const bool tupleGreater = std::lexicographical_compare(b, b + 7, a, a + 7);
    ASSERT_EQ(da < db, tupleLess);
    ASSERT_EQ(da > db, tupleGreater);
  }
}

TEST(DateCalendar, LeapYearsFollowTheCenturyRules) {
  double date;
  for (int y : {1900, 1800, 1700, 2100, 2023, 1, 9999}) {
    EXPECT_EQ(kxs_compose_date(y, 2, 29, 0, 0, 0, &date), 0) << y;
  }
  for (int y : {2000, 1600, 2400, 2024, 4, 9996}) {
    EXPECT_EQ(kxs_compose_date(y, 2, 29, 0, 0, 0, &date), 1) << y;
  }
  EXPECT_EQ(compose(1900, 3, 1) - compose(1900, 2, 28), 1.0);
  EXPECT_EQ(compose(2000, 3, 1) - compose(2000, 2, 28), 2.0);
  EXPECT_EQ(compose(2001, 1, 1) - compose(2000, 1, 1), 366.0);
  EXPECT_EQ(compose(1901, 1, 1) - compose(1900, 1, 1), 365.0);
}

TEST(DateCalendar, CompositionRejectsImpossibleElements) {
  struct Case {
    int y, m, d, h, mi, s, ms;
  };
  const Case bad[] = {
      {2024, 2, 30, 0, 0, 0, 0},  {2024, 4, 31, 0, 0, 0, 0},
      {2024, 13, 1, 0, 0, 0, 0},  {2024, 0, 1, 0, 0, 0, 0},
      {2024, 1, 0, 0, 0, 0, 0},   {2024, 1, 32, 0, 0, 0, 0},
      {2024, 1, 1, 24, 0, 0, 0},  {2024, 1, 1, -1, 0, 0, 0},
      {2024, 1, 1, 0, 60, 0, 0},  {2024, 1, 1, 0, -1, 0, 0},
      {2024, 1, 1, 0, 0, 60, 0},  {2024, 1, 1, 0, 0, -1, 0},
      {2024, 1, 1, 0, 0, 0, 1000}, {2024, 1, 1, 0, 0, 0, -1},
      {0, 1, 1, 0, 0, 0, 0},      {10000, 1, 1, 0, 0, 0, 0},
      {-2024, 1, 1, 0, 0, 0, 0},  {0, 0, 0, 0, 0, 0, 0},
  };
  for (const Case& c : bad) {
    double date = 42.0;
    EXPECT_EQ(kxs_compose_date_milli(c.y, c.m, c.d, c.h, c.mi, c.s, c.ms,
                                     &date),
              0)
        << c.y << "-" << c.m << "-" << c.d << " " << c.h << ":" << c.mi << ":"
        << c.s << "." << c.ms;
    EXPECT_EQ(date, 42.0);
    if (c.ms == 0) {
      EXPECT_EQ(kxs_compose_date(c.y, c.m, c.d, c.h, c.mi, c.s, &date), 0);
      EXPECT_EQ(date, 42.0);
    }
  }
  EXPECT_EQ(kxs_compose_date(2024, 1, 1, 0, 0, 0, nullptr), 0);
  EXPECT_EQ(kxs_compose_date_milli(2024, 1, 1, 0, 0, 0, 0, nullptr), 0);
}

TEST(DateCalendar, DecompositionRejectsNumbersOutsideTheRange) {
  const double first = compose(1, 1, 1);
  const double last = compose(9999, 12, 31, 23, 59, 59, 999);
  const double ms = 1.0 / kMsPerDay;
  const double bad[] = {std::numeric_limits<double>::quiet_NaN(),
                        std::numeric_limits<double>::infinity(),
                        -std::numeric_limits<double>::infinity(),
                        1e300,
                        -1e300,
                        first - 0.6 * ms,
                        last + 0.6 * ms,
                        first - 1.0,
                        last + 1.0};
  for (double date : bad) {
    int e[7] = {-7, -7, -7, -7, -7, -7, -7};
    EXPECT_EQ(kxs_decompose_date_milli(date, &e[0], &e[1], &e[2], &e[3], &e[4],
                                       &e[5], &e[6]),
              0)
        << date;
    EXPECT_EQ(kxs_decompose_date(date, &e[0], &e[1], &e[2], &e[3], &e[4],
                                 &e[5]),
              0);
    for (int x : e) EXPECT_EQ(x, -7);
    EXPECT_EQ(kxs_day_of_week(date), -1);
  }
  // Just inside: rounding to the nearest millisecond lands on the ends.
  int y = 0, mo = 0, msec = -1;
  EXPECT_EQ(kxs_decompose_date_milli(first - 0.4 * ms, &y, &mo, nullptr,
                                     nullptr, nullptr, nullptr, &msec),
            1);
  EXPECT_EQ(y, 1);
  EXPECT_EQ(msec, 0);
  EXPECT_EQ(kxs_decompose_date_milli(last + 0.4 * ms, &y, &mo, nullptr,
                                     nullptr, nullptr, nullptr, &msec),
            1);
  EXPECT_EQ(y, 9999);
  EXPECT_EQ(msec, 999);
  // Every output may be left out.
  EXPECT_EQ(kxs_decompose_date_milli(0.0, nullptr, nullptr, nullptr, nullptr,
                                     nullptr, nullptr, nullptr),
            1);
}

TEST(DateCalendar, DecompositionRoundsToTheNearestMillisecond) {
  const double ms = 1.0 / kMsPerDay;
  int e[7];
  auto split = [&](double date) {
    return kxs_decompose_date_milli(date, &e[0], &e[1], &e[2], &e[3], &e[4],
                                    &e[5], &e[6]);
  };
  const double base = compose(2024, 3, 7, 9, 5, 7, 250);
  ASSERT_EQ(split(base + 0.4 * ms), 1);
  EXPECT_EQ(e[6], 250);
  ASSERT_EQ(split(base + 0.6 * ms), 1);
  EXPECT_EQ(e[6], 251);

  // Rounding up at the last millisecond of a day carries into the next day.
  ASSERT_EQ(split(compose(2024, 2, 29, 23, 59, 59, 999) + 0.6 * ms), 1);
  const int nextDay[7] = {2024, 3, 1, 0, 0, 0, 0};
  for (int k = 0; k < 7; ++k) EXPECT_EQ(e[k], nextDay[k]) << k;

  // The same before day 0, where the number is negative.
  ASSERT_EQ(split(compose(1850, 12, 31, 23, 59, 59, 999) + 0.6 * ms), 1);
  const int newYear[7] = {1851, 1, 1, 0, 0, 0, 0};
  for (int k = 0; k < 7; ++k) EXPECT_EQ(e[k], newYear[k]) << k;

  // The six-element split drops the milliseconds rather than rounding them.
  ASSERT_EQ(kxs_decompose_date(compose(2024, 12, 31, 23, 59, 59, 999), &e[0],
                               &e[1], &e[2], &e[3], &e[4], &e[5]),
            1);
  const int dropped[6] = {2024, 12, 31, 23, 59, 59};
  for (int k = 0; k < 6; ++k) EXPECT_EQ(e[k], dropped[k]) << k;
}

}  // namespace
