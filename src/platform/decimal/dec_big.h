// Unsigned big integers in base 10^18 for the decimal arithmetic.
//
// Internal to the decimal library. A Big holds a non-negative integer as
// limbs of 18 decimal digits, least significant limb first, with no leading
// zero limbs (zero has n == 0). The base is a power of ten so that digit
// counts, shifts by powers of ten and rounding work on whole limbs, and 18
// digits per limb make one limb exactly six densely packed declets.
//
// Capacity is fixed (kBigLimbs limbs, 3168 digits): the arithmetic sizes its
// intermediates from the precision limit of the general number type, and
// every function here requires its result to fit. Nothing allocates; a Big's
// limbs beyond n are never read, so a Big need not be cleared.
//
// Thread-safe: functions touch only their arguments.
#ifndef KXB_PLATFORM_DECIMAL_DEC_BIG_H_
#define KXB_PLATFORM_DECIMAL_DEC_BIG_H_

#include <stdint.h>

namespace kxdec {

inline constexpr uint64_t kBase = 1000000000000000000ull;  // 10^18
inline constexpr int kLimbDigits = 18;
inline constexpr int kBigLimbs = 176;
inline constexpr int kBigDigits = kBigLimbs * kLimbDigits;

extern const uint64_t kPow10[19];  // 10^0 .. 10^18

struct Big {
  int n = 0;  // limbs in use; d[n - 1] != 0 when n > 0
  uint64_t d[kBigLimbs];

  Big() = default;
  // Copies move only the limbs in use.
  Big(const Big& other) : n(other.n) {
    for (int i = 0; i < n; ++i) d[i] = other.d[i];
  }
  Big& operator=(const Big& other) {
    n = other.n;
    for (int i = 0; i < n; ++i) d[i] = other.d[i];
    return *this;
  }
};

// Decimal digits of v (1 for v == 0). Inline: every rounding step counts
// digits several times.
inline int digitsOfU64(uint64_t v) {
  if (v == 0) return 1;
  // bits * log10(2) (1233 / 4096) is floor(log10(v)) or one more.
  int bits = 64 - __builtin_clzll(v);
  int t = (bits * 1233) >> 12;
  if (t >= 19) return v >= 10000000000000000000ull ? 20 : 19;
  return t + (v >= kPow10[t] ? 1 : 0);
}

inline bool bigIsZero(const Big& a) { return a.n == 0; }

// Decimal digits of a; 0 for zero.
inline int bigDigits(const Big& a) {
  if (a.n == 0) return 0;
  return (a.n - 1) * kLimbDigits + digitsOfU64(a.d[a.n - 1]);
}

void bigSetZero(Big& a);
void bigFromU64(Big& a, uint64_t v);
void bigFromU128(Big& a, unsigned __int128 v);
// False when a does not fit in 64 bits.
bool bigToU64(const Big& a, uint64_t* out);

// -1, 0 or 1 as a <, ==, > b.
int bigCmp(const Big& a, const Big& b);

// r = a + b; r may be a or b.
void bigAdd(Big& r, const Big& a, const Big& b);
// r = a - b for a >= b; r may be a or b.
void bigSub(Big& r, const Big& a, const Big& b);
// a += v for v < kBase.
void bigAddSmall(Big& a, uint64_t v);
// a *= m for m <= kBase.
void bigMulSmall(Big& a, uint64_t m);
// r = a * b; r must be neither a nor b.
void bigMul(Big& r, const Big& a, const Big& b);
// a /= v (v != 0, v <= kBase); returns the remainder.
uint64_t bigDivSmall(Big& a, uint64_t v);
// q = a / b, r = a % b for b != 0; q and r must be distinct from a, b and
// each other.
void bigDivMod(Big& q, Big& r, const Big& a, const Big& b);
// q = a / b for b != 0, q distinct from a and b; returns whether the
// remainder is non-zero. Cheaper than bigDivMod when the remainder itself
// is not needed.
bool bigDivQuotient(Big& q, const Big& a, const Big& b);

// a *= 10^k (k >= 0).
void bigShiftLeft(Big& a, int64_t k);
// a /= 10^k, truncating (k >= 0). When given, *round_digit receives the
// most significant discarded digit and *sticky whether any digit below it
// was non-zero.
void bigShiftRight(Big& a, int64_t k, int* round_digit, bool* sticky);
// Digit at decimal position pos (0 = units); 0 beyond the top.
int bigDigitAt(const Big& a, int64_t pos);
// Number of trailing decimal zeros (0 for zero).
int64_t bigTrailingZeros(const Big& a);
// Lowest decimal digit.
inline int bigLowDigit(const Big& a) {
  return a.n == 0 ? 0 : static_cast<int>(a.d[0] % 10);
}

// s = floor(sqrt(a)); s must not be a.
void bigSqrt(Big& s, const Big& a);

// Writes the decimal digits of a (at least "0") to out, most significant
// first, without a terminator; returns the count. out needs bigDigits(a)
// (or 1) bytes.
int bigToDigits(const Big& a, char* out);
// a = the value of `count` ASCII digits (count <= kBigDigits).
void bigFromDigits(Big& a, const char* digits, int count);

}  // namespace kxdec

#endif  // KXB_PLATFORM_DECIMAL_DEC_BIG_H_
