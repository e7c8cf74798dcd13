// Short cut of the 192-bit format's multiplication: straight from the 24
// bytes to limbs of 18 digits and back.
#include "decimal/dec_sext_fast.h"

#include <string.h>

#include "decimal/dec_big.h"
#include "decimal/dec_dpd.h"
#include "decimal/dec_internal.h"

namespace kxdec {
namespace {

constexpr int kDigits = kSextDigits;
constexpr int64_t kEmin = kSextEmin;
constexpr int64_t kEtiny = kSextEtiny;
constexpr int64_t kEtop = kSextEtop;
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
  const uint64_t w0 = sextLoadWord(a->bytes), w1 = sextLoadWord(a->bytes + 8),
                 w2 = sextLoadWord(a->bytes + 16);
  unsigned msd;
  if (!sextFiniteHead(w2, &msd, &o->exp)) return false;
  o->neg = (w2 >> 63) != 0;
  // Declets 0-5 are bits 0-59, 6-11 bits 60-119, 12-16 bits 120-169.
  o->d[0] = fromDeclets3(w0 >> 30) * kBillion + fromDeclets3(w0);
  if ((w0 >> 60 | w1 | (w2 & ((uint64_t{1} << 42) - 1))) == 0) {
    // At most eighteen digits and a leading digit, as amounts of money.
    o->d[1] = 0;
    o->d[2] = msd * k1e15;
    return true;
  }
  const uint64_t c1 = (w0 >> 60) | (w1 << 4);
  const uint64_t c2 = (w1 >> 56) | (w2 << 8);
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
  if ((c[1] | c[2]) == 0) {  // eighteen digits or fewer
    sextStoreWord(r->bytes, toDeclets6(c[0]));
    sextStoreWord(r->bytes + 8, 0);
    sextStoreWord(r->bytes + 16, sextHead(neg, 0, exp));
    return;
  }
  const uint64_t top_hi = c[2] / kBillion;  // < 10^7
  const Groups g = groups3(top_hi);
  const uint64_t d0 = toDeclets6(c[0]), d1 = toDeclets6(c[1]);
  const uint64_t d2 = toDeclets3(c[2] - top_hi * kBillion) |
                      static_cast<uint64_t>(kDpd.to_dpd[g.low]) << 30 |
                      static_cast<uint64_t>(kDpd.to_dpd[g.mid]) << 40;
  sextStoreWord(r->bytes, d0 | d1 << 60);
  sextStoreWord(r->bytes + 8, d1 >> 4 | d2 << 56);
  sextStoreWord(r->bytes + 16, d2 >> 8 | sextHead(neg, g.top, exp));
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

}  // namespace

uint64_t divPow10(uint64_t x, int k) { return quotient(x, k); }

bool sextDecodeFinite(const decSext* a, decNumber* n) {
  Operand x;
  if (!unpack(a, &x)) return false;
  n->bits = x.neg ? DECNEG : 0;
  n->exponent = static_cast<int32_t>(x.exp);
  int limbs = 3;
  while (limbs > 1 && x.d[limbs - 1] == 0) --limbs;
  for (int i = 0; i < limbs; ++i) n->lsu[i] = x.d[i];
  n->digits = (limbs - 1) * kLimbDigits + digitsOfU64(x.d[limbs - 1]);
  return true;
}

bool sextEncodeFitting(const decNumber* n, decSext* r) {
  if ((n->bits & DECSPECIAL) != 0 || n->digits > kDigits ||
      n->exponent < kEtiny || n->exponent > kEtop) {
    return false;
  }
  const int limbs = (n->digits + kLimbDigits - 1) / kLimbDigits;
  uint64_t c[3] = {0, 0, 0};
  for (int i = 0; i < limbs; ++i) c[i] = n->lsu[i];
  pack(r, (n->bits & DECNEG) != 0, n->exponent, c);
  return true;
}

bool sextFastMultiply(decSext* r, const decSext* a, const decSext* b,
                      decContext* set) {
  if (!sextIsFormatContext(set)) return false;
  Operand x, y;
  if (!unpack(a, &x) || !unpack(b, &y)) return false;
  uint64_t w[7] = {0, 0, 0, 0, 0, 0, 0};
  if ((x.d[1] | x.d[2] | y.d[1] | y.d[2]) == 0) {
    // Two coefficients of at most eighteen digits: four half products.
    const uint64_t p1 = x.d[0] / kBillion, p0 = x.d[0] - p1 * kBillion;
    const uint64_t q1 = y.d[0] / kBillion, q0 = y.d[0] - q1 * kBillion;
    const uint64_t c0 = p0 * q0;
    const uint64_t h0 = c0 % kBillion;
    const uint64_t c1 = p0 * q1 + p1 * q0 + c0 / kBillion;
    const uint64_t h1 = c1 % kBillion;
    const uint64_t c2 = p1 * q1 + c1 / kBillion;
    w[0] = h1 * kBillion + h0;
    w[1] = c2;  // below 10^18: the product is below 10^36
    return roundAndPack(r, x.neg != y.neg, w, 2, x.exp + y.exp, set);
  }
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
  for (int i = 0; i < 6; ++i) w[i] = half[2 * i + 1] * kBillion + half[2 * i];
  return roundAndPack(r, x.neg != y.neg, w, 7, x.exp + y.exp, set);
}

}  // namespace kxdec
