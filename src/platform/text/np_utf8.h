// The UTF-8 decoding step shared by the character functions (np_uchar.cpp)
// and the UTF-16 converters (np_wide.cpp). Internal to the platform layer.
//
// Well-formed sequences (Unicode Table 3-7, "Well-Formed UTF-8 Byte
// Sequences"):
//   00..7F
//   C2..DF 80..BF
//   E0     A0..BF 80..BF
//   E1..EC 80..BF 80..BF
//   ED     80..9F 80..BF        (no surrogates)
//   EE..EF 80..BF 80..BF
//   F0     90..BF 80..BF 80..BF
//   F1..F3 80..BF 80..BF 80..BF
//   F4     80..8F 80..BF 80..BF (nothing above U+10FFFF)
#ifndef KXB_PLATFORM_NP_UTF8_H_
#define KXB_PLATFORM_NP_UTF8_H_

#include <stddef.h>
#include <stdint.h>
#include <string.h>

namespace kxb_utf8 {

// Decodes the sequence at `p`, looking at no more than `avail` bytes
// (avail >= 1; pass SIZE_MAX for NUL-terminated text: the walk never passes a
// byte that is not a continuation byte, so it stops at the terminator).
//
// Returns the sequence length (1..4) and sets *cp for a well-formed sequence.
// Otherwise returns minus the length of the maximal ill-formed subpart (the
// longest prefix of a well-formed sequence found at `p`, at least one byte)
// and leaves *cp alone.
inline int Decode(const unsigned char* p, size_t avail, int32_t* cp) {
  const unsigned b0 = p[0];
  if (b0 < 0x80) {
    *cp = static_cast<int32_t>(b0);
    return 1;
  }
  int len;
  unsigned lo = 0x80, hi = 0xBF;  // range of the second byte
  if (b0 < 0xC2) {
    return -1;  // continuation byte or overlong two-byte lead
  } else if (b0 < 0xE0) {
    len = 2;
  } else if (b0 < 0xF0) {
    len = 3;
    if (b0 == 0xE0) lo = 0xA0;       // overlong
    else if (b0 == 0xED) hi = 0x9F;  // surrogates
  } else if (b0 < 0xF5) {
    len = 4;
    if (b0 == 0xF0) lo = 0x90;       // overlong
    else if (b0 == 0xF4) hi = 0x8F;  // above U+10FFFF
  } else {
    return -1;
  }
  if (avail < 2 || p[1] < lo || p[1] > hi) return -1;
  int32_t c = static_cast<int32_t>(((b0 & (0x7Fu >> len)) << 6) | (p[1] & 0x3Fu));
  for (int i = 2; i < len; ++i) {
    if (avail <= static_cast<size_t>(i) || (p[i] & 0xC0) != 0x80) return -i;
    c = (c << 6) | static_cast<int32_t>(p[i] & 0x3Fu);
  }
  *cp = c;
  return len;
}

// Writes the UTF-8 form of the valid code point `c` to `out` (room for 4
// bytes) and returns its length.
inline int Encode(int32_t c, unsigned char* out) {
  if (c < 0x80) {
    out[0] = static_cast<unsigned char>(c);
    return 1;
  }
  if (c < 0x800) {
    out[0] = static_cast<unsigned char>(0xC0 | (c >> 6));
    out[1] = static_cast<unsigned char>(0x80 | (c & 0x3F));
    return 2;
  }
  if (c < 0x10000) {
    out[0] = static_cast<unsigned char>(0xE0 | (c >> 12));
    out[1] = static_cast<unsigned char>(0x80 | ((c >> 6) & 0x3F));
    out[2] = static_cast<unsigned char>(0x80 | (c & 0x3F));
    return 3;
  }
  out[0] = static_cast<unsigned char>(0xF0 | (c >> 18));
  out[1] = static_cast<unsigned char>(0x80 | ((c >> 12) & 0x3F));
  out[2] = static_cast<unsigned char>(0x80 | ((c >> 6) & 0x3F));
  out[3] = static_cast<unsigned char>(0x80 | (c & 0x3F));
  return 4;
}

// Eight bytes from `p`, in memory order, without alignment requirements.
inline uint64_t Load8(const void* p) {
  uint64_t w;
  memcpy(&w, p, sizeof w);
  return w;
}

constexpr uint64_t kHighBits = 0x8080808080808080ull;
constexpr uint64_t kOnes = 0x0101010101010101ull;

// Number of leading bytes (in memory order) of `w` that are ASCII, for a `w`
// with at least one high bit set. Little-endian only.
inline int AsciiPrefix(uint64_t w) {
  static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "little-endian");
  return __builtin_ctzll(w & kHighBits) >> 3;
}

}  // namespace kxb_utf8

#endif  // KXB_PLATFORM_NP_UTF8_H_
