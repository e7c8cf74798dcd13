#include <cstring>
#include <map>

#include <gtest/gtest.h>

#include "kxbreal.h"

namespace {

KxbReal real(const char* text) {
  KxbReal r;
  r.assign(text);
  return r;
}

std::string text(const KxbReal& r, int limit = 61) {
  KxbString s = r.asString(limit);
  return s.isNull() ? "<null>" : s.asCstr();
}

TEST(Real, NullIsNaNAndComparesGreaterAndUnequal) {
  KxbReal null;
  EXPECT_TRUE(null.isNull());
  EXPECT_TRUE(null.asString().isNull());
  bool failed = false;
  EXPECT_EQ(0.0, null.asDouble(&failed));
  EXPECT_TRUE(failed);
  EXPECT_EQ(0, null.asInt64(&failed));
  EXPECT_TRUE(failed);
  KxbReal other;
  EXPECT_EQ(1, null.compare(other));
  EXPECT_FALSE(null == other);
  EXPECT_TRUE(null != other);
  EXPECT_EQ(1, null.compare(KxbReal(5)));
  EXPECT_EQ(1, KxbReal(5).compare(null));
  EXPECT_FALSE(null < other);
  EXPECT_FALSE(KxbReal(5) < null);
  EXPECT_TRUE(real("abc").isNull());
  EXPECT_TRUE(real("").isNull());
  KxbReal one(1);
  one.setNull();
  EXPECT_TRUE(one.isNull());
}

// Every ordering follows compare(): with a null on either side the outcome
// is 1, so only `>`, `>=` and `!=` hold, whatever the other operand is.
TEST(Real, OrderingsWithANullFollowTheOutcomeOfOne) {
  const KxbReal null;
  for (double d : {-3.0, 0.0, 7.5}) {
    const KxbReal value(d);
    EXPECT_TRUE(null > value && null > d) << d;
    EXPECT_TRUE(null >= value && null >= d) << d;
    EXPECT_FALSE(null < value || null < d) << d;
    EXPECT_FALSE(null <= value || null <= d) << d;
    EXPECT_FALSE(null == value || null == d) << d;
    EXPECT_TRUE(null != value && null != d) << d;
    EXPECT_TRUE(value > null && value >= null) << d;
    EXPECT_FALSE(value < null || value <= null) << d;
  }
  EXPECT_TRUE(null > KxbReal() && null >= KxbReal());
  EXPECT_FALSE(null < KxbReal() || null <= KxbReal());
  // Values themselves keep their order.
  EXPECT_TRUE(KxbReal(2) >= 2.0);
  EXPECT_FALSE(KxbReal(1) >= 2.0);
  EXPECT_TRUE(KxbReal(1) <= KxbReal(1));
  EXPECT_FALSE(KxbReal(3) > KxbReal(3));
}

TEST(Real, TextIsReducedAndWhiteSpaceSkipped) {
  EXPECT_EQ("1.5", text(real("  1.50")));
  EXPECT_EQ("1.5", text(real("\xC2\xA0\t1.50")));  // Unicode white space too
  EXPECT_EQ("-0.001", text(real("-1E-3")));
  EXPECT_EQ("100", text(real("1E+2")));
  EXPECT_EQ("0", text(real("0.000")));
  KxbReal long53 = real("12345678901234567890123456789012345678901234567890123");
  EXPECT_TRUE(long53.truncated());  // 53 digits round to 52
  EXPECT_FALSE(real("1.25").truncated());
  EXPECT_EQ("0.1", text(KxbReal(0.1)));  // shortest text of the double
}

TEST(Real, TruncationIsToldOnTheLeftOperand) {
  KxbReal one(1), three(3), zero(0);
  bool error = true;
  KxbReal third = one.divide(three, &error);
  EXPECT_FALSE(error);
  EXPECT_TRUE(one.truncated());
  EXPECT_FALSE(third.truncated());
  EXPECT_EQ("0.3333333333333333333333333333333333333333333333333333",
            text(third));

  KxbReal sum = one.add(three, &error);  // exact: clears the flag again
  EXPECT_FALSE(one.truncated());
  EXPECT_EQ("4", text(sum));

  one.divide(zero, &error);
  EXPECT_TRUE(error);
  KxbReal nan = zero.divide(zero, &error);
  EXPECT_TRUE(error);
  EXPECT_TRUE(nan.isNull());

  // An overflow is reported with Inexact: only the truncated flag tells.
  KxbReal big = real("9E+98304");
  KxbReal huge = big.multiply(big, &error);
  EXPECT_FALSE(error);
  EXPECT_TRUE(big.truncated());
  EXPECT_EQ("Infinity", text(huge));

  // Compound assignment replaces the object by the result, whose flag is
  // clear.
  KxbReal x(1);
  x /= three;
  EXPECT_FALSE(x.truncated());
  EXPECT_EQ("0.75", text(KxbReal(3) / 4.0));
  EXPECT_EQ("3.5", text(KxbReal(3) + 0.5));
}

TEST(Real, RoundingOperationsKeepTheirOddities) {
  EXPECT_EQ("2.5", text(real("2.5").round(0)));  // not to an integer
  EXPECT_EQ("2.3", text(real("2.25").round(1)));
  EXPECT_EQ("2.35", text(real("2.345").round(2)));
  EXPECT_EQ("-2.35", text(real("-2.345").round(2)));
  EXPECT_EQ("1200", text(real("1234").round(-2)));
  EXPECT_EQ("-2", text(real("-2.5").floor()));  // toward zero for negatives
  EXPECT_EQ("-2", text(real("-2.5").ceiling()));
  EXPECT_EQ("2", text(real("2.5").floor()));
  EXPECT_EQ("3", text(real("2.5").ceiling()));
  EXPECT_EQ("2.5", text(real("-2.5").absolute()));
  EXPECT_EQ("-2.5", text(real("2.5").negative()));

  EXPECT_EQ("-1", text(KxbReal(7).modulo(KxbReal(4))));
  EXPECT_EQ("-2", text(KxbReal(6).modulo(KxbReal(4))));
  EXPECT_EQ("1", text(KxbReal(5).modulo(KxbReal(4))));
  EXPECT_TRUE(KxbReal(5).modulo(KxbReal(0)).isNull());
}

TEST(Real, SquareRoot) {
  bool error = true;
  KxbReal root = KxbReal(16).sqrt(&error);
  EXPECT_FALSE(error);
  EXPECT_EQ("4", text(root));
  EXPECT_FALSE(root.truncated());
  KxbReal two = KxbReal(2).sqrt(&error);
  EXPECT_TRUE(two.truncated());
  EXPECT_EQ("1.414213562373095048801688724209698078569671875376948",
            text(two));
  EXPECT_TRUE(KxbReal(-1).sqrt(&error).isNull());
  EXPECT_TRUE(error);
  EXPECT_TRUE(KxbReal().sqrt(&error).isNull());
  EXPECT_TRUE(error);
}

TEST(Real, IntegerConversionsRoundDown) {
  bool failed = true;
  EXPECT_EQ(-1, real("-0.5").asInt64(&failed));
  EXPECT_FALSE(failed);
  EXPECT_EQ(2, real("2.7").asInt64(&failed));
  EXPECT_EQ(-3, real("-2.5").asInt64(&failed));
  EXPECT_EQ(0, real("1E+30").asInt64(&failed));
  EXPECT_TRUE(failed);
  EXPECT_EQ(4294967295u, real("4294967295.9").asSize(&failed));
  EXPECT_FALSE(failed);
  EXPECT_EQ(0u, real("4294967296").asSize(&failed));
  EXPECT_TRUE(failed);
  EXPECT_EQ(0u, real("-0.5").asSize(&failed));
  EXPECT_TRUE(failed);
  EXPECT_DOUBLE_EQ(0.1, KxbReal(0.1).asDouble(&failed));
  EXPECT_FALSE(failed);
}

TEST(Real, StringFormsFitTheirLimit) {
  EXPECT_EQ("123.45", text(real("123.45")));
  EXPECT_EQ("123.4", text(real("123.45"), 5));  // cut, not rounded
  EXPECT_EQ("123", text(real("123.45"), 4));    // no bare "."
  EXPECT_EQ("<null>", text(real("123.45"), 2));  // integer part too long
  EXPECT_EQ("<null>", text(real("1"), 0));
  EXPECT_EQ("-0.5", text(real("-0.5"), 4));
  EXPECT_EQ("0.001", text(real("0.001")));
  // Below 1 with too many leading zeros for the limit: scientific, which
  // has no form for a negative exponent.
  EXPECT_EQ("<null>", text(real("0.0000001"), 6));
  // Beyond 52 integer digits: scientific.
  EXPECT_EQ("1.5E+60", text(real("1.5E+60")));
  EXPECT_EQ("1E+60", text(real("1E+60")));
  EXPECT_EQ("<null>", text(real("1.2345E+60"), 6));
  EXPECT_EQ("1000", text(real("1E+3")));
  EXPECT_EQ("-Infinity", text(real("-Inf")));
}

TEST(Real, RawFormNormalisesTheObject) {
  KxbReal hundred = real("1E+2");
  uint64_t words[3];
  hundred.asFD(words);
  KxbReal back;
  back.assign(words, false);
  EXPECT_EQ("100", text(back));
  uint64_t again[3];
  hundred.asFD(again);
  EXPECT_EQ(0, std::memcmp(words, again, sizeof words));

  // The other byte order, and NaN patterns made canonical.
  unsigned char swapped[24];
  for (int i = 0; i < 24; ++i) {
    swapped[i] = reinterpret_cast<unsigned char*>(words)[23 - i];
  }
  uint64_t swappedWords[3];
  std::memcpy(swappedWords, swapped, 24);
  KxbReal fromSwapped;
  fromSwapped.assign(swappedWords, true);
  EXPECT_TRUE(fromSwapped == hundred);

  KxbReal null;
  uint64_t nanWords[3];
  null.asFD(nanWords);
  nanWords[0] ^= 0x1234;  // a payload
  KxbReal nan;
  nan.assign(nanWords, false);
  EXPECT_TRUE(nan.isNull());
  uint64_t canonical[3];
  nan.asFD(canonical);
  uint64_t plainNaN[3];
  KxbReal().asFD(plainNaN);
  EXPECT_EQ(0, std::memcmp(canonical, plainNaN, sizeof canonical));
}

TEST(Real, SqlNumericBothWays) {
  KX_SQL_NUMERIC_STRUCT numeric{};
  static_assert(sizeof(KX_SQL_NUMERIC_STRUCT) == 19);
  numeric.scale = 2;
  numeric.sign = 0;
  numeric.val[0] = 12345 & 0xFF;
  numeric.val[1] = 12345 >> 8;
  KxbReal value;
  value.assign(&numeric);
  EXPECT_EQ("-123.45", text(value));

  KX_SQL_NUMERIC_STRUCT out{};
  bool failed = true;
  value.asSQLNumeric(&out, &failed, 10, 3);
  EXPECT_FALSE(failed);
  EXPECT_EQ(0, out.sign);
  EXPECT_EQ(3, out.scale);
  EXPECT_EQ(6, out.precision);
  EXPECT_EQ(123450u, out.val[0] | (out.val[1] << 8) | (out.val[2] << 16));

  // A magnitude spread over all four words survives the round trip.
  KxbReal wide = real("123456789012345678901234567890123456.78");
  wide.asSQLNumeric(&out, &failed, 38, 2);
  EXPECT_FALSE(failed);
  KxbReal back;
  back.assign(&out);
  EXPECT_TRUE(back == wide) << text(back);

  real("1E+40").asSQLNumeric(&out, &failed, 50, 0);  // needs > 128 bits
  EXPECT_TRUE(failed);
  real("12345").asSQLNumeric(&out, &failed, 4, 0);  // more digits than asked
  EXPECT_TRUE(failed);
  KxbReal().asSQLNumeric(&out, &failed, 10, 0);
  EXPECT_TRUE(failed);
}

TEST(Real, OrdersInContainers) {
  std::map<KxbReal, int> byValue;
  byValue[real("2.5")] = 1;
  byValue[real("-1")] = 2;
  byValue[real("2.50")] = 3;  // equal value: same key
  ASSERT_EQ(2u, byValue.size());
  EXPECT_EQ(2, byValue.begin()->second);
  EXPECT_TRUE(real("1") <= real("1.0"));
  EXPECT_TRUE(real("2") >= real("1"));
  EXPECT_TRUE(real("2") > 1.5);
  EXPECT_TRUE(real("0.1") == 0.1);
}

}  // namespace
