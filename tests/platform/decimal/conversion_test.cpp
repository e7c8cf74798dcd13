// Conversions of the 192-bit format: doubles, integers, text.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <string>

#include "dec_test_util.h"
#include "decimal/decNumber.h"
#include "decimal/decSext.h"

using dectestutil::defaultContext;
using dectestutil::hex;
using dectestutil::sext;
using dectestutil::str;

namespace {

std::string fromDouble(double d) {
  decSext v;
  decSextFromDouble(&v, d);
  return str(v);
}

bool sameBits(double a, double b) { return std::memcmp(&a, &b, sizeof a) == 0; }

TEST(DecSextFromDouble, GivesTheShortestDecimalThatReadsBack) {
  EXPECT_EQ(fromDouble(0.1), "0.1");
  EXPECT_EQ(fromDouble(0.1 + 0.2), "0.30000000000000004");
  EXPECT_EQ(fromDouble(1.0 / 3.0), "0.3333333333333333");
  EXPECT_EQ(fromDouble(-2.5), "-2.5");
  EXPECT_EQ(fromDouble(1e300), "1E+300");
  EXPECT_EQ(fromDouble(-0.0), "-0");
  EXPECT_EQ(fromDouble(0.0), "0");
  EXPECT_EQ(fromDouble(std::numeric_limits<double>::denorm_min()), "5E-324");
  EXPECT_EQ(fromDouble(DBL_MAX), "1.7976931348623157E+308");
  EXPECT_EQ(fromDouble(123456789.0), "123456789");
  EXPECT_EQ(fromDouble(100.0), "100");
  EXPECT_EQ(fromDouble(1e16), "10000000000000000");
  EXPECT_EQ(fromDouble(1e20), "1E+20");
  // 2^71: not all 22 digits of the binary value, the 17 that identify it.
  EXPECT_EQ(fromDouble(2361183241434822606848.0), "2.3611832414348226E+21");
  EXPECT_EQ(fromDouble(std::numeric_limits<double>::infinity()), "Infinity");
  EXPECT_EQ(fromDouble(-std::numeric_limits<double>::infinity()), "-Infinity");
  decSext nan;
  decSextFromDouble(&nan, -std::numeric_limits<double>::quiet_NaN());
  decSext canonical_nan;
  decSextNaN(&canonical_nan);
  EXPECT_EQ(hex(nan), hex(canonical_nan));
}

// Random bit patterns: every finite double converts to a decimal that reads
// back as the same double (checked with the C library's strtod), and no
// decimal of one digit fewer does.
TEST(DecSextFromDouble, RandomDoublesRoundTripWithTheFewestDigits) {
  std::mt19937_64 rng(1234567);
  decContext set = defaultContext();
  for (int i = 0; i < 50000; ++i) {
    uint64_t bits = rng();
    double x;
    std::memcpy(&x, &bits, sizeof x);
    if (!std::isfinite(x)) continue;
    decSext v;
    decSextFromDouble(&v, x);
    ASSERT_TRUE(sameBits(decSextToDouble(&v), x)) << str(v);
    ASSERT_TRUE(sameBits(std::strtod(str(v).c_str(), nullptr), x)) << str(v);

    decSext reduced;
    decSextReduce(&reduced, &v, &set);
    decNumber n;
    decimal192ToNumber(&reduced, &n);
    ASSERT_LE(n.digits, 17) << str(v);
    if (n.digits == 1) continue;
    // The neighbours of the coefficient with one digit fewer.
    uint64_t coefficient = n.lsu[0];
    std::string sign = std::signbit(x) ? "-" : "";
    std::string exp = "E" + std::to_string(n.exponent + 1);
    std::string down = sign + std::to_string(coefficient / 10) + exp;
    std::string up = sign + std::to_string(coefficient / 10 + 1) + exp;
    ASSERT_FALSE(sameBits(std::strtod(down.c_str(), nullptr), x))
        << str(v) << " not shortest: " << down;
    ASSERT_FALSE(sameBits(std::strtod(up.c_str(), nullptr), x))
        << str(v) << " not shortest: " << up;
  }
}

double toDouble(const char* text) {
  decSext v = sext(text);
  return decSextToDouble(&v);
}

TEST(DecSextToDouble, RoundsToNearestEvenAtEveryBoundary) {
  EXPECT_TRUE(sameBits(toDouble("0.1"), 0.1));
  // 2^53 + 1 and 2^53 + 3 are ties: to the even neighbour.
  EXPECT_TRUE(sameBits(toDouble("9007199254740993"), 9007199254740992.0));
  EXPECT_TRUE(sameBits(toDouble("9007199254740995"), 9007199254740996.0));
  // Just above the tie: up.
  EXPECT_TRUE(sameBits(
      toDouble("9007199254740993.000000000000000000000000000000000001"),
      9007199254740994.0));
  EXPECT_TRUE(sameBits(toDouble("1.7976931348623157E+308"), DBL_MAX));
  EXPECT_TRUE(sameBits(toDouble("1.7976931348623158E+308"), DBL_MAX));
  EXPECT_EQ(toDouble("1.8E+308"), std::numeric_limits<double>::infinity());
  EXPECT_EQ(toDouble("-1E+400"), -std::numeric_limits<double>::infinity());
  EXPECT_EQ(toDouble("1E+98304"), std::numeric_limits<double>::infinity());
  EXPECT_TRUE(sameBits(toDouble("1E-400"), 0.0));
  EXPECT_TRUE(sameBits(toDouble("-1E-98354"), -0.0));
  const double tiny = std::numeric_limits<double>::denorm_min();
  EXPECT_TRUE(sameBits(toDouble("4.9406564584124654E-324"), tiny));
  // Half of the smallest subnormal is 2.4703282292062327208...E-324.
  EXPECT_TRUE(sameBits(toDouble("2.4703282292062327E-324"), 0.0));
  EXPECT_TRUE(sameBits(toDouble("2.4703282292062328E-324"), tiny));
  EXPECT_TRUE(std::isnan(toDouble("NaN")));
  EXPECT_TRUE(std::isnan(toDouble("sNaN5")));
  EXPECT_EQ(toDouble("-Infinity"), -std::numeric_limits<double>::infinity());
}

TEST(DecSextToDouble, RandomFiftyTwoDigitValuesMatchTheCLibrary) {
  std::mt19937_64 rng(99);
  for (int i = 0; i < 20000; ++i) {
    std::string text = "0.";
    for (int d = 0; d < DECSEXT_Pmax; ++d) {
      text += static_cast<char>('0' + rng() % 10);
    }
    text += "E" + std::to_string(static_cast<int>(rng() % 660) - 340);
    double expected = std::strtod(text.c_str(), nullptr);
    ASSERT_TRUE(sameBits(toDouble(text.c_str()), expected)) << text;
  }
}

TEST(DecSextIntegers, ConvertExactly) {
  decSext v;
  decSextFromInt64(&v, INT64_MIN);
  EXPECT_EQ(str(v), "-9223372036854775808");
  decSextFromUInt64(&v, UINT64_MAX);
  EXPECT_EQ(str(v), "18446744073709551615");
  decSextFromInt32(&v, INT32_MIN);
  EXPECT_EQ(str(v), "-2147483648");
  decSextFromUInt32(&v, UINT32_MAX);
  EXPECT_EQ(str(v), "4294967295");
  decSextFromInt32(&v, 0);
  EXPECT_EQ(decSextIsZero(&v), 1u);
  EXPECT_EQ(decSextIsSigned(&v), 0u);
}

TEST(DecSextIntegers, RoundWithTheGivenModeAndRejectWhatDoesNotFit) {
  struct Case {
    const char* text;
    enum rounding mode;
    int64_t value;
    bool invalid;
  } cases[] = {
      {"2.5", DEC_ROUND_HALF_EVEN, 2, false},
      {"2.5", DEC_ROUND_HALF_UP, 3, false},
      {"2.7", DEC_ROUND_FLOOR, 2, false},
      {"-2.5", DEC_ROUND_FLOOR, -3, false},
      {"-2.5", DEC_ROUND_CEILING, -2, false},
      {"-2.7", DEC_ROUND_DOWN, -2, false},
      {"-0.5", DEC_ROUND_FLOOR, -1, false},
      {"1.5E+3", DEC_ROUND_FLOOR, 1500, false},
      {"9223372036854775807", DEC_ROUND_FLOOR, INT64_MAX, false},
      {"9223372036854775807.4", DEC_ROUND_DOWN, INT64_MAX, false},
      {"9223372036854775807.4", DEC_ROUND_CEILING, 0, true},
      {"-9223372036854775808", DEC_ROUND_FLOOR, INT64_MIN, false},
      {"-9223372036854775809", DEC_ROUND_FLOOR, 0, true},
      {"1E+30", DEC_ROUND_FLOOR, 0, true},
      {"NaN", DEC_ROUND_FLOOR, 0, true},
      {"-Infinity", DEC_ROUND_FLOOR, 0, true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    decSext v = sext(c.text);
    decContext set = defaultContext();
    EXPECT_EQ(decSextToInt64(&v, &set, c.mode), c.value);
    EXPECT_EQ(set.status, c.invalid ? DEC_Invalid_operation : 0u);
  }
  decContext set = defaultContext();
  decSext v = sext("2147483648");
  EXPECT_EQ(decSextToInt32(&v, &set, DEC_ROUND_FLOOR), 0);
  EXPECT_EQ(set.status, DEC_Invalid_operation);
  set = defaultContext();
  v = sext("-2147483648.9");
  EXPECT_EQ(decSextToInt32(&v, &set, DEC_ROUND_DOWN), INT32_MIN);
  EXPECT_EQ(set.status, 0u);
  v = sext("4294967295.9");
  EXPECT_EQ(decSextToUInt32(&v, &set, DEC_ROUND_FLOOR), UINT32_MAX);
  EXPECT_EQ(set.status, 0u);
  v = sext("-1");
  EXPECT_EQ(decSextToUInt32(&v, &set, DEC_ROUND_FLOOR), 0u);
  EXPECT_EQ(set.status, DEC_Invalid_operation);
  set = defaultContext();
  v = sext("-0.4");
  EXPECT_EQ(decSextToUInt64(&v, &set, DEC_ROUND_DOWN), 0u);
  v = sext("18446744073709551615");
  EXPECT_EQ(decSextToUInt64(&v, &set, DEC_ROUND_DOWN), UINT64_MAX);
  EXPECT_EQ(set.status, 0u);
  v = sext("18446744073709551616");
  EXPECT_EQ(decSextToUInt64(&v, &set, DEC_ROUND_DOWN), 0u);
  EXPECT_EQ(set.status, DEC_Invalid_operation);
}

TEST(DecSextText, ParsesTheNumericSyntaxAndRejectsTheRest) {
  decContext set = defaultContext();
  decSext v;
  decSextFromString(&v, "1.50", &set);
  EXPECT_EQ(str(v), "1.50");
  EXPECT_EQ(set.status, 0u);
  const char* bad[] = {"",    " 1",      "1 ",   "1e",   "1.2.3",
                       "--1", "Infinit", "NaNx", "0x10", "1,5"};
  for (const char* text : bad) {
    SCOPED_TRACE(text);
    set = defaultContext();
    decSextFromString(&v, text, &set);
    EXPECT_EQ(decSextIsNaN(&v), 1u);
    EXPECT_EQ(decSextIsSNaN(&v), 0u);
    EXPECT_EQ(set.status, DEC_Conversion_syntax);
  }
  // A payload of 52 digits does not fit a clamped 52-digit format.
  set = defaultContext();
  decSextFromString(&v, ("NaN" + std::string(52, '7')).c_str(), &set);
  EXPECT_EQ(set.status, DEC_Conversion_syntax);
  set = defaultContext();
  decSextFromString(&v, ("NaN" + std::string(51, '7')).c_str(), &set);
  EXPECT_EQ(set.status, 0u);
  // 53 digits round.
  set = defaultContext();
  decSextFromString(&v, ("1" + std::string(51, '0') + "5").c_str(), &set);
  EXPECT_EQ(str(v),
            "1.000000000000000000000000000000000000000000000000000E+52");
  EXPECT_EQ(set.status, DEC_Inexact | DEC_Rounded);

  char buf[DECSEXT_String];
  v = sext("123E+4");
  EXPECT_STREQ(decSextToEngString(&v, buf), "1.23E+6");
  v = sext("1E+5");
  EXPECT_STREQ(decSextToEngString(&v, buf), "100E+3");
  // The longest texts fit the documented buffer.
  v = sext("-1.234567890123456789012345678901234567890123456789012E-98303");
  EXPECT_LT(std::strlen(decSextToString(&v, buf)), sizeof buf);
  v = sext("-0.000001234567890123456789012345678901234567890123456789012");
  EXPECT_LT(std::strlen(decSextToString(&v, buf)), sizeof buf);
}

TEST(DecSextText, ToBCDListsTheCoefficientDigits) {
  uint8_t bcd[DECSEXT_Pmax];
  int32_t exponent = 0;
  decSext v = sext("-12.345");
  EXPECT_EQ(decSextToBCD(&v, &exponent, bcd), 1);
  EXPECT_EQ(exponent, -3);
  for (int i = 0; i < DECSEXT_Pmax - 5; ++i) ASSERT_EQ(bcd[i], 0) << i;
  const uint8_t tail[5] = {1, 2, 3, 4, 5};
  EXPECT_EQ(std::memcmp(bcd + DECSEXT_Pmax - 5, tail, 5), 0);
  v = sext("sNaN42");
  EXPECT_EQ(decSextToBCD(&v, &exponent, bcd), 0);
  EXPECT_EQ(exponent, DECSEXT_EXPONENT_SNAN);
  EXPECT_EQ(bcd[DECSEXT_Pmax - 1], 2);
  EXPECT_EQ(bcd[DECSEXT_Pmax - 2], 4);
}

}  // namespace
