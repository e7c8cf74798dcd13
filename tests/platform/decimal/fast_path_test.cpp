// The short cuts of the 192-bit addition, subtraction and multiplication
// give the same bytes and the same conditions as the general path (decode
// to the general number type, operate, encode), over operands chosen to hit
// alignment, carries, cancellation, every rounding mode and the format's
// limits, where the short cut must step aside; the direct codec of finite
// values gives what the general codec gives.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>

#include "dec_test_util.h"
#include "decimal/decNumber.h"
#include "decimal/decSext.h"
#include "decimal/dec_format.h"
#include "decimal/dec_sext_fast.h"

using dectestutil::defaultContext;
using dectestutil::hex;
using dectestutil::sext;
using dectestutil::str;

namespace {

enum class Op { kAdd, kSubtract, kMultiply };

const char* name(Op op) {
  return op == Op::kAdd ? "add" : op == Op::kSubtract ? "subtract" : "multiply";
}

// The general path: what the format's operations did before the short cut.
decSext reference(Op op, const decSext& a, const decSext& b, decContext* set) {
  decNumber x, y, z;
  decimal192ToNumber(&a, &x);
  decimal192ToNumber(&b, &y);
  if (op == Op::kAdd) decNumberAdd(&z, &x, &y, set);
  if (op == Op::kSubtract) decNumberSubtract(&z, &x, &y, set);
  if (op == Op::kMultiply) decNumberMultiply(&z, &x, &y, set);
  decSext r;
  decimal192FromNumber(&r, &z, set);
  return r;
}

decSext library(Op op, const decSext& a, const decSext& b, decContext* set) {
  decSext r;
  if (op == Op::kAdd) decSextAdd(&r, &a, &b, set);
  if (op == Op::kSubtract) decSextSubtract(&r, &a, &b, set);
  if (op == Op::kMultiply) decSextMultiply(&r, &a, &b, set);
  return r;
}

// Compares one case; returns false (after reporting) on a difference.
bool same(Op op, const decSext& a, const decSext& b, enum rounding mode) {
  decContext want_set = defaultContext(), got_set = defaultContext();
  decContextSetRounding(&want_set, mode);
  decContextSetRounding(&got_set, mode);
  const decSext want = reference(op, a, b, &want_set);
  const decSext got = library(op, a, b, &got_set);
  if (hex(want) == hex(got) && want_set.status == got_set.status) return true;
  ADD_FAILURE() << name(op) << " " << str(a) << " " << str(b) << " rounding "
                << mode << ": want " << str(want) << " status " << std::hex
                << want_set.status << ", got " << str(got) << " status "
                << got_set.status;
  return false;
}

// Operands with every digit count, digit runs of 9s and 0s (carries and
// borrows across limbs), and exponents close together, at the format's
// limits or anywhere.
class Operands {
 public:
  explicit Operands(uint32_t seed) : rng_(seed) {}

  std::string coefficient() {
    const int len = pick(4) == 0 ? 52 : 1 + pick(52);
    const int style = pick(4);
    std::string digits;
    for (int i = 0; i < len; ++i) {
      int d = static_cast<int>(pick(10));
      if (style == 1) d = pick(8) == 0 ? d : 9;
      if (style == 2) d = pick(8) == 0 ? d : 0;
      if (style == 3 && i == len - 1) d = 5;  // a tie when cut here
      digits += static_cast<char>('0' + d);
    }
    if (pick(16) == 0) digits = "0";
    return digits;
  }

  // Exponents for a pair: close together (most money), both at one of the
  // format's limits, one at a limit and one near 0 (products at the
  // limits), or anywhere.
  void exponents(int* ea, int* eb) {
    const int near = static_cast<int>(pick(41)) - 20;
    const int low = DECSEXT_Emin - 51, high = DECSEXT_Emax - 51;
    switch (pick(10)) {
      case 0:
        *ea = low + static_cast<int>(pick(60));
        *eb = low + static_cast<int>(pick(60));
        break;
      case 1:
        *ea = high - static_cast<int>(pick(60));
        *eb = high - static_cast<int>(pick(60));
        break;
      case 2:
        *ea = pick(2) ? low + static_cast<int>(pick(60))
                      : high - static_cast<int>(pick(60));
        *eb = near - static_cast<int>(pick(60));
        break;
      case 3:
        *ea = static_cast<int>(pick(2 * 98000)) - 98000;
        *eb = static_cast<int>(pick(2 * 98000)) - 98000;
        break;
      default:
        *ea = near;
        *eb = near + static_cast<int>(pick(121)) - 60;
        break;
    }
  }

  decSext value(int exp) {
    std::string text = (pick(2) ? "-" : "") + coefficient() + "E" +
                       std::to_string(exp);
    return sext(text.c_str());
  }

  uint32_t pick(uint32_t n) { return rng_() % n; }

 private:
  std::mt19937 rng_;
};

void crossCheck(Op op, uint32_t seed) {
  Operands gen(seed);
  int failures = 0;
  for (int i = 0; i < 100000 && failures < 10; ++i) {
    int ea, eb;
    gen.exponents(&ea, &eb);
    const decSext a = gen.value(ea);
    const decSext b = gen.pick(8) == 0 ? a : gen.value(eb);
    const auto mode = static_cast<enum rounding>(gen.pick(DEC_ROUND_MAX));
    if (!same(op, a, b, mode)) ++failures;
  }
}

TEST(DecSextShortCut, AdditionMatchesTheGeneralPath) {
  crossCheck(Op::kAdd, 1);
}

TEST(DecSextShortCut, SubtractionMatchesTheGeneralPath) {
  crossCheck(Op::kSubtract, 2);
}

TEST(DecSextShortCut, MultiplicationMatchesTheGeneralPath) {
  crossCheck(Op::kMultiply, 3);
}

TEST(DecSextShortCut, EdgesMatchTheGeneralPath) {
  const char* values[] = {
      "9999999999999999999999999999999999999999999999999999",
      "1",
      "-1",
      "0.5",
      "5E-52",
      "0",
      "-0",
      "0E-98354",
      "0E+98253",
      "1E-98303",
      "1E-98354",
      "9.999999999999999999999999999999999999999999999999999E+98304",
      "1E+98253",
      "123.45",
      "-123.45",
      "1000000000000000000",
      "999999999999999999",
      "4999999999999999999999999999999999999999999999999999.5",
      "Infinity",
      "-Infinity",
      "NaN7",
      "sNaN",
  };
  for (const char* x : values) {
    for (const char* y : values) {
      for (int m = 0; m < DEC_ROUND_MAX; ++m) {
        const auto mode = static_cast<enum rounding>(m);
        for (Op op : {Op::kAdd, Op::kSubtract, Op::kMultiply}) {
          same(op, sext(x), sext(y), mode);
        }
      }
    }
  }
}

TEST(DecSextShortCut, TakenForMoneyAndFullLengthOperandsOnly) {
  decContext set = defaultContext();
  decSext r;
  const decSext a =
      sext("1234567890123456789012345678901234567.890123456789012");
  const decSext b =
      sext("9876543210987654321098765432109876543.210987654321098");
  EXPECT_TRUE(kxdec::sextFastAdd(&r, &a, &b, false, &set));
  EXPECT_TRUE(kxdec::sextFastMultiply(&r, &a, &b, &set));
  const decSext price = sext("19.99"), rate = sext("0.0825");
  EXPECT_TRUE(kxdec::sextFastAdd(&r, &price, &rate, true, &set));
  EXPECT_TRUE(kxdec::sextFastMultiply(&r, &price, &rate, &set));
  EXPECT_EQ(decContextGetStatus(&set), DEC_Inexact | DEC_Rounded);

  // Specials, far exponents, subnormal results and other contexts go the
  // general way, leaving result and status alone.
  const decSext inf = sext("Infinity"), far = sext("1E-60"),
                tiny = sext("1E-98303");
  decContextZeroStatus(&set);
  EXPECT_FALSE(kxdec::sextFastAdd(&r, &a, &inf, false, &set));
  EXPECT_FALSE(kxdec::sextFastAdd(&r, &price, &far, false, &set));
  EXPECT_FALSE(kxdec::sextFastMultiply(&r, &tiny, &rate, &set));
  decContext narrow = set;
  narrow.digits = 34;
  EXPECT_FALSE(kxdec::sextFastAdd(&r, &price, &rate, false, &narrow));
  EXPECT_EQ(decContextGetStatus(&set), 0u);
}

bool sameNumber(const decNumber& a, const decNumber& b) {
  if (a.bits != b.bits || a.digits != b.digits || a.exponent != b.exponent) {
    return false;
  }
  for (int i = 0; i < (a.digits + 17) / 18; ++i) {
    if (a.lsu[i] != b.lsu[i]) return false;
  }
  return true;
}

TEST(DecSextShortCut, CodecMatchesTheGeneralCodec) {
  const kxdec::FormatInfo& f = *kxdec::formatInfo(192);
  std::mt19937_64 rng(5);
  for (int i = 0; i < 100000; ++i) {
    // Any pattern, non-canonical declets included; every fourth one with a
    // short coefficient so that leading zero limbs are met.
    decSext v;
    for (int j = 0; j < DECSEXT_Bytes; j += 8) {
      const uint64_t w = rng();
      std::memcpy(v.bytes + j, &w, 8);
    }
    if (i % 4 == 0) std::memset(v.bytes + 3 * (i % 5), 0, 12);
    decNumber fast, general;
    decimal192ToNumber(&v, &fast);
    kxdec::formatDecode(f, v.bytes, &general);
    ASSERT_TRUE(sameNumber(fast, general)) << hex(v);

    decContext fast_set = defaultContext(), general_set = defaultContext();
    decSext fast_bytes, general_bytes;
    decimal192FromNumber(&fast_bytes, &general, &fast_set);
    kxdec::formatEncode(f, &general, general_bytes.bytes, &general_set);
    ASSERT_EQ(hex(fast_bytes), hex(general_bytes)) << hex(v);
    ASSERT_EQ(fast_set.status, general_set.status);
  }

  // Numbers at and beyond the format's exponent limits and precision, which
  // the general codec must clamp or round.
  decContext wide;
  decContextDefault(&wide, DEC_INIT_BASE);
  wide.digits = 60;
  wide.emax = 999999;
  wide.emin = -999999;
  const std::string coefficients[] = {
      "1", "9999999999999999999999999999999999999999999999999999",
      "12345678901234567890123456789012345678901234567890123"};
  const int exponents[] = {DECSEXT_Emax - 51 - 1, DECSEXT_Emax - 51,
                           DECSEXT_Emax - 51 + 1, DECSEXT_Emax,
                           -DECSEXT_Bias - 1,     -DECSEXT_Bias,
                           -DECSEXT_Bias + 1};
  for (const std::string& coefficient : coefficients) {
    for (int exponent : exponents) {
      const std::string text = coefficient + "E" + std::to_string(exponent);
      decNumber n;
      decNumberFromString(&n, text.c_str(), &wide);
      decContext fast_set = defaultContext(), general_set = defaultContext();
      decSext fast_bytes, general_bytes;
      decimal192FromNumber(&fast_bytes, &n, &fast_set);
      kxdec::formatEncode(f, &n, general_bytes.bytes, &general_set);
      EXPECT_EQ(hex(fast_bytes), hex(general_bytes)) << text;
      EXPECT_EQ(fast_set.status, general_set.status) << text;
    }
  }
}

TEST(DecSextShortCut, PowerOfTenDivisionIsExact) {
  std::mt19937_64 rng(4);
  uint64_t pow = 1;
  for (int k = 1; k <= 18; ++k) {
    pow *= 10;
    const uint64_t top = (uint64_t{1} << 60) - 1;
    const uint64_t samples[] = {0, 1, pow - 1, pow, pow + 1, 2 * pow - 1,
                                top, top - top % pow, top - top % pow - 1};
    for (uint64_t x : samples) {
      ASSERT_EQ(kxdec::divPow10(x, k), x / pow) << x << " / 10^" << k;
    }
    for (int i = 0; i < 20000; ++i) {
      const uint64_t x = rng() >> 4;
      ASSERT_EQ(kxdec::divPow10(x, k), x / pow) << x << " / 10^" << k;
    }
  }
}

}  // namespace

// decSextIsPlainReduced lets a value skip normalisation: whenever it says
// so, reducing the value and adding a zero of exponent 0 (the normal form)
// must give back the very same bytes; and it must say so for plain money.
TEST(DecSextShortCut, PlainReducedValuesAreTheirOwnNormalForm) {
  Operands gen(20261124);
  decSext zero = sext("0");
  int plain = 0;
  for (int i = 0; i < 100000; ++i) {
    int ea = 0, eb = 0;
    gen.exponents(&ea, &eb);
    decSext v = gen.value(gen.pick(2) ? ea : -static_cast<int>(gen.pick(30)));
    decContext set = defaultContext();
    decSext normal;
    decSextReduce(&normal, &v, &set);
    decSextAdd(&normal, &normal, &zero, &set);
    if (decSextIsPlainReduced(&v)) {
      ++plain;
      ASSERT_EQ(hex(normal), hex(v)) << str(v);
    }
  }
  EXPECT_GT(plain, 1000);
  for (const char* money : {"77777.37", "-742.1", "1", "986923357987942995.06"}) {
    decSext v = sext(money);
    EXPECT_EQ(1u, decSextIsPlainReduced(&v)) << money;
  }
  for (const char* other : {"0", "-0", "742.10", "1E+2", "Infinity", "NaN"}) {
    decSext v = sext(other);
    EXPECT_EQ(0u, decSextIsPlainReduced(&v)) << other;
  }
}
