// Unsigned base-10^18 big integers for the decimal arithmetic.
#include "decimal/dec_big.h"

#include <assert.h>
#include <math.h>
#include <string.h>

namespace kxdec {

const uint64_t kPow10[19] = {1ull,
                             10ull,
                             100ull,
                             1000ull,
                             10000ull,
                             100000ull,
                             1000000ull,
                             10000000ull,
                             100000000ull,
                             1000000000ull,
                             10000000000ull,
                             100000000000ull,
                             1000000000000ull,
                             10000000000000ull,
                             100000000000000ull,
                             1000000000000000ull,
                             10000000000000000ull,
                             100000000000000000ull,
                             1000000000000000000ull};

namespace {

using u128 = unsigned __int128;

template <int K>
constexpr uint64_t kPow10Const() {
  uint64_t p = 1;
  for (int i = 0; i < K; ++i) p *= 10;
  return p;
}

// Divides hi:lo by d for hi < d (so the quotient fits 64 bits).
inline uint64_t udiv128(uint64_t hi, uint64_t lo, uint64_t d, uint64_t* rem) {
#if defined(__x86_64__)
  uint64_t q, r;
  __asm__("divq %4" : "=a"(q), "=d"(r) : "a"(lo), "d"(hi), "r"(d));
  *rem = r;
  return q;
#else
  u128 t = (static_cast<u128>(hi) << 64) | lo;
  uint64_t q = static_cast<uint64_t>(t / d);
  *rem = static_cast<uint64_t>(t - static_cast<u128>(q) * d);
  return q;
#endif
}

// Division by kBase through a precomputed reciprocal (Moller and Granlund,
// "Improved division by invariant integers"): the divisor is normalized to
// its top bit, kBase << 4, and the quotient estimated with one multiply.
constexpr uint64_t kBaseNorm = kBase << 4;
constexpr uint64_t kBaseInverse = static_cast<uint64_t>(
    ~static_cast<u128>(0) / kBaseNorm - (static_cast<u128>(1) << 64));

// t / kBase and t % kBase for t < kBase * 2^64.
inline uint64_t divBase(u128 t, uint64_t* rem) {
  const uint64_t u1 = static_cast<uint64_t>(t >> 60);  // of t << 4
  const uint64_t u0 = static_cast<uint64_t>(t) << 4;
  u128 q = static_cast<u128>(kBaseInverse) * u1;
  q += (static_cast<u128>(u1) << 64) | u0;
  uint64_t q1 = static_cast<uint64_t>(q >> 64) + 1;
  uint64_t r = u0 - q1 * kBaseNorm;
  if (r > static_cast<uint64_t>(q)) {
    --q1;
    r += kBaseNorm;
  }
  if (r >= kBaseNorm) {
    ++q1;
    r -= kBaseNorm;
  }
  *rem = r >> 4;
  return q1;
}

// Division of two-limb numbers by one fixed 64-bit divisor through its
// precomputed reciprocal (the same method as divBase, for any divisor): one
// 128-bit division to set up, then two multiplications per quotient.
struct Divider {
  uint64_t norm;     // the divisor shifted up to its top bit
  uint64_t inverse;  // floor((2^128 - 1) / norm) - 2^64
  int shift;

  // The inverse is (2^128 - 1 - 2^64 * norm) / norm, whose high word ~norm
  // is below norm: one 128-by-64 division.
  explicit Divider(uint64_t d)
      : norm(d << __builtin_clzll(d)), shift(__builtin_clzll(d)) {
    uint64_t unused;
    inverse = udiv128(~norm, ~0ull, norm, &unused);
  }

  // t / d and t % d for t < d * 2^64.
  uint64_t divide(u128 t, uint64_t* rem) const {
    const uint64_t hi = static_cast<uint64_t>(t >> 64);
    const uint64_t lo = static_cast<uint64_t>(t);
    const uint64_t u1 =
        shift == 0 ? hi : (hi << shift) | (lo >> (64 - shift));
    const uint64_t u0 = lo << shift;
    u128 q = static_cast<u128>(inverse) * u1;
    q += (static_cast<u128>(u1) << 64) | u0;
    uint64_t q1 = static_cast<uint64_t>(q >> 64) + 1;
    uint64_t r = u0 - q1 * norm;
    if (r > static_cast<uint64_t>(q)) {
      --q1;
      r += norm;
    }
    if (r >= norm) {
      ++q1;
      r -= norm;
    }
    *rem = r >> shift;
    return q1;
  }
};

// t / kBase for any t (the quotient may need more than 64 bits).
inline u128 divBaseWide(u128 t, uint64_t* rem) {
  uint64_t hi = static_cast<uint64_t>(t >> 64);
  uint64_t q1 = hi / kBase;
  uint64_t q0 = divBase(
      (static_cast<u128>(hi % kBase) << 64) | static_cast<uint64_t>(t), rem);
  return (static_cast<u128>(q1) << 64) | q0;
}

// v / 10^k and v % 10^k for 0 <= k <= 18, with constant divisors so that
// the compiler multiplies instead of dividing.
inline uint64_t divPow10(uint64_t v, int k, uint64_t* rem) {
  uint64_t q;
  switch (k) {
#define KXDEC_CASE(K)         \
  case K:                     \
    q = v / kPow10Const<K>(); \
    break;
    KXDEC_CASE(0)
    KXDEC_CASE(1) KXDEC_CASE(2) KXDEC_CASE(3) KXDEC_CASE(4) KXDEC_CASE(5)
        KXDEC_CASE(6) KXDEC_CASE(7) KXDEC_CASE(8) KXDEC_CASE(9) KXDEC_CASE(10)
            KXDEC_CASE(11) KXDEC_CASE(12) KXDEC_CASE(13) KXDEC_CASE(14)
                KXDEC_CASE(15) KXDEC_CASE(16) KXDEC_CASE(17) KXDEC_CASE(18)
#undef KXDEC_CASE
                    default : q = 0;
    break;
  }
  *rem = v - q * kPow10[k];
  return q;
}

// Moves a's limbs down by `limbs` limbs and `rest` (1..17) digits into its
// first n - limbs limbs, with constant divisors for each shift width.
template <int K>
void shiftLimbsRightBy(Big& a, int limbs) {
  constexpr uint64_t kDiv = kPow10Const<K>();
  constexpr uint64_t kMul = kPow10Const<kLimbDigits - K>();
  const int nn = a.n - limbs;
  uint64_t q = a.d[limbs] / kDiv;
  for (int i = 0; i < nn; ++i) {
    const uint64_t next = i + limbs + 1 < a.n ? a.d[i + limbs + 1] : 0;
    a.d[i] = q + (next % kDiv) * kMul;
    q = next / kDiv;
  }
}

void shiftLimbsRight(Big& a, int limbs, int rest) {
  switch (rest) {
#define KXDEC_CASE(K)               \
  case K:                           \
    shiftLimbsRightBy<K>(a, limbs); \
    break;
    KXDEC_CASE(1) KXDEC_CASE(2) KXDEC_CASE(3) KXDEC_CASE(4) KXDEC_CASE(5)
    KXDEC_CASE(6) KXDEC_CASE(7) KXDEC_CASE(8) KXDEC_CASE(9) KXDEC_CASE(10)
    KXDEC_CASE(11) KXDEC_CASE(12) KXDEC_CASE(13) KXDEC_CASE(14)
    KXDEC_CASE(15) KXDEC_CASE(16) KXDEC_CASE(17)
#undef KXDEC_CASE
    default:
      assert(false);
      break;
  }
}

inline void trim(Big& a) {
  while (a.n > 0 && a.d[a.n - 1] == 0) --a.n;
}

}  // namespace

void bigSetZero(Big& a) { a.n = 0; }

void bigFromU64(Big& a, uint64_t v) {
  a.n = 0;
  if (v == 0) return;
  a.d[0] = v % kBase;
  a.d[1] = v / kBase;
  a.n = a.d[1] != 0 ? 2 : 1;
}

void bigFromU128(Big& a, u128 v) {
  a.n = 0;
  while (v != 0) {
    a.d[a.n++] = static_cast<uint64_t>(v % kBase);
    v /= kBase;
  }
}

bool bigToU64(const Big& a, uint64_t* out) {
  u128 v = 0;
  if (a.n > 2) return false;
  for (int i = a.n - 1; i >= 0; --i) v = v * kBase + a.d[i];
  if (v > UINT64_MAX) return false;
  *out = static_cast<uint64_t>(v);
  return true;
}

int bigCmp(const Big& a, const Big& b) {
  if (a.n != b.n) return a.n < b.n ? -1 : 1;
  for (int i = a.n - 1; i >= 0; --i) {
    if (a.d[i] != b.d[i]) return a.d[i] < b.d[i] ? -1 : 1;
  }
  return 0;
}

void bigAdd(Big& r, const Big& a, const Big& b) {
  const Big& lng = a.n >= b.n ? a : b;
  const Big& sht = a.n >= b.n ? b : a;
  int ln = lng.n, sn = sht.n;
  uint64_t carry = 0;
  int i = 0;
  for (; i < sn; ++i) {
    uint64_t s = lng.d[i] + sht.d[i] + carry;
    carry = s >= kBase;
    r.d[i] = carry ? s - kBase : s;
  }
  for (; i < ln; ++i) {
    uint64_t s = lng.d[i] + carry;
    carry = s >= kBase;
    r.d[i] = carry ? s - kBase : s;
  }
  if (carry) {
    assert(ln < kBigLimbs);
    r.d[ln++] = 1;
  }
  r.n = ln;
}

void bigSub(Big& r, const Big& a, const Big& b) {
  assert(bigCmp(a, b) >= 0);
  uint64_t borrow = 0;
  int i = 0;
  for (; i < b.n; ++i) {
    uint64_t s = b.d[i] + borrow;
    if (a.d[i] < s) {
      r.d[i] = a.d[i] + kBase - s;
      borrow = 1;
    } else {
      r.d[i] = a.d[i] - s;
      borrow = 0;
    }
  }
  for (; i < a.n; ++i) {
    if (a.d[i] < borrow) {
      r.d[i] = a.d[i] + kBase - borrow;
      borrow = 1;
    } else {
      r.d[i] = a.d[i] - borrow;
      borrow = 0;
    }
  }
  r.n = a.n;
  trim(r);
}

void bigAddSmall(Big& a, uint64_t v) {
  int i = 0;
  while (v != 0) {
    if (i == a.n) {
      assert(a.n < kBigLimbs);
      a.d[a.n++] = v;
      return;
    }
    uint64_t s = a.d[i] + v;
    if (s >= kBase) {
      a.d[i] = s - kBase;
      v = 1;
    } else {
      a.d[i] = s;
      v = 0;
    }
    ++i;
  }
}

void bigMulSmall(Big& a, uint64_t m) {
  if (m == 0) {
    a.n = 0;
    return;
  }
  uint64_t carry = 0;
  for (int i = 0; i < a.n; ++i) {
    u128 t = static_cast<u128>(a.d[i]) * m + carry;
    carry = divBase(t, &a.d[i]);
  }
  if (carry != 0) {
    assert(a.n < kBigLimbs);
    a.d[a.n++] = carry;
  }
}

void bigMul(Big& r, const Big& a, const Big& b) {
  assert(&r != &a && &r != &b);
  if (a.n == 0 || b.n == 0) {
    r.n = 0;
    return;
  }
  int rn = a.n + b.n;
  assert(rn <= kBigLimbs);
  // Column sums: at most kBigLimbs products below 10^36 each plus the carry
  // fit in 128 bits, so one division per column.
  u128 carry = 0;
  for (int k = 0; k < rn - 1; ++k) {
    u128 s = carry;
    int lo = k - b.n + 1 > 0 ? k - b.n + 1 : 0;
    int hi = k < a.n - 1 ? k : a.n - 1;
    for (int i = lo; i <= hi; ++i) s += static_cast<u128>(a.d[i]) * b.d[k - i];
    carry = divBaseWide(s, &r.d[k]);
  }
  r.d[rn - 1] = static_cast<uint64_t>(carry);
  r.n = rn;
  trim(r);
}

uint64_t bigDivSmall(Big& a, uint64_t v) {
  assert(v != 0 && v <= kBase);
  uint64_t rem = 0;
  for (int i = a.n - 1; i >= 0; --i) {
    // rem < v, so (rem * kBase + d) / v < kBase fits 64 bits.
    u128 t = static_cast<u128>(rem) * kBase + a.d[i];
    a.d[i] = udiv128(static_cast<uint64_t>(t >> 64), static_cast<uint64_t>(t),
                     v, &rem);
  }
  trim(a);
  return rem;
}

namespace {

// Shared by bigDivMod and bigDivQuotient. With `exact_remainder` false, r
// is left holding the remainder times the normalizing factor f, which is
// zero exactly when the remainder is (and saves one division per limb).
void divMod(Big& q, Big& r, const Big& a, const Big& b, bool exact_remainder) {
  assert(&q != &a && &q != &b && &r != &a && &r != &b && &q != &r);
  if (b.n <= 0) {  // callers never divide by zero; keep it defined anyway
    q.n = 0;
    r.n = 0;
    return;
  }
  if (bigCmp(a, b) < 0) {
    q.n = 0;
    r = a;
    return;
  }
  if (b.n == 1) {
    q = a;
    bigFromU64(r, bigDivSmall(q, b.d[0]));
    return;
  }
  // Knuth's algorithm D in base 10^18.
  const int n = b.n;
  const int m = a.n - n;
  const uint64_t f = kBase / (b.d[n - 1] + 1);
  uint64_t u[kBigLimbs + 1];
  uint64_t v[kBigLimbs];
  uint64_t carry = 0;
  for (int i = 0; i < a.n; ++i) {
    carry = divBase(static_cast<u128>(a.d[i]) * f + carry, &u[i]);
  }
  u[a.n] = carry;
  carry = 0;
  uint64_t vtop = 0;   // ends as v[n - 1]
  uint64_t vnext = 0;  // ends as v[n - 2]
  for (int i = 0; i < n; ++i) {
    carry = divBase(static_cast<u128>(b.d[i]) * f + carry, &v[i]);
    vnext = vtop;
    vtop = v[i];
  }
  assert(carry == 0);
  const Divider by_top(vtop);
  for (int j = m; j >= 0; --j) {
    if (u[j + n] == 0) {
      // A quotient digit of 0 when u[j .. j + n - 1] < v: nothing to do.
      int i = n - 1;
      while (i > 0 && u[j + i] == v[i]) --i;
      if (u[j + i] < v[i]) {
        q.d[j] = 0;
        continue;
      }
    }
    // u[j + n] <= vtop; when equal the estimate is capped at kBase - 1.
    u128 num = static_cast<u128>(u[j + n]) * kBase + u[j + n - 1];
    u128 qhat, rhat;
    if (u[j + n] >= vtop) {
      qhat = kBase - 1;
      rhat = num - qhat * vtop;
    } else {
      // num < vtop * kBase < vtop * 2^64: the quotient fits 64 bits.
      uint64_t r64;
      qhat = by_top.divide(num, &r64);
      rhat = r64;
    }
    while (qhat >= kBase || qhat * vnext > rhat * kBase + u[j + n - 2]) {
      --qhat;
      rhat += vtop;
      if (rhat >= kBase) break;
    }
    uint64_t qd = static_cast<uint64_t>(qhat);
    uint64_t mcarry = 0;
    uint64_t borrow = 0;
    for (int i = 0; i < n; ++i) {
      uint64_t plo;
      mcarry = divBase(static_cast<u128>(qd) * v[i] + mcarry, &plo);
      uint64_t s = plo + borrow;
      borrow = u[i + j] < s;
      u[i + j] = borrow ? u[i + j] + kBase - s : u[i + j] - s;
    }
    uint64_t s = mcarry + borrow;
    if (u[j + n] < s) {
      // qhat was one too large: add the divisor back.
      --qd;
      uint64_t c = 0;
      for (int i = 0; i < n; ++i) {
        uint64_t t = u[i + j] + v[i] + c;
        c = t >= kBase;
        u[i + j] = c ? t - kBase : t;
      }
    }
    u[j + n] = 0;
    q.d[j] = qd;
  }
  q.n = m + 1;
  trim(q);
  for (int i = 0; i < n; ++i) r.d[i] = u[i];
  r.n = n;
  trim(r);
  if (exact_remainder) bigDivSmall(r, f);
}

}  // namespace

void bigDivMod(Big& q, Big& r, const Big& a, const Big& b) {
  divMod(q, r, a, b, true);
}

bool bigDivQuotient(Big& q, const Big& a, const Big& b) {
  Big r;
  divMod(q, r, a, b, false);
  return r.n != 0;
}

void bigShiftLeft(Big& a, int64_t k) {
  assert(k >= 0);
  if (a.n == 0 || k == 0) return;
  int limbs = static_cast<int>(k / kLimbDigits);
  int rest = static_cast<int>(k % kLimbDigits);
  if (rest != 0) bigMulSmall(a, kPow10[rest]);
  if (limbs != 0) {
    assert(a.n + limbs <= kBigLimbs);
    for (int i = a.n - 1; i >= 0; --i) a.d[i + limbs] = a.d[i];
    for (int i = 0; i < limbs; ++i) a.d[i] = 0;
    a.n += limbs;
  }
}

int bigDigitAt(const Big& a, int64_t pos) {
  int64_t li = pos / kLimbDigits;
  if (pos < 0 || li >= a.n) return 0;
  uint64_t rem;
  return static_cast<int>(
      divPow10(a.d[li], static_cast<int>(pos % kLimbDigits), &rem) % 10);
}

void bigShiftRight(Big& a, int64_t k, int* round_digit, bool* sticky) {
  assert(k >= 0);
  int rd = 0;
  bool st = false;
  if (k == 0 || a.n == 0) {
    // Nothing discarded.
  } else if (k > static_cast<int64_t>(a.n) * kLimbDigits) {
    rd = 0;
    st = true;
    a.n = 0;
  } else {
    int64_t pos = k - 1;
    int li = static_cast<int>(pos / kLimbDigits);
    int off = static_cast<int>(pos % kLimbDigits);
    uint64_t below;
    rd = static_cast<int>(divPow10(a.d[li], off, &below) % 10);
    st = below != 0;
    for (int i = 0; i < li && !st; ++i) st = a.d[i] != 0;
    int limbs = static_cast<int>(k / kLimbDigits);
    int rest = static_cast<int>(k % kLimbDigits);
    int nn = a.n - limbs;
    if (rest == 0) {
      for (int i = 0; i < nn; ++i) a.d[i] = a.d[i + limbs];
    } else {
      shiftLimbsRight(a, limbs, rest);
    }
    a.n = nn;
    trim(a);
  }
  if (round_digit) *round_digit = rd;
  if (sticky) *sticky = st;
}

int64_t bigTrailingZeros(const Big& a) {
  int i = 0;
  while (i < a.n && a.d[i] == 0) ++i;
  if (i == a.n) return 0;
  int64_t z = static_cast<int64_t>(i) * kLimbDigits;
  uint64_t v = a.d[i];
  while (v % 10 == 0) {
    v /= 10;
    ++z;
  }
  return z;
}

void bigSqrt(Big& s, const Big& a) {
  assert(&s != &a);
  if (a.n == 0) {
    s.n = 0;
    return;
  }
  // Start above the root: sqrt of the leading digits (exact in a double),
  // plus a margin, scaled back; Newton's iteration then descends onto the
  // integer root.
  int digits = bigDigits(a);
  int64_t shift = digits > 15 ? digits - 15 : 0;
  if (shift & 1) ++shift;
  Big top = a;
  bigShiftRight(top, shift, nullptr, nullptr);
  uint64_t t = 0;
  bigToU64(top, &t);
  uint64_t est = static_cast<uint64_t>(sqrt(static_cast<double>(t))) + 2;
  Big x;
  bigFromU64(x, est);
  bigShiftLeft(x, shift / 2);
  Big q, y;
  for (;;) {
    bigDivQuotient(q, a, x);
    bigAdd(y, x, q);
    bigDivSmall(y, 2);
    if (bigCmp(y, x) >= 0) break;
    x = y;
  }
  s = x;
}

int bigToDigits(const Big& a, char* out) {
  if (a.n == 0) {
    out[0] = '0';
    return 1;
  }
  int count = bigDigits(a);
  char* p = out + count;
  for (int i = 0; i < a.n; ++i) {
    uint64_t v = a.d[i];
    int width = i == a.n - 1 ? digitsOfU64(v) : kLimbDigits;
    for (int k = 0; k < width; ++k) {
      *--p = static_cast<char>('0' + v % 10);
      v /= 10;
    }
  }
  return count;
}

void bigFromDigits(Big& a, const char* digits, int count) {
  assert(count <= kBigDigits);
  a.n = 0;
  int end = count;
  while (end > 0) {
    int start = end > kLimbDigits ? end - kLimbDigits : 0;
    uint64_t v = 0;
    for (int i = start; i < end; ++i)
      v = v * 10 + static_cast<uint64_t>(digits[i] - '0');
    a.d[a.n++] = v;
    end = start;
  }
  trim(a);
}

}  // namespace kxdec
