// kxbType names and determineType.
#include <gtest/gtest.h>

#include <string>

#include "kxbdatavar.h"

namespace {

TEST(DatavarNames, TypeFromStringFindsTheFirstRowIgnoringCase) {
  int order = -1;
  EXPECT_EQ(Date, kxbTypeFromString("date (ymd)", &order));
  EXPECT_EQ(2, order);
  EXPECT_EQ(Date, kxbTypeFromString("DATE (dmy)", &order));
  EXPECT_EQ(1, order);
  order = -1;
  EXPECT_EQ(Date, kxbTypeFromString("Date", &order));
  EXPECT_EQ(0, order);
  order = -1;
  EXPECT_EQ(Date, kxbTypeFromString("Date (MDY)", &order));
  EXPECT_EQ(0, order);
  // The order is reset for every name, dates or not.
  order = 2;
  EXPECT_EQ(Integer, kxbTypeFromString("INTEGER", &order));
  EXPECT_EQ(0, order);
  order = 2;
  EXPECT_EQ(Unknown, kxbTypeFromString("Float", &order));
  EXPECT_EQ(0, order);
  EXPECT_EQ(Unknown, kxbTypeFromString(nullptr, &order));
  EXPECT_EQ(Unknown, kxbTypeFromString(""));
  EXPECT_EQ(Unknown, kxbTypeFromString("Date "));
  EXPECT_EQ(Binary, kxbTypeFromString("binary"));

  // Every type's name leads back to it.
  for (int t = Unknown; t <= Binary; ++t) {
    const kxbType type = static_cast<kxbType>(t);
    EXPECT_EQ(type, kxbTypeFromString(kxbTypeToString(type))) << t;
  }
  EXPECT_STREQ("Date", kxbTypeToString(static_cast<kxbType>(5)));
  EXPECT_STREQ("Boolean", kxbTypeToString(Boolean));
  ASSERT_NE(nullptr, kxbTypeToString(static_cast<kxbType>(9)));
  EXPECT_STREQ("", kxbTypeToString(static_cast<kxbType>(9)));
  EXPECT_STREQ("", kxbTypeToString(static_cast<kxbType>(-1)));
}

TEST(DatavarNames, DetermineTypeGuessesWhatATextHolds) {
  struct Case {
    const char* text;
    determinedType expected;
  };
  const Case cases[] = {
      // Truth words, exactly as written only.
      {"yes", kxbDeterminedTruth},
      {"n", kxbDeterminedTruth},
      {"false", kxbDeterminedTruth},
      {"Yes", kxbDeterminedText},
      {"on", kxbDeterminedText},
      // Numbers.
      {"12", kxbDeterminedInteger},
      {" 12 ", kxbDeterminedInteger},
      {"-1", kxbDeterminedInteger},
      {"1 000", kxbDeterminedInteger},  // blanks are ignored
      {"1e5", kxbDeterminedInteger},    // no point: an integer
      {"5e", kxbDeterminedInteger},
      {" 12.5 ", kxbDeterminedReal},
      {"-1.5E-3", kxbDeterminedReal},
      {".5", kxbDeterminedReal},
      // Dates: all three date or all three time elements non-zero.
      {"2024-03-07", kxbDeterminedDate},
      {"3/7/2024 9:05", kxbDeterminedDate},
      {"12:30:45", kxbDeterminedDate},
      {"1.2.3", kxbDeterminedDate},  // 1 February 2003, not a bad number
      {"9:05", kxbDeterminedText},   // a time with second 0
      // Everything else.
      {"", kxbDeterminedText},
      {"abc", kxbDeterminedText},
      {"e5", kxbDeterminedText},       // an exponent mark needs a digit
      {"--5", kxbDeterminedText},      // a sign after a sign is stray
      {"1-2", kxbDeterminedText},
      {"1e5e6", kxbDeterminedText},    // two exponent marks
      {"1.2.3.4", kxbDeterminedText},  // two points, and no date either
      {".", kxbDeterminedText},        // no digit
      {"12\xC3\xA9", kxbDeterminedText},
      {"1,5", kxbDeterminedText},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(c.expected, determineType(KxbString(c.text))) << c.text;
  }
  EXPECT_EQ(kxbDeterminedText, determineType(KxbString()));
}

}  // namespace
