// The general decimal number type of the decimal library and its
// operations, following the rules of General Decimal Arithmetic (the
// arithmetic behind IEEE 754-2008 decimal floating point).
//
// A decNumber is a sign, a coefficient of up to DECNUMDIGITS decimal digits
// and an exponent, or one of the specials: infinity, quiet NaN and
// signalling NaN (NaNs carry an integer payload in the coefficient). Its
// value is (-1)^sign * coefficient * 10^exponent; numbers with equal values
// but different exponents (1.0 and 1.00) are distinct representations.
//
// Operations read precision, exponent limits, rounding and clamping from a
// decContext and round their result to it exactly once, raising the
// conditions those rules define into the context's status (see
// decContext.h). Operands are used exactly as they are, even when they have
// more digits than the context's precision. A context whose precision
// exceeds DECNUMDIGITS, or whose other settings are out of range, makes
// every operation return a quiet NaN and raise DEC_Invalid_context.
//
// Conventions for every function below:
//  - The result pointer may be the same as any operand.
//  - Results are always complete numbers: an operation that fails (invalid
//    operation, bad syntax) stores a quiet NaN and raises a condition.
//  - Nothing allocates, nothing throws, no global state: functions may run
//    on any thread as long as each thread uses its own context and results.
#ifndef KXB_PLATFORM_DECIMAL_DECNUMBER_H_
#define KXB_PLATFORM_DECIMAL_DECNUMBER_H_

#include <stdint.h>

#include "decimal/decContext.h"

#ifdef __cplusplus
extern "C" {
#endif

#define DECNUMDIGITS 1008  // coefficient capacity, and the largest precision
#define DECNUMLIMBS 56     // DECNUMDIGITS / 18

// Flags in decNumber.bits.
#define DECNEG 0x80   // sign
#define DECINF 0x40   // infinity
#define DECNAN 0x20   // quiet NaN
#define DECSNAN 0x10  // signalling NaN
#define DECSPECIAL (DECINF | DECNAN | DECSNAN)

typedef struct decNumber {
  int32_t digits;    // digits in the coefficient (payload for NaNs); >= 1
  int32_t exponent;  // 0 for specials
  uint8_t bits;      // DECNEG and at most one of DECSPECIAL
  // Coefficient in base 10^18 words, least significant first; words past
  // (digits + 17) / 18 are unused. Zero for infinities.
  uint64_t lsu[DECNUMLIMBS];
} decNumber;

// Text of a number needs at most digits + 14 bytes (sign, point, exponent,
// terminator).
#define DECNUMBER_STRING_MAX (DECNUMDIGITS + 14)

// --- Conversions -------------------------------------------------------

// Converts text in the numeric-string syntax of the decimal arithmetic: an
// optional sign, then digits with an optional point and an optional
// exponent ("E"/"e", optional sign, digits), or "Inf"/"Infinity", or
// "NaN"/"sNaN" with optional payload digits; letters in any case, no
// blanks. The value is rounded to the context. Bad syntax (or a NaN payload
// longer than digits - clamp) stores a quiet NaN and raises
// DEC_Conversion_syntax.
decNumber* decNumberFromString(decNumber* result, const char* text,
                               decContext* context);

// to-scientific-string and to-engineering-string. `text` needs
// number->digits + 14 bytes; returns text.
char* decNumberToString(const decNumber* number, char* text);
char* decNumberToEngString(const decNumber* number, char* text);

// Exact conversions from integers (exponent 0).
decNumber* decNumberFromInt32(decNumber* result, int32_t value);
decNumber* decNumberFromUInt32(decNumber* result, uint32_t value);
decNumber* decNumberFromInt64(decNumber* result, int64_t value);
decNumber* decNumberFromUInt64(decNumber* result, uint64_t value);

// Rounds to an integer with `mode` and converts. A NaN, an infinity or a
// value out of the type's range raises DEC_Invalid_operation and returns 0.
// No other condition is raised (an inexact conversion is not reported).
int32_t decNumberToInt32(const decNumber* number, decContext* context,
                         enum rounding mode);
int64_t decNumberToInt64(const decNumber* number, decContext* context,
                         enum rounding mode);
uint32_t decNumberToUInt32(const decNumber* number, decContext* context,
                           enum rounding mode);
uint64_t decNumberToUInt64(const decNumber* number, decContext* context,
                           enum rounding mode);

// --- Arithmetic (rounded to the context) -------------------------------

decNumber* decNumberAdd(decNumber* result, const decNumber* lhs,
                        const decNumber* rhs, decContext* context);
decNumber* decNumberSubtract(decNumber* result, const decNumber* lhs,
                             const decNumber* rhs, decContext* context);
decNumber* decNumberMultiply(decNumber* result, const decNumber* lhs,
                             const decNumber* rhs, decContext* context);
decNumber* decNumberDivide(decNumber* result, const decNumber* lhs,
                           const decNumber* rhs, decContext* context);
// Integer part of lhs / rhs (truncated), exponent 0. A quotient of more
// than `digits` digits raises DEC_Division_impossible.
decNumber* decNumberDivideInteger(decNumber* result, const decNumber* lhs,
                                  const decNumber* rhs, decContext* context);
// lhs - rhs * (truncated quotient); the sign of lhs.
decNumber* decNumberRemainder(decNumber* result, const decNumber* lhs,
                              const decNumber* rhs, decContext* context);
// lhs - rhs * (quotient rounded to nearest, ties to even).
decNumber* decNumberRemainderNear(decNumber* result, const decNumber* lhs,
                                  const decNumber* rhs, decContext* context);
// lhs * rhs + addend with a single rounding.
decNumber* decNumberFMA(decNumber* result, const decNumber* lhs,
                        const decNumber* rhs, const decNumber* addend,
                        decContext* context);
// 0 + number, 0 - number, and the absolute value, rounded.
decNumber* decNumberPlus(decNumber* result, const decNumber* number,
                         decContext* context);
decNumber* decNumberMinus(decNumber* result, const decNumber* number,
                          decContext* context);
decNumber* decNumberAbs(decNumber* result, const decNumber* number,
                        decContext* context);
// Square root, correctly rounded to nearest with ties to even whatever the
// context's rounding mode (the arithmetic defines the square root with that
// rounding alone); the ideal exponent is floor(exponent / 2).
decNumber* decNumberSquareRoot(decNumber* result, const decNumber* number,
                               decContext* context);
// lhs rounded to the exponent of rhs.
decNumber* decNumberQuantize(decNumber* result, const decNumber* lhs,
                             const decNumber* rhs, decContext* context);
// Rounded to the context, then trailing zeros removed (zero becomes 0E0).
decNumber* decNumberReduce(decNumber* result, const decNumber* number,
                           decContext* context);
// Rounded to an integer with the context's rounding; exponents >= 0 are
// left alone. ToIntegralValue raises nothing for rounding; ToIntegralExact
// raises Inexact and Rounded as usual.
decNumber* decNumberToIntegralValue(decNumber* result, const decNumber* number,
                                    decContext* context);
decNumber* decNumberToIntegralExact(decNumber* result, const decNumber* number,
                                    decContext* context);

// --- Comparison ---------------------------------------------------------

// -1, 0 or 1 (exponent 0) as lhs <, ==, > rhs numerically; NaN when
// either is a NaN (a signalling NaN raises DEC_Invalid_operation).
decNumber* decNumberCompare(decNumber* result, const decNumber* lhs,
                            const decNumber* rhs, decContext* context);
// -1, 0 or 1 in the total order of decimal numbers (-NaN < -sNaN < -Inf <
// negative numbers < -0 < +0 < positive numbers < Inf < sNaN < NaN; equal
// values ordered by exponent, NaNs by payload). Raises nothing.
decNumber* decNumberCompareTotal(decNumber* result, const decNumber* lhs,
                                 const decNumber* rhs);

// --- Quiet operations (no context, no rounding, raise nothing) ----------

decNumber* decNumberCopy(decNumber* result, const decNumber* number);
decNumber* decNumberCopyAbs(decNumber* result, const decNumber* number);
decNumber* decNumberCopyNegate(decNumber* result, const decNumber* number);
// number with the sign of `sign`.
decNumber* decNumberCopySign(decNumber* result, const decNumber* number,
                             const decNumber* sign);
// +0E0.
decNumber* decNumberZero(decNumber* result);

// Predicates (1 or 0).
int decNumberIsZero(const decNumber* number);      // finite and zero
int decNumberIsNegative(const decNumber* number);  // sign set, not a NaN
int decNumberIsSigned(const decNumber* number);    // sign set
int decNumberIsNaN(const decNumber* number);       // quiet or signalling
int decNumberIsSNaN(const decNumber* number);
int decNumberIsInfinite(const decNumber* number);
int decNumberIsFinite(const decNumber* number);
// Every decNumber is canonical; present for symmetry with the formats.
int decNumberIsCanonical(const decNumber* number);

#ifdef __cplusplus
}
#endif

#endif  // KXB_PLATFORM_DECIMAL_DECNUMBER_H_
