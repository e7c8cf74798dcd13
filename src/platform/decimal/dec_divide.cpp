// Division, integer division and the two remainders of the general
// decimal number type.
#include "decimal/dec_internal.h"

namespace kxdec {
namespace {

inline int64_t min64(int64_t a, int64_t b) { return a < b ? a : b; }

// Truncating integer division of finite a by finite non-zero b. On success
// q is the quotient, rem the remainder and divisor the divisor, both at
// exponent *exp = min(exponents); divisor is left empty when it cannot
// matter for rounding the quotient to nearest (|a| < |b| / 10). Returns
// false when the quotient has more digits than the precision.
bool integerDivide(const decNumber* a, const decNumber* b, decContext* set,
                   Big& q, Big& rem, Big& divisor, int64_t* exp) {
  const int64_t p = set->digits;
  const int64_t ea = a->exponent, eb = b->exponent;
  const int64_t e = min64(ea, eb);
  *exp = e;
  Big A;
  coefOf(a, A);
  coefOf(b, divisor);
  q.n = 0;
  if (A.n == 0) {
    rem.n = 0;
    return true;
  }
  const int64_t adja = adjusted(a), adjb = adjusted(b);
  if (adja < adjb) {
    // |a| < |b|: quotient 0, remainder a. Alignments stay small: a's shift
    // is bounded by b's digits, b's (when needed) by a's.
    rem = A;
    bigShiftLeft(rem, ea - e);
    if (adja + 1 < adjb) {
      divisor.n = 0;
    } else {
      bigShiftLeft(divisor, eb - e);
    }
    return true;
  }
  // The quotient is at least 10^(adja - adjb - 1).
  if (adja - adjb > p) return false;
  bigShiftLeft(A, ea - e);
  bigShiftLeft(divisor, eb - e);
  bigDivMod(q, rem, A, divisor);
  return bigDigits(q) <= p;
}

enum class RemKind { kTruncated, kNearest };

decNumber* remainderOp(decNumber* r, const decNumber* a, const decNumber* b,
                       RemKind kind, decContext* set) {
  if (!checkContext(r, set)) return r;
  if (handleNaNs(r, a, b, nullptr, set)) return r;
  if (isInf(a)) {
    storeNaN(r, DEC_Invalid_operation, set);
    return r;
  }
  if (isInf(b)) {
    Big c;
    coefOf(a, c);
    finish(r, isNeg(a), c, a->exponent, false, set);
    return r;
  }
  if (isZeroFinite(b)) {
    storeNaN(r,
             isZeroFinite(a) ? DEC_Division_undefined : DEC_Invalid_operation,
             set);
    return r;
  }
  Big q, rem, divisor;
  int64_t exp;
  if (!integerDivide(a, b, set, q, rem, divisor, &exp)) {
    storeNaN(r, DEC_Division_impossible, set);
    return r;
  }
  bool neg = isNeg(a);
  if (kind == RemKind::kNearest && divisor.n != 0 && rem.n != 0) {
    Big twice = rem;
    bigMulSmall(twice, 2);
    int cmp = bigCmp(twice, divisor);
    if (cmp > 0 || (cmp == 0 && (bigLowDigit(q) & 1) != 0)) {
      // The nearer quotient is one more: the remainder changes sign.
      Big other;
      bigSub(other, divisor, rem);
      rem = other;
      neg = !neg;
      bigAddSmall(q, 1);
      if (bigDigits(q) > set->digits) {
        storeNaN(r, DEC_Division_impossible, set);
        return r;
      }
    }
  }
  finish(r, neg, rem, exp, false, set);
  return r;
}

}  // namespace
}  // namespace kxdec

using namespace kxdec;

extern "C" {

decNumber* decNumberDivide(decNumber* r, const decNumber* a, const decNumber* b,
                           decContext* set) {
  if (!checkContext(r, set)) return r;
  if (handleNaNs(r, a, b, nullptr, set)) return r;
  const bool neg = isNeg(a) != isNeg(b);
  if (isInf(a)) {
    if (isInf(b)) {
      storeNaN(r, DEC_Invalid_operation, set);
    } else {
      storeInfinity(r, neg);
    }
    return r;
  }
  if (isInf(b)) {
    // A finite number over infinity: zero at the smallest exponent.
    Big zero;
    finish(r, neg, zero, static_cast<int64_t>(set->emin) - set->digits, false,
           set);
    return r;
  }
  if (isZeroFinite(b)) {
    if (isZeroFinite(a)) {
      storeNaN(r, DEC_Division_undefined, set);
    } else {
      set->status |= DEC_Division_by_zero;
      storeInfinity(r, neg);
    }
    return r;
  }
  const int64_t ideal = static_cast<int64_t>(a->exponent) - b->exponent;
  Big A, B;
  coefOf(a, A);
  coefOf(b, B);
  if (A.n == 0) {
    finish(r, neg, A, ideal, false, set);
    return r;
  }
  // Scale the dividend so that the quotient has at least one digit more
  // than the precision; the remainder then only says "non-zero below".
  const int64_t p = set->digits;
  int64_t k = p + b->digits - a->digits + 1;
  if (k < 0) k = 0;
  bigShiftLeft(A, k);
  Big q;
  const bool inexact = bigDivQuotient(q, A, B);
  int64_t exp = ideal - k;
  if (!inexact && exp < ideal) {
    // Exact: come as close to the ideal exponent as trailing zeros allow.
    int64_t z = bigTrailingZeros(q);
    if (z > ideal - exp) z = ideal - exp;
    bigShiftRight(q, z, nullptr, nullptr);
    exp += z;
  }
  finish(r, neg, q, exp, inexact, set);
  return r;
}

decNumber* decNumberDivideInteger(decNumber* r, const decNumber* a,
                                  const decNumber* b, decContext* set) {
  if (!checkContext(r, set)) return r;
  if (handleNaNs(r, a, b, nullptr, set)) return r;
  const bool neg = isNeg(a) != isNeg(b);
  if (isInf(a)) {
    if (isInf(b)) {
      storeNaN(r, DEC_Invalid_operation, set);
    } else {
      storeInfinity(r, neg);
    }
    return r;
  }
  Big q, rem, divisor;
  if (isInf(b)) {
    finish(r, neg, q, 0, false, set);
    return r;
  }
  if (isZeroFinite(b)) {
    if (isZeroFinite(a)) {
      storeNaN(r, DEC_Division_undefined, set);
    } else {
      set->status |= DEC_Division_by_zero;
      storeInfinity(r, neg);
    }
    return r;
  }
  int64_t exp;
  if (!integerDivide(a, b, set, q, rem, divisor, &exp)) {
    storeNaN(r, DEC_Division_impossible, set);
    return r;
  }
  finish(r, neg, q, 0, false, set);
  return r;
}

decNumber* decNumberRemainder(decNumber* r, const decNumber* a,
                              const decNumber* b, decContext* set) {
  return remainderOp(r, a, b, RemKind::kTruncated, set);
}

decNumber* decNumberRemainderNear(decNumber* r, const decNumber* a,
                                  const decNumber* b, decContext* set) {
  return remainderOp(r, a, b, RemKind::kNearest, set);
}

}  // extern "C"
