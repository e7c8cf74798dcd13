// Densely packed decimal encoding of the IEEE 754 decimal formats.
#include "decimal/dec_format.h"

#include <string.h>

#include "decimal/dec_dpd.h"
#include "decimal/dec_internal.h"

namespace kxdec {
namespace {

constexpr FormatInfo kFormats[4] = {
    {32, 4, 7, 96, 101, 6, 2},
    {64, 8, 16, 384, 398, 8, 5},
    {128, 16, 34, 6144, 6176, 12, 11},
    {192, 24, 52, 98304, 98354, 16, 17},
};

// The encoding as three 64-bit words, bit 0 the least significant.
struct Words {
  uint64_t w[3];
};

template <int I>
Words load(const uint8_t* bytes) {
  constexpr const FormatInfo& f = kFormats[I];
  Words x{};
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
  memcpy(x.w, bytes, f.bytes);
#else
  for (int i = 0; i < f.bytes; ++i) {
    x.w[i / 8] |= static_cast<uint64_t>(bytes[i]) << (8 * (i % 8));
  }
#endif
  return x;
}

template <int I>
void save(const Words& x, uint8_t* bytes) {
  constexpr const FormatInfo& f = kFormats[I];
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
  memcpy(bytes, x.w, f.bytes);
#else
  for (int i = 0; i < f.bytes; ++i) {
    bytes[i] = static_cast<uint8_t>(x.w[i / 8] >> (8 * (i % 8)));
  }
#endif
}

// Bits [pos, pos + n) of x, n <= 64.
inline uint64_t field(const Words& x, int pos, int n) {
  int word = pos / 64, off = pos % 64;
  uint64_t v = x.w[word] >> off;
  if (off != 0 && off + n > 64) v |= x.w[word + 1] << (64 - off);
  return n == 64 ? v : v & ((1ull << n) - 1);
}

// ORs value (n bits) into bits [pos, pos + n) of x.
inline void setField(Words& x, int pos, int n, uint64_t value) {
  int word = pos / 64, off = pos % 64;
  x.w[word] |= value << off;
  if (off != 0 && off + n > 64) x.w[word + 1] |= value >> (64 - off);
}

// Coefficient digits held by the declets of x, plus msd at the top. Six
// declets (60 bits) make one 18-digit limb.
template <int I>
void decletsToBig(const Words& x, unsigned msd, Big& c) {
  constexpr const FormatInfo& f = kFormats[I];
  const int limbs = (3 * f.declets + 1 + kLimbDigits - 1) / kLimbDigits;
  for (int j = 0; j < limbs; ++j) {
    int count = f.declets - 6 * j;
    if (count > 6) count = 6;
    uint64_t chunk = count > 0 ? field(x, 60 * j, 10 * count) : 0;
    // Two independent halves of three declets each.
    uint64_t lo = 0, hi = 0;
    for (int k = (count < 3 ? count : 3) - 1; k >= 0; --k) {
      lo = lo * 1000 + kDpd.from_dpd[(chunk >> (10 * k)) & 0x3ff];
    }
    for (int k = count - 1; k >= 3; --k) {
      hi = hi * 1000 + kDpd.from_dpd[(chunk >> (10 * k)) & 0x3ff];
    }
    c.d[j] = hi * 1000000000ull + lo;
  }
  const int msd_pos = 3 * f.declets;
  c.d[msd_pos / kLimbDigits] += msd * kPow10[msd_pos % kLimbDigits];
  c.n = limbs;
  while (c.n > 0 && c.d[c.n - 1] == 0) --c.n;
}

// Writes the low 3 * declets digits of c as declets; returns the next digit.
template <int I>
unsigned bigToDeclets(const Big& c, Words& x) {
  constexpr const FormatInfo& f = kFormats[I];
  for (int j = 0; 6 * j < f.declets; ++j) {
    int count = f.declets - 6 * j;
    if (count > 6) count = 6;
    uint64_t v = j < c.n ? c.d[j] : 0;
    // Two nine-digit halves in 32-bit arithmetic.
    uint32_t halves[2] = {static_cast<uint32_t>(v % 1000000000ull),
                          static_cast<uint32_t>(v / 1000000000ull)};
    uint64_t chunk = 0;
    for (int k = 0; k < count; ++k) {
      uint32_t& h = halves[k / 3];
      chunk |= static_cast<uint64_t>(kDpd.to_dpd[h % 1000]) << (10 * k);
      h /= 1000;
    }
    setField(x, 60 * j, 10 * count, chunk);
  }
  const int msd_pos = 3 * f.declets;
  return static_cast<unsigned>(bigDigitAt(c, msd_pos));
}

template <int I>
void decodeImpl(const uint8_t* bytes, decNumber* out) {
  constexpr const FormatInfo& f = kFormats[I];
  const Words x = load<I>(bytes);
  const int coef_bits = 10 * f.declets;
  const unsigned comb = field(x, coef_bits + f.ecbits, 5);
  const bool neg = field(x, f.bits - 1, 1) != 0;
  Big c;
  if ((comb & 0x1e) == 0x1e) {
    if ((comb & 1) == 0) {
      storeInfinity(out, neg);
      return;
    }
    const bool signalling = field(x, coef_bits + f.ecbits - 1, 1) != 0;
    decletsToBig<I>(x, 0, c);
    storeFinite(out, neg, c, 0);
    out->bits = static_cast<uint8_t>((neg ? DECNEG : 0) |
                                     (signalling ? DECSNAN : DECNAN));
    return;
  }
  unsigned top, msd;
  if ((comb & 0x18) == 0x18) {
    top = (comb >> 1) & 3;
    msd = 8 + (comb & 1);
  } else {
    top = comb >> 3;
    msd = comb & 7;
  }
  const int64_t biased =
      (static_cast<int64_t>(top) << f.ecbits) | field(x, coef_bits, f.ecbits);
  decletsToBig<I>(x, msd, c);
  storeFinite(out, neg, c, static_cast<int32_t>(biased - f.bias));
}

template <int I>
void encodeImpl(const decNumber* in, uint8_t* bytes, decContext* set) {
  constexpr const FormatInfo& f = kFormats[I];
  Words x{};
  const int coef_bits = 10 * f.declets;
  const int comb_pos = coef_bits + f.ecbits;
  decNumber fitted;
  const decNumber* n = in;
  if (in->bits & (DECNAN | DECSNAN)) {
    if (in->digits > f.digits - 1) {
      decContext fc;
      formatContext(f, set->round, &fc);
      storeQuietNaN(&fitted, in, &fc);
      fitted.bits = in->bits;
      n = &fitted;
    }
  } else if (!(in->bits & DECINF)) {
    const int64_t etop = static_cast<int64_t>(f.emax) - f.digits + 1;
    if (in->digits > f.digits || in->exponent < -f.bias ||
        in->exponent > etop) {
      decContext fc;
      formatContext(f, set->round, &fc);
      Big c;
      coefOf(in, c);
      finish(&fitted, isNeg(in), c, in->exponent, false, &fc);
      set->status |= fc.status;
      n = &fitted;
    }
  }
  if (isNeg(n)) setField(x, f.bits - 1, 1, 1);
  if (n->bits & DECINF) {
    setField(x, comb_pos, 5, 0x1e);
  } else if (n->bits & (DECNAN | DECSNAN)) {
    setField(x, comb_pos, 5, 0x1f);
    if (n->bits & DECSNAN) setField(x, comb_pos - 1, 1, 1);
    Big c;
    coefOf(n, c);
    bigToDeclets<I>(c, x);
  } else {
    Big c;
    coefOf(n, c);
    const unsigned msd = bigToDeclets<I>(c, x);
    const uint64_t biased = static_cast<uint64_t>(n->exponent + f.bias);
    const unsigned top = static_cast<unsigned>(biased >> f.ecbits);
    setField(x, coef_bits, f.ecbits, biased & ((1ull << f.ecbits) - 1));
    unsigned comb = msd >= 8 ? 0x18 | (top << 1) | (msd & 1) : (top << 3) | msd;
    setField(x, comb_pos, 5, comb);
  }
  save<I>(x, bytes);
}

}  // namespace

uint16_t dpdEncodeDeclet(unsigned value) {
  return kDpd.to_dpd[value % 1000];
}

unsigned dpdDecodeDeclet(uint16_t declet) {
  return kDpd.from_dpd[declet & 0x3ff];
}

const FormatInfo* formatInfo(int bits) {
  for (const FormatInfo& f : kFormats) {
    if (f.bits == bits) return &f;
  }
  return nullptr;
}

void formatContext(const FormatInfo& f, enum rounding mode, decContext* set) {
  set->digits = f.digits;
  set->emax = f.emax;
  set->emin = 1 - f.emax;
  set->round = mode;
  set->status = 0;
  set->clamp = 1;
}

void formatDecode(const FormatInfo& f, const uint8_t* bytes, decNumber* out) {
  switch (f.bits) {
    case 32:
      return decodeImpl<0>(bytes, out);
    case 64:
      return decodeImpl<1>(bytes, out);
    case 128:
      return decodeImpl<2>(bytes, out);
    default:
      return decodeImpl<3>(bytes, out);
  }
}

void formatEncode(const FormatInfo& f, const decNumber* in, uint8_t* bytes,
                  decContext* set) {
  switch (f.bits) {
    case 32:
      return encodeImpl<0>(in, bytes, set);
    case 64:
      return encodeImpl<1>(in, bytes, set);
    case 128:
      return encodeImpl<2>(in, bytes, set);
    default:
      return encodeImpl<3>(in, bytes, set);
  }
}

bool formatIsCanonical(const FormatInfo& f, const uint8_t* bytes) {
  decNumber n;
  formatDecode(f, bytes, &n);
  uint8_t again[24];
  decContext set;
  formatContext(f, DEC_ROUND_HALF_EVEN, &set);
  formatEncode(f, &n, again, &set);
  return memcmp(again, bytes, f.bytes) == 0;
}

}  // namespace kxdec
