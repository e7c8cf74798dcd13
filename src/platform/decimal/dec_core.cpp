// Rounding, exponent limits and NaN handling shared by every decimal
// operation.
#include <assert.h>
#include <string.h>

#include "decimal/dec_internal.h"

namespace kxdec {

void coefOf(const decNumber* a, Big& c) {
  int n = (a->digits + kLimbDigits - 1) / kLimbDigits;
  if (n > DECNUMLIMBS) n = DECNUMLIMBS;
  for (int i = 0; i < n; ++i) c.d[i] = a->lsu[i];
  c.n = n;
  while (c.n > 0 && c.d[c.n - 1] == 0) --c.n;
}

void storeFinite(decNumber* r, bool neg, const Big& c, int32_t exp) {
  assert(c.n <= DECNUMLIMBS);
  r->bits = neg ? DECNEG : 0;
  r->exponent = exp;
  if (c.n == 0) {
    r->digits = 1;
    r->lsu[0] = 0;
    return;
  }
  for (int i = 0; i < c.n; ++i) r->lsu[i] = c.d[i];
  r->digits = bigDigits(c);
}

void storeInfinity(decNumber* r, bool neg) {
  r->bits = static_cast<uint8_t>((neg ? DECNEG : 0) | DECINF);
  r->exponent = 0;
  r->digits = 1;
  r->lsu[0] = 0;
}

void storeNaN(decNumber* r, uint32_t conditions, decContext* set) {
  r->bits = DECNAN;
  r->exponent = 0;
  r->digits = 1;
  r->lsu[0] = 0;
  set->status |= conditions;
}

bool checkContext(decNumber* r, decContext* set) {
  if (set->digits < 1 || set->digits > DECNUMDIGITS || set->emax < 0 ||
      set->emax > DEC_MAX_EMAX || set->emin > 0 || set->emin < DEC_MIN_EMIN ||
      static_cast<unsigned>(set->round) >= DEC_ROUND_MAX || set->clamp > 1) {
    storeNaN(r, DEC_Invalid_context, set);
    return false;
  }
  return true;
}

bool roundsAway(enum rounding mode, bool neg, int last, int round_digit,
                bool sticky) {
  bool nonzero = round_digit != 0 || sticky;
  switch (mode) {
    case DEC_ROUND_CEILING:
      return nonzero && !neg;
    case DEC_ROUND_FLOOR:
      return nonzero && neg;
    case DEC_ROUND_UP:
      return nonzero;
    case DEC_ROUND_DOWN:
      return false;
    case DEC_ROUND_HALF_UP:
      return round_digit >= 5;
    case DEC_ROUND_HALF_DOWN:
      return round_digit > 5 || (round_digit == 5 && sticky);
    case DEC_ROUND_HALF_EVEN:
      return round_digit > 5 ||
             (round_digit == 5 && (sticky || (last & 1) != 0));
    case DEC_ROUND_05UP:
      return nonzero && (last == 0 || last == 5);
    default:
      return false;
  }
}

namespace {

// Overflow: infinity or the largest finite number, by rounding direction.
void overflow(decNumber* r, bool neg, decContext* set) {
  set->status |= DEC_Overflow | DEC_Inexact | DEC_Rounded;
  bool to_infinity;
  switch (set->round) {
    case DEC_ROUND_DOWN:
    case DEC_ROUND_05UP:
      to_infinity = false;
      break;
    case DEC_ROUND_CEILING:
      to_infinity = !neg;
      break;
    case DEC_ROUND_FLOOR:
      to_infinity = neg;
      break;
    default:
      to_infinity = true;
      break;
  }
  if (to_infinity) {
    storeInfinity(r, neg);
    return;
  }
  Big nmax;
  int p = set->digits;
  nmax.n = (p + kLimbDigits - 1) / kLimbDigits;
  for (int i = 0; i < nmax.n; ++i) nmax.d[i] = kBase - 1;
  if (p % kLimbDigits != 0) nmax.d[nmax.n - 1] = kPow10[p % kLimbDigits] - 1;
  storeFinite(r, neg, nmax, set->emax - p + 1);
}

}  // namespace

void finish(decNumber* r, bool neg, Big& c, int64_t exp, bool sticky,
            decContext* set) {
  const int64_t p = set->digits;
  const int64_t emax = set->emax;
  const int64_t emin = set->emin;
  const int64_t etiny = emin - p + 1;
  const int64_t etop = emax - p + 1;
  uint32_t status = 0;

  if (c.n == 0 && !sticky) {
    // Zeros keep their exponent as far as the limits allow.
    if (exp < etiny) {
      exp = etiny;
      status |= DEC_Clamped;
    }
    int64_t top = set->clamp ? etop : emax;
    if (exp > top) {
      exp = top;
      status |= DEC_Clamped;
    }
    storeFinite(r, neg, c, static_cast<int32_t>(exp));
    set->status |= status;
    return;
  }
  assert(c.n != 0);

  int64_t digits = bigDigits(c);
  int64_t adj = exp + digits - 1;
  if (adj > emax) {
    overflow(r, neg, set);
    return;
  }
  // Tininess is judged on the unrounded result.
  const bool subnormal = adj < emin;
  int64_t discard = subnormal ? etiny - exp : digits - p;
  bool inexact = false;
  if (discard > 0) {
    int round_digit;
    bool below;
    bigShiftRight(c, discard, &round_digit, &below);
    below = below || sticky;
    exp += discard;
    status |= DEC_Rounded;
    if (round_digit != 0 || below) {
      inexact = true;
      status |= DEC_Inexact;
      if (roundsAway(set->round, neg, bigLowDigit(c), round_digit, below)) {
        bigAddSmall(c, 1);
        if (bigDigits(c) > p) {  // 999..9 rounded up to 1000..0
          bigShiftRight(c, 1, nullptr, nullptr);
          ++exp;
        }
      }
    }
  } else {
    assert(!sticky);
  }
  if (subnormal) {
    status |= DEC_Subnormal;
    if (inexact) status |= DEC_Underflow;
    if (c.n == 0) status |= DEC_Clamped;
  }
  if (c.n != 0) {
    adj = exp + bigDigits(c) - 1;
    if (adj > emax) {
      set->status |= status;
      overflow(r, neg, set);
      return;
    }
    if (set->clamp && exp > etop) {
      // Fold down: pad the coefficient so the exponent fits the format.
      bigShiftLeft(c, exp - etop);
      exp = etop;
      status |= DEC_Clamped;
    }
  }
  storeFinite(r, neg, c, static_cast<int32_t>(exp));
  set->status |= status;
}

void storeQuietNaN(decNumber* r, const decNumber* n, decContext* set) {
  Big c;
  coefOf(n, c);
  bool neg = isNeg(n);
  int keep = set->digits - set->clamp;
  if (keep < 0) keep = 0;
  if (bigDigits(c) > keep) {
    // Keep the least significant `keep` digits.
    int limbs = keep / kLimbDigits;
    int rest = keep % kLimbDigits;
    if (rest != 0) {
      c.d[limbs] %= kPow10[rest];
      c.n = limbs + 1;
    } else {
      c.n = limbs;
    }
    while (c.n > 0 && c.d[c.n - 1] == 0) --c.n;
  }
  storeFinite(r, neg, c, 0);
  r->bits = static_cast<uint8_t>((neg ? DECNEG : 0) | DECNAN);
}

bool handleNaNs(decNumber* r, const decNumber* a, const decNumber* b,
                const decNumber* c, decContext* set) {
  const decNumber* ops[3] = {a, b, c};
  for (const decNumber* op : ops) {
    if (op != nullptr && (op->bits & DECSNAN)) {
      set->status |= DEC_Invalid_operation;
      storeQuietNaN(r, op, set);
      return true;
    }
  }
  for (const decNumber* op : ops) {
    if (op != nullptr && (op->bits & DECNAN)) {
      storeQuietNaN(r, op, set);
      return true;
    }
  }
  return false;
}

int compareValues(const decNumber* a, const decNumber* b) {
  bool an = isNeg(a), bn = isNeg(b);
  if (isInf(a) || isInf(b)) {
    if (isInf(a) && isInf(b) && an == bn) return 0;
    if (isInf(a)) return an ? -1 : 1;
    return bn ? 1 : -1;
  }
  bool az = isZeroFinite(a), bz = isZeroFinite(b);
  if (az && bz) return 0;
  if (az) return bn ? 1 : -1;
  if (bz) return an ? -1 : 1;
  if (an != bn) return an ? -1 : 1;
  int mag;
  int64_t aa = adjusted(a), ab = adjusted(b);
  if (aa != ab) {
    mag = aa < ab ? -1 : 1;
  } else {
    // Same adjusted exponent: align the coefficients (the shift is at most
    // the difference in digit counts).
    Big ca, cb;
    coefOf(a, ca);
    coefOf(b, cb);
    if (a->exponent > b->exponent) {
      bigShiftLeft(ca, static_cast<int64_t>(a->exponent) - b->exponent);
    } else {
      bigShiftLeft(cb, static_cast<int64_t>(b->exponent) - a->exponent);
    }
    mag = bigCmp(ca, cb);
  }
  return an ? -mag : mag;
}

void roundToIntegral(decNumber* r, const decNumber* a, enum rounding mode,
                     bool* inexact, bool* rounded) {
  *inexact = false;
  *rounded = false;
  if (a->exponent >= 0) {
    if (r != a) decNumberCopy(r, a);
    return;
  }
  Big c;
  coefOf(a, c);
  bool neg = isNeg(a);
  int round_digit;
  bool below;
  bigShiftRight(c, -static_cast<int64_t>(a->exponent), &round_digit, &below);
  *rounded = true;
  if (round_digit != 0 || below) {
    *inexact = true;
    if (roundsAway(mode, neg, bigLowDigit(c), round_digit, below)) {
      bigAddSmall(c, 1);
    }
  }
  storeFinite(r, neg, c, 0);
}

}  // namespace kxdec
