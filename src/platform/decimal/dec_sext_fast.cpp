// Short cuts of the 192-bit format's addition, subtraction and
// multiplication: straight from the 24 bytes to limbs of 18 digits and back.
#include "decimal/dec_sext_fast.h"

#include <string.h>

#include "decimal/dec_big.h"
#include "decimal/dec_dpd.h"
#include "decimal/dec_internal.h"

namespace kxdec {
namespace {

constexpr int kDigits = DECSEXT_Pmax;            // 52
constexpr int64_t kEmin = DECSEXT_Emin;          // smallest normal adjusted
constexpr int64_t kEtiny = kEmin - kDigits + 1;  // smallest exponent
constexpr int64_t kEtop = DECSEXT_Emax - kDigits + 1;  // largest exponent
// An addition whose exponents differ by more is left to the general path;
// up to this the exact sum fits six limbs (52 + 54 + 1 digits < 108).
constexpr int64_t kMaxAlign = 54;
constexpr uint64_t kBillion = 1000000000ull;
constexpr uint64_t k1e15 = 1000000000000000ull;
constexpr uint64_t k1e16 = 10000000000000000ull;

// Multiplier and shift that divide by 10^k: for d = 10^k, l = ceil(log2 d)
// and m = ceil(2^(60 + l) / d), m * d exceeds 2^(60 + l) by less than
// 2^l, so floor(x * m / 2^(60 + l)) = floor(x / d) for every x < 2^60
// (Granlund and Montgomery); m < 2^61 + 1 fits a word, and 60 + l >= 64
// for k >= 1, so the quotient is in the high word of the product.
struct Reciprocal {
  uint64_t m;
  int shift;  // 60 + l - 64
};

constexpr Reciprocal makeReciprocal(int k) {
  uint64_t d = 1;
  for (int i = 0; i < k; ++i) d *= 10;
  int l = 0;
  while ((uint64_t{1} << l) < d) ++l;
  const unsigned __int128 num = static_cast<unsigned __int128>(1) << (60 + l);
  return {static_cast<uint64_t>((num + d - 1) / d), 60 + l - 64};
}

struct Reciprocals {
  Reciprocal r[19];
};

constexpr Reciprocals makeReciprocals() {
  Reciprocals t{};
  for (int k = 1; k <= 18; ++k) t.r[k] = makeReciprocal(k);
  return t;
}

constexpr Reciprocals kRecip = makeReciprocals();

inline uint64_t quotient(uint64_t x, int k) {
  const Reciprocal& r = kRecip.r[k];
  const unsigned __int128 p = static_cast<unsigned __int128>(x) * r.m;
  return static_cast<uint64_t>(p >> 64) >> r.shift;
}

// A finite operand: coefficient in three limbs of 18 digits, least
// significant first (the top limb holds 16 digits), exponent and sign.
struct Operand {
  uint64_t d[3];
  int64_t exp;
  bool neg;
};

inline uint64_t loadWord(const uint8_t* p) {
  uint64_t v;
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
  memcpy(&v, p, 8);
#else
  v = 0;
  for (int i = 7; i >= 0; --i) v = (v << 8) | p[i];
#endif
  return v;
}

inline void storeWord(uint8_t* p, uint64_t v) {
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
  memcpy(p, &v, 8);
#else
  for (int i = 0; i < 8; ++i) p[i] = static_cast<uint8_t>(v >> (8 * i));
#endif
}

// The value of three declets (30 bits).
inline uint64_t fromDeclets3(uint64_t bits) {
  const uint16_t* t = kDpd.from_dpd;
  return t[bits & 0x3ff] + 1000 * t[(bits >> 10) & 0x3ff] +
         1000000 * t[(bits >> 20) & 0x3ff];
}

// The three groups of three digits of v < 10^9, most significant first:
// v / 10^6 in fixed point with 54 fraction bits, then the fraction times
// 1000 twice. The scale exceeds 2^54 / 10^6 by less than 1, so the error
// stays below 10^9 / 2^54 < 6e-8 of a unit of the first group, which
// shifts neither of the two later groups (1000 and 10^6 times that error
// are below the 1/1000 and 1 that would move them).
struct Groups {
  unsigned top, mid, low;
};

inline Groups groups3(uint64_t v) {
  constexpr int kFrac = 54;
  constexpr uint64_t kMask = (uint64_t{1} << kFrac) - 1;
  constexpr uint64_t kScale = ((uint64_t{1} << kFrac) + 999999) / 1000000;
  uint64_t f = v * kScale;
  Groups g;
  g.top = static_cast<unsigned>(f >> kFrac);
  f = (f & kMask) * 1000;
  g.mid = static_cast<unsigned>(f >> kFrac);
  f = (f & kMask) * 1000;
  g.low = static_cast<unsigned>(f >> kFrac);
  return g;
}

// Three declets of v < 10^9.
inline uint64_t toDeclets3(uint64_t v) {
  const uint16_t* t = kDpd.to_dpd;
  const Groups g = groups3(v);
  return t[g.low] | static_cast<uint64_t>(t[g.mid]) << 10 |
         static_cast<uint64_t>(t[g.top]) << 20;
}

// Six declets of v < 10^18.
inline uint64_t toDeclets6(uint64_t v) {
  const uint64_t hi = v / kBillion;
  return toDeclets3(v - hi * kBillion) | toDeclets3(hi) << 30;
}

// False for infinities and NaNs.
inline bool unpack(const decSext* a, Operand* o) {
  const uint64_t w0 = loadWord(a->bytes), w1 = loadWord(a->bytes + 8),
                 w2 = loadWord(a->bytes + 16);
  const unsigned comb = static_cast<unsigned>(w2 >> 58) & 0x1f;
  if ((comb & 0x1e) == 0x1e) return false;
  unsigned top, msd;
  if ((comb & 0x18) == 0x18) {
    top = (comb >> 1) & 3;
    msd = 8 + (comb & 1);
  } else {
    top = comb >> 3;
    msd = comb & 7;
  }
  o->neg = (w2 >> 63) != 0;
  o->exp = static_cast<int64_t>((top << 16) | ((w2 >> 42) & 0xffff)) -
           DECSEXT_Bias;
  // Declets 0-5 are bits 0-59, 6-11 bits 60-119, 12-16 bits 120-169.
  const uint64_t c1 = (w0 >> 60) | (w1 << 4);
  const uint64_t c2 = (w1 >> 56) | (w2 << 8);
  o->d[0] = fromDeclets3(w0 >> 30) * kBillion + fromDeclets3(w0);
  o->d[1] = fromDeclets3(c1 >> 30) * kBillion + fromDeclets3(c1);
  const uint16_t* t = kDpd.from_dpd;
  o->d[2] = (msd * 1000000 + t[(c2 >> 40) & 0x3ff] * 1000 +
             t[(c2 >> 30) & 0x3ff]) *
                kBillion +
            fromDeclets3(c2);
  return true;
}

// Stores (-1)^neg * c * 10^exp, c < 10^52 and exp within the format.
inline void pack(decSext* r, bool neg, int64_t exp, const uint64_t c[3]) {
  // The top limb (16 digits): nine digits in three declets, then the
  // leading digit and two declets.
  const uint64_t top_hi = c[2] / kBillion;  // < 10^7
  const Groups g = groups3(top_hi);
  const uint64_t msd = g.top;
  const uint64_t d0 = toDeclets6(c[0]), d1 = toDeclets6(c[1]);
  const uint64_t d2 = toDeclets3(c[2] - top_hi * kBillion) |
                      static_cast<uint64_t>(kDpd.to_dpd[g.low]) << 30 |
                      static_cast<uint64_t>(kDpd.to_dpd[g.mid]) << 40;
  const uint64_t biased = static_cast<uint64_t>(exp + DECSEXT_Bias);
  const uint64_t top = biased >> 16;
  const uint64_t comb =
      msd >= 8 ? 0x18 | (top << 1) | (msd & 1) : (top << 3) | msd;
  storeWord(r->bytes, d0 | d1 << 60);
  storeWord(r->bytes + 8, d1 >> 4 | d2 << 56);
  storeWord(r->bytes + 16, d2 >> 8 | (biased & 0xffff) << 42 | comb << 58 |
                               static_cast<uint64_t>(neg) << 63);
}

inline bool isFormatContext(const decContext* set) {
  return set->digits == kDigits && set->emax == DECSEXT_Emax &&
         set->emin == DECSEXT_Emin && set->clamp == 1 &&
         static_cast<unsigned>(set->round) < DEC_ROUND_MAX;
}

// Rounds the exact result (-1)^neg * w * 10^exp (seven limbs, those from
// n up zero, the value below 10^108) to the format and stores it with its
// conditions. False, with nothing stored, when the result is subnormal,
// overflows or would need clamping: the general path handles those.
bool roundAndPack(decSext* r, bool neg, const uint64_t w[7], int n,
                  int64_t exp, decContext* set) {
  while (n > 0 && w[n - 1] == 0) --n;
  if (n == 0) {
    if (exp < kEtiny || exp > kEtop) return false;
    const uint64_t zero[3] = {0, 0, 0};
    pack(r, neg, exp, zero);
    return true;
  }
  const int digits = (n - 1) * kLimbDigits + digitsOfU64(w[n - 1]);
  if (exp + digits - 1 < kEmin) return false;  // subnormal
  uint64_t c[3];
  uint32_t status = 0;
  if (digits <= kDigits) {
    if (exp > kEtop) return false;
    c[0] = w[0], c[1] = w[1], c[2] = w[2];
  } else {
    // Drop the k lowest digits: q whole limbs and s digits more.
    const int k = digits - kDigits;
    const int q = k / kLimbDigits, s = k % kLimbDigits;
    int round_digit;
    uint64_t below;  // non-zero when a digit under the rounding digit is
    if (s == 0) {
      for (int i = 0; i < 3; ++i) c[i] = w[q + i];
      round_digit = static_cast<int>(quotient(w[q - 1], 17));
      below = w[q - 1] - round_digit * kPow10[17];
      for (int j = 0; j < q - 1; ++j) below |= w[j];
    } else {
      const uint64_t unit = kPow10[s], up = kPow10[kLimbDigits - s];
      for (int i = 0; i < 3; ++i) {
        const uint64_t next = w[q + i + 1];
        c[i] = quotient(w[q + i], s) + (next - quotient(next, s) * unit) * up;
      }
      const uint64_t low = w[q] - quotient(w[q], s) * unit;
      if (s == 1) {
        round_digit = static_cast<int>(low);
        below = 0;
      } else {
        round_digit = static_cast<int>(quotient(low, s - 1));
        below = low - round_digit * kPow10[s - 1];
      }
      for (int j = 0; j < q; ++j) below |= w[j];
    }
    exp += k;
    status = DEC_Rounded;
    if (round_digit != 0 || below != 0) {
      status |= DEC_Inexact;
      if (roundsAway(set->round, neg, static_cast<int>(c[0] % 10), round_digit,
                     below != 0)) {
        for (int i = 0; i < 3; ++i) {
          if (++c[i] != kBase) break;
          c[i] = 0;
        }
        if (c[2] == k1e16) {  // 99...9 rounded up to 10^52
          c[2] = k1e15;
          ++exp;
        }
      }
    }
    if (exp > kEtop) return false;
  }
  pack(r, neg, exp, c);
  set->status |= status;
  return true;
}

// out = d * 10^shift for shift <= kMaxAlign; out has seven limbs.
inline void shiftUp(const uint64_t d[3], int64_t shift, uint64_t out[7]) {
  for (int i = 0; i < 7; ++i) out[i] = 0;
  const int q = static_cast<int>(shift / kLimbDigits);
  const int s = static_cast<int>(shift % kLimbDigits);
  if (s == 0) {
    for (int i = 0; i < 3; ++i) out[q + i] = d[i];
    return;
  }
  const uint64_t unit = kPow10[s];
  for (int i = 0; i < 3; ++i) {
    const uint64_t hi = quotient(d[i], kLimbDigits - s);
    out[q + i] += (d[i] - hi * kPow10[kLimbDigits - s]) * unit;
    out[q + i + 1] += hi;
  }
}

// -1, 0 or 1 as a <, ==, > b (seven limbs each).
inline int compare7(const uint64_t a[7], const uint64_t b[7]) {
  for (int i = 6; i >= 0; --i) {
    if (a[i] != b[i]) return a[i] < b[i] ? -1 : 1;
  }
  return 0;
}

// r = a + b, or a - b for a >= b (seven limbs each).
inline void add7(const uint64_t a[7], const uint64_t b[7], uint64_t r[7]) {
  uint64_t carry = 0;
  for (int i = 0; i < 7; ++i) {
    uint64_t v = a[i] + b[i] + carry;
    carry = v >= kBase;
    r[i] = carry ? v - kBase : v;
  }
}

inline void sub7(const uint64_t a[7], const uint64_t b[7], uint64_t r[7]) {
  uint64_t borrow = 0;
  for (int i = 0; i < 7; ++i) {
    const uint64_t sub = b[i] + borrow;
    borrow = a[i] < sub;
    r[i] = borrow ? a[i] + kBase - sub : a[i] - sub;
  }
}

}  // namespace

uint64_t divPow10(uint64_t x, int k) { return quotient(x, k); }

bool sextFastAdd(decSext* r, const decSext* a, const decSext* b, bool negate_b,
                 decContext* set) {
  if (!isFormatContext(set)) return false;
  Operand x, y;
  if (!unpack(a, &x) || !unpack(b, &y)) return false;
  y.neg = y.neg != negate_b;
  // hi: the operand with the larger exponent, brought down to the other's.
  const Operand& hi = x.exp >= y.exp ? x : y;
  const Operand& lo = x.exp >= y.exp ? y : x;
  const int64_t shift = hi.exp - lo.exp;
  if (shift > kMaxAlign) return false;
  uint64_t h[7], l[7] = {lo.d[0], lo.d[1], lo.d[2], 0, 0, 0, 0}, sum[7];
  // Equal exponents (the usual case for money) need no shift and use four
  // limbs at most.
  int n = 4;
  if (shift == 0) {
    h[0] = hi.d[0], h[1] = hi.d[1], h[2] = hi.d[2];
    h[3] = h[4] = h[5] = h[6] = 0;
  } else {
    shiftUp(hi.d, shift, h);
    n = 7;
  }
  bool neg;
  if (hi.neg == lo.neg) {
    add7(h, l, sum);
    neg = hi.neg;
  } else {
    const int cmp = compare7(h, l);
    if (cmp == 0) {
      for (uint64_t& v : sum) v = 0;
      // An exact zero from opposite signs is +0, or -0 rounding to -Inf.
      neg = set->round == DEC_ROUND_FLOOR;
    } else if (cmp > 0) {
      sub7(h, l, sum);
      neg = hi.neg;
    } else {
      sub7(l, h, sum);
      neg = lo.neg;
    }
  }
  return roundAndPack(r, neg, sum, n, lo.exp, set);
}

bool sextFastMultiply(decSext* r, const decSext* a, const decSext* b,
                      decContext* set) {
  if (!isFormatContext(set)) return false;
  Operand x, y;
  if (!unpack(a, &x) || !unpack(b, &y)) return false;
  // Schoolbook in half limbs of nine digits: each column of at most six
  // products stays below 6 * 10^18, inside a word.
  uint64_t p[6], q[6];
  for (int i = 0; i < 3; ++i) {
    p[2 * i + 1] = x.d[i] / kBillion;
    p[2 * i] = x.d[i] - p[2 * i + 1] * kBillion;
    q[2 * i + 1] = y.d[i] / kBillion;
    q[2 * i] = y.d[i] - q[2 * i + 1] * kBillion;
  }
  uint64_t col[11] = {};
  for (int i = 0; i < 6; ++i) {
    for (int j = 0; j < 6; ++j) col[i + j] += p[i] * q[j];
  }
  uint64_t half[12];
  uint64_t carry = 0;
  for (int k = 0; k < 11; ++k) {
    const uint64_t v = col[k] + carry;
    carry = v / kBillion;
    half[k] = v - carry * kBillion;
  }
  half[11] = carry;  // the product is below 10^104
  uint64_t w[7];
  for (int i = 0; i < 6; ++i) w[i] = half[2 * i + 1] * kBillion + half[2 * i];
  w[6] = 0;
  return roundAndPack(r, x.neg != y.neg, w, 7, x.exp + y.exp, set);
}

}  // namespace kxdec
