// Short cuts of the 192-bit format's addition, subtraction and
// multiplication for the common case: finite operands, the format's own
// context (52 digits, its exponent limits, clamping on, any rounding) and a
// result that is neither subnormal nor overflowing nor clamped.
//
// The operands' coefficients go straight from the 24 bytes to working
// digits and back, without the general number type: binary-coded decimal
// words for addition and subtraction (no multiplication anywhere, digit
// shifts are bit shifts), limbs of 18 digits for multiplication. The exact
// result is formed and rounded once. Results and conditions are exactly
// those of the general path; anything
// the short cut does not cover (specials, other contexts, additions whose
// exponents lie more than 54 digits apart, results at the format's limits)
// is left to it.
//
// Internal to the decimal library. Thread-safe: no state.
#ifndef KXB_PLATFORM_DECIMAL_DEC_SEXT_FAST_H_
#define KXB_PLATFORM_DECIMAL_DEC_SEXT_FAST_H_

#include <stdint.h>
#include <string.h>

#include "decimal/decContext.h"
#include "decimal/decNumber.h"
#include "decimal/decSext.h"

namespace kxdec {

// The format's limits as the short cuts use them.
inline constexpr int kSextDigits = DECSEXT_Pmax;  // 52
inline constexpr int64_t kSextEmin = DECSEXT_Emin;
inline constexpr int64_t kSextEtiny = kSextEmin - kSextDigits + 1;
inline constexpr int64_t kSextEtop = DECSEXT_Emax - kSextDigits + 1;

// The 64-bit word at p, least significant byte first.
inline uint64_t sextLoadWord(const uint8_t* p) {
  uint64_t v;
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
  memcpy(&v, p, 8);
#else
  v = 0;
  for (int i = 7; i >= 0; --i) v = (v << 8) | p[i];
#endif
  return v;
}

inline void sextStoreWord(uint8_t* p, uint64_t v) {
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
  memcpy(p, &v, 8);
#else
  for (int i = 0; i < 8; ++i) p[i] = static_cast<uint8_t>(v >> (8 * i));
#endif
}

// The context the short cuts serve: the format's own, any rounding.
inline bool sextIsFormatContext(const decContext* set) {
  return set->digits == kSextDigits && set->emax == DECSEXT_Emax &&
         set->emin == DECSEXT_Emin && set->clamp == 1 &&
         static_cast<unsigned>(set->round) < DEC_ROUND_MAX;
}

// What each finite combination field (0-29) holds: the leading digit in
// bits 0-3 and the two exponent bits, in place above the 16-bit exponent
// continuation (bits 16-17).
struct SextCombTable {
  uint32_t entry[30];
};

constexpr SextCombTable makeSextCombTable() {
  SextCombTable t{};
  for (unsigned comb = 0; comb < 30; ++comb) {
    const bool large = (comb & 0x18) == 0x18;
    const unsigned top = large ? (comb >> 1) & 3 : comb >> 3;
    const unsigned msd = large ? 8 + (comb & 1) : comb & 7;
    t.entry[comb] = top << 16 | msd;
  }
  return t;
}

inline constexpr SextCombTable kSextComb = makeSextCombTable();

// The combination field of the top word: false for infinities and NaNs;
// otherwise the leading digit and the exponent.
inline bool sextFiniteHead(uint64_t top_word, unsigned* msd, int64_t* exp) {
  const unsigned comb = static_cast<unsigned>(top_word >> 58) & 0x1f;
  if (comb >= 0x1e) return false;
  const uint32_t entry = kSextComb.entry[comb];
  *msd = entry & 0xf;
  *exp = static_cast<int64_t>((entry & 0x30000) | ((top_word >> 42) & 0xffff)) -
         DECSEXT_Bias;
  return true;
}

// The top word's bits above the coefficient: sign, combination field and
// exponent continuation for a leading digit msd and exponent exp.
inline uint64_t sextHead(bool neg, unsigned msd, int64_t exp) {
  const uint64_t biased = static_cast<uint64_t>(exp + DECSEXT_Bias);
  const uint64_t top = biased >> 16;
  const uint64_t comb =
      msd >= 8 ? 0x18 | (top << 1) | (msd & 1) : (top << 3) | msd;
  return (biased & 0xffff) << 42 | comb << 58 | static_cast<uint64_t>(neg)
                                                    << 63;
}

// a + b (a - b with negate_b) into r, raising conditions into set; false,
// with r and set untouched, when the general path must do it.
bool sextFastAdd(decSext* r, const decSext* a, const decSext* b, bool negate_b,
                 decContext* set);

// a * b into r, as sextFastAdd.
bool sextFastMultiply(decSext* r, const decSext* a, const decSext* b,
                      decContext* set);

// Between the format and the general number type for finite values, the
// same digits as the general codec gives and takes: decoding is false for
// infinities and NaNs; encoding is false (and stores nothing) unless the
// number fits the format as it stands, at most 52 digits and an exponent
// within the format's.
bool sextDecodeFinite(const decSext* a, decNumber* n);
bool sextEncodeFitting(const decNumber* n, decSext* r);

// floor(x / 10^k) for x < 2^60 and 1 <= k <= 18, by a multiplication.
uint64_t divPow10(uint64_t x, int k);

}  // namespace kxdec

#endif  // KXB_PLATFORM_DECIMAL_DEC_SEXT_FAST_H_
