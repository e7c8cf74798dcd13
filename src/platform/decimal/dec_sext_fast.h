// Short cuts of the 192-bit format's addition, subtraction and
// multiplication for the common case: finite operands, the format's own
// context (52 digits, its exponent limits, clamping on, any rounding) and a
// result that is neither subnormal nor overflowing nor clamped.
//
// The operands' coefficients go straight from the 24 bytes to three limbs
// of 18 digits, the exact result is formed in six limbs and rounded once,
// and the result is packed straight back, without the general number type.
// Results and conditions are exactly those of the general path; anything
// the short cut does not cover (specials, other contexts, additions whose
// exponents lie more than 54 digits apart, results at the format's limits)
// is left to it.
//
// Internal to the decimal library. Thread-safe: no state.
#ifndef KXB_PLATFORM_DECIMAL_DEC_SEXT_FAST_H_
#define KXB_PLATFORM_DECIMAL_DEC_SEXT_FAST_H_

#include <stdint.h>

#include "decimal/decContext.h"
#include "decimal/decSext.h"

namespace kxdec {

// a + b (a - b with negate_b) into r, raising conditions into set; false,
// with r and set untouched, when the general path must do it.
bool sextFastAdd(decSext* r, const decSext* a, const decSext* b, bool negate_b,
                 decContext* set);

// a * b into r, as sextFastAdd.
bool sextFastMultiply(decSext* r, const decSext* a, const decSext* b,
                      decContext* set);

// floor(x / 10^k) for x < 2^60 and 1 <= k <= 18, by a multiplication.
uint64_t divPow10(uint64_t x, int k);

}  // namespace kxdec

#endif  // KXB_PLATFORM_DECIMAL_DEC_SEXT_FAST_H_
