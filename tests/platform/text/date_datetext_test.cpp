// Printing day numbers as text and parsing date texts.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <optional>
#include <ostream>
#include <random>
#include <string>

#include "kxs_date.h"

namespace {

constexpr int kOrders[] = {KXS_DATE_ORDER_MDY, KXS_DATE_ORDER_DMY,
                           KXS_DATE_ORDER_YMD};
constexpr int kFormats[] = {KXS_DATE_TEXT_DEFAULT, KXS_DATE_TEXT_ISO_MILLI,
                            KXS_DATE_TEXT_ISO};

struct Elems {
  int y, mo, d, h, mi, s, ms;
  bool operator==(const Elems&) const = default;
};

std::ostream& operator<<(std::ostream& os, const Elems& e) {
  return os << e.y << "-" << e.mo << "-" << e.d << " " << e.h << ":" << e.mi
            << ":" << e.s << "." << e.ms;
}

std::optional<Elems> parse(const char* text, int order) {
  Elems e = {-9, -9, -9, -9, -9, -9, -9};
  if (!kxs_string_to_date_milli(text, order, &e.y, &e.mo, &e.d, &e.h, &e.mi,
                                &e.s, &e.ms)) {
    // A failed parse leaves every output as it was.
    EXPECT_EQ(e, (Elems{-9, -9, -9, -9, -9, -9, -9})) << text;
    return std::nullopt;
  }
  return e;
}

std::string print(double date, int format) {
  char buffer[128];
  const int length = kxs_date_to_string(date, format, buffer, sizeof buffer);
  EXPECT_EQ(length, static_cast<int>(std::strlen(buffer)));
  return buffer;
}

const char* orderName(int order) {
  return order == KXS_DATE_ORDER_MDY   ? "MDY"
         : order == KXS_DATE_ORDER_DMY ? "DMY"
                                       : "YMD";
}

// A table row: the text, the order, and the elements or nothing for a
// rejected text.
struct Case {
  const char* text;
  int order;
  std::optional<Elems> want;
};

void expectCases(const Case* cases, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    const Case& c = cases[i];
    EXPECT_EQ(parse(c.text, c.order), c.want)
        << "'" << c.text << "' read " << orderName(c.order);
  }
}

// Rows for a text read the same way in every order.
void expectInEveryOrder(const char* text, std::optional<Elems> want) {
  for (int order : kOrders) {
    EXPECT_EQ(parse(text, order), want)
        << "'" << text << "' read " << orderName(order);
  }
}

Elems date(int y, int mo, int d, int h = 0, int mi = 0, int s = 0,
           int ms = 0) {
  return Elems{y, mo, d, h, mi, s, ms};
}

constexpr int MDY = KXS_DATE_ORDER_MDY;
constexpr int DMY = KXS_DATE_ORDER_DMY;
constexpr int YMD = KXS_DATE_ORDER_YMD;
constexpr std::nullopt_t kRejected = std::nullopt;

TEST(DateText, EveryPrintedFormParsesBackInEveryOrder) {
  std::mt19937_64 rng(19991231);
  std::uniform_int_distribution<int> year(1, 9999), month(1, 12), day(1, 31),
      hour(0, 23), minsec(0, 59), milli(0, 999);
  for (int i = 0; i < 20000; ++i) {
    const Elems e{year(rng), month(rng), day(rng),  hour(rng),
                  minsec(rng), minsec(rng), i % 4 == 0 ? 0 : milli(rng)};
    double value;
    if (!kxs_compose_date_milli(e.y, e.mo, e.d, e.h, e.mi, e.s, e.ms, &value)) {
      continue;  // a day the month does not have
    }
    char want[64];
    std::snprintf(want, sizeof want, "%04d-%02d-%02d %02d:%02d:%02d", e.y,
                  e.mo, e.d, e.h, e.mi, e.s);
    const std::string plain = want;
    const std::string millis = std::string(".") + (e.ms < 100 ? "0" : "") +
                               (e.ms < 10 ? "0" : "") + std::to_string(e.ms);
    std::string isoPlain = plain;
    isoPlain[10] = 'T';

    const std::string texts[3] = {print(value, KXS_DATE_TEXT_DEFAULT),
                                  print(value, KXS_DATE_TEXT_ISO_MILLI),
                                  print(value, KXS_DATE_TEXT_ISO)};
    ASSERT_EQ(texts[0], e.ms == 0 ? plain : plain + millis);
    ASSERT_EQ(texts[1], isoPlain + millis);
    ASSERT_EQ(texts[2], isoPlain);

    Elems truncated = e;
    truncated.ms = 0;
    for (int order : kOrders) {
      for (int f = 0; f < 3; ++f) {
        const std::optional<Elems> back = parse(texts[f].c_str(), order);
        ASSERT_EQ(back, f == 2 ? truncated : e)
            << texts[f] << " read " << orderName(order);
        double again;
        ASSERT_EQ(kxs_compose_date_milli(back->y, back->mo, back->d, back->h,
                                         back->mi, back->s, back->ms, &again),
                  1);
        if (f != 2) {
          ASSERT_EQ(again, value) << texts[f];
        }
      }
    }
  }
}

TEST(DateText, PrintingFailsWithAnEmptyBuffer) {
  double value;
  ASSERT_EQ(kxs_compose_date_milli(2024, 3, 7, 9, 5, 7, 250, &value), 1);
  char buffer[64];
  for (int format : {-1, 2, 16, 18, 100}) {
    std::strcpy(buffer, "old");
    EXPECT_EQ(kxs_date_to_string(value, format, buffer, sizeof buffer), 0)
        << format;
    EXPECT_STREQ(buffer, "");
  }
  for (double bad : {-1e9, 1e9, std::nan("")}) {
    std::strcpy(buffer, "old");
    EXPECT_EQ(kxs_date_to_string(bad, KXS_DATE_TEXT_DEFAULT, buffer,
                                 sizeof buffer),
              0);
    EXPECT_STREQ(buffer, "");
  }
  // The buffer must hold the text and its terminator.
  EXPECT_EQ(kxs_date_to_string(value, KXS_DATE_TEXT_ISO, buffer, 19), 0);
  EXPECT_STREQ(buffer, "");
  EXPECT_EQ(kxs_date_to_string(value, KXS_DATE_TEXT_ISO, buffer, 20), 19);
  EXPECT_STREQ(buffer, "2024-03-07T09:05:07");
  EXPECT_EQ(kxs_date_to_string(value, KXS_DATE_TEXT_ISO_MILLI, buffer, 23), 0);
  EXPECT_EQ(kxs_date_to_string(value, KXS_DATE_TEXT_ISO_MILLI, buffer,
                               KXS_DATE_TEXT_MIN_SIZE),
            23);
  EXPECT_EQ(kxs_date_to_string(value, KXS_DATE_TEXT_DEFAULT, nullptr, 64), 0);
  EXPECT_EQ(kxs_date_to_string(value, KXS_DATE_TEXT_DEFAULT, buffer, 0), 0);
  // The extremes of the range print with four-digit years.
  ASSERT_EQ(kxs_compose_date_milli(1, 1, 1, 0, 0, 0, 0, &value), 1);
  EXPECT_EQ(print(value, KXS_DATE_TEXT_DEFAULT), "0001-01-01 00:00:00");
  ASSERT_EQ(kxs_compose_date_milli(9999, 12, 31, 23, 59, 59, 999, &value), 1);
  EXPECT_EQ(print(value, KXS_DATE_TEXT_DEFAULT), "9999-12-31 23:59:59.999");
}

TEST(DateText, NumericDatesFollowTheGivenOrder) {
  const Case cases[] = {
      {"03/07/2024", MDY, date(2024, 3, 7)},
      {"03/07/2024", DMY, date(2024, 7, 3)},
      {"03/07/2024", YMD, kRejected},  // day 2024
      {"3-7-2024", MDY, date(2024, 3, 7)},
      {"3.7.2024", DMY, date(2024, 7, 3)},
      {"24/03/07", YMD, date(2024, 3, 7)},
      {"24/03/07", MDY, kRejected},  // month 24
      {"13/01/2024", MDY, kRejected},
      {"13/01/2024", DMY, date(2024, 1, 13)},
      {"31.12.1999", DMY, date(1999, 12, 31)},
      {"02/29/2024", MDY, date(2024, 2, 29)},
      {"02/29/2023", MDY, kRejected},
      {"04/31/2024", MDY, kRejected},
      {"03/07-2024", MDY, kRejected},  // mixed separators
      {"03 07 2024", MDY, kRejected},  // blanks only with a month name
      {"03/07", MDY, kRejected},
      {"03/07/2024/1", MDY, kRejected},
      {"003/07/2024", MDY, kRejected},  // read as year 3, day 2024
      {"03/007/2024", MDY, kRejected},
      {"03/07/20245", MDY, kRejected},
      {"/03/07/2024", MDY, kRejected},
      {"03//07/2024", MDY, kRejected},
  };
  expectCases(cases, std::size(cases));
  // A date led by a three- or four-digit year is year-month-day in any order.
  expectInEveryOrder("2024/03/07", date(2024, 3, 7));
  expectInEveryOrder("2024.3.7", date(2024, 3, 7));
  expectInEveryOrder("2024-3-07", date(2024, 3, 7));
  expectInEveryOrder("999-12-31", date(999, 12, 31));
}

TEST(DateText, MonthNamesStandInAnyPositionAndCase) {
  for (const char* text :
       {"March 7, 2024", "march 7 2024", "MAR 7 2024", "Mar 7,2024",
        "7 March 2024", "7 Mar, 2024", "07-Mar-2024", "7/mar/2024",
        "7.Mar.2024", "2024 Mar 7", "2024-MARCH-07", "Mar-07-2024"}) {
    expectInEveryOrder(text, date(2024, 3, 7));
  }
  expectInEveryOrder("September 30, 1999", date(1999, 9, 30));
  expectInEveryOrder("sep 30 1999", date(1999, 9, 30));
  expectInEveryOrder("1 may 2000", date(2000, 5, 1));
  expectInEveryOrder("December 31 9999", date(9999, 12, 31));

  // With two short numbers the order decides which is the day.
  const Case cases[] = {
      {"Mar 7 24", MDY, date(2024, 3, 7)},
      {"Mar 7 24", DMY, date(2024, 3, 7)},
      {"Mar 7 24", YMD, date(2007, 3, 24)},
      {"24-Mar-07", YMD, date(2024, 3, 7)},
      {"24-Mar-07", DMY, date(2007, 3, 24)},
  };
  expectCases(cases, std::size(cases));

  for (const char* text :
       {"Marc 7 2024", "Mars 7 2024", "Sept 7 2024", "M 7 2024",
        "7 Mar/2024", "7-Mar 2024", "Mar Apr 2024", "7 Mar 20245",
        "2024 Mar 2024", "Feb 30 2024", "7 Mar 2024,", "7 Mar , , 2024",
        "7 - Mar - 2024", "Mar 7"}) {
    expectInEveryOrder(text, kRejected);
  }
}

TEST(DateText, OneAndTwoDigitYearsPivotAt2030) {
  const Case cases[] = {
      {"1/1/00", MDY, date(2000, 1, 1)},   {"1/1/29", MDY, date(2029, 1, 1)},
      {"1/1/30", MDY, date(1930, 1, 1)},   {"1/1/99", MDY, date(1999, 1, 1)},
      {"1/1/5", MDY, date(2005, 1, 1)},    {"5/1/1", YMD, date(2005, 1, 1)},
      {"1 Jan 45", DMY, date(1945, 1, 1)},
      // Three or four digits are the year as written.
      {"1/1/099", MDY, date(99, 1, 1)},    {"1/1/0099", MDY, date(99, 1, 1)},
      {"1/1/0029", DMY, date(29, 1, 1)},   {"1/1/0000", MDY, kRejected},
      {"Jan 1 0001", MDY, date(1, 1, 1)},
  };
  expectCases(cases, std::size(cases));
}

TEST(DateText, TimesTakeSecondsFractionsAndAmPm) {
  struct TimeCase {
    const char* time;
    std::optional<Elems> want;
  };
  const TimeCase cases[] = {
      {"9:05", date(2024, 3, 7, 9, 5)},
      {"09:05:07", date(2024, 3, 7, 9, 5, 7)},
      {"23:59:59.999", date(2024, 3, 7, 23, 59, 59, 999)},
      {"9:05:07.25", date(2024, 3, 7, 9, 5, 7, 250)},
      {"9:05:07.5", date(2024, 3, 7, 9, 5, 7, 500)},
      {"9:05:07.05", date(2024, 3, 7, 9, 5, 7, 50)},
      {"9:05:07.123999999", date(2024, 3, 7, 9, 5, 7, 123)},
      {"12:00 AM", date(2024, 3, 7, 0, 0)},
      {"12:30:15 am", date(2024, 3, 7, 0, 30, 15)},
      {"12:00 PM", date(2024, 3, 7, 12, 0)},
      {"12:59 pm", date(2024, 3, 7, 12, 59)},
      {"1:00 PM", date(2024, 3, 7, 13, 0)},
      {"1:00 AM", date(2024, 3, 7, 1, 0)},
      {"11:59:59.999 PM", date(2024, 3, 7, 23, 59, 59, 999)},
      {"9:05AM", date(2024, 3, 7, 9, 5)},
      {"9:05 \t Pm", date(2024, 3, 7, 21, 5)},
      {"0:30 AM", kRejected},
      {"13:00 PM", kRejected},
      {"00:00 PM", kRejected},
      {"24:00", kRejected},
      {"23:60", kRejected},
      {"9:05:60", kRejected},
      {"9:5", kRejected},
      {"9:055", kRejected},
      {"009:05", kRejected},
      {"9:05:7", kRejected},
      {"9:05:07.", kRejected},
      {"9:05:07.1234567890", kRejected},
      {"9:05.5", kRejected},
      {"9", kRejected},
      {"9:05 XM", kRejected},
      {"9:05 AMX", kRejected},
      {"9:05 A M", kRejected},
      {"9:05 AM PM", kRejected},
  };
  for (const TimeCase& c : cases) {
    for (const char* base : {"03/07/2024 ", "7 March 2024  ", "2024-03-07 "}) {
      const std::string text = std::string(base) + c.time;
      EXPECT_EQ(parse(text.c_str(), MDY), c.want) << "'" << text << "'";
    }
  }
  // A non-ISO date takes neither a "T" before its time nor a zone after it.
  expectInEveryOrder("03/07/2024T09:05", kRejected);
  expectInEveryOrder("03/07/2024 09:05Z", kRejected);
  expectInEveryOrder("7 March 2024 09:05+01:00", kRejected);
}

TEST(DateText, Iso8601TextsIgnoreTheOrder) {
  const Elems full = date(2024, 3, 7, 9, 5, 7);
  const Elems frac = date(2024, 3, 7, 9, 5, 7, 250);
  expectInEveryOrder("2024-03-07", date(2024, 3, 7));
  expectInEveryOrder("2024-03-07T09:05", date(2024, 3, 7, 9, 5));
  expectInEveryOrder("2024-03-07T09:05:07", full);
  expectInEveryOrder("2024-03-07t09:05:07", full);
  expectInEveryOrder("2024-03-07T09:05:07.25", frac);
  expectInEveryOrder("2024-03-07T09:05:07,25", frac);
  expectInEveryOrder("20240307", date(2024, 3, 7));
  expectInEveryOrder("20240307T0905", date(2024, 3, 7, 9, 5));
  expectInEveryOrder("20240307T090507", full);
  expectInEveryOrder("20240307T090507,250", frac);
  // Zone designators are checked and then ignored.
  for (const char* text :
       {"2024-03-07T09:05:07Z", "2024-03-07T09:05:07z", "2024-03-07T09:05:07+05",
        "2024-03-07T09:05:07+05:30", "2024-03-07T09:05:07-0800",
        "2024-03-07T09:05:07-23:59", "2024-03-07 09:05:07Z",
        "2024-03-07 09:05:07+01:00", "20240307T090507Z",
        "20240307T090507+0530"}) {
    expectInEveryOrder(text, full);
  }
  for (const char* text :
       {"2024-03-07T", "2024-03-07T9:05", "2024-03-07T0905",
        "20240307T09:05", "2024-03-07T09", "2024-03-07T09:05:07.",
        "2024-03-07T09:05+24", "2024-03-07T09:05+05:60", "2024-03-07T09:05+5",
        "2024-03-07T09:05+05:3", "2024-03-07T09:05+053", "2024-03-07T09:05 PM",
        "2024-03-07T24:00", "2024-02-30", "2024-03-07T09:05:07ZZ",
        "2024-03-07 9:05 PM+05", "2024-03-07T09:05:07 Z", "20241307",
        "2024030", "202403070", "20240307 T0905", "2024-Mar-07T09:05"}) {
    expectInEveryOrder(text, kRejected);
  }
}

TEST(DateText, TimeAloneGivesZeroDateElements) {
  expectInEveryOrder("9:05:07", date(0, 0, 0, 9, 5, 7));
  expectInEveryOrder(" 09:05:07.5 ", date(0, 0, 0, 9, 5, 7, 500));
  expectInEveryOrder("9:05 PM", date(0, 0, 0, 21, 5));
  expectInEveryOrder("12:00 am", date(0, 0, 0, 0, 0));
  expectInEveryOrder("24:00", kRejected);
  expectInEveryOrder("9:60", kRejected);
  expectInEveryOrder("9:05 2024-03-07", kRejected);
  // Composition refuses the missing date.
  const std::optional<Elems> t = parse("9:05:07", MDY);
  ASSERT_TRUE(t);
  double value;
  EXPECT_EQ(kxs_compose_date_milli(t->y, t->mo, t->d, t->h, t->mi, t->s, t->ms,
                                   &value),
            0);
}

TEST(DateText, BadInputFailsAndLeavesTheOutputsAlone) {
  for (const char* text :
       {"", "   ", "\t\r\n", "garbage", "03/07/2024x", "03/07/2024 9:05 junk",
        "03/07/2024 junk", "x03/07/2024", "-03/07/2024", "+2024-03-07",
        "99999999999/1/1", "1/1/99999999999", "99999999999:00",
        "\xC3\xA9t\xC3\xA9", "03/07/2024\xC2\xA0", "2024-03-07\x01",
        "03\x00/07/2024", "March", ",", "2024-03-07 ,9:05"}) {
    expectInEveryOrder(text, kRejected);
  }
  int y = -9;
  EXPECT_EQ(kxs_string_to_date_milli(nullptr, MDY, &y, nullptr, nullptr,
                                     nullptr, nullptr, nullptr, nullptr),
            0);
  for (int order : {-1, 3, 17}) {
    EXPECT_EQ(kxs_string_to_date_milli("2024-03-07", order, &y, nullptr,
                                       nullptr, nullptr, nullptr, nullptr,
                                       nullptr),
              0);
    EXPECT_EQ(kxs_string_to_date("2024-03-07", order, &y, nullptr, nullptr,
                                 nullptr, nullptr, nullptr),
              0);
  }
  EXPECT_EQ(y, -9);
}

TEST(DateText, BlanksAroundTheTextAndBeforeTheTimeAreIgnored) {
  expectInEveryOrder(" \t2024-03-07 9:05\r\n", date(2024, 3, 7, 9, 5));
  expectInEveryOrder("2024-03-07 \t 9:05", date(2024, 3, 7, 9, 5));
  expectInEveryOrder("7 Mar 2024 ", date(2024, 3, 7));
  expectInEveryOrder("2024-03-07T09:05:07 ", date(2024, 3, 7, 9, 5, 7));
}

TEST(DateText, SixElementParserDropsTheMilliseconds) {
  int e[6] = {-1, -1, -1, -1, -1, -1};
  ASSERT_EQ(kxs_string_to_date("2024-03-07T23:59:59.999", YMD, &e[0], &e[1],
                               &e[2], &e[3], &e[4], &e[5]),
            1);
  const int want[6] = {2024, 3, 7, 23, 59, 59};
  for (int k = 0; k < 6; ++k) EXPECT_EQ(e[k], want[k]) << k;
  // Outputs may be left out.
  EXPECT_EQ(kxs_string_to_date("2024-03-07", MDY, nullptr, nullptr, nullptr,
                               nullptr, nullptr, nullptr),
            1);
}

TEST(DateText, DateOrderSettingIsProcessWide) {
  EXPECT_EQ(kxs_get_date_format(), KXS_DATE_ORDER_MDY);
  EXPECT_EQ(kxs_set_date_format(KXS_DATE_ORDER_YMD), 1);
  EXPECT_EQ(kxs_get_date_format(), KXS_DATE_ORDER_YMD);
  EXPECT_EQ(kxs_set_date_format(3), 0);
  EXPECT_EQ(kxs_set_date_format(-1), 0);
  EXPECT_EQ(kxs_get_date_format(), KXS_DATE_ORDER_YMD);
  EXPECT_EQ(kxs_set_date_format(KXS_DATE_ORDER_DMY), 1);
  EXPECT_EQ(kxs_get_date_format(), KXS_DATE_ORDER_DMY);
  EXPECT_EQ(kxs_set_date_format(KXS_DATE_ORDER_MDY), 1);
}

}  // namespace
