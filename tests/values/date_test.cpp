// KxbDate: normalisation, null state, text forms, ordering and the clock.
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <string>
#include <vector>

#include "kx_fault.h"
#include "kxbdate.h"
#include "kxs_date.h"
#include "support/time_zone.h"

namespace {

constexpr double kMsPerDay = 86400000.0;

double compose(int y, int mo, int d, int h, int mi, int s, int ms) {
  double value = 0;
  EXPECT_EQ(kxs_compose_date_milli(y, mo, d, h, mi, s, ms, &value), 1);
  return value;
}

std::vector<int> elements(const KxbDate& date) {
  std::vector<int> e(7, -1);
  date.getElements(&e[0], &e[1], &e[2], &e[3], &e[4], &e[5], &e[6]);
  return e;
}

TEST(KxbDate, DoublesAreNormalisedToWholeMilliseconds) {
  KxbDate fromElements;
  fromElements.assign(2024, 3, 7, 9, 5, 0, 250);
  const double exact = fromElements.asDouble();
  // 0.3 ms late reads as .250, 0.7 ms late as .251.
  const KxbDate late(exact + 0.3 / kMsPerDay);
  EXPECT_EQ(late.compare(fromElements), 0);
  EXPECT_EQ(late.asDouble(), exact);
  EXPECT_EQ(KxbDate(exact + 0.7 / kMsPerDay).asDouble(),
            compose(2024, 3, 7, 9, 5, 0, 251));
  // Before day 0 the fraction still counts forward: 1899-12-29 18:00.
  EXPECT_EQ(elements(KxbDate(-0.25 + 0.1 / kMsPerDay)),
            (std::vector<int>{1899, 12, 29, 18, 0, 0, 0}));
  // Numbers without a calendar split give a null date holding 0.0.
  for (double bad : {std::numeric_limits<double>::quiet_NaN(), -1e9, 3e6}) {
    EXPECT_TRUE(KxbDate(bad).isNull()) << bad;
    EXPECT_EQ(KxbDate(bad).asDouble(), 0.0) << bad;
  }
}

TEST(KxbDate, ImpossibleElementsGiveNullAndSuccessClearsIt) {
  for (const KxbDate& bad :
       {KxbDate(2023, 2, 29, 0, 0, 0), KxbDate(2024, 1, 1, 24, 0, 0),
        KxbDate(0, 1, 1, 0, 0, 0)}) {
    EXPECT_TRUE(bad.isNull());
  }
  KxbDate date(2024, 2, 29, 23, 59, 59);
  ASSERT_FALSE(date.isNull());
  const double leapDay = date.asDouble();
  // A failed assignment nulls the date and keeps the stored number.
  date.assign(2024, 1, 1, 0, 0, 0, 1000);
  EXPECT_TRUE(date.isNull());
  EXPECT_EQ(date.asDouble(), leapDay);
  date.assign(2024, 4, 30, 1, 2, 3, 4);
  EXPECT_EQ(elements(date), (std::vector<int>{2024, 4, 30, 1, 2, 3, 4}));
  // setNull keeps the number; elements of a null date are zeros.
  date.setNull();
  EXPECT_EQ(date.asDouble(), compose(2024, 4, 30, 1, 2, 3, 4));
  EXPECT_EQ(elements(date), std::vector<int>(7, 0));
}

TEST(KxbDate, TextIsReadInTheProcessDateOrder) {
  const int savedOrder = kxs_get_date_format();
  kxs_set_date_format(KXS_DATE_ORDER_DMY);
  EXPECT_EQ(KxbDate("07/03/2024 9:05:00.5").asDouble(),
            compose(2024, 3, 7, 9, 5, 0, 500));
  kxs_set_date_format(KXS_DATE_ORDER_MDY);
  KxbDate date;
  date.assign("07/03/2024");
  EXPECT_EQ(date.asDouble(), compose(2024, 7, 3, 0, 0, 0, 0));
  // Unreadable text, a time alone, a day the month lacks: null, the stored
  // number stays.
  const char* const kBad[] = {"abc", "", "9:05 PM", "04/31/2024", nullptr};
  for (const char* bad : kBad) {
    KxbDate kept = date;
    kept.assign(bad);
    EXPECT_TRUE(kept.isNull());
    EXPECT_EQ(kept.asDouble(), date.asDouble());
    EXPECT_TRUE(KxbDate(bad).isNull());
  }
  kxs_set_date_format(savedOrder);
}

TEST(KxbDate, TextFormsPrintTheStoredNumberAlsoWhenNull) {
  KxbDate date;
  date.assign(2024, 3, 7, 9, 5, 0, 250);
  char platform[64];
  kxs_date_to_string(date.asDouble(), 0, platform, sizeof platform);
  EXPECT_STREQ(date.asString(false, true).asCstr(), platform);
  EXPECT_STREQ(date.asString(false).asCstr(), platform);
  EXPECT_STREQ(date.asString(true, true).asCstr(), "2024-03-07T09:05:00.250");
  EXPECT_STREQ(date.asString(true).asCstr(), "2024-03-07T09:05:00.250");
  date.setNull();
  EXPECT_STREQ(date.asString(true, false).asCstr(), "2024-03-07T09:05:00");
  EXPECT_STREQ(KxbDate().asString(true, false).asCstr(), "1899-12-30T00:00:00");
  // Allocation failure gives a null string.
  kxFaultArm(KX_FAULT_POOL_ALLOC, 1);
  EXPECT_TRUE(date.asString(true, true).isNull());
  kxFaultArm(KX_FAULT_POOL_ALLOC, 1);
  EXPECT_TRUE(date.asString(-5, 30).isNull());
}

TEST(KxbDate, ZoneDesignators) {
  const KxbDate date(2024, 3, 7, 9, 5, 0);
  const struct {
    int hours;
    unsigned minutes;
    const char* zone;
  } kCases[] = {{0, 0, "Z"},    {-5, 30, "-05:30"}, {5, 0, "+05"},
                {0, 30, ":30"}, {-10, 0, "-10"},    {9, 5, "+09:05"}};
  for (const auto& c : kCases) {
    EXPECT_EQ(std::string(date.asString(c.hours, c.minutes).asCstr()),
              std::string("2024-03-07T09:05:00") + c.zone);
  }
  // Milliseconds are dropped; the year is not padded.
  KxbDate early;
  early.assign(33, 1, 2, 3, 4, 5, 999);
  EXPECT_STREQ(early.asString(1, 0).asCstr(), "33-01-02T03:04:05+01");
  EXPECT_STREQ(KxbDate().asString(0, 0).asCstr(), "0-00-00T00:00:00Z");
}

TEST(KxbDate, WeekDays) {
  EXPECT_EQ(KxbDate(2000, 1, 1, 12, 0, 0).getWeekDay(), 6);    // Saturday
  EXPECT_EQ(KxbDate(2024, 3, 7, 23, 59, 59).getWeekDay(), 4);  // Thursday
  EXPECT_EQ(KxbDate(1, 1, 1, 0, 0, 0).getWeekDay(), 1);        // Monday
  EXPECT_EQ(KxbDate(-0.25).getWeekDay(), 5);  // 1899-12-29 18:00, Friday
  for (double day = -3.5; day < 10; day += 0.75) {
    EXPECT_EQ(KxbDate(day).getWeekDay(), kxs_day_of_week(day)) << day;
  }
  KxbDate null(2000, 1, 1, 0, 0, 0);
  null.setNull();
  EXPECT_EQ(null.getWeekDay(), -1);
}

TEST(KxbDate, NullDatesSortFirstAndCompareEqual) {
  const KxbDate early(1999, 12, 31, 23, 59, 59);
  const KxbDate late(2000, 1, 1, 0, 0, 0);
  KxbDate nullWithValue = late;
  nullWithValue.setNull();

  EXPECT_EQ(KxbDate().compare(nullWithValue), 0);
  EXPECT_EQ(nullWithValue.compare(early), -1);
  EXPECT_EQ(early.compare(nullWithValue), 1);
  EXPECT_EQ(early.compare(late), -1);
  EXPECT_EQ(late.compare(early), 1);
  EXPECT_FALSE(KxbDate() < nullWithValue);
  EXPECT_FALSE(early < nullWithValue);
  EXPECT_FALSE(late < late);

  std::vector<KxbDate> dates = {late, nullWithValue, early, KxbDate()};
  std::sort(dates.begin(), dates.end());
  EXPECT_TRUE(dates[0].isNull() && dates[1].isNull());
  EXPECT_EQ(dates[2].compare(early), 0);
  EXPECT_EQ(dates[3].compare(late), 0);
}

// `clock` read around currentDate(utc) brackets it.
void expectNowFrom(double (*clock)(), bool utc) {
  const double before = KxbDate(clock()).asDouble();
  const KxbDate now = KxbDate::currentDate(utc);
  const double after = KxbDate(clock()).asDouble();
  ASSERT_FALSE(now.isNull());
  EXPECT_LE(before, now.asDouble());
  EXPECT_LE(now.asDouble(), after);
}

TEST(KxbDate, CurrentDateIsLocalUnlessUtcIsAskedOrSet) {
  // A zone 5:30 ahead of UTC, so local and UTC readings cannot overlap.
  kxb_test::ScopedTimeZone zone("XST-5:30");
  expectNowFrom(kxs_timetoday, false);
  expectNowFrom(kxs_gmtimetoday, true);
  KxbDate::setUseUTC(true);
  expectNowFrom(kxs_gmtimetoday, false);
  KxbDate::setUseUTC(false);
}

}  // namespace
