// The 192-bit densely packed decimal encoding: bit patterns, declets,
// canonical forms, byte order.
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "dec_test_util.h"
#include "decimal/decNumber.h"
#include "decimal/decSext.h"
#include "decimal/dec_format.h"

using dectestutil::defaultContext;
using dectestutil::fromHex;
using dectestutil::hex;
using dectestutil::sext;
using dectestutil::str;

namespace {

// Layout, most significant bit first: sign (1), combination (5), exponent
// continuation (16), 17 declets (170). Bias 98354 = 1 * 2^16 + 0x8032.
//  1:        comb 01 000 (exponent top bits 01, digit 0), continuation
//            0x8032, declet 0 = 001  -> 0 01000 1000000000110010 ... 1
//  -0:       the same with the sign set and no coefficient.
//  Nmax:     exponent 98253 biased 196607 = 2 * 2^16 + 0xFFFF; digit 9 makes
//            the combination 11 10 1; declets 999 = 0x0FF.
//  1E-98354: biased exponent 0, combination 00000, declet 001.
//  NaN123:   combination 11111, continuation 0, declet 123 = 001 010 0 011.
//  sNaN123:  as NaN123 with the first continuation bit set.
//  Infinity: combination 11110, everything else 0.
TEST(DecSextEncoding, KnownValuesHaveTheHandDerivedBitPatterns) {
  const std::string nmax_text =
      "9.999999999999999999999999999999999999999999999999999E+98304";
  struct Case {
    std::string text;
    std::string bits;
  } cases[] = {
      {"1", "2200C8000000000000000000000000000000000000000001"},
      {"-0", "A200C8000000000000000000000000000000000000000000"},
      {nmax_text, "77FFFCFF3FCFF3FCFF3FCFF3FCFF3FCFF3FCFF3FCFF3FCFF"},
      {"1E-98354", "000000000000000000000000000000000000000000000001"},
      {"NaN123", "7C00000000000000000000000000000000000000000000A3"},
      {"sNaN123", "7E00000000000000000000000000000000000000000000A3"},
      {"Infinity", "780000000000000000000000000000000000000000000000"},
      {"-Infinity", "F80000000000000000000000000000000000000000000000"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(hex(sext(c.text.c_str())), c.bits);
    EXPECT_EQ(str(fromHex(c.bits)), c.text);
  }
  // The least significant byte comes first in memory.
  decSext one = sext("1");
  EXPECT_EQ(one.bytes[0], 0x01);
  EXPECT_EQ(one.bytes[23], 0x22);
}

TEST(DecSextEncoding, DecletsFollowTheDenselyPackedRules) {
  using kxdec::dpdDecodeDeclet;
  using kxdec::dpdEncodeDeclet;
  // Hand-encoded: 877 = 1000 0111 0111 -> jkd fgh 1 10m = 110 111 1 101.
  EXPECT_EQ(dpdEncodeDeclet(877), 0x37D);
  EXPECT_EQ(dpdEncodeDeclet(123), 0x0A3);
  EXPECT_EQ(dpdEncodeDeclet(999), 0x0FF);  // 00d 11h 1 11m
  EXPECT_EQ(dpdEncodeDeclet(888), 0x06E);
  for (unsigned n = 0; n < 1000; ++n) {
    ASSERT_EQ(dpdDecodeDeclet(dpdEncodeDeclet(n)), n) << n;
  }
  // 1024 patterns for 1000 values: the 24 redundant ones (the pq bits of
  // the all-large form) each decode to three digits of 8 or 9.
  int redundant = 0;
  for (unsigned x = 0; x < 1024; ++x) {
    unsigned v = dpdDecodeDeclet(static_cast<uint16_t>(x));
    ASSERT_LT(v, 1000u);
    if (dpdEncodeDeclet(v) != x) {
      ++redundant;
      EXPECT_GE(v / 100, 8u);
      EXPECT_GE(v / 10 % 10, 8u);
      EXPECT_GE(v % 10, 8u);
    }
  }
  EXPECT_EQ(redundant, 24);
}

TEST(DecSextEncoding, RandomFiniteValuesRoundTripExactly) {
  std::mt19937_64 rng(20240611);
  for (int i = 0; i < 20000; ++i) {
    int digits = 1 + static_cast<int>(rng() % DECSEXT_Pmax);
    std::string coefficient;
    coefficient += static_cast<char>('1' + rng() % 9);
    for (int d = 1; d < digits; ++d) {
      coefficient += static_cast<char>('0' + rng() % 10);
    }
    // Any coefficient exponent the format holds: -bias .. emax - p + 1.
    int exponent =
        -DECSEXT_Bias + static_cast<int>(rng() % (DECSEXT_Emax - DECSEXT_Pmax +
                                                  1 + DECSEXT_Bias + 1));
    bool negative = rng() & 1;
    std::string text =
        (negative ? "-" : "") + coefficient + "E" + std::to_string(exponent);
    SCOPED_TRACE(text);
    decContext set = defaultContext();
    decSext v;
    decSextFromString(&v, text.c_str(), &set);
    ASSERT_EQ(set.status & ~static_cast<uint32_t>(DEC_Subnormal), 0u);
    decNumber n;
    decimal192ToNumber(&v, &n);
    ASSERT_EQ(n.digits, digits);
    ASSERT_EQ(n.exponent, exponent);
    ASSERT_EQ(decSextIsSigned(&v), negative ? 1u : 0u);
    ASSERT_EQ(decSextIsCanonical(&v), 1u);
    ASSERT_EQ(decSextGetExponent(&v), exponent);
    ASSERT_EQ(decSextDigits(&v), static_cast<uint32_t>(digits));
    // Back through text gives the same bits.
    decSext again = sext(str(v).c_str());
    ASSERT_EQ(hex(again), hex(v));
  }
}

TEST(DecSextEncoding, NonCanonicalPatternsDecodeAndAreRewritten) {
  // Lowest declet 0x3FF: a redundant spelling of 999.
  decSext odd = fromHex("2200C80000000000000000000000000000000000000003FF");
  EXPECT_EQ(str(odd), "999");
  EXPECT_EQ(decSextIsCanonical(&odd), 0u);
  decSext fixed;
  decSextCanonical(&fixed, &odd);
  EXPECT_EQ(hex(fixed), "2200C80000000000000000000000000000000000000000FF");
  EXPECT_EQ(decSextIsCanonical(&fixed), 1u);

  // Infinity with stray bits after the combination field.
  decSext inf = fromHex("79FF00000000000000000000000000000000000000001234");
  EXPECT_EQ(decSextIsInfinite(&inf), 1u);
  EXPECT_EQ(str(inf), "Infinity");
  EXPECT_EQ(decSextIsCanonical(&inf), 0u);
  decSextCanonical(&fixed, &inf);
  EXPECT_EQ(hex(fixed), "780000000000000000000000000000000000000000000000");

  // A NaN keeps its payload but loses the exponent-continuation bits.
  decSext nan = fromHex("7D0000000000000000000000000000000000000000000001");
  EXPECT_EQ(str(nan), "NaN1");
  decSextCanonical(&fixed, &nan);
  EXPECT_EQ(hex(fixed), "7C0000000000000000000000000000000000000000000001");
}

TEST(DecSextByteSwap, ReversesTheBytesAndUndoesItself) {
  std::mt19937_64 rng(7);
  for (int i = 0; i < 100; ++i) {
    decSext v;
    for (uint8_t& b : v.bytes) b = static_cast<uint8_t>(rng());
    decSext swapped;
    decSextByteSwap(&swapped, &v);
    for (int k = 0; k < DECSEXT_Bytes; ++k) {
      ASSERT_EQ(swapped.bytes[k], v.bytes[DECSEXT_Bytes - 1 - k]);
    }
    decSext back = swapped;
    decSextByteSwap(&back, &back);  // in place
    ASSERT_EQ(hex(back), hex(v));
  }
  // A value stored big-endian reads correctly after the swap.
  decSext big_endian;
  decSext one = sext("1");
  decSextByteSwap(&big_endian, &one);
  EXPECT_EQ(big_endian.bytes[0], 0x22);
  decSext restored;
  decSextByteSwap(&restored, &big_endian);
  EXPECT_EQ(str(restored), "1");
}

TEST(DecSextEncoding, NumbersOutsideTheFormatAreFittedWhenEncoded) {
  decContext wide;
  decContextDefault(&wide, DEC_INIT_BASE);
  wide.digits = 60;
  decNumber n;
  // 60 digits round to 52.
  decNumberFromString(
      &n, "123456789012345678901234567890123456789012345678901234567890",
      &wide);
  decContext set = defaultContext();
  decSext v;
  decimal192FromNumber(&v, &n, &set);
  EXPECT_EQ(str(v),
            "1.234567890123456789012345678901234567890123456789012E+59");
  EXPECT_EQ(set.status, DEC_Inexact | DEC_Rounded);

  // A large exponent with few digits is padded (clamped) into the format.
  decNumberFromString(&n, "1E+98300", &wide);
  set = defaultContext();
  decimal192FromNumber(&v, &n, &set);
  EXPECT_EQ(set.status, DEC_Clamped);
  EXPECT_EQ(decSextGetExponent(&v), 98253);
  EXPECT_EQ(decSextDigits(&v), 48u);

  // Beyond Emax: overflow to infinity (half-even).
  decNumberFromString(&n, "1E+99999", &wide);
  set = defaultContext();
  decimal192FromNumber(&v, &n, &set);
  EXPECT_EQ(decSextIsInfinite(&v), 1u);
  EXPECT_EQ(set.status, DEC_Overflow | DEC_Inexact | DEC_Rounded);

  // A NaN payload keeps its low 51 digits.
  decNumberFromString(
      &n, "NaN1234567890123456789012345678901234567890123456789012345", &wide);
  set = defaultContext();
  decimal192FromNumber(&v, &n, &set);
  EXPECT_EQ(str(v), "NaN567890123456789012345678901234567890123456789012345");
  EXPECT_EQ(set.status, 0u);
}

}  // namespace
