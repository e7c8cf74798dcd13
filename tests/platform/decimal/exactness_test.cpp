// Properties of the general number type checked with exact arithmetic at
// full capacity: long products against a digit-by-digit multiplication,
// and rounded quotients, square roots and sums against their exact
// residuals. Precisions and operand sizes are random (fixed seeds).
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "decimal/decContext.h"
#include "decimal/decNumber.h"

namespace {

decContext exactContext() {
  decContext set;
  decContextDefault(&set, DEC_INIT_BASE);
  set.digits = DECNUMDIGITS;
  set.round = DEC_ROUND_HALF_EVEN;
  return set;
}

decContext roundingContext(int digits) {
  decContext set;
  decContextDefault(&set, DEC_INIT_BASE);
  set.digits = digits;
  set.round = DEC_ROUND_HALF_EVEN;
  return set;
}

std::string text(const decNumber& n) {
  std::string s(static_cast<size_t>(n.digits) + 16, '\0');
  decNumberToString(&n, s.data());
  s.resize(s.find('\0'));
  return s;
}

decNumber number(const std::string& t) {
  decContext set = exactContext();
  decNumber n;
  decNumberFromString(&n, t.c_str(), &set);
  EXPECT_EQ(set.status & ~static_cast<uint32_t>(DEC_Subnormal), 0u) << t;
  return n;
}

std::string randomDigits(std::mt19937_64& rng, int count) {
  std::string s;
  s += static_cast<char>('1' + rng() % 9);
  for (int i = 1; i < count; ++i) s += static_cast<char>('0' + rng() % 10);
  return s;
}

std::string randomNumber(std::mt19937_64& rng, int max_digits, int exp_range) {
  std::string s = (rng() & 1) ? "-" : "";
  s += randomDigits(rng, 1 + static_cast<int>(rng() % max_digits));
  s += "E" + std::to_string(static_cast<int>(rng() % (2 * exp_range + 1)) -
                            exp_range);
  return s;
}

// Digit-by-digit product of two digit strings.
std::string schoolbookProduct(const std::string& a, const std::string& b) {
  std::vector<int> acc(a.size() + b.size(), 0);
  for (size_t i = 0; i < a.size(); ++i) {
    for (size_t j = 0; j < b.size(); ++j) {
      acc[i + j + 1] += (a[i] - '0') * (b[j] - '0');
    }
  }
  for (size_t k = acc.size() - 1; k > 0; --k) {
    acc[k - 1] += acc[k] / 10;
    acc[k] %= 10;
  }
  std::string out;
  for (int d : acc) {
    if (out.empty() && d == 0) continue;
    out += static_cast<char>('0' + d);
  }
  return out.empty() ? "0" : out;
}

// |x| compared with |y|.
int compareMagnitude(const decNumber& x, const decNumber& y) {
  decNumber ax, ay, r;
  decNumberCopyAbs(&ax, &x);
  decNumberCopyAbs(&ay, &y);
  decContext set = exactContext();
  decNumberCompare(&r, &ax, &ay, &set);
  return decNumberIsZero(&r) ? 0 : decNumberIsNegative(&r) ? -1 : 1;
}

// One unit in the last place of finite n.
decNumber ulp(const decNumber& n) {
  return number("1E" + std::to_string(n.exponent));
}

bool lastDigitEven(const decNumber& n) { return n.lsu[0] % 2 == 0; }

TEST(DecNumberExactness, LongProductsMatchDigitByDigitMultiplication) {
  std::mt19937_64 rng(11);
  for (int i = 0; i < 300; ++i) {
    std::string a = randomDigits(rng, 1 + static_cast<int>(rng() % 500));
    std::string b = randomDigits(rng, 1 + static_cast<int>(rng() % 500));
    decContext set = exactContext();
    decNumber x = number(a), y = number(b), p;
    decNumberMultiply(&p, &x, &y, &set);
    ASSERT_EQ(set.status, 0u);
    ASSERT_EQ(text(p), schoolbookProduct(a, b));
  }
}

// The rounded quotient q of a / b is within half a unit of its last place,
// and on a tie it is even: |a - q b| <= |b| ulp(q) / 2.
TEST(DecNumberExactness, QuotientsAreCorrectlyRounded) {
  std::mt19937_64 rng(12);
  for (int i = 0; i < 4000; ++i) {
    int digits = 1 + static_cast<int>(rng() % 120);
    decNumber a = number(randomNumber(rng, 150, 40));
    decNumber b = number(randomNumber(rng, 150, 40));
    decContext set = roundingContext(digits);
    decNumber q;
    decNumberDivide(&q, &a, &b, &set);
    ASSERT_TRUE(decNumberIsFinite(&q));
    ASSERT_LE(q.digits, digits);
    decContext exact = exactContext();
    decNumber qb, residual, half_ulp_b, u, two;
    decNumberMultiply(&qb, &q, &b, &exact);
    decNumberSubtract(&residual, &a, &qb, &exact);
    u = ulp(q);
    two = number("2");
    decNumberMultiply(&half_ulp_b, &u, &b, &exact);
    decNumberDivide(&half_ulp_b, &half_ulp_b, &two, &exact);
    ASSERT_EQ(exact.status, 0u);
    int cmp = compareMagnitude(residual, half_ulp_b);
    SCOPED_TRACE(text(a) + " / " + text(b) + " = " + text(q));
    ASSERT_LE(cmp, 0);
    if (cmp == 0) {
      ASSERT_TRUE(lastDigitEven(q));
    }
    bool exact_result = decNumberIsZero(&residual);
    ASSERT_EQ((set.status & DEC_Inexact) != 0, !exact_result);
  }
}

// s = sqrt(a) rounded: (s - ulp/2)^2 <= a <= (s + ulp/2)^2 (no ties exist).
TEST(DecNumberExactness, SquareRootsAreCorrectlyRounded) {
  std::mt19937_64 rng(13);
  for (int i = 0; i < 3000; ++i) {
    int digits = 1 + static_cast<int>(rng() % 150);
    std::string t = randomDigits(rng, 1 + static_cast<int>(rng() % 200)) + "E" +
                    std::to_string(static_cast<int>(rng() % 81) - 40);
    decNumber a = number(t);
    decContext set = roundingContext(digits);
    decNumber s;
    decNumberSquareRoot(&s, &a, &set);
    ASSERT_TRUE(decNumberIsFinite(&s));
    decContext exact = exactContext();
    decNumber u = ulp(s), two = number("2"), half, lo, hi, lo2, hi2;
    decNumberDivide(&half, &u, &two, &exact);
    decNumberSubtract(&lo, &s, &half, &exact);
    decNumberAdd(&hi, &s, &half, &exact);
    decNumberMultiply(&lo2, &lo, &lo, &exact);
    decNumberMultiply(&hi2, &hi, &hi, &exact);
    ASSERT_EQ(exact.status, 0u);
    SCOPED_TRACE("sqrt(" + t + ") = " + text(s));
    ASSERT_LT(compareMagnitude(lo2, a), 0);
    ASSERT_GT(compareMagnitude(hi2, a), 0);
    decNumber square;
    decNumberMultiply(&square, &s, &s, &exact);
    bool exact_root = compareMagnitude(square, a) == 0;
    ASSERT_EQ((set.status & DEC_Inexact) != 0, !exact_root);
  }
}

// Sums and fused multiply-adds at a small precision, with exponent gaps far
// beyond it, equal the exact result rounded once.
TEST(DecNumberExactness, SumsAndFusedMultiplyAddsRoundOnce) {
  std::mt19937_64 rng(14);
  const enum rounding modes[] = {DEC_ROUND_CEILING,   DEC_ROUND_UP,
                                 DEC_ROUND_HALF_UP,   DEC_ROUND_HALF_EVEN,
                                 DEC_ROUND_HALF_DOWN, DEC_ROUND_DOWN,
                                 DEC_ROUND_FLOOR,     DEC_ROUND_05UP};
  for (int i = 0; i < 20000; ++i) {
    int digits = 1 + static_cast<int>(rng() % 40);
    decNumber a = number(randomNumber(rng, 60, 150));
    decNumber b = number(randomNumber(rng, 60, 150));
    decNumber c = number(randomNumber(rng, 60, 150));
    decContext set = roundingContext(digits);
    set.round = modes[rng() % 8];
    decContext once = set;
    decContext exact = exactContext();
    decNumber direct, sum, expected;
    decNumberAdd(&direct, &a, &b, &set);
    decNumberAdd(&sum, &a, &b, &exact);
    ASSERT_EQ(exact.status, 0u);
    decNumberPlus(&expected, &sum, &once);
    // plus() turns an exact zero into +0 where the sum's sign rule may differ.
    if (!decNumberIsZero(&sum)) {
      ASSERT_EQ(text(direct), text(expected))
          << text(a) << " + " << text(b) << " digits " << digits;
      ASSERT_EQ(set.status, once.status);
    }

    set = roundingContext(digits);
    set.round = once.round;
    once = set;
    decNumber fused, product;
    decNumberFMA(&fused, &a, &b, &c, &set);
    decNumberMultiply(&product, &a, &b, &exact);
    decNumberAdd(&sum, &product, &c, &exact);
    ASSERT_EQ(exact.status, 0u);
    decNumberPlus(&expected, &sum, &once);
    if (!decNumberIsZero(&sum)) {
      ASSERT_EQ(text(fused), text(expected))
          << text(a) << " * " << text(b) << " + " << text(c);
      ASSERT_EQ(set.status, once.status);
    }
  }
}

}  // namespace
