// decSext: the 192-bit ("sext", six 32-bit words) decimal floating-point
// format of the decimal library, and its arithmetic.
//
// A decSext is the IEEE 754 decimal interchange format of 192 bits in the
// densely packed decimal encoding: 52 coefficient digits, exponents of the
// coefficient from -98354 to 98253 (adjusted exponents up to Emax 98304;
// Emin -98303), bias 98354, a 16-bit exponent continuation and 17 declets.
// The 24 bytes are stored least significant byte first;
// decSextByteSwap converts to and from the other byte order.
//
// Arithmetic follows General Decimal Arithmetic (IEEE 754-2008): each
// operation decodes its operands, computes the exact result, rounds it once
// to the context (decContext.h; normally decContextDefault(&set,
// DEC_INIT_DECIMAL192): 52 digits, the format's exponent limits, half-even,
// clamping on) and encodes it, raising the arithmetic's conditions into
// the context's status. A result that the context lets through but the
// format cannot hold (for instance with a context of more digits) is rounded
// once more into the format with the context's rounding mode. NaN operands
// propagate (signalling NaNs raise Invalid operation and become quiet) with
// their payloads.
//
// Conventions: every function takes and returns pointers owned by the
// caller; the result may be the same object as any operand; operations
// never fail as such (an invalid operation stores a quiet NaN and raises a
// condition); nothing allocates, throws or keeps state, so any thread may
// call them with its own context. The general number type (decNumber.h)
// serves operations the format has no room for, such as the square root
// at higher precision: decimal192ToNumber / decimal192FromNumber convert.
#ifndef KXB_PLATFORM_DECIMAL_DECSEXT_H_
#define KXB_PLATFORM_DECIMAL_DECSEXT_H_

#include <stdint.h>

#include "decimal/decContext.h"
#include "decimal/decNumber.h"

#ifdef __cplusplus
extern "C" {
#endif

#define DECSEXT_Bytes 24
#define DECSEXT_Pmax 52
#define DECSEXT_Emax 98304
#define DECSEXT_Emin -98303
#define DECSEXT_Bias 98354
// Bytes a text conversion needs, terminator included.
#define DECSEXT_String 64

// What decSextGetExponent returns for the specials.
#define DECSEXT_EXPONENT_INF 0x78000000
#define DECSEXT_EXPONENT_NAN 0x7C000000
#define DECSEXT_EXPONENT_SNAN 0x7E000000

typedef struct decSext {
  uint8_t bytes[DECSEXT_Bytes];
} decSext;

// --- Conversions ---------------------------------------------------------

// Text in the numeric-string syntax (see decNumberFromString), rounded to
// the context. Bad syntax stores a quiet NaN and raises
// DEC_Conversion_syntax.
decSext* decSextFromString(decSext* result, const char* text,
                           decContext* context);
// to-scientific-string / to-engineering-string into text (DECSEXT_String
// bytes); returns text.
char* decSextToString(const decSext* value, char* text);
char* decSextToEngString(const decSext* value, char* text);

// Exact conversions from integers (exponent 0).
decSext* decSextFromInt32(decSext* result, int32_t value);
decSext* decSextFromUInt32(decSext* result, uint32_t value);
decSext* decSextFromInt64(decSext* result, int64_t value);
decSext* decSextFromUInt64(decSext* result, uint64_t value);

// Rounds to an integer with `mode` and converts. NaNs, infinities and values
// outside the type raise DEC_Invalid_operation and give 0; nothing else is
// raised.
int32_t decSextToInt32(const decSext* value, decContext* context,
                       enum rounding mode);
int64_t decSextToInt64(const decSext* value, decContext* context,
                       enum rounding mode);
uint32_t decSextToUInt32(const decSext* value, decContext* context,
                         enum rounding mode);
uint64_t decSextToUInt64(const decSext* value, decContext* context,
                         enum rounding mode);

// From a double: the shortest decimal that converts back to the same double
// (0.1 becomes 0.1, not 0.1000000000000000055511151231257827), as
// std::to_chars finds it: the fewest significant digits (at most 17), with
// exponent 0 for integers of up to 17 digits (100.0 becomes 100, 1e20
// becomes 1E+20) and the sign of zero kept. Infinities convert to
// infinities; any NaN becomes the canonical quiet NaN. Always exact: no
// context, nothing raised.
decSext* decSextFromDouble(decSext* result, double value);
// To the nearest double (ties to even); beyond the double range gives an
// infinity or a zero of the right sign; NaNs give a quiet NaN.
double decSextToDouble(const decSext* value);

// The coefficient as DECSEXT_Pmax digit bytes (0..9), most significant
// first, with leading zeros, and the exponent in *exponent. For infinities
// the digits are zero and for NaNs they are the payload, and *exponent is
// one of DECSEXT_EXPONENT_*. Returns 1 for a set sign bit, else 0.
int32_t decSextToBCD(const decSext* value, int32_t* exponent, uint8_t* bcd);

// Between the format and the general number type. FromNumber rounds a
// number that does not fit into the format with context->round, raising
// conditions into context.
decNumber* decimal192ToNumber(const decSext* value, decNumber* number);
decSext* decimal192FromNumber(decSext* result, const decNumber* number,
                              decContext* context);

// --- Arithmetic (see decNumber.h for each operation's definition) --------

decSext* decSextAdd(decSext* result, const decSext* lhs, const decSext* rhs,
                    decContext* context);
decSext* decSextSubtract(decSext* result, const decSext* lhs,
                         const decSext* rhs, decContext* context);
decSext* decSextMultiply(decSext* result, const decSext* lhs,
                         const decSext* rhs, decContext* context);
decSext* decSextDivide(decSext* result, const decSext* lhs, const decSext* rhs,
                       decContext* context);
decSext* decSextDivideInteger(decSext* result, const decSext* lhs,
                              const decSext* rhs, decContext* context);
decSext* decSextRemainder(decSext* result, const decSext* lhs,
                          const decSext* rhs, decContext* context);
decSext* decSextRemainderNear(decSext* result, const decSext* lhs,
                              const decSext* rhs, decContext* context);
// lhs * rhs + addend, rounded once.
decSext* decSextFMA(decSext* result, const decSext* lhs, const decSext* rhs,
                    const decSext* addend, decContext* context);
decSext* decSextAbs(decSext* result, const decSext* value, decContext* context);
decSext* decSextMinus(decSext* result, const decSext* value,
                      decContext* context);
decSext* decSextPlus(decSext* result, const decSext* value,
                     decContext* context);
decSext* decSextReduce(decSext* result, const decSext* value,
                       decContext* context);
// value rounded to the exponent of `exponent_of`.
decSext* decSextQuantize(decSext* result, const decSext* value,
                         const decSext* exponent_of, decContext* context);
// Rounded to an integer with `mode` (not the context's); raises nothing
// for the rounding itself.
decSext* decSextToIntegralValue(decSext* result, const decSext* value,
                                decContext* context, enum rounding mode);
// Rounded to an integer with the context's mode; raises Inexact/Rounded.
decSext* decSextToIntegralExact(decSext* result, const decSext* value,
                                decContext* context);
// Rounds half-even whatever the context's mode (see decNumberSquareRoot).
decSext* decSextSquareRoot(decSext* result, const decSext* value,
                           decContext* context);
// -1, 0 or 1 numerically; NaN if either operand is a NaN.
decSext* decSextCompare(decSext* result, const decSext* lhs, const decSext* rhs,
                        decContext* context);
// -1, 0 or 1 in the total order (see decNumberCompareTotal).
decSext* decSextCompareTotal(decSext* result, const decSext* lhs,
                             const decSext* rhs);

// --- Quiet operations (no context, nothing raised) -----------------------

decSext* decSextCopy(decSext* result, const decSext* value);
decSext* decSextCopyAbs(decSext* result, const decSext* value);
decSext* decSextCopyNegate(decSext* result, const decSext* value);
decSext* decSextCopySign(decSext* result, const decSext* value,
                         const decSext* sign);
// +0E0.
decSext* decSextZero(decSext* result);
// The canonical quiet NaN (positive, no payload).
decSext* decSextNaN(decSext* result);
// The 24 bytes in reverse order: between this library's byte order and the
// other one. Applying it twice gives the original.
decSext* decSextByteSwap(decSext* result, const decSext* value);
// The canonical encoding of the same value (non-canonical declets and
// unused bits of specials rewritten).
decSext* decSextCanonical(decSext* result, const decSext* value);

// Coefficient digits: at least 1; the payload's digits for a NaN.
uint32_t decSextDigits(const decSext* value);
// The exponent of a finite value; DECSEXT_EXPONENT_* for the specials.
int32_t decSextGetExponent(const decSext* value);
// Gives the value the exponent `exponent`, keeping its coefficient (an
// infinity's is zero, a NaN's is its payload) and sign; the result is
// rounded into the context and format, raising conditions, as a number
// built from those parts would be.
decSext* decSextSetExponent(decSext* value, decContext* context,
                            int32_t exponent);

// Predicates: 1 or 0.
uint32_t decSextIsCanonical(const decSext* value);
uint32_t decSextIsFinite(const decSext* value);
uint32_t decSextIsInfinite(const decSext* value);
uint32_t decSextIsNaN(const decSext* value);  // quiet or signalling
uint32_t decSextIsSNaN(const decSext* value);
uint32_t decSextIsSigned(const decSext* value);    // sign bit, NaNs too
uint32_t decSextIsNegative(const decSext* value);  // < 0, not a NaN
uint32_t decSextIsZero(const decSext* value);
// 1 for a canonical, finite, non-zero value whose coefficient ends in a
// non-zero digit and whose exponent is at most 0: reducing it changes
// nothing, nor does adding a zero of exponent 0 to it.
uint32_t decSextIsPlainReduced(const decSext* value);

#ifdef __cplusplus
}
#endif

#endif  // KXB_PLATFORM_DECIMAL_DECSEXT_H_
