// Quantize, reduce, round-to-integral, square root and the integer
// conversions of the general decimal number type.
#include "decimal/dec_internal.h"

namespace kxdec {
namespace {

decNumber* fromMagnitude(decNumber* r, bool neg, uint64_t magnitude) {
  Big c;
  bigFromU64(c, magnitude);
  storeFinite(r, neg, c, 0);
  return r;
}

// Rounds to an integer with `mode` and returns sign and magnitude; false
// (after raising Invalid operation) for NaNs, infinities and magnitudes
// beyond 64 bits.
bool toMagnitude(const decNumber* a, decContext* set, enum rounding mode,
                 bool* neg, uint64_t* magnitude) {
  if (isSpecial(a)) {
    set->status |= DEC_Invalid_operation;
    return false;
  }
  decNumber whole;
  bool inexact, rounded;
  roundToIntegral(&whole, a, mode, &inexact, &rounded);
  Big c;
  coefOf(&whole, c);
  *neg = isNeg(&whole);
  if (c.n != 0) {
    if (whole.exponent + bigDigits(c) > 20) {
      set->status |= DEC_Invalid_operation;
      return false;
    }
    bigShiftLeft(c, whole.exponent);
  }
  if (!bigToU64(c, magnitude)) {
    set->status |= DEC_Invalid_operation;
    return false;
  }
  return true;
}

int64_t toSigned(const decNumber* a, decContext* set, enum rounding mode,
                 uint64_t max_positive) {
  bool neg;
  uint64_t m;
  if (!toMagnitude(a, set, mode, &neg, &m)) return 0;
  if (m > max_positive + (neg ? 1 : 0)) {
    set->status |= DEC_Invalid_operation;
    return 0;
  }
  return neg ? static_cast<int64_t>(0 - m) : static_cast<int64_t>(m);
}

uint64_t toUnsigned(const decNumber* a, decContext* set, enum rounding mode,
                    uint64_t max) {
  bool neg;
  uint64_t m;
  if (!toMagnitude(a, set, mode, &neg, &m)) return 0;
  if (m > max || (neg && m != 0)) {
    set->status |= DEC_Invalid_operation;
    return 0;
  }
  return m;
}

decNumber* toIntegralOp(decNumber* r, const decNumber* a, bool exact,
                        decContext* set) {
  if (!checkContext(r, set)) return r;
  if (handleNaNs(r, a, nullptr, nullptr, set)) return r;
  if (isInf(a)) {
    storeInfinity(r, isNeg(a));
    return r;
  }
  if (isZeroFinite(a)) {
    // A zero only changes its exponent; nothing is rounded.
    Big zero;
    storeFinite(r, isNeg(a), zero, a->exponent < 0 ? 0 : a->exponent);
    return r;
  }
  bool inexact, rounded;
  roundToIntegral(r, a, set->round, &inexact, &rounded);
  if (exact) {
    if (rounded) set->status |= DEC_Rounded;
    if (inexact) set->status |= DEC_Inexact;
  }
  return r;
}

}  // namespace
}  // namespace kxdec

using namespace kxdec;

extern "C" {

decNumber* decNumberQuantize(decNumber* r, const decNumber* a,
                             const decNumber* b, decContext* set) {
  if (!checkContext(r, set)) return r;
  if (handleNaNs(r, a, b, nullptr, set)) return r;
  if (isInf(a) || isInf(b)) {
    if (isInf(a) && isInf(b)) {
      storeInfinity(r, isNeg(a));
    } else {
      storeNaN(r, DEC_Invalid_operation, set);
    }
    return r;
  }
  const int64_t p = set->digits;
  const int64_t target = b->exponent;
  const int64_t etiny = static_cast<int64_t>(set->emin) - p + 1;
  if (target > set->emax || target < etiny) {
    storeNaN(r, DEC_Invalid_operation, set);
    return r;
  }
  const bool neg = isNeg(a);
  Big c;
  coefOf(a, c);
  uint32_t status = 0;
  if (c.n != 0) {
    if (a->exponent >= target) {
      if (a->exponent - target + bigDigits(c) > p) {
        storeNaN(r, DEC_Invalid_operation, set);
        return r;
      }
      bigShiftLeft(c, a->exponent - target);
    } else {
      int round_digit;
      bool below;
      bigShiftRight(c, target - a->exponent, &round_digit, &below);
      status |= DEC_Rounded;
      if (round_digit != 0 || below) {
        status |= DEC_Inexact;
        if (roundsAway(set->round, neg, bigLowDigit(c), round_digit, below)) {
          bigAddSmall(c, 1);
        }
      }
      if (bigDigits(c) > p) {
        storeNaN(r, DEC_Invalid_operation, set);
        return r;
      }
    }
    if (c.n != 0) {
      const int64_t adj = target + bigDigits(c) - 1;
      if (adj > set->emax) {
        storeNaN(r, DEC_Invalid_operation, set);
        return r;
      }
      // Tiny results are reported Subnormal; quantize raises no Underflow.
      if (adj < set->emin) status |= DEC_Subnormal;
    }
  }
  storeFinite(r, neg, c, static_cast<int32_t>(target));
  set->status |= status;
  return r;
}

decNumber* decNumberReduce(decNumber* r, const decNumber* a, decContext* set) {
  if (!checkContext(r, set)) return r;
  if (handleNaNs(r, a, nullptr, nullptr, set)) return r;
  if (isInf(a)) {
    storeInfinity(r, isNeg(a));
    return r;
  }
  Big c;
  coefOf(a, c);
  finish(r, isNeg(a), c, a->exponent, false, set);
  if (isSpecial(r)) return r;
  coefOf(r, c);
  if (c.n == 0) {
    storeFinite(r, isNeg(r), c, 0);
    return r;
  }
  int64_t z = bigTrailingZeros(c);
  int64_t exp = r->exponent;
  if (set->clamp) {
    // Stay within the exponents a clamped format can hold.
    int64_t room = static_cast<int64_t>(set->emax) - set->digits + 1 - exp;
    if (room < 0) room = 0;
    if (z > room) z = room;
  }
  if (z > 0) {
    bigShiftRight(c, z, nullptr, nullptr);
    storeFinite(r, isNeg(r), c, static_cast<int32_t>(exp + z));
  }
  return r;
}

decNumber* decNumberToIntegralValue(decNumber* r, const decNumber* a,
                                    decContext* set) {
  return toIntegralOp(r, a, false, set);
}

decNumber* decNumberToIntegralExact(decNumber* r, const decNumber* a,
                                    decContext* set) {
  return toIntegralOp(r, a, true, set);
}

decNumber* decNumberSquareRoot(decNumber* r, const decNumber* a,
                               decContext* set) {
  if (!checkContext(r, set)) return r;
  if (handleNaNs(r, a, nullptr, nullptr, set)) return r;
  if (isInf(a)) {
    if (isNeg(a)) {
      storeNaN(r, DEC_Invalid_operation, set);
    } else {
      storeInfinity(r, false);
    }
    return r;
  }
  // The ideal exponent is floor(exponent / 2).
  int64_t e = a->exponent;
  const int64_t ideal = e >= 0 ? e / 2 : -((1 - e) / 2);
  Big c;
  coefOf(a, c);
  if (c.n == 0) {  // sqrt(-0) is -0
    finish(r, isNeg(a), c, ideal, false, set);
    return r;
  }
  if (isNeg(a)) {
    storeNaN(r, DEC_Invalid_operation, set);
    return r;
  }
  if (e & 1) {
    bigShiftLeft(c, 1);
    --e;
  }
  // Enough digits that the root has one more than the precision.
  const int64_t p = set->digits;
  int64_t k = (2 * p + 2 - bigDigits(c)) / 2;
  if (k < 0) k = 0;
  bigShiftLeft(c, 2 * k);
  e -= 2 * k;
  Big root, square;
  bigSqrt(root, c);
  bigMul(square, root, root);
  const bool exact = bigCmp(square, c) == 0;
  int64_t exp = e / 2;
  if (exact && exp < ideal) {
    int64_t z = bigTrailingZeros(root);
    if (z > ideal - exp) z = ideal - exp;
    bigShiftRight(root, z, nullptr, nullptr);
    exp += z;
  }
  // The square root always rounds half-even, whatever the context's
  // rounding mode: the arithmetic defines it with that rounding alone.
  decContext even = *set;
  even.round = DEC_ROUND_HALF_EVEN;
  even.status = 0;
  finish(r, false, root, exp, !exact, &even);
  set->status |= even.status;
  return r;
}

decNumber* decNumberFromInt32(decNumber* r, int32_t v) {
  return fromMagnitude(
      r, v < 0,
      v < 0 ? 0 - static_cast<uint64_t>(v) : static_cast<uint64_t>(v));
}

decNumber* decNumberFromUInt32(decNumber* r, uint32_t v) {
  return fromMagnitude(r, false, v);
}

decNumber* decNumberFromInt64(decNumber* r, int64_t v) {
  return fromMagnitude(
      r, v < 0,
      v < 0 ? 0 - static_cast<uint64_t>(v) : static_cast<uint64_t>(v));
}

decNumber* decNumberFromUInt64(decNumber* r, uint64_t v) {
  return fromMagnitude(r, false, v);
}

int32_t decNumberToInt32(const decNumber* a, decContext* set,
                         enum rounding mode) {
  return static_cast<int32_t>(toSigned(a, set, mode, INT32_MAX));
}

int64_t decNumberToInt64(const decNumber* a, decContext* set,
                         enum rounding mode) {
  return toSigned(a, set, mode, INT64_MAX);
}

uint32_t decNumberToUInt32(const decNumber* a, decContext* set,
                           enum rounding mode) {
  return static_cast<uint32_t>(toUnsigned(a, set, mode, UINT32_MAX));
}

uint64_t decNumberToUInt64(const decNumber* a, decContext* set,
                           enum rounding mode) {
  return toUnsigned(a, set, mode, UINT64_MAX);
}

}  // extern "C"
