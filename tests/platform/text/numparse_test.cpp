// Tests of the number parsers and "%.15g" printing (kxs_num.h).
#include "kxs_num.h"

#include <gtest/gtest.h>

#include "support/comma_locale.h"

#include <clocale>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <limits>
#include <random>
#include <string>

namespace {

template <typename T, typename Parse>
void ExpectRejected(Parse parse, const char* text) {
  T value = static_cast<T>(77);
  EXPECT_EQ(parse(text, &value), 0) << (text ? text : "(null)");
  EXPECT_EQ(value, static_cast<T>(77)) << "output changed on failure";
}

TEST(NumParse, IntegersAcceptBlanksSignsAndLeadingZeros) {
  int32_t v32 = 0;
  EXPECT_EQ(kxs_numparse(" 42 ", &v32), 1);
  EXPECT_EQ(v32, 42);
  EXPECT_EQ(kxs_numparse("\t-7\r\n", &v32), 1);
  EXPECT_EQ(v32, -7);
  EXPECT_EQ(kxs_numparse("+5", &v32), 1);
  EXPECT_EQ(v32, 5);
  EXPECT_EQ(kxs_numparse("-0", &v32), 1);
  EXPECT_EQ(v32, 0);
  int64_t v64 = 0;
  EXPECT_EQ(kxs_numparse64("000000000000000000000000000009", &v64), 1);
  EXPECT_EQ(v64, 9);
  uint64_t u64 = 1;
  EXPECT_EQ(kxs_numparseU64(" +0 ", &u64), 1);
  EXPECT_EQ(u64, 0u);
  EXPECT_EQ(kxs_numparse64("123", nullptr), 1);  // check only
}

TEST(NumParse, IntegersRejectAnythingButBlanksSignAndDigits) {
  for (const char* bad : {"", "   ", "+", "-", "1 2", "12a", "a12", "- 1", "+-1", "--1",
                          "0x10", "1.0", "1e3", "1,000", "\v1", "1\f", "\xEF\xBC\x91"}) {
    ExpectRejected<int32_t>(kxs_numparse, bad);
    ExpectRejected<int64_t>(kxs_numparse64, bad);
    ExpectRejected<uint64_t>(kxs_numparseU64, bad);
  }
  ExpectRejected<int32_t>(kxs_numparse, nullptr);
  ExpectRejected<int64_t>(kxs_numparse64, nullptr);
  ExpectRejected<uint64_t>(kxs_numparseU64, nullptr);
  ExpectRejected<double>(kxs_numparsedbl, nullptr);
}

TEST(NumParse, IntegerRangesEndExactlyAtTheTypeLimits) {
  int32_t v32 = 0;
  EXPECT_EQ(kxs_numparse("2147483647", &v32), 1);
  EXPECT_EQ(v32, INT32_MAX);
  EXPECT_EQ(kxs_numparse("-2147483648", &v32), 1);
  EXPECT_EQ(v32, INT32_MIN);
  ExpectRejected<int32_t>(kxs_numparse, "2147483648");
  ExpectRejected<int32_t>(kxs_numparse, "-2147483649");

  int64_t v64 = 0;
  EXPECT_EQ(kxs_numparse64("9223372036854775807", &v64), 1);
  EXPECT_EQ(v64, INT64_MAX);
  EXPECT_EQ(kxs_numparse64("-9223372036854775808", &v64), 1);
  EXPECT_EQ(v64, INT64_MIN);
  ExpectRejected<int64_t>(kxs_numparse64, "9223372036854775808");
  ExpectRejected<int64_t>(kxs_numparse64, "-9223372036854775809");
  ExpectRejected<int64_t>(kxs_numparse64, "99999999999999999999999999");

  uint64_t u64 = 0;
  EXPECT_EQ(kxs_numparseU64("18446744073709551615", &u64), 1);
  EXPECT_EQ(u64, UINT64_MAX);
  ExpectRejected<uint64_t>(kxs_numparseU64, "18446744073709551616");  // 2^64
  ExpectRejected<uint64_t>(kxs_numparseU64, "-0");
  ExpectRejected<uint64_t>(kxs_numparseU64, "-1");
}

TEST(NumParse, DoublesAcceptTheCDecimalForms) {
  struct Case {
    const char* text;
    double value;
  };
  for (const Case& c : {Case{"1.5", 1.5}, Case{".5", 0.5}, Case{"5.", 5.0},
                        Case{"-2.5e-3", -2.5e-3}, Case{"1E+2", 100.0}, Case{" 3.25\t\n", 3.25},
                        Case{"+7", 7.0}, Case{"0e999999999999999999999", 0.0},
                        Case{"1.7976931348623157e308", 1.7976931348623157e308},
                        Case{"4.9e-324", 4.9e-324},  // smallest subnormal
                        Case{"0.000001e-300", 1e-306}}) {
    double v = 0;
    EXPECT_EQ(kxs_numparsedbl(c.text, &v), 1) << c.text;
    EXPECT_EQ(v, c.value) << c.text;
  }
  double v = 0;
  EXPECT_EQ(kxs_numparsedbl("inf", &v), 1);
  EXPECT_EQ(v, std::numeric_limits<double>::infinity());
  EXPECT_EQ(kxs_numparsedbl(" -Infinity ", &v), 1);
  EXPECT_EQ(v, -std::numeric_limits<double>::infinity());
  EXPECT_EQ(kxs_numparsedbl("NaN", &v), 1);
  EXPECT_TRUE(std::isnan(v));

  // Underflow rounds to a zero of the right sign; it is not an error.
  v = 1;
  EXPECT_EQ(kxs_numparsedbl("1e-400", &v), 1);
  EXPECT_EQ(v, 0.0);
  EXPECT_FALSE(std::signbit(v));
  EXPECT_EQ(kxs_numparsedbl("-0.00000000001e-999999", &v), 1);
  EXPECT_EQ(v, 0.0);
  EXPECT_TRUE(std::signbit(v));
}

TEST(NumParse, DoublesRejectOverflowAndMalformedText) {
  for (const char* bad : {"1e999", "-1e999", "1.8e308", "1000000e303", "1e", "1e+", ".",
                          "e5", "-.e1", "1.5x", "0x1p3", "nan(1)", "infinit", "in", "1,5",
                          "", " ", "--1", "+-1", "1 .5", "1. 5", "1e 5", "1.5.2"}) {
    ExpectRejected<double>(kxs_numparsedbl, bad);
  }
}

TEST(NumParse, DoublesParseLikeStrtodInTheCLocale) {
  std::mt19937_64 rng(42);
  char text[64];
  for (int i = 0; i < 20000; ++i) {
    double d;
    const uint64_t bits = rng();
    memcpy(&d, &bits, sizeof d);
    if (!std::isfinite(d)) continue;
    snprintf(text, sizeof text, (i & 1) ? "%.17g" : "%.6e", d);
    double got = 0;
    ASSERT_EQ(kxs_numparsedbl(text, &got), 1) << text;
    const double want = strtod(text, nullptr);
    EXPECT_EQ(memcmp(&got, &want, sizeof got), 0) << text;
  }
}

std::string Dtoa(double v) {
  char buf[32];
  memset(buf, '#', sizeof buf);
  const int n = kxs_dtoa15g(v, buf, sizeof buf);
  EXPECT_EQ(n, static_cast<int>(strlen(buf)));
  return buf;
}

std::string Printf15g(double v) {
  char buf[64];
  snprintf(buf, sizeof buf, "%.15g", v);
  return buf;
}

TEST(NumParse, Dtoa15gWritesWhatPrintfWritesInTheCLocale) {
  EXPECT_EQ(Dtoa(0.1), "0.1");
  EXPECT_EQ(Dtoa(1e20), "1e+20");
  EXPECT_EQ(Dtoa(1e-5), "1e-05");
  EXPECT_EQ(Dtoa(0.0001), "0.0001");
  EXPECT_EQ(Dtoa(123456789012345678.0), "1.23456789012346e+17");
  EXPECT_EQ(Dtoa(-0.0), "-0");
  EXPECT_EQ(Dtoa(100), "100");
  EXPECT_EQ(Dtoa(-1.7976931348623157e308), "-1.79769313486232e+308");
  EXPECT_EQ(Dtoa(std::numeric_limits<double>::infinity()), "inf");

  // The C library's own "%.15g" is the reference (the tests run in "C").
  const double edges[] = {999999999999999.0, 999999999999999.4, 999999999999999.6,
                          1e15, 1e16, 0.000099999999999999995, 5e-324, 2.5, 0.5,
                          1.0 / 3, 2.0 / 3, 1e100, 123.456, -98765.4321e-10};
  for (double d : edges) EXPECT_EQ(Dtoa(d), Printf15g(d)) << Printf15g(d);
  std::mt19937_64 rng(99);
  for (int i = 0; i < 20000; ++i) {
    double d;
    if (i % 2 == 0) {
      const uint64_t bits = rng();
      memcpy(&d, &bits, sizeof d);
      if (std::isnan(d)) continue;
    } else {
      // Short decimals, where rounding ties and the %e/%f choice show.
      d = static_cast<double>(static_cast<int64_t>(rng() % 2000001) - 1000000) *
          std::pow(10.0, static_cast<int>(rng() % 41) - 20);
    }
    ASSERT_EQ(Dtoa(d), Printf15g(d));
  }
}

TEST(NumParse, Dtoa15gReportsATooSmallBuffer) {
  char buf[8];
  memset(buf, '#', sizeof buf);
  EXPECT_EQ(kxs_dtoa15g(1.0 / 3, buf, sizeof buf), -1);
  EXPECT_STREQ(buf, "");
  EXPECT_EQ(kxs_dtoa15g(0.25, buf, 5), 4);  // "0.25" and its terminator
  EXPECT_STREQ(buf, "0.25");
  EXPECT_EQ(kxs_dtoa15g(0.25, buf, 4), -1);
  EXPECT_EQ(kxs_dtoa15g(0.25, nullptr, 32), -1);
  EXPECT_EQ(kxs_dtoa15g(0.25, buf, 0), -1);
}

TEST(NumParse, CommaDecimalLocaleChangesNeitherParsingNorPrinting) {
  kxb_test::CommaLocale locale;
  if (!kxb_test::CommaLocale::IsComma()) {
    GTEST_SKIP() << "no locale with a decimal comma installed, and localedef "
                    "could not build one";
  }
  char buf[32];
  snprintf(buf, sizeof buf, "%.15g", 1.5);
  ASSERT_STREQ(buf, "1,5") << "the locale does not affect printf";

  EXPECT_EQ(Dtoa(1.5), "1.5");
  EXPECT_EQ(Dtoa(-1234.5e-10), "-1.2345e-07");
  double v = 0;
  EXPECT_EQ(kxs_numparsedbl("1.5", &v), 1);
  EXPECT_EQ(v, 1.5);
  ExpectRejected<double>(kxs_numparsedbl, "1,5");
  int64_t i = 0;
  EXPECT_EQ(kxs_numparse64("-12", &i), 1);
  EXPECT_EQ(i, -12);
}

}  // namespace
