// UTF-8 character functions: counting, seeking, decoding, white space, case
// mapping and case-insensitive comparison.
//
// Text is walked by the rule of np_uchar.h: a well-formed sequence is one
// character, any other byte is an invalid character of one byte. ASCII runs
// are taken sixteen bytes at a time with SSE2, eight otherwise.
// Block loads never pass the end of the text: NUL-terminated text is first
// measured (strlen, or strnlen over a bounded window where only a prefix of
// the text is needed).
#include "np_uchar.h"

#include <limits.h>
#include <stdint.h>
#include <string.h>
#include <utf8proc.h>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include <algorithm>
#include <iterator>

#include "np_utf8.h"

namespace {

using kxb_utf8::AsciiPrefix;
using kxb_utf8::Decode;
using kxb_utf8::Encode;
using kxb_utf8::kHighBits;
using kxb_utf8::kOnes;
using kxb_utf8::Load8;

constexpr int32_t kInvalid = NP_UCHAR_INVALID;

int ClampInt(size_t n) { return n > INT_MAX ? INT_MAX : static_cast<int>(n); }

// Byte length of the character at `p`, looking at no more than `avail` bytes.
inline size_t CharBytes(const unsigned char* p, size_t avail) {
  int32_t cp;
  int r = Decode(p, avail, &cp);
  return r > 0 ? static_cast<size_t>(r) : 1;
}

// Number of characters in [p, end).
size_t CountChars(const unsigned char* p, const unsigned char* end) {
  size_t n = 0;
  while (p < end) {
#if defined(__SSE2__)
    if (end - p >= 16) {
      const int mask =
          _mm_movemask_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
      if (mask == 0) {
        p += 16;
        n += 16;
        continue;
      }
      const int ascii = __builtin_ctz(static_cast<unsigned>(mask));
      p += ascii;
      n += ascii;
      p += CharBytes(p, static_cast<size_t>(end - p));
      ++n;
      continue;
    }
#endif
    if (end - p >= 8) {
      uint64_t w = Load8(p);
      if ((w & kHighBits) == 0) {
        p += 8;
        n += 8;
        continue;
      }
      int ascii = AsciiPrefix(w);
      p += ascii;
      n += ascii;
    } else if (*p < 0x80) {
      ++p;
      ++n;
      continue;
    }
    p += CharBytes(p, static_cast<size_t>(end - p));
    ++n;
  }
  return n;
}

// Walks at most `n` characters of the NUL-terminated `s`, taking only whole
// characters that end within the first `maxBytes` bytes. Returns the byte
// offset reached and sets *walked to the characters taken.
//
// The text is measured a window at a time, so a walk near the start of a
// long text does not read all of it. Inside a window, decoding starts only
// where a whole four-byte sequence still lies in the window; the last window
// (the one holding the terminator) is decoded to its end.
size_t Walk(const unsigned char* s, size_t n, size_t maxBytes, size_t* walked) {
  constexpr size_t kWindow = 256;
  size_t off = 0;
  size_t left = n;
  while (left > 0) {
    const size_t w = strnlen(reinterpret_cast<const char*>(s + off), kWindow);
    const bool last = w < kWindow;
    const size_t end = off + w;
    const size_t safe = last ? end : end - 3;
    while (left > 0 && off < safe) {
      if (left >= 8 && end - off >= 8 && maxBytes - off >= 8 &&
          (Load8(s + off) & kHighBits) == 0) {
        off += 8;
        left -= 8;
        continue;
      }
      size_t k = s[off] < 0x80 ? 1 : CharBytes(s + off, end - off);
      if (maxBytes - off < k) {
        *walked = n - left;
        return off;
      }
      off += k;
      --left;
    }
    if (last && off >= end) break;
  }
  *walked = n - left;
  return off;
}

bool IsWhiteSpace(int32_t c) {
  if (c <= 0x20) return c == 0x20 || (c >= 0x09 && c <= 0x0D);
  if (c < 0x85) return false;
  switch (c) {
    case 0x0085: case 0x00A0: case 0x1680: case 0x2028: case 0x2029:
    case 0x202F: case 0x205F: case 0x3000:
      return true;
    default:
      return c >= 0x2000 && c <= 0x200A;
  }
}

// --- Case mapping ----------------------------------------------------------

// Upper-case mappings to more than one character (the unconditional part of
// the Unicode SpecialCasing data); every other character maps to one
// character by the simple mapping of the character database. Sorted by code
// point.
struct SpecialCase {
  int32_t cp;
  int32_t map[3];  // unused trailing entries are 0
};

constexpr SpecialCase kUpperSpecial[] = {
    {0x00DF, {0x0053, 0x0053, 0x0000}}, {0x0149, {0x02BC, 0x004E, 0x0000}},
    {0x01F0, {0x004A, 0x030C, 0x0000}}, {0x0390, {0x0399, 0x0308, 0x0301}},
    {0x03B0, {0x03A5, 0x0308, 0x0301}}, {0x0587, {0x0535, 0x0552, 0x0000}},
    {0x1E96, {0x0048, 0x0331, 0x0000}}, {0x1E97, {0x0054, 0x0308, 0x0000}},
    {0x1E98, {0x0057, 0x030A, 0x0000}}, {0x1E99, {0x0059, 0x030A, 0x0000}},
    {0x1E9A, {0x0041, 0x02BE, 0x0000}}, {0x1F50, {0x03A5, 0x0313, 0x0000}},
    {0x1F52, {0x03A5, 0x0313, 0x0300}}, {0x1F54, {0x03A5, 0x0313, 0x0301}},
    {0x1F56, {0x03A5, 0x0313, 0x0342}}, {0x1F80, {0x1F08, 0x0399, 0x0000}},
    {0x1F81, {0x1F09, 0x0399, 0x0000}}, {0x1F82, {0x1F0A, 0x0399, 0x0000}},
    {0x1F83, {0x1F0B, 0x0399, 0x0000}}, {0x1F84, {0x1F0C, 0x0399, 0x0000}},
    {0x1F85, {0x1F0D, 0x0399, 0x0000}}, {0x1F86, {0x1F0E, 0x0399, 0x0000}},
    {0x1F87, {0x1F0F, 0x0399, 0x0000}}, {0x1F88, {0x1F08, 0x0399, 0x0000}},
    {0x1F89, {0x1F09, 0x0399, 0x0000}}, {0x1F8A, {0x1F0A, 0x0399, 0x0000}},
    {0x1F8B, {0x1F0B, 0x0399, 0x0000}}, {0x1F8C, {0x1F0C, 0x0399, 0x0000}},
    {0x1F8D, {0x1F0D, 0x0399, 0x0000}}, {0x1F8E, {0x1F0E, 0x0399, 0x0000}},
    {0x1F8F, {0x1F0F, 0x0399, 0x0000}}, {0x1F90, {0x1F28, 0x0399, 0x0000}},
    {0x1F91, {0x1F29, 0x0399, 0x0000}}, {0x1F92, {0x1F2A, 0x0399, 0x0000}},
    {0x1F93, {0x1F2B, 0x0399, 0x0000}}, {0x1F94, {0x1F2C, 0x0399, 0x0000}},
    {0x1F95, {0x1F2D, 0x0399, 0x0000}}, {0x1F96, {0x1F2E, 0x0399, 0x0000}},
    {0x1F97, {0x1F2F, 0x0399, 0x0000}}, {0x1F98, {0x1F28, 0x0399, 0x0000}},
    {0x1F99, {0x1F29, 0x0399, 0x0000}}, {0x1F9A, {0x1F2A, 0x0399, 0x0000}},
    {0x1F9B, {0x1F2B, 0x0399, 0x0000}}, {0x1F9C, {0x1F2C, 0x0399, 0x0000}},
    {0x1F9D, {0x1F2D, 0x0399, 0x0000}}, {0x1F9E, {0x1F2E, 0x0399, 0x0000}},
    {0x1F9F, {0x1F2F, 0x0399, 0x0000}}, {0x1FA0, {0x1F68, 0x0399, 0x0000}},
    {0x1FA1, {0x1F69, 0x0399, 0x0000}}, {0x1FA2, {0x1F6A, 0x0399, 0x0000}},
    {0x1FA3, {0x1F6B, 0x0399, 0x0000}}, {0x1FA4, {0x1F6C, 0x0399, 0x0000}},
    {0x1FA5, {0x1F6D, 0x0399, 0x0000}}, {0x1FA6, {0x1F6E, 0x0399, 0x0000}},
    {0x1FA7, {0x1F6F, 0x0399, 0x0000}}, {0x1FA8, {0x1F68, 0x0399, 0x0000}},
    {0x1FA9, {0x1F69, 0x0399, 0x0000}}, {0x1FAA, {0x1F6A, 0x0399, 0x0000}},
    {0x1FAB, {0x1F6B, 0x0399, 0x0000}}, {0x1FAC, {0x1F6C, 0x0399, 0x0000}},
    {0x1FAD, {0x1F6D, 0x0399, 0x0000}}, {0x1FAE, {0x1F6E, 0x0399, 0x0000}},
    {0x1FAF, {0x1F6F, 0x0399, 0x0000}}, {0x1FB2, {0x1FBA, 0x0399, 0x0000}},
    {0x1FB3, {0x0391, 0x0399, 0x0000}}, {0x1FB4, {0x0386, 0x0399, 0x0000}},
    {0x1FB6, {0x0391, 0x0342, 0x0000}}, {0x1FB7, {0x0391, 0x0342, 0x0399}},
    {0x1FBC, {0x0391, 0x0399, 0x0000}}, {0x1FC2, {0x1FCA, 0x0399, 0x0000}},
    {0x1FC3, {0x0397, 0x0399, 0x0000}}, {0x1FC4, {0x0389, 0x0399, 0x0000}},
    {0x1FC6, {0x0397, 0x0342, 0x0000}}, {0x1FC7, {0x0397, 0x0342, 0x0399}},
    {0x1FCC, {0x0397, 0x0399, 0x0000}}, {0x1FD2, {0x0399, 0x0308, 0x0300}},
    {0x1FD3, {0x0399, 0x0308, 0x0301}}, {0x1FD6, {0x0399, 0x0342, 0x0000}},
    {0x1FD7, {0x0399, 0x0308, 0x0342}}, {0x1FE2, {0x03A5, 0x0308, 0x0300}},
    {0x1FE3, {0x03A5, 0x0308, 0x0301}}, {0x1FE4, {0x03A1, 0x0313, 0x0000}},
    {0x1FE6, {0x03A5, 0x0342, 0x0000}}, {0x1FE7, {0x03A5, 0x0308, 0x0342}},
    {0x1FF2, {0x1FFA, 0x0399, 0x0000}}, {0x1FF3, {0x03A9, 0x0399, 0x0000}},
    {0x1FF4, {0x038F, 0x0399, 0x0000}}, {0x1FF6, {0x03A9, 0x0342, 0x0000}},
    {0x1FF7, {0x03A9, 0x0342, 0x0399}}, {0x1FFC, {0x03A9, 0x0399, 0x0000}},
    {0xFB00, {0x0046, 0x0046, 0x0000}}, {0xFB01, {0x0046, 0x0049, 0x0000}},
    {0xFB02, {0x0046, 0x004C, 0x0000}}, {0xFB03, {0x0046, 0x0046, 0x0049}},
    {0xFB04, {0x0046, 0x0046, 0x004C}}, {0xFB05, {0x0053, 0x0054, 0x0000}},
    {0xFB06, {0x0053, 0x0054, 0x0000}}, {0xFB13, {0x0544, 0x0546, 0x0000}},
    {0xFB14, {0x0544, 0x0535, 0x0000}}, {0xFB15, {0x0544, 0x053B, 0x0000}},
    {0xFB16, {0x054E, 0x0546, 0x0000}}, {0xFB17, {0x0544, 0x053D, 0x0000}},
};

// The one lower-case mapping to more than one character: U+0130 LATIN CAPITAL
// LETTER I WITH DOT ABOVE becomes "i" and U+0307 COMBINING DOT ABOVE.
constexpr int32_t kCapitalIWithDot = 0x0130;

// Writes the full upper- (or lower-) case mapping of the code point `c` to
// `out` and returns the number of code points (1..3).
int MapChar(int32_t c, bool upper, int32_t out[3]) {
  if (upper) {
    if (c >= kUpperSpecial[0].cp &&
        c <= kUpperSpecial[std::size(kUpperSpecial) - 1].cp) {
      const SpecialCase* it = std::lower_bound(
          std::begin(kUpperSpecial), std::end(kUpperSpecial), c,
          [](const SpecialCase& e, int32_t v) { return e.cp < v; });
      if (it != std::end(kUpperSpecial) && it->cp == c) {
        int n = 0;
        while (n < 3 && it->map[n] != 0) {
          out[n] = it->map[n];
          ++n;
        }
        return n;
      }
    }
    out[0] = utf8proc_toupper(c);
    return 1;
  }
  if (c == kCapitalIWithDot) {
    out[0] = 0x0069;
    out[1] = 0x0307;
    return 2;
  }
  out[0] = utf8proc_tolower(c);
  return 1;
}

// Eight ASCII bytes with 'A'..'Z' (or 'a'..'z') switched case. Each byte is
// below 0x80, so adding a constant below 0x80 never carries into the next.
inline uint64_t AsciiLower8(uint64_t w) {
  const uint64_t geA = w + kOnes * (0x80 - 'A');
  const uint64_t gtZ = w + kOnes * (0x80 - 'Z' - 1);
  return w | (((geA & ~gtZ) & kHighBits) >> 2);
}
inline uint64_t AsciiUpper8(uint64_t w) {
  const uint64_t gea = w + kOnes * (0x80 - 'a');
  const uint64_t gtz = w + kOnes * (0x80 - 'z' - 1);
  return w & ~(((gea & ~gtz) & kHighBits) >> 2);
}
inline unsigned char AsciiMap(unsigned char b, bool upper) {
  if (upper) return (b >= 'a' && b <= 'z') ? b - 0x20 : b;
  return (b >= 'A' && b <= 'Z') ? b + 0x20 : b;
}

// Case-maps the ASCII run at the start of [p, end) as far as one block
// reaches (16 bytes with SSE2, else 8) into `block`, and returns its length:
// 0 when `p` is not ASCII or fewer bytes than a block remain.
inline size_t MapAsciiBlock(const unsigned char* p, const unsigned char* end,
                            bool upper, unsigned char* block) {
#if defined(__SSE2__)
  if (end - p >= 16) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    const int mask = _mm_movemask_epi8(v);
    // Letters of the case to change lie strictly between `below` and `above`
    // and differ from their partners in bit 0x20 only. Non-ASCII lanes are
    // mapped too (they compare as negative) but are not taken.
    const __m128i below = _mm_set1_epi8(upper ? 'a' - 1 : 'A' - 1);
    const __m128i above = _mm_set1_epi8(upper ? 'z' + 1 : 'Z' + 1);
    const __m128i letters =
        _mm_and_si128(_mm_cmpgt_epi8(v, below), _mm_cmplt_epi8(v, above));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(block),
                     _mm_xor_si128(v, _mm_and_si128(letters, _mm_set1_epi8(0x20))));
    return mask == 0 ? 16 : static_cast<size_t>(__builtin_ctz(static_cast<unsigned>(mask)));
  }
#endif
  if (end - p >= 8) {
    const uint64_t w = Load8(p);
    if ((w & kHighBits) == 0) {
      const uint64_t m = upper ? AsciiUpper8(w) : AsciiLower8(w);
      memcpy(block, &m, 8);
      return 8;
    }
  }
  return 0;
}

// Maps `src` into `dst` as np_uchar_lower/np_uchar_upper describe. Nothing is
// allocated: ASCII runs are mapped a block at a time, other characters one
// at a time through a small local buffer, and copied while they fit. After
// the first character that does not fit nothing more is written, so the
// output is always a prefix of whole mapped characters.
int MapText(const char* src, char* dst, int dstSize, bool upper) {
  unsigned char* out =
      (dst != nullptr && dstSize > 0) ? reinterpret_cast<unsigned char*>(dst) : nullptr;
  if (src == nullptr) {
    if (out) *out = 0;
    return 0;
  }
  const unsigned char* p = reinterpret_cast<const unsigned char*>(src);
  const unsigned char* const end = p + strlen(src);
  size_t room = out ? static_cast<size_t>(dstSize) - 1 : 0;
  size_t total = 0;
  bool cut = false;
  unsigned char buf[16];
  while (p < end) {
    size_t k = MapAsciiBlock(p, end, upper, buf);
    if (k > 0) {
      // One byte per character: any prefix of the block is whole characters.
      if (out && !cut) {
        const size_t take = k <= room ? k : room;
        if (take == sizeof buf) {
          memcpy(out, buf, sizeof buf);  // the common case, as one store
        } else {
          memcpy(out, buf, take);
        }
        out += take;
        room -= take;
        cut = take < k;
      }
      p += k;
      total += k;
      continue;
    }
    int32_t c;
    int r;
    if (*p < 0x80) {
      buf[0] = AsciiMap(*p, upper);
      k = 1;
      ++p;
    } else if ((r = Decode(p, static_cast<size_t>(end - p), &c)) < 0) {
      buf[0] = *p;  // invalid bytes are kept as they are
      k = 1;
      ++p;
    } else {
      p += r;
      int32_t mapped[3];
      const int count = MapChar(c, upper, mapped);
      for (int i = 0; i < count; ++i) k += Encode(mapped[i], buf + k);
    }
    total += k;
    if (out && !cut) {
      if (k <= room) {
        memcpy(out, buf, k);
        out += k;
        room -= k;
      } else {
        cut = true;
      }
    }
  }
  if (out) *out = 0;
  return ClampInt(total);
}

// --- Case folding ----------------------------------------------------------

// Sort key of an invalid byte: above every code point, ordered by byte value.
constexpr int32_t kInvalidKeyBase = 0x110000;
// Sort key of the end of the text: below everything.
constexpr int32_t kEndKey = -1;

// Produces the full case folding of a NUL-terminated text one code point at
// a time.
class FoldReader {
 public:
  explicit FoldReader(const char* s)
      : p_(reinterpret_cast<const unsigned char*>(s)) {}

  // True when no code points of a folded character are pending, so that
  // the reader stands at a character boundary of the text.
  bool Idle() const { return pos_ == count_; }
  const unsigned char* Position() const { return p_; }
  void MoveTo(const unsigned char* p) { p_ = p; }  // only when Idle()

  int32_t Next() {
    if (pos_ < count_) return pending_[pos_++];
    const unsigned b = *p_;
    if (b == 0) return kEndKey;
    if (b < 0x80) {
      ++p_;
      return (b >= 'A' && b <= 'Z') ? static_cast<int32_t>(b + 0x20)
                                    : static_cast<int32_t>(b);
    }
    int32_t c;
    const int r = Decode(p_, SIZE_MAX, &c);
    if (r < 0) {
      ++p_;
      return kInvalidKeyBase + static_cast<int32_t>(b);
    }
    p_ += r;
    utf8proc_int32_t folded[kMaxFold];
    int boundclass = 0;
    const utf8proc_ssize_t n =
        utf8proc_decompose_char(c, folded, kMaxFold, UTF8PROC_CASEFOLD, &boundclass);
    if (n <= 1 || n > kMaxFold) return n == 1 ? folded[0] : c;
    for (utf8proc_ssize_t i = 1; i < n; ++i) pending_[i - 1] = folded[i];
    pos_ = 0;
    count_ = static_cast<int>(n - 1);
    return folded[0];
  }

 private:
  static constexpr int kMaxFold = 8;
  const unsigned char* p_;
  int32_t pending_[kMaxFold];
  int pos_ = 0;
  int count_ = 0;
};

}  // namespace

extern "C" {

int np_uchar_length(const char* s) {
  if (s == nullptr) return 0;
  const unsigned char* p = reinterpret_cast<const unsigned char*>(s);
  return ClampInt(CountChars(p, p + strlen(s)));
}

int np_uchar_nlength(const char* s, size_t bytes) {
  if (s == nullptr) return 0;
  const unsigned char* p = reinterpret_cast<const unsigned char*>(s);
  return ClampInt(CountChars(p, p + bytes));
}

const char* np_uchar_seek(const char* s, int n) {
  if (n <= 0) return s;
  if (s == nullptr) return nullptr;
  size_t walked;
  const size_t off = Walk(reinterpret_cast<const unsigned char*>(s),
                          static_cast<size_t>(n), SIZE_MAX, &walked);
  return walked == static_cast<size_t>(n) ? s + off : nullptr;
}

int np_uchar_tell(const char* base, const char* p) {
  if (base == nullptr || p == nullptr || p <= base) return 0;
  // Counts the characters that start before `p`; the last of them may end
  // after it. Loads of eight bytes stay before `p`; single characters are
  // decoded as NUL-terminated text.
  const unsigned char* q = reinterpret_cast<const unsigned char*>(base);
  const unsigned char* const end = reinterpret_cast<const unsigned char*>(p);
  size_t n = 0;
  while (q < end) {
    if (end - q >= 8) {
      uint64_t w = Load8(q);
      if ((w & kHighBits) == 0) {
        q += 8;
        n += 8;
        continue;
      }
      int ascii = AsciiPrefix(w);
      q += ascii;
      n += ascii;
    } else if (*q < 0x80) {
      ++q;
      ++n;
      continue;
    }
    q += CharBytes(q, SIZE_MAX);
    ++n;
  }
  return ClampInt(n);
}

int np_uchar_toint(const char* p, int* size) {
  int bytes = 0;
  int32_t c = 0;
  if (p != nullptr && *p != 0) {
    const int r = Decode(reinterpret_cast<const unsigned char*>(p), SIZE_MAX, &c);
    if (r > 0) {
      bytes = r;
    } else {
      bytes = 1;
      c = kInvalid;
    }
  }
  if (size != nullptr) *size = bytes;
  return c;
}

int np_uchar_isspace(const char* p, int* size) {
  return IsWhiteSpace(np_uchar_toint(p, size)) ? 1 : 0;
}

int np_uchar_isascii(const char* p, int* size) {
  const int c = np_uchar_toint(p, size);
  return (c >= 0 && c < 0x80) ? 1 : 0;
}

namespace {

// Eight bytes at `p`, when they lie in the same page as `p` (so reading them
// cannot fault even past the terminator). The bytes beyond the terminator
// are only looked at to find it, hence no address- or thread-sanitizer
// report (they may belong to a freed block).
__attribute__((no_sanitize_address, no_sanitize_thread)) inline bool loadWord(
    const unsigned char* p, uint64_t* word) {
  if ((reinterpret_cast<uintptr_t>(p) & 4095) > 4096 - 8) return false;
  memcpy(word, p, 8);
  return true;
}

// Skips the leading eight-byte blocks of `*pa` and `*pb` that are ASCII, hold
// no terminator and are equal once lowered.
inline void skipEqualAsciiWords(const unsigned char** pa,
                                const unsigned char** pb) {
  uint64_t wa, wb;
  while (loadWord(*pa, &wa) && loadWord(*pb, &wb)) {
    uint64_t both = wa | wb;
    bool zero = ((wa - kOnes) & ~wa & kHighBits) != 0 ||
                ((wb - kOnes) & ~wb & kHighBits) != 0;
    if ((both & kHighBits) != 0 || zero || AsciiLower8(wa) != AsciiLower8(wb)) {
      return;
    }
    *pa += 8;
    *pb += 8;
  }
}

}  // namespace

int np_uchar_icomp(const char* a, const char* b) {
  if (a == nullptr || b == nullptr) {
    if (a == b) return 0;
    return a == nullptr ? -1 : 1;
  }
  FoldReader ra(a), rb(b);
  for (;;) {
    // ASCII folds to ASCII by lowering A-Z: compare such runs directly.
    if (ra.Idle() && rb.Idle()) {
      const unsigned char* pa = ra.Position();
      const unsigned char* pb = rb.Position();
      skipEqualAsciiWords(&pa, &pb);
      while (*pa < 0x80 && *pb < 0x80) {
        const int32_t ca = *pa + (static_cast<unsigned>(*pa - 'A') < 26u ? 32 : 0);
        const int32_t cb = *pb + (static_cast<unsigned>(*pb - 'A') < 26u ? 32 : 0);
        if (ca != cb) {
          // The end of a text sorts before every character.
          if (ca == 0 || cb == 0) break;
          return ca < cb ? -1 : 1;
        }
        if (ca == 0) return 0;
        ++pa;
        ++pb;
      }
      ra.MoveTo(pa);
      rb.MoveTo(pb);
    }
    const int32_t ca = ra.Next();
    const int32_t cb = rb.Next();
    if (ca != cb) return ca < cb ? -1 : 1;
    if (ca == kEndKey) return 0;
  }
}

int np_uchar_lower(const char* src, char* dst, int dstSize) {
  return MapText(src, dst, dstSize, false);
}

int np_uchar_upper(const char* src, char* dst, int dstSize) {
  return MapText(src, dst, dstSize, true);
}

int np_uchar_bufncopy(char* dst, const char* src, int dstSize, int n) {
  if (dst == nullptr || dstSize <= 0) return 0;
  size_t bytes = 0;
  if (src != nullptr && n > 0) {
    size_t walked;
    bytes = Walk(reinterpret_cast<const unsigned char*>(src), static_cast<size_t>(n),
                 static_cast<size_t>(dstSize) - 1, &walked);
    memmove(dst, src, bytes);
  }
  dst[bytes] = 0;
  return static_cast<int>(bytes);
}

}  // extern "C"
