// Addition, multiplication, fused multiply-add, the sign operations and
// comparisons of the general decimal number type.
#include <string.h>

#include "decimal/dec_internal.h"

namespace kxdec {
namespace {

inline int64_t min64(int64_t a, int64_t b) { return a < b ? a : b; }
inline int64_t max64(int64_t a, int64_t b) { return a > b ? a : b; }

// Sum of two finite values (-1)^an * A * 10^ea and (-1)^bn * B * 10^eb,
// rounded once. A and B are consumed.
void addFinite(decNumber* r, bool an, Big& A, int64_t ea, bool bn, Big& B,
               int64_t eb, decContext* set) {
  const int64_t p = set->digits;
  const bool az = A.n == 0, bz = B.n == 0;
  if (az && bz) {
    // Exact zero: the common sign, else + (- when rounding toward -Inf).
    bool neg = an == bn ? an : set->round == DEC_ROUND_FLOOR;
    finish(r, neg, A, min64(ea, eb), false, set);
    return;
  }
  if (az || bz) {
    // x + 0 is x at the smaller exponent. Padding beyond one digit more than
    // the precision only adds zeros that rounding takes off again.
    Big& x = az ? B : A;
    int64_t ex = az ? eb : ea;
    const int64_t ez = az ? ea : eb;
    const bool xn = az ? bn : an;
    if (ez < ex) {
      int64_t shift = min64(ex - ez, max64(0, p - bigDigits(x)) + 1);
      bigShiftLeft(x, shift);
      ex -= shift;
    }
    finish(r, xn, x, ex, false, set);
    return;
  }
  const bool swap = ea < eb;
  Big& hi = swap ? B : A;  // the operand with the larger exponent
  Big& lo = swap ? A : B;
  const int64_t ehi = swap ? eb : ea;
  int64_t elo = swap ? ea : eb;
  const bool hin = swap ? bn : an;
  const bool lon = swap ? an : bn;
  const int64_t adjhi = ehi + bigDigits(hi) - 1;
  const int64_t adjlo = elo + bigDigits(lo) - 1;
  // Digits of the result at or below position adjhi - p - 2 only decide the
  // rounding through being non-zero (one digit of headroom for the
  // cancellation of a subtraction, one for the rounding digit). An operand
  // wholly below both that position and the last digit of the other one is
  // replaced by one unit well below: the sum then has the same digits down
  // to the rounding position and the same non-zero tail.
  const int64_t limit = min64(ehi, adjhi - p - 2);
  if (adjlo <= limit - 2) {
    bigFromU64(lo, 1);
    elo = limit - 2;
  }
  bigShiftLeft(hi, ehi - elo);
  Big sum;
  bool neg;
  if (hin == lon) {
    bigAdd(sum, hi, lo);
    neg = hin;
  } else {
    int cmp = bigCmp(hi, lo);
    if (cmp == 0) {
      sum.n = 0;
      neg = set->round == DEC_ROUND_FLOOR;
    } else if (cmp > 0) {
      bigSub(sum, hi, lo);
      neg = hin;
    } else {
      bigSub(sum, lo, hi);
      neg = lon;
    }
  }
  finish(r, neg, sum, elo, false, set);
}

decNumber* addOrSubtract(decNumber* r, const decNumber* a, const decNumber* b,
                         bool negate_b, decContext* set) {
  if (!checkContext(r, set)) return r;
  if (handleNaNs(r, a, b, nullptr, set)) return r;
  const bool an = isNeg(a);
  const bool bn = isNeg(b) != negate_b;
  if (isInf(a) || isInf(b)) {
    if (isInf(a) && isInf(b) && an != bn) {
      storeNaN(r, DEC_Invalid_operation, set);
    } else {
      storeInfinity(r, isInf(a) ? an : bn);
    }
    return r;
  }
  Big A, B;
  coefOf(a, A);
  coefOf(b, B);
  addFinite(r, an, A, a->exponent, bn, B, b->exponent, set);
  return r;
}

enum class SignOp { kPlus, kMinus, kAbs };

decNumber* signOp(decNumber* r, const decNumber* a, SignOp op,
                  decContext* set) {
  if (!checkContext(r, set)) return r;
  if (handleNaNs(r, a, nullptr, nullptr, set)) return r;
  bool neg = op == SignOp::kPlus    ? isNeg(a)
             : op == SignOp::kMinus ? !isNeg(a)
                                    : false;
  if (isInf(a)) {
    storeInfinity(r, neg);
    return r;
  }
  Big c;
  coefOf(a, c);
  // These are 0 + a and 0 - a: a zero result is +0 except when rounding
  // toward -Infinity turns 0 + -0 into -0.
  if (c.n == 0) neg = neg && set->round == DEC_ROUND_FLOOR;
  finish(r, neg, c, a->exponent, false, set);
  return r;
}

void storeSmallInt(decNumber* r, int v) {
  Big c;
  bigFromU64(c, static_cast<uint64_t>(v < 0 ? -v : v));
  storeFinite(r, v < 0, c, 0);
}

// Position of a number's class in the total order, for positive signs.
int totalClass(const decNumber* a) {
  if (a->bits & DECNAN) return 3;
  if (a->bits & DECSNAN) return 2;
  if (a->bits & DECINF) return 1;
  return 0;
}

}  // namespace
}  // namespace kxdec

using namespace kxdec;

extern "C" {

decNumber* decNumberAdd(decNumber* r, const decNumber* a, const decNumber* b,
                        decContext* set) {
  return addOrSubtract(r, a, b, false, set);
}

decNumber* decNumberSubtract(decNumber* r, const decNumber* a,
                             const decNumber* b, decContext* set) {
  return addOrSubtract(r, a, b, true, set);
}

decNumber* decNumberMultiply(decNumber* r, const decNumber* a,
                             const decNumber* b, decContext* set) {
  if (!checkContext(r, set)) return r;
  if (handleNaNs(r, a, b, nullptr, set)) return r;
  const bool neg = isNeg(a) != isNeg(b);
  if (isInf(a) || isInf(b)) {
    if (isZeroFinite(a) || isZeroFinite(b)) {
      storeNaN(r, DEC_Invalid_operation, set);
    } else {
      storeInfinity(r, neg);
    }
    return r;
  }
  Big A, B, prod;
  coefOf(a, A);
  coefOf(b, B);
  bigMul(prod, A, B);
  finish(r, neg, prod, static_cast<int64_t>(a->exponent) + b->exponent, false,
         set);
  return r;
}

decNumber* decNumberFMA(decNumber* r, const decNumber* a, const decNumber* b,
                        const decNumber* c, decContext* set) {
  if (!checkContext(r, set)) return r;
  // Signalling NaNs first, then quiet NaNs of the multiplication, then an
  // invalid multiplication, and only then a quiet NaN addend.
  const decNumber* ops[3] = {a, b, c};
  for (const decNumber* op : ops) {
    if (op->bits & DECSNAN) {
      set->status |= DEC_Invalid_operation;
      storeQuietNaN(r, op, set);
      return r;
    }
  }
  if (handleNaNs(r, a, b, nullptr, set)) return r;
  const bool neg = isNeg(a) != isNeg(b);
  if (isInf(a) || isInf(b)) {
    if (isZeroFinite(a) || isZeroFinite(b)) {
      storeNaN(r, DEC_Invalid_operation, set);
    } else if (c->bits & DECNAN) {
      storeQuietNaN(r, c, set);
    } else if (isInf(c) && isNeg(c) != neg) {
      storeNaN(r, DEC_Invalid_operation, set);
    } else {
      storeInfinity(r, neg);
    }
    return r;
  }
  if (c->bits & DECNAN) {
    storeQuietNaN(r, c, set);
    return r;
  }
  if (isInf(c)) {
    storeInfinity(r, isNeg(c));
    return r;
  }
  Big A, B, C, prod;
  coefOf(a, A);
  coefOf(b, B);
  coefOf(c, C);
  bigMul(prod, A, B);
  addFinite(r, neg, prod, static_cast<int64_t>(a->exponent) + b->exponent,
            isNeg(c), C, c->exponent, set);
  return r;
}

decNumber* decNumberPlus(decNumber* r, const decNumber* a, decContext* set) {
  return signOp(r, a, SignOp::kPlus, set);
}

decNumber* decNumberMinus(decNumber* r, const decNumber* a, decContext* set) {
  return signOp(r, a, SignOp::kMinus, set);
}

decNumber* decNumberAbs(decNumber* r, const decNumber* a, decContext* set) {
  return signOp(r, a, SignOp::kAbs, set);
}

decNumber* decNumberCompare(decNumber* r, const decNumber* a,
                            const decNumber* b, decContext* set) {
  if (!checkContext(r, set)) return r;
  if (handleNaNs(r, a, b, nullptr, set)) return r;
  storeSmallInt(r, compareValues(a, b));
  return r;
}

decNumber* decNumberCompareTotal(decNumber* r, const decNumber* a,
                                 const decNumber* b) {
  const bool an = isNeg(a), bn = isNeg(b);
  int result;
  if (an != bn) {
    result = an ? -1 : 1;
  } else {
    int ka = totalClass(a), kb = totalClass(b);
    int mag;
    if (ka != kb) {
      mag = ka < kb ? -1 : 1;
    } else if (ka >= 2) {  // NaNs of one kind: by payload
      Big pa, pb;
      coefOf(a, pa);
      coefOf(b, pb);
      mag = bigCmp(pa, pb);
    } else if (ka == 1) {
      mag = 0;
    } else {
      decNumber aa, bb;
      decNumberCopyAbs(&aa, a);
      decNumberCopyAbs(&bb, b);
      mag = compareValues(&aa, &bb);
      if (mag == 0 && a->exponent != b->exponent) {
        mag = a->exponent < b->exponent ? -1 : 1;
      }
    }
    result = an ? -mag : mag;
  }
  storeSmallInt(r, result);
  return r;
}

decNumber* decNumberCopy(decNumber* r, const decNumber* a) {
  if (r == a) return r;
  r->digits = a->digits;
  r->exponent = a->exponent;
  r->bits = a->bits;
  int n = (a->digits + kLimbDigits - 1) / kLimbDigits;
  if (n > DECNUMLIMBS) n = DECNUMLIMBS;
  memcpy(r->lsu, a->lsu, sizeof(uint64_t) * n);
  return r;
}

decNumber* decNumberCopyAbs(decNumber* r, const decNumber* a) {
  decNumberCopy(r, a);
  r->bits &= static_cast<uint8_t>(~DECNEG);
  return r;
}

decNumber* decNumberCopyNegate(decNumber* r, const decNumber* a) {
  decNumberCopy(r, a);
  r->bits ^= DECNEG;
  return r;
}

decNumber* decNumberCopySign(decNumber* r, const decNumber* a,
                             const decNumber* sign) {
  uint8_t s = sign->bits & DECNEG;
  decNumberCopy(r, a);
  r->bits = static_cast<uint8_t>((r->bits & ~DECNEG) | s);
  return r;
}

decNumber* decNumberZero(decNumber* r) {
  r->digits = 1;
  r->exponent = 0;
  r->bits = 0;
  r->lsu[0] = 0;
  return r;
}

int decNumberIsZero(const decNumber* a) { return isZeroFinite(a); }
int decNumberIsNegative(const decNumber* a) { return isNeg(a) && !isNaNAny(a); }
int decNumberIsSigned(const decNumber* a) { return isNeg(a); }
int decNumberIsNaN(const decNumber* a) { return isNaNAny(a); }
int decNumberIsSNaN(const decNumber* a) { return (a->bits & DECSNAN) != 0; }
int decNumberIsInfinite(const decNumber* a) { return isInf(a); }
int decNumberIsFinite(const decNumber* a) { return !isSpecial(a); }
int decNumberIsCanonical(const decNumber*) { return 1; }

}  // extern "C"
