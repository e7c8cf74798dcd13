// Shared machinery of the decimal operations: moving coefficients between
// decNumber and Big, the single rounding step every operation ends with,
// and the handling of NaN operands.
//
// Internal to the decimal library.
#ifndef KXB_PLATFORM_DECIMAL_DEC_INTERNAL_H_
#define KXB_PLATFORM_DECIMAL_DEC_INTERNAL_H_

#include <stdint.h>

#include "decimal/decContext.h"
#include "decimal/decNumber.h"
#include "decimal/dec_big.h"

namespace kxdec {

inline bool isNeg(const decNumber* a) { return (a->bits & DECNEG) != 0; }
inline bool isInf(const decNumber* a) { return (a->bits & DECINF) != 0; }
inline bool isNaNAny(const decNumber* a) {
  return (a->bits & (DECNAN | DECSNAN)) != 0;
}
inline bool isSpecial(const decNumber* a) {
  return (a->bits & DECSPECIAL) != 0;
}
inline bool isZeroFinite(const decNumber* a) {
  return !isSpecial(a) && a->digits == 1 && a->lsu[0] == 0;
}
// Adjusted exponent (exponent of the most significant digit).
inline int64_t adjusted(const decNumber* a) {
  return static_cast<int64_t>(a->exponent) + a->digits - 1;
}

// The coefficient (or payload) of a as a Big.
void coefOf(const decNumber* a, Big& c);
// Stores a finite number; c must have at most DECNUMDIGITS digits.
void storeFinite(decNumber* r, bool neg, const Big& c, int32_t exp);
void storeInfinity(decNumber* r, bool neg);
// Stores a quiet NaN without payload and raises `conditions`.
void storeNaN(decNumber* r, uint32_t conditions, decContext* set);

// False (with a NaN result and DEC_Invalid_context) when the context's
// settings are out of range or beyond what the library supports.
bool checkContext(decNumber* r, decContext* set);

// True when rounding mode `mode` moves the kept coefficient (whose last
// digit is `last`) one unit away from zero, given the first discarded digit
// and whether anything non-zero lies below it.
bool roundsAway(enum rounding mode, bool neg, int last, int round_digit,
                bool sticky);

// The one rounding step: stores (-1)^neg * (c + e) * 10^exp in r, rounded
// to the context's precision with its rounding mode and fitted to its
// exponent limits (subnormals, overflow, clamping), raising the conditions
// that apply. `sticky` says a non-zero fraction e < 1 of the last digit of c
// was dropped by the caller; it requires c to have more digits than the
// precision. c is consumed.
void finish(decNumber* r, bool neg, Big& c, int64_t exp, bool sticky,
            decContext* set);

// If any of the operands (b and c may be null) is a NaN, stores the result
// the arithmetic prescribes (the first signalling NaN, quietened, raising
// Invalid operation; else the first quiet NaN) and returns true.
bool handleNaNs(decNumber* r, const decNumber* a, const decNumber* b,
                const decNumber* c, decContext* set);
// Stores the quiet version of NaN n, its payload cut to the digits the
// context allows (the least significant ones are kept).
void storeQuietNaN(decNumber* r, const decNumber* n, decContext* set);

// Numeric comparison of two non-NaN numbers: -1, 0 or 1.
int compareValues(const decNumber* a, const decNumber* b);

// Rounds a finite number to an integral value with `mode`; *inexact and
// *rounded tell whether digits were dropped (non-zero ones / any).
// Exponents >= 0 are kept as they are.
void roundToIntegral(decNumber* r, const decNumber* a, enum rounding mode,
                     bool* inexact, bool* rounded);

}  // namespace kxdec

#endif  // KXB_PLATFORM_DECIMAL_DEC_INTERNAL_H_
