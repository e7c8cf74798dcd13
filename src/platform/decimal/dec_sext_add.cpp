// Short cut of the 192-bit format's addition and subtraction, in
// binary-coded decimal.
//
// A coefficient is held as words of 15 decimal digits, four bits each in
// bits 0-59, least significant word first; the spare top nibble takes the
// carry. Five declets fill one word exactly, so decoding and encoding are a
// table look-up and a shift per declet, aligning operands and dropping
// digits are bit shifts, and the digit sums are done 15 at a time by the
// usual add-six correction.
#include "decimal/dec_dpd.h"
#include "decimal/dec_internal.h"
#include "decimal/dec_sext_fast.h"

namespace kxdec {
namespace {

constexpr int kWordDigits = 15;
constexpr uint64_t kDigitsMask = (uint64_t{1} << 60) - 1;
constexpr uint64_t kSixes = 0x0666666666666666ull;   // 6 in digits 0-14
constexpr uint64_t kNines = 0x0999999999999999ull;   // 9 in digits 0-14
constexpr uint64_t kCarries = 0x1111111111111110ull;  // carry into digits 1-15
// Words of the operands once aligned: the operand with the larger exponent
// is shifted by at most kMaxAlign digits, 106 digits in eight words; the
// sum takes one word more for the carry.
constexpr int64_t kMaxAlign = 54;
constexpr int kSumWords = 8;

struct Operand {
  uint64_t w[4];  // 52 digits: three full words and seven digits
  int64_t exp;
  bool neg;
};

// Five declets (50 bits) as fifteen digits.
inline uint64_t fromDeclets5(uint64_t bits) {
  const uint16_t* t = kDpd.dpd_to_bcd;
  return static_cast<uint64_t>(t[bits & 0x3ff]) |
         static_cast<uint64_t>(t[(bits >> 10) & 0x3ff]) << 12 |
         static_cast<uint64_t>(t[(bits >> 20) & 0x3ff]) << 24 |
         static_cast<uint64_t>(t[(bits >> 30) & 0x3ff]) << 36 |
         static_cast<uint64_t>(t[(bits >> 40) & 0x3ff]) << 48;
}

// Fifteen digits as five declets.
inline uint64_t toDeclets5(uint64_t digits) {
  const uint16_t* t = kDpd.bcd_to_dpd;
  return static_cast<uint64_t>(t[digits & 0xfff]) |
         static_cast<uint64_t>(t[(digits >> 12) & 0xfff]) << 10 |
         static_cast<uint64_t>(t[(digits >> 24) & 0xfff]) << 20 |
         static_cast<uint64_t>(t[(digits >> 36) & 0xfff]) << 30 |
         static_cast<uint64_t>(t[(digits >> 48) & 0xfff]) << 40;
}

// False for infinities and NaNs.
inline bool unpack(const decSext* a, Operand* o) {
  const uint64_t w0 = sextLoadWord(a->bytes), w1 = sextLoadWord(a->bytes + 8),
                 w2 = sextLoadWord(a->bytes + 16);
  unsigned msd;
  if (!sextFiniteHead(w2, &msd, &o->exp)) return false;
  o->neg = (w2 >> 63) != 0;
  // Declets 0-4 are bits 0-49, 5-9 bits 50-99, 10-14 bits 100-149 and
  // 15-16 bits 150-169.
  const uint16_t* t = kDpd.dpd_to_bcd;
  o->w[0] = fromDeclets5(w0);
  if ((w0 >> 50 | w1 | (w2 & ((uint64_t{1} << 42) - 1))) == 0) {
    // At most fifteen digits and a leading digit, as amounts of money.
    o->w[1] = o->w[2] = 0;
    o->w[3] = static_cast<uint64_t>(msd) << 24;
    return true;
  }
  o->w[1] = fromDeclets5((w0 >> 50) | (w1 << 14));
  o->w[2] = fromDeclets5((w1 >> 36) | (w2 << 28));
  o->w[3] = static_cast<uint64_t>(t[(w2 >> 22) & 0x3ff]) |
            static_cast<uint64_t>(t[(w2 >> 32) & 0x3ff]) << 12 |
            static_cast<uint64_t>(msd) << 24;
  return true;
}

// Stores (-1)^neg * c * 10^exp for c of at most 52 digits and exp within
// the format.
inline void pack(decSext* r, bool neg, int64_t exp, const uint64_t c[4]) {
  const uint16_t* t = kDpd.bcd_to_dpd;
  if ((c[1] | c[2] | c[3]) == 0) {  // fifteen digits or fewer
    sextStoreWord(r->bytes, toDeclets5(c[0]));
    sextStoreWord(r->bytes + 8, 0);
    sextStoreWord(r->bytes + 16, sextHead(neg, 0, exp));
    return;
  }
  const uint64_t d0 = toDeclets5(c[0]), d1 = toDeclets5(c[1]),
                 d2 = toDeclets5(c[2]);
  const uint64_t d3 = static_cast<uint64_t>(t[c[3] & 0xfff]) |
                      static_cast<uint64_t>(t[(c[3] >> 12) & 0xfff]) << 10;
  const unsigned msd = static_cast<unsigned>(c[3] >> 24) & 0xf;
  sextStoreWord(r->bytes, d0 | d1 << 50);
  sextStoreWord(r->bytes + 8, d1 >> 14 | d2 << 36);
  sextStoreWord(r->bytes + 16, d2 >> 28 | d3 << 22 | sextHead(neg, msd, exp));
}

// Digit sums of N words plus carry_in (0 or 1) into r[0..N], r[N] taking
// the carry out. Adding six to every digit first makes a digit that
// reaches ten carry in binary; the digits that did not carry get their six
// back. The carries between words are looked ahead rather than rippled:
// a word carries out when its biased sum reaches bit 60 (generate), or
// would with one more (propagate) and a carry comes in, so the words'
// sums do not wait for each other.
template <int N>
inline void addWords(const uint64_t* a, const uint64_t* b, uint64_t carry_in,
                     uint64_t* r) {
  uint64_t biased[N], sum[N], carry[N + 1];
  carry[0] = carry_in;
  for (int i = 0; i < N; ++i) {
    biased[i] = a[i] + kSixes;
    sum[i] = biased[i] + b[i];
    carry[i + 1] = (sum[i] >> 60) | (((sum[i] + 1) >> 60) & carry[i]);
  }
  for (int i = 0; i < N; ++i) {
    const uint64_t total = sum[i] + carry[i];
    const uint64_t no_carry = ~(total ^ biased[i] ^ b[i]) & kCarries;
    r[i] = (total - ((no_carry >> 2) | (no_carry >> 3))) & kDigitsMask;
  }
  r[N] = carry[N];
}

// r = a - b over N words for a >= b: a plus the nines' complement of b
// plus one, the last carry dropped.
template <int N>
inline void subWords(const uint64_t* a, const uint64_t* b, uint64_t* r) {
  uint64_t complement[N];
  for (int i = 0; i < N; ++i) complement[i] = kNines - b[i];
  addWords<N>(a, complement, 1, r);
  r[N] = 0;
}

// a + b for two coefficients of at most 52 digits (no carry out of the
// top word), as addWords<4> does but written out, so that the words stay
// in registers on the path most additions take.
inline void addCoefficients(const uint64_t* a, const uint64_t* b,
                            uint64_t* r) {
  const uint64_t b0 = a[0] + kSixes, b1 = a[1] + kSixes, b2 = a[2] + kSixes,
                 b3 = a[3] + kSixes;
  const uint64_t s0 = b0 + b[0], s1 = b1 + b[1], s2 = b2 + b[2],
                 s3 = b3 + b[3];
  const uint64_t c1 = s0 >> 60;
  const uint64_t c2 = (s1 >> 60) | (((s1 + 1) >> 60) & c1);
  const uint64_t c3 = (s2 >> 60) | (((s2 + 1) >> 60) & c2);
  const uint64_t t1 = s1 + c1, t2 = s2 + c2, t3 = s3 + c3;
  const uint64_t n0 = ~(s0 ^ b0 ^ b[0]) & kCarries;
  const uint64_t n1 = ~(t1 ^ b1 ^ b[1]) & kCarries;
  const uint64_t n2 = ~(t2 ^ b2 ^ b[2]) & kCarries;
  const uint64_t n3 = ~(t3 ^ b3 ^ b[3]) & kCarries;
  r[0] = (s0 - ((n0 >> 2) | (n0 >> 3))) & kDigitsMask;
  r[1] = (t1 - ((n1 >> 2) | (n1 >> 3))) & kDigitsMask;
  r[2] = (t2 - ((n2 >> 2) | (n2 >> 3))) & kDigitsMask;
  r[3] = (t3 - ((n3 >> 2) | (n3 >> 3))) & kDigitsMask;
  r[4] = 0;
}

// -1, 0 or 1 as a <, ==, > b over n words.
inline int compareWords(const uint64_t* a, const uint64_t* b, int n) {
  for (int i = n - 1; i >= 0; --i) {
    if (a[i] != b[i]) return a[i] < b[i] ? -1 : 1;
  }
  return 0;
}

// Rounds the exact result (-1)^neg * s * 10^exp (n >= 5 words holding at
// most 15 * (n - 2) + 8 digits, so that dropping digits reads no further
// than s[n - 1]) to the format and stores it with its conditions; false, with
// nothing stored, when the result is subnormal, overflows or would need
// clamping.
bool roundAndPack(decSext* r, bool neg, const uint64_t* s, int n, int64_t exp,
                  decContext* set) {
  while (n > 0 && s[n - 1] == 0) --n;
  if (n == 0) {
    if (exp < kSextEtiny || exp > kSextEtop) return false;
    const uint64_t zero[4] = {0, 0, 0, 0};
    pack(r, neg, exp, zero);
    return true;
  }
  const int digits =
      (n - 1) * kWordDigits + (67 - __builtin_clzll(s[n - 1])) / 4;
  if (exp + digits - 1 < kSextEmin) return false;  // subnormal
  if (digits <= kSextDigits) {
    if (exp > kSextEtop) return false;
    pack(r, neg, exp, s);
    return true;
  }
  // Drop the k lowest digits: q whole words and m digits more.
  const int k = digits - kSextDigits;
  const int q = k / kWordDigits, m = k % kWordDigits;
  uint64_t c[4];
  for (int i = 0; i < 4; ++i) {
    c[i] = (s[q + i] >> (4 * m)) |
           ((s[q + i + 1] << (60 - 4 * m)) & kDigitsMask);
  }
  const int pos = k - 1;  // the rounding digit
  const int pw = pos / kWordDigits, pd = pos % kWordDigits;
  const int round_digit = static_cast<int>(s[pw] >> (4 * pd)) & 0xf;
  uint64_t below = s[pw] & ((uint64_t{1} << (4 * pd)) - 1);
  for (int j = 0; j < pw; ++j) below |= s[j];
  exp += k;
  uint32_t status = DEC_Rounded;
  if (round_digit != 0 || below != 0) {
    status |= DEC_Inexact;
    if (roundsAway(set->round, neg, static_cast<int>(c[0] & 0xf),
                   round_digit, below != 0)) {
      const uint64_t zero[4] = {0, 0, 0, 0};
      uint64_t up[5];
      addWords<4>(c, zero, 1, up);
      for (int i = 0; i < 4; ++i) c[i] = up[i];
      if (c[3] >> 28) {  // 99...9 rounded up to 10^52
        c[3] = uint64_t{1} << 24;
        ++exp;
      }
    }
  }
  if (exp > kSextEtop) return false;
  pack(r, neg, exp, c);
  set->status |= status;
  return true;
}

// x + y for operands of the same exponent, the usual case for money: the
// sum has at most 53 digits, so at most one digit is dropped, and a
// difference needs no rounding at all.
bool addAligned(decSext* r, const Operand& x, const Operand& y,
                decContext* set) {
  uint64_t s[5];
  bool neg;
  if (x.neg == y.neg) {
    addCoefficients(x.w, y.w, s);
    neg = x.neg;
  } else {
    const int cmp = compareWords(x.w, y.w, 4);
    if (cmp >= 0) {
      subWords<4>(x.w, y.w, s);
      // An exact zero from opposite signs is +0, or -0 rounding to -Inf.
      neg = cmp == 0 ? set->round == DEC_ROUND_FLOOR : x.neg;
    } else {
      subWords<4>(y.w, x.w, s);
      neg = y.neg;
    }
  }
  // From Emin up the result is never subnormal, and below Etop - 1 even
  // a rounding that carries into a 53rd digit leaves the exponent inside
  // the format.
  const int64_t exp = x.exp;
  if (exp < kSextEmin || exp >= kSextEtop - 1) {
    return roundAndPack(r, neg, s, 5, exp, set);
  }
  if ((s[3] >> 28) == 0) {  // 52 digits or fewer: exact
    pack(r, neg, exp, s);
    return true;
  }
  uint64_t c[4] = {(s[0] >> 4) | ((s[1] << 56) & kDigitsMask),
                   (s[1] >> 4) | ((s[2] << 56) & kDigitsMask),
                   (s[2] >> 4) | ((s[3] << 56) & kDigitsMask), s[3] >> 4};
  const int round_digit = static_cast<int>(s[0] & 0xf);
  uint32_t status = DEC_Rounded;
  int64_t e = exp + 1;
  if (round_digit != 0) {
    status |= DEC_Inexact;
    if (roundsAway(set->round, neg, static_cast<int>(c[0] & 0xf),
                   round_digit, false)) {
      const uint64_t zero[4] = {0, 0, 0, 0};
      uint64_t up[5];
      addWords<4>(c, zero, 1, up);
      for (int i = 0; i < 4; ++i) c[i] = up[i];
      if (c[3] >> 28) {  // 99...9 rounded up to 10^52
        c[3] = uint64_t{1} << 24;
        ++e;
      }
    }
  }
  pack(r, neg, e, c);
  set->status |= status;
  return true;
}

// x + y for exponents at most kMaxAlign apart (hi has the larger one):
// hi is shifted down to lo's exponent, the exact sum formed in eight words
// and rounded.
__attribute__((noinline)) bool addShifted(decSext* r, const Operand& hi,
                                          const Operand& lo, int64_t shift,
                                          decContext* set) {
  uint64_t h[kSumWords], l[kSumWords], sum[kSumWords + 1];
  const int q = static_cast<int>(shift / kWordDigits);
  const int m = static_cast<int>(shift % kWordDigits);
  for (int i = 0; i < kSumWords; ++i) h[i] = 0, l[i] = i < 4 ? lo.w[i] : 0;
  for (int i = 0; i < 4; ++i) {
    h[q + i] |= (hi.w[i] << (4 * m)) & kDigitsMask;
    h[q + i + 1] |= hi.w[i] >> (60 - 4 * m);
  }
  bool neg;
  if (hi.neg == lo.neg) {
    addWords<kSumWords>(h, l, 0, sum);
    neg = hi.neg;
  } else {
    const int cmp = compareWords(h, l, kSumWords);
    if (cmp >= 0) {
      subWords<kSumWords>(h, l, sum);
      // An exact zero from opposite signs is +0, or -0 rounding to -Inf.
      neg = cmp == 0 ? set->round == DEC_ROUND_FLOOR : hi.neg;
    } else {
      subWords<kSumWords>(l, h, sum);
      neg = lo.neg;
    }
  }
  return roundAndPack(r, neg, sum, kSumWords + 1, lo.exp, set);
}

}  // namespace

bool sextFastAdd(decSext* r, const decSext* a, const decSext* b, bool negate_b,
                 decContext* set) {
  if (!sextIsFormatContext(set)) return false;
  Operand x, y;
  if (!unpack(a, &x) || !unpack(b, &y)) return false;
  y.neg = y.neg != negate_b;
  if (x.exp == y.exp) return addAligned(r, x, y, set);
  const bool x_hi = x.exp > y.exp;
  const int64_t shift = x_hi ? x.exp - y.exp : y.exp - x.exp;
  if (shift > kMaxAlign) return false;
  return x_hi ? addShifted(r, x, y, shift, set) : addShifted(r, y, x, shift, set);
}

}  // namespace kxdec
