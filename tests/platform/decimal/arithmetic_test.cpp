// Arithmetic of the 192-bit format and of the general number type at the
// format's precision and limits, and in edge contexts.
#include <gtest/gtest.h>

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

const char kNmax[] =
    "9.999999999999999999999999999999999999999999999999999E+98304";

using BinaryOp = decSext* (*)(decSext*, const decSext*, const decSext*,
                              decContext*);

// Runs op in the default context (with `mode`); returns the result text and
// leaves the status in *status.
std::string run(BinaryOp op, const char* a, const char* b, uint32_t* status,
                enum rounding mode = DEC_ROUND_HALF_EVEN) {
  decContext set = defaultContext();
  decContextSetRounding(&set, mode);
  decSext x = sext(a), y = sext(b), r;
  op(&r, &x, &y, &set);
  *status = decContextGetStatus(&set);
  return str(r);
}

TEST(DecContext, DefaultsDescribeEachFormat) {
  decContext set;
  decContextDefault(&set, DEC_INIT_DECIMAL192);
  EXPECT_EQ(set.digits, 52);
  EXPECT_EQ(set.emax, 98304);
  EXPECT_EQ(set.emin, -98303);
  EXPECT_EQ(decContextGetRounding(&set), DEC_ROUND_HALF_EVEN);
  EXPECT_EQ(set.clamp, 1);
  EXPECT_EQ(decContextGetStatus(&set), 0u);
  decContextDefault(&set, DEC_INIT_DECIMAL64);
  EXPECT_EQ(set.digits, 16);
  EXPECT_EQ(set.emin, -383);
  decContextDefault(&set, 100);
  EXPECT_EQ(decContextGetStatus(&set), DEC_Invalid_context);

  decContextDefault(&set, DEC_INIT_DECIMAL192);
  decContextSetRounding(&set, static_cast<enum rounding>(8));
  EXPECT_EQ(decContextGetRounding(&set), DEC_ROUND_HALF_EVEN);
  EXPECT_EQ(decContextTestStatus(&set, DEC_Invalid_context),
            DEC_Invalid_context);
  decContextSetStatus(&set, DEC_Inexact);
  EXPECT_EQ(decContextTestStatus(&set, DEC_Inexact | DEC_Overflow),
            DEC_Inexact);
  decContextZeroStatus(&set);
  EXPECT_EQ(decContextGetStatus(&set), 0u);
  EXPECT_STREQ(decContextStatusToString(DEC_Division_by_zero),
               "Division_by_zero");
  EXPECT_STREQ(decContextStatusToString(DEC_Inexact | DEC_Rounded),
               "Multiple status");
}

TEST(DecSextArithmetic, RoundsAtFiftyTwoDigitsInEveryMode) {
  uint32_t st;
  EXPECT_EQ(run(decSextDivide, "1", "3", &st), "0." + std::string(52, '3'));
  EXPECT_EQ(st, DEC_Inexact | DEC_Rounded);
  EXPECT_EQ(run(decSextDivide, "2", "3", &st),
            "0." + std::string(51, '6') + "7");
  EXPECT_EQ(run(decSextDivide, "2", "3", &st, DEC_ROUND_DOWN),
            "0." + std::string(52, '6'));
  EXPECT_EQ(run(decSextDivide, "-2", "3", &st, DEC_ROUND_FLOOR),
            "-0." + std::string(51, '6') + "7");
  EXPECT_EQ(run(decSextDivide, "-2", "3", &st, DEC_ROUND_CEILING),
            "-0." + std::string(52, '6'));
  EXPECT_EQ(run(decSextAdd, "0.1", "0.2", &st), "0.3");
  EXPECT_EQ(st, 0u);
  std::string nines(52, '9');
  EXPECT_EQ(run(decSextAdd, nines.c_str(), "1", &st),
            "1.000000000000000000000000000000000000000000000000000E+52");
  EXPECT_EQ(st, DEC_Rounded);
  EXPECT_EQ(run(decSextAdd, nines.c_str(), "0.5", &st),
            "1.000000000000000000000000000000000000000000000000000E+52");
  EXPECT_EQ(st, DEC_Inexact | DEC_Rounded);
  EXPECT_EQ(run(decSextAdd, nines.c_str(), "0.5", &st, DEC_ROUND_HALF_DOWN),
            nines);
  EXPECT_EQ(run(decSextAdd, nines.c_str(), "0.5", &st, DEC_ROUND_05UP), nines);
  EXPECT_EQ(run(decSextSubtract, nines.c_str(), "0.5", &st, DEC_ROUND_05UP),
            std::string(51, '9') + "8");
  EXPECT_EQ(run(decSextSubtract, "1", "1", &st), "0");
  EXPECT_EQ(run(decSextSubtract, "1", "1", &st, DEC_ROUND_FLOOR), "-0");
}

TEST(DecSextArithmetic, ExponentLimitsOfTheFormat) {
  uint32_t st;
  EXPECT_EQ(run(decSextMultiply, kNmax, "10", &st), "Infinity");
  EXPECT_EQ(st, DEC_Overflow | DEC_Inexact | DEC_Rounded);
  EXPECT_EQ(run(decSextMultiply, kNmax, "10", &st, DEC_ROUND_DOWN), kNmax);
  EXPECT_EQ(run(decSextMultiply, kNmax, "-10", &st, DEC_ROUND_CEILING),
            std::string("-") + kNmax);
  EXPECT_EQ(run(decSextMultiply, kNmax, "-10", &st, DEC_ROUND_FLOOR),
            "-Infinity");
  EXPECT_EQ(run(decSextDivide, "1E-98303", "10", &st), "1E-98304");
  EXPECT_EQ(st, DEC_Subnormal);
  EXPECT_EQ(run(decSextDivide, "1E-98354", "2", &st), "0E-98354");
  EXPECT_EQ(st, DEC_Underflow | DEC_Subnormal | DEC_Inexact | DEC_Rounded |
                    DEC_Clamped);
  EXPECT_EQ(run(decSextDivide, "3E-98354", "2", &st), "2E-98354");
  EXPECT_EQ(st, DEC_Underflow | DEC_Subnormal | DEC_Inexact | DEC_Rounded);
  EXPECT_EQ(run(decSextDivide, "1", "0", &st), "Infinity");
  EXPECT_EQ(st, DEC_Division_by_zero);

  decContext set = defaultContext();
  decSext v;
  decSextFromString(&v, "1E+98304", &set);
  EXPECT_EQ(str(v), "1." + std::string(51, '0') + "E+98304");
  EXPECT_EQ(set.status, DEC_Clamped);
  set = defaultContext();
  decSextFromString(&v, "-0E+99999", &set);
  EXPECT_EQ(str(v), "-0E+98253");
  EXPECT_EQ(set.status, DEC_Clamped);
  set = defaultContext();
  decSextFromString(&v, "1E+98305", &set);
  EXPECT_EQ(decSextIsInfinite(&v), 1u);
  EXPECT_EQ(set.status, DEC_Overflow | DEC_Inexact | DEC_Rounded);
}

TEST(DecSextArithmetic, FusedMultiplyAddRoundsOnce) {
  // x = 1 + 1E-51: x * x - 1 = 2E-51 + 1E-102 has exactly 52 digits.
  decContext set = defaultContext();
  decSext x = sext(("1." + std::string(50, '0') + "1").c_str());
  decSext minus_one = sext("-1");
  decSext fused, product, separate;
  decSextFMA(&fused, &x, &x, &minus_one, &set);
  EXPECT_EQ(str(fused), "2." + std::string(50, '0') + "1E-51");
  EXPECT_EQ(set.status, 0u);
  decSextMultiply(&product, &x, &x, &set);
  decSextAdd(&separate, &product, &minus_one, &set);
  EXPECT_EQ(str(separate), "2E-51");
  EXPECT_EQ(set.status, DEC_Inexact | DEC_Rounded);
}

TEST(DecSextArithmetic, RemaindersQuantizeAndIntegralValues) {
  uint32_t st;
  EXPECT_EQ(run(decSextRemainderNear, "7", "4", &st), "-1");
  EXPECT_EQ(run(decSextRemainderNear, "6", "4", &st), "-2");
  EXPECT_EQ(run(decSextRemainderNear, "5", "4", &st), "1");
  EXPECT_EQ(run(decSextRemainder, "7", "4", &st), "3");
  EXPECT_EQ(run(decSextRemainder, "-7", "4", &st), "-3");
  EXPECT_EQ(run(decSextDivideInteger, "-7", "4", &st), "-1");
  EXPECT_EQ(run(decSextDivideInteger, "1E+60", "1", &st), "NaN");
  EXPECT_EQ(st, DEC_Division_impossible);
  EXPECT_EQ(run(decSextQuantize, "2.345", "0.01", &st, DEC_ROUND_HALF_UP),
            "2.35");
  EXPECT_EQ(st, DEC_Inexact | DEC_Rounded);
  EXPECT_EQ(run(decSextQuantize, "-2.345", "0.01", &st, DEC_ROUND_HALF_UP),
            "-2.35");
  EXPECT_EQ(run(decSextQuantize, "2.345", "1E+1", &st, DEC_ROUND_HALF_UP),
            "0E+1");
  EXPECT_EQ(run(decSextQuantize, "1", "1E-52", &st), "NaN");
  EXPECT_EQ(st, DEC_Invalid_operation);

  struct Case {
    const char* in;
    enum rounding mode;
    const char* out;
  } cases[] = {
      {"-2.5", DEC_ROUND_FLOOR, "-3"},   {"-2.5", DEC_ROUND_CEILING, "-2"},
      {"2.5", DEC_ROUND_HALF_EVEN, "2"}, {"2.5", DEC_ROUND_HALF_UP, "3"},
      {"-0.5", DEC_ROUND_DOWN, "-0"},    {"1E+3", DEC_ROUND_FLOOR, "1E+3"},
  };
  for (const Case& c : cases) {
    decContext set = defaultContext();
    decSext v = sext(c.in), r;
    decSextToIntegralValue(&r, &v, &set, c.mode);
    EXPECT_EQ(str(r), c.out) << c.in;
    EXPECT_EQ(set.status, 0u);
    EXPECT_EQ(decContextGetRounding(&set), DEC_ROUND_HALF_EVEN);
  }
  decContext set = defaultContext();
  decSext v = sext("2.5"), r;
  decSextToIntegralExact(&r, &v, &set);
  EXPECT_EQ(str(r), "2");
  EXPECT_EQ(set.status, DEC_Inexact | DEC_Rounded);
  set = defaultContext();
  v = sext("1.500E+1");
  decSextReduce(&r, &v, &set);
  EXPECT_EQ(str(r), "15");
}

TEST(DecSextArithmetic, NaNsAndInfinitiesPropagate) {
  uint32_t st;
  EXPECT_EQ(run(decSextAdd, "NaN12", "1", &st), "NaN12");
  EXPECT_EQ(st, 0u);
  EXPECT_EQ(run(decSextAdd, "1", "-sNaN7", &st), "-NaN7");
  EXPECT_EQ(st, DEC_Invalid_operation);
  EXPECT_EQ(run(decSextDivide, "0", "0", &st), "NaN");
  EXPECT_EQ(st, DEC_Division_undefined);
  EXPECT_EQ(run(decSextSubtract, "Infinity", "Infinity", &st), "NaN");
  EXPECT_EQ(st, DEC_Invalid_operation);
  EXPECT_EQ(run(decSextMultiply, "-Infinity", "2", &st), "-Infinity");
  EXPECT_EQ(st, 0u);
  EXPECT_EQ(run(decSextCompare, "1", "2", &st), "-1");
  EXPECT_EQ(run(decSextCompare, "2.0", "2", &st), "0");
  EXPECT_EQ(run(decSextCompare, "NaN", "2", &st), "NaN");
  EXPECT_EQ(st, 0u);
  EXPECT_EQ(run(decSextCompare, "sNaN", "2", &st), "NaN");
  EXPECT_EQ(st, DEC_Invalid_operation);

  auto total = [](const char* a, const char* b) {
    decSext x = sext(a), y = sext(b), r;
    decSextCompareTotal(&r, &x, &y);
    return str(r);
  };
  EXPECT_EQ(total("-NaN", "-Infinity"), "-1");
  EXPECT_EQ(total("-sNaN", "-NaN"), "1");
  EXPECT_EQ(total("1.0", "1.00"), "1");
  EXPECT_EQ(total("-1.0", "-1.00"), "-1");
  EXPECT_EQ(total("-0", "0"), "-1");
  EXPECT_EQ(total("NaN2", "NaN10"), "-1");
  EXPECT_EQ(total("Infinity", "sNaN"), "-1");
}

TEST(DecSextSquareRoot, ThroughTheGeneralNumberType) {
  decContext set = defaultContext();
  decSext two = sext("2"), root;
  decNumber n, r;
  decimal192ToNumber(&two, &n);
  decNumberSquareRoot(&r, &n, &set);
  decimal192FromNumber(&root, &r, &set);
  EXPECT_EQ(str(root), "1.414213562373095048801688724209698078569671875376948");
  EXPECT_EQ(set.status, DEC_Inexact | DEC_Rounded);

  set = defaultContext();
  decSext square = sext("9999999999999999999999999800000000000000000000000001");
  decSextSquareRoot(&root, &square, &set);
  EXPECT_EQ(str(root), "99999999999999999999999999");
  EXPECT_EQ(set.status, 0u);
  decSext tiny = sext("4E-98354");
  decSextSquareRoot(&root, &tiny, &set);
  EXPECT_EQ(str(root), "2E-49177");
  decSext quarter = sext("0.25");
  decSextSquareRoot(&root, &quarter, &set);
  EXPECT_EQ(str(root), "0.5");
  EXPECT_EQ(set.status, 0u);
  decSext negative = sext("-4");
  decSextSquareRoot(&root, &negative, &set);
  EXPECT_EQ(decSextIsNaN(&root), 1u);
  EXPECT_EQ(set.status, DEC_Invalid_operation);
}

// Every format operation equals the general-type operation encoded, also
// when the result overwrites an operand.
TEST(DecSextArithmetic, MatchesTheGeneralTypeAndAllowsAliasing) {
  std::mt19937_64 rng(42);
  auto random_value = [&rng]() {
    std::string t = (rng() & 1) ? "-" : "";
    int digits = 1 + static_cast<int>(rng() % 52);
    for (int i = 0; i < digits; ++i) t += static_cast<char>('0' + rng() % 10);
    t += "E" + std::to_string(static_cast<int>(rng() % 200) - 100);
    return sext(t.c_str());
  };
  struct Pair {
    BinaryOp sext_op;
    decNumber* (*number_op)(decNumber*, const decNumber*, const decNumber*,
                            decContext*);
  } ops[] = {
      {decSextAdd, decNumberAdd},
      {decSextSubtract, decNumberSubtract},
      {decSextMultiply, decNumberMultiply},
      {decSextDivide, decNumberDivide},
      {decSextRemainder, decNumberRemainder},
      {decSextRemainderNear, decNumberRemainderNear},
      {decSextDivideInteger, decNumberDivideInteger},
      {decSextQuantize, decNumberQuantize},
  };
  for (int i = 0; i < 3000; ++i) {
    decSext a = random_value(), b = random_value();
    for (const Pair& op : ops) {
      decContext s1 = defaultContext(), s2 = defaultContext();
      decSext via_sext, via_number;
      op.sext_op(&via_sext, &a, &b, &s1);
      decNumber x, y, z;
      decimal192ToNumber(&a, &x);
      decimal192ToNumber(&b, &y);
      op.number_op(&z, &x, &y, &s2);
      decimal192FromNumber(&via_number, &z, &s2);
      ASSERT_EQ(hex(via_sext), hex(via_number)) << str(a) << " " << str(b);
      ASSERT_EQ(s1.status, s2.status);
      decContext s3 = defaultContext();
      decSext aliased = a;
      op.sext_op(&aliased, &aliased, &b, &s3);
      ASSERT_EQ(hex(aliased), hex(via_sext));
    }
  }
}

TEST(DecContext, EdgeContexts) {
  decContext set;
  decContextDefault(&set, DEC_INIT_BASE);
  set.digits = 1;
  decNumber a, b, r;
  char buf[DECNUMBER_STRING_MAX];
  decNumberFromString(&a, "9.5", &set);
  EXPECT_STREQ(decNumberToString(&a, buf), "1E+1");
  EXPECT_EQ(set.status, DEC_Inexact | DEC_Rounded);

  // Exponent limits of zero: only 0 < |x| < 10 and tiny subnormals.
  decContextDefault(&set, DEC_INIT_BASE);
  set.digits = 5;
  set.emax = 0;
  set.emin = 0;
  decNumberFromString(&a, "10", &set);
  EXPECT_EQ(decNumberIsInfinite(&a), 1);
  set.status = 0;
  decNumberFromString(&a, "0.012345", &set);
  EXPECT_STREQ(decNumberToString(&a, buf), "0.0123");
  EXPECT_EQ(set.status,
            DEC_Inexact | DEC_Rounded | DEC_Subnormal | DEC_Underflow);

  // Settings out of range give NaN and Invalid_context.
  const struct {
    int32_t digits, emax, emin;
    int round;
    uint8_t clamp;
  } bad[] = {
      {0, 9, -9, DEC_ROUND_HALF_UP, 0},
      {DECNUMDIGITS + 1, 9, -9, DEC_ROUND_HALF_UP, 0},
      {9, -1, -9, DEC_ROUND_HALF_UP, 0},
      {9, 9, 1, DEC_ROUND_HALF_UP, 0},
      {9, 9, -9, 8, 0},
      {9, 9, -9, DEC_ROUND_HALF_UP, 2},
  };
  decContextDefault(&set, DEC_INIT_BASE);
  decNumberFromString(&a, "1", &set);
  decNumberFromString(&b, "2", &set);
  for (const auto& c : bad) {
    decContext s;
    decContextDefault(&s, DEC_INIT_BASE);
    s.digits = c.digits;
    s.emax = c.emax;
    s.emin = c.emin;
    s.round = static_cast<enum rounding>(c.round);
    s.clamp = c.clamp;
    decNumberAdd(&r, &a, &b, &s);
    EXPECT_EQ(decNumberIsNaN(&r), 1);
    EXPECT_EQ(s.status, DEC_Invalid_context);
  }

  // A format operation in a wider context is rounded again into the format.
  decContextDefault(&set, DEC_INIT_BASE);
  set.digits = 60;
  decSext one = sext("1"), three = sext("3"), q;
  decSextDivide(&q, &one, &three, &set);
  EXPECT_EQ(str(q), "0." + std::string(52, '3'));
  EXPECT_EQ(set.status, DEC_Inexact | DEC_Rounded);

  // The general type holds its full precision.
  decContextDefault(&set, DEC_INIT_BASE);
  set.digits = DECNUMDIGITS;
  decNumberFromString(&a, "1", &set);
  decNumberFromString(&b, "7", &set);
  decNumberDivide(&r, &a, &b, &set);
  EXPECT_EQ(r.digits, DECNUMDIGITS);
  EXPECT_EQ(r.exponent, -DECNUMDIGITS);
}

TEST(DecSextQuiet, ExponentsSignsAndCopies) {
  decSext v = sext("12345"), r;
  decContext set = defaultContext();
  decSextSetExponent(&v, &set, -2);
  EXPECT_EQ(str(v), "123.45");
  EXPECT_EQ(set.status, 0u);
  decSextSetExponent(&v, &set, 98301);
  EXPECT_EQ(decSextIsInfinite(&v), 1u);
  EXPECT_EQ(set.status, DEC_Overflow | DEC_Inexact | DEC_Rounded);
  set = defaultContext();
  decSextSetExponent(&v, &set, 3);  // infinity: coefficient 0
  EXPECT_EQ(str(v), "0E+3");
  v = sext("NaN77");
  EXPECT_EQ(decSextGetExponent(&v), DECSEXT_EXPONENT_NAN);
  decSextSetExponent(&v, &set, -1);
  EXPECT_EQ(str(v), "7.7");
  v = sext("sNaN");
  EXPECT_EQ(decSextGetExponent(&v), DECSEXT_EXPONENT_SNAN);
  v = sext("-Infinity");
  EXPECT_EQ(decSextGetExponent(&v), DECSEXT_EXPONENT_INF);
  EXPECT_EQ(decSextIsNegative(&v), 1u);
  EXPECT_EQ(decSextIsFinite(&v), 0u);

  v = sext("-1.50");
  decSextCopyAbs(&r, &v);
  EXPECT_EQ(str(r), "1.50");
  decSextCopyNegate(&r, &r);
  EXPECT_EQ(str(r), "-1.50");
  decSext positive = sext("3");
  decSextCopySign(&r, &v, &positive);
  EXPECT_EQ(str(r), "1.50");
  decSextCopy(&r, &v);
  EXPECT_EQ(hex(r), hex(v));
  decSextZero(&r);
  EXPECT_EQ(str(r), "0");
  EXPECT_EQ(decSextIsZero(&r), 1u);
  v = sext("-0E+5");
  EXPECT_EQ(decSextIsZero(&v), 1u);
  EXPECT_EQ(decSextIsNegative(&v), 1u);
  v = sext("-NaN");
  EXPECT_EQ(decSextIsNegative(&v), 0u);
  EXPECT_EQ(decSextIsSigned(&v), 1u);
  EXPECT_EQ(decSextIsZero(&v), 0u);
  EXPECT_EQ(decSextDigits(&v), 1u);
  v = sext("1E-98354");
  EXPECT_EQ(decSextIsZero(&v), 0u);
}

}  // namespace
