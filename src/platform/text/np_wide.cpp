// UTF-8 <-> UTF-16 conversion with the contract of the Windows calls
// MultiByteToWideChar / WideCharToMultiByte for code page 65001.
//
// Both directions take ASCII runs in blocks (16 bytes or 8 units with SSE2,
// 8 bytes otherwise) and everything else one character at a time. Nothing is
// written past the units or bytes the call returns, so a caller may rely on
// the rest of its buffer being untouched after a successful call.
#include <limits.h>
#include <stdint.h>
#include <string.h>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "np_uchar.h"
#include "np_utf8.h"

namespace {

using kxb_utf8::AsciiPrefix;
using kxb_utf8::Decode;
using kxb_utf8::kHighBits;
using kxb_utf8::Load8;

constexpr uint16_t kReplacement = 0xFFFD;

bool ValidCall(unsigned codePage, unsigned flags, const void* src, int srcLen,
               int dstLen) {
  return codePage == NP_CP_UTF8 && flags == 0 && src != nullptr && srcLen != 0 &&
         srcLen >= -1 && dstLen >= 0;
}

int Result(uint64_t n) { return n > INT_MAX ? 0 : static_cast<int>(n); }

// End of the ASCII run that starts at `p` (the first byte >= 0x80, or end).
inline const unsigned char* SkipAscii(const unsigned char* p,
                                      const unsigned char* end) {
#if defined(__SSE2__)
  while (end - p >= 16) {
    const int mask =
        _mm_movemask_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
    if (mask != 0) return p + __builtin_ctz(static_cast<unsigned>(mask));
    p += 16;
  }
#endif
  while (end - p >= 8) {
    const uint64_t w = Load8(p);
    if ((w & kHighBits) != 0) return p + AsciiPrefix(w);
    p += 8;
  }
  while (p < end && *p < 0x80) ++p;
  return p;
}

// --- UTF-8 to UTF-16 -------------------------------------------------------

uint64_t CountWide(const unsigned char* p, const unsigned char* end) {
  uint64_t n = 0;
  while (p < end) {
    if (*p < 0x80) {
      const unsigned char* q = SkipAscii(p, end);
      n += static_cast<uint64_t>(q - p);
      p = q;
      continue;
    }
    int32_t c;
    const int r = Decode(p, static_cast<size_t>(end - p), &c);
    if (r > 0) {
      p += r;
      n += r == 4 ? 2 : 1;
    } else {
      p += -r;  // one U+FFFD per maximal ill-formed subpart
      n += 1;
    }
  }
  return n;
}

// Converts [p, end) into dst of `cap` units; returns the units written or -1
// when they do not fit.
int64_t ToWide(const unsigned char* p, const unsigned char* end, uint16_t* dst,
               size_t cap) {
  uint16_t* o = dst;
  uint16_t* const oend = dst + cap;
  while (p < end) {
    if (*p < 0x80) {
#if defined(__SSE2__)
      const __m128i zero = _mm_setzero_si128();
      while (end - p >= 16 && oend - o >= 16) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        const int mask = _mm_movemask_epi8(v);
        if (mask != 0 && end - p < 48) break;
        _mm_storeu_si128(reinterpret_cast<__m128i*>(o), _mm_unpacklo_epi8(v, zero));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(o + 8), _mm_unpackhi_epi8(v, zero));
        if (mask != 0) {
          // Keep only the ASCII prefix. The 16 units were stored whole; those
          // past the prefix are overwritten by what follows, because at least
          // 48 input bytes remain and no unit takes more than 3 of them, so
          // at least 16 more units are written from here.
          const int ascii = __builtin_ctz(static_cast<unsigned>(mask));
          p += ascii;
          o += ascii;
          break;
        }
        p += 16;
        o += 16;
      }
#endif
      while (p < end && *p < 0x80) {
        if (o == oend) return -1;
        *o++ = *p++;
      }
      continue;
    }
    int32_t c;
    const int r = Decode(p, static_cast<size_t>(end - p), &c);
    if (r < 0) {
      p += -r;
      c = kReplacement;
    } else {
      p += r;
    }
    if (c >= 0x10000) {
      if (oend - o < 2) return -1;
      c -= 0x10000;
      o[0] = static_cast<uint16_t>(0xD800 | (c >> 10));
      o[1] = static_cast<uint16_t>(0xDC00 | (c & 0x3FF));
      o += 2;
    } else {
      if (o == oend) return -1;
      *o++ = static_cast<uint16_t>(c);
    }
  }
  return o - dst;
}

// --- UTF-16 to UTF-8 -------------------------------------------------------

inline bool IsHigh(uint32_t u) { return u >= 0xD800 && u <= 0xDBFF; }
inline bool IsLow(uint32_t u) { return u >= 0xDC00 && u <= 0xDFFF; }

uint64_t CountUtf8(const uint16_t* p, const uint16_t* end) {
  uint64_t n = 0;
  while (p < end) {
    const uint32_t u = *p++;
    if (u < 0x80) {
      n += 1;
    } else if (u < 0x800) {
      n += 2;
    } else if (IsHigh(u) && p < end && IsLow(*p)) {
      ++p;
      n += 4;
    } else {
      n += 3;  // includes an unpaired surrogate, which becomes EF BF BD
    }
  }
  return n;
}

// Converts [p, end) into dst of `cap` bytes; returns the bytes written or -1
// when they do not fit.
int64_t ToUtf8(const uint16_t* p, const uint16_t* end, unsigned char* dst,
               size_t cap) {
  unsigned char* o = dst;
  unsigned char* const oend = dst + cap;
  while (p < end) {
    uint32_t u = *p;
    if (u < 0x80) {
#if defined(__SSE2__)
      const __m128i high = _mm_set1_epi16(static_cast<short>(0xFF80));
      const __m128i zero = _mm_setzero_si128();
      while (end - p >= 8 && oend - o >= 8) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        const __m128i ascii = _mm_cmpeq_epi16(_mm_and_si128(v, high), zero);
        if (_mm_movemask_epi8(ascii) != 0xFFFF) break;
        _mm_storel_epi64(reinterpret_cast<__m128i*>(o), _mm_packus_epi16(v, v));
        p += 8;
        o += 8;
      }
#endif
      while (p < end && *p < 0x80) {
        if (o == oend) return -1;
        *o++ = static_cast<unsigned char>(*p++);
      }
      continue;
    }
    ++p;
    if (u < 0x800) {
      if (oend - o < 2) return -1;
      o[0] = static_cast<unsigned char>(0xC0 | (u >> 6));
      o[1] = static_cast<unsigned char>(0x80 | (u & 0x3F));
      o += 2;
      continue;
    }
    if (IsHigh(u) && p < end && IsLow(*p)) {
      if (oend - o < 4) return -1;
      const uint32_t c = 0x10000 + ((u - 0xD800) << 10) + (*p++ - 0xDC00);
      o[0] = static_cast<unsigned char>(0xF0 | (c >> 18));
      o[1] = static_cast<unsigned char>(0x80 | ((c >> 12) & 0x3F));
      o[2] = static_cast<unsigned char>(0x80 | ((c >> 6) & 0x3F));
      o[3] = static_cast<unsigned char>(0x80 | (c & 0x3F));
      o += 4;
      continue;
    }
    if (IsHigh(u) || IsLow(u)) u = kReplacement;
    if (oend - o < 3) return -1;
    o[0] = static_cast<unsigned char>(0xE0 | (u >> 12));
    o[1] = static_cast<unsigned char>(0x80 | ((u >> 6) & 0x3F));
    o[2] = static_cast<unsigned char>(0x80 | (u & 0x3F));
    o += 3;
  }
  return o - dst;
}

size_t WideLength(const unsigned short* s) {
  size_t n = 0;
  while (s[n] != 0) ++n;
  return n;
}

}  // namespace

extern "C" {

int np_mb_to_wide(unsigned codePage, unsigned flags, const char* src, int srcLen,
                  unsigned short* dst, int dstLen) {
  if (!ValidCall(codePage, flags, src, srcLen, dstLen)) return 0;
  const unsigned char* p = reinterpret_cast<const unsigned char*>(src);
  const size_t n = srcLen == -1 ? strlen(src) + 1 : static_cast<size_t>(srcLen);
  if (dst == nullptr || dstLen == 0) return Result(CountWide(p, p + n));
  const int64_t written = ToWide(p, p + n, dst, static_cast<size_t>(dstLen));
  return written < 0 ? 0 : static_cast<int>(written);
}

int np_wide_to_mb(unsigned codePage, unsigned flags, const unsigned short* src,
                  int srcLen, char* dst, int dstLen) {
  if (!ValidCall(codePage, flags, src, srcLen, dstLen)) return 0;
  const size_t n = srcLen == -1 ? WideLength(src) + 1 : static_cast<size_t>(srcLen);
  if (dst == nullptr || dstLen == 0) return Result(CountUtf8(src, src + n));
  const int64_t written = ToUtf8(src, src + n, reinterpret_cast<unsigned char*>(dst),
                                 static_cast<size_t>(dstLen));
  return written < 0 ? 0 : static_cast<int>(written);
}

}  // extern "C"
