// KxbString: comparison, search, pieces and number parsing.
#include <cstdint>
#include <cstring>
#include <string_view>

#include "core/kxbstring_internal.h"
#include "kxbstring.h"
#include "kxs_num.h"
#include "np_uchar.h"

namespace {

int byteCompare(const char* a, size_t aBytes, const char* b, size_t bBytes) {
  int c = std::memcmp(a, b, aBytes < bBytes ? aBytes : bBytes);
  if (c != 0) return c < 0 ? -1 : 1;
  if (aBytes == bBytes) return 0;
  return aBytes < bBytes ? -1 : 1;
}

constexpr uint64_t kOnes = 0x0101010101010101ull;
constexpr uint64_t kHighBits = 0x8080808080808080ull;
constexpr int kUndecided = 2;

inline uint64_t load8(const char* p) {
  uint64_t word;
  std::memcpy(&word, p, 8);
  return word;
}

// A-Z lowered in a word of ASCII bytes (no byte carries into the next).
inline uint64_t lowerAscii8(uint64_t word) {
  uint64_t upper = (word + (0x80 - 'A') * kOnes) & ~(word + (0x80 - 'Z' - 1) * kOnes) &
                   kHighBits;
  return word | (upper >> 2);
}

inline bool hasZeroByte(uint64_t word) {
  return ((word - kOnes) & ~word & kHighBits) != 0;
}

// The case-insensitive order of two NUL-terminated texts of known byte
// lengths, as np_uchar_icomp gives it, while both are ASCII: A-Z lowered,
// the end (or a NUL byte) before every character. kUndecided when a byte
// above 0x7F comes first, for np_uchar_icomp to decide (an ASCII letter can
// equal a non-ASCII one once folded). Keys in sorted maps share long
// prefixes, so equal blocks are skipped eight bytes at a time.
int asciiFoldCompare(const char* a, size_t aBytes, const char* b, size_t bBytes) {
  const size_t common = aBytes < bBytes ? aBytes : bBytes;
  size_t i = 0;
  for (; i + 8 <= common; i += 8) {
    uint64_t wa = load8(a + i), wb = load8(b + i);
    if (((wa | wb) & kHighBits) != 0 || hasZeroByte(wa) || hasZeroByte(wb)) break;
    uint64_t differ = lowerAscii8(wa) ^ lowerAscii8(wb);
    if (differ != 0) {
      // The first differing byte (little-endian: the lowest set bit).
      int shift = __builtin_ctzll(differ) & ~7;
      unsigned ca = static_cast<unsigned>(lowerAscii8(wa) >> shift) & 0xFF;
      unsigned cb = static_cast<unsigned>(lowerAscii8(wb) >> shift) & 0xFF;
      return ca < cb ? -1 : 1;
    }
  }
  // Byte `common` exists in both (a terminator at least), and one of them
  // ends there, so this loop stops by then.
  for (;; ++i) {
    unsigned ca = static_cast<unsigned char>(a[i]);
    unsigned cb = static_cast<unsigned char>(b[i]);
    if ((ca | cb) >= 0x80) return kUndecided;
    ca += ca - 'A' < 26u ? 32 : 0;
    cb += cb - 'A' < 26u ? 32 : 0;
    if (ca != cb) return ca < cb ? -1 : 1;
    if (ca == 0) return 0;
  }
}

inline bool isContinuation(char c) {
  return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

// True when byte `pos` of `hay` starts a character (walking from a safe
// point at most three bytes back).
bool startsCharacter(std::string_view hay, size_t pos) {
  const char* base = hay.data();
  const char* at = base + pos;
  const char* p = at;
  int back = 0;
  while (p > base && back < 3 && isContinuation(*p)) {
    --p;
    ++back;
  }
  while (p < at) {
    int size = 0;
    np_uchar_toint(p, &size);
    p += size > 0 ? size : 1;
  }
  return p == at;
}

// True when the `length` bytes from the character start `pos` end on a
// character boundary of `hay` (a match must not end inside a character).
bool endsCharacter(std::string_view hay, size_t pos, size_t length) {
  const char* p = hay.data() + pos;
  const char* end = p + length;
  while (p < end) {
    int size = 0;
    np_uchar_toint(p, &size);
    p += size > 0 ? size : 1;
  }
  return p == end;
}

// Byte position of the first match of `needle` in `hay` at or after byte
// `from` that is whole characters of `hay`, or npos. Only a needle that
// begins with a continuation byte or ends with a non-ASCII byte can match
// across character boundaries, so only those are checked.
size_t findAligned(std::string_view hay, std::string_view needle, size_t from) {
  const bool checkStart = isContinuation(needle.front());
  const bool checkEnd = static_cast<unsigned char>(needle.back()) >= 0x80;
  for (size_t pos = hay.find(needle, from); pos != std::string_view::npos;
       pos = hay.find(needle, pos + 1)) {
    if (checkStart && pos > 0 && !startsCharacter(hay, pos)) continue;
    if (checkEnd && !endsCharacter(hay, pos, needle.size())) continue;
    return pos;
  }
  return std::string_view::npos;
}

}  // namespace

int KxbString::compare(const KxbString& other, bool caseSensitive) const {
  if (isNull()) return other.isNull() ? 0 : -1;
  if (other.isNull()) return 1;
  if (caseSensitive) {
    return byteCompare(bytes(), static_cast<size_t>(byteLength()),
                       other.bytes(), static_cast<size_t>(other.byteLength()));
  }
  int order = asciiFoldCompare(bytes(), static_cast<size_t>(byteLength()),
                               other.bytes(), static_cast<size_t>(other.byteLength()));
  return order != kUndecided ? order : np_uchar_icomp(bytes(), other.bytes());
}

int KxbString::compare(const char* other, bool caseSensitive) const {
  if (isNull()) return other == nullptr ? 0 : -1;
  if (other == nullptr) return 1;
  if (caseSensitive) {
    return byteCompare(bytes(), static_cast<size_t>(byteLength()), other,
                       std::strlen(other));
  }
  int order = asciiFoldCompare(bytes(), static_cast<size_t>(byteLength()), other,
                               std::strlen(other));
  return order != kUndecided ? order : np_uchar_icomp(bytes(), other);
}

bool operator<(const KxbString& a, const KxbString& b) {
  if (b.isNull()) return false;
  if (a.isNull()) return true;
  return a.compare(b, true) < 0;
}

int KxbString::find(const KxbString& needle, int start) const {
  if (isNull() || needle.isNull() || needle.byteLength() == 0) return -1;
  if (start < 0) start = 0;
  if (start > length()) return -1;
  std::string_view hay(bytes(), static_cast<size_t>(byteLength()));
  std::string_view what(needle.bytes(), static_cast<size_t>(needle.byteLength()));
  size_t from = static_cast<size_t>(byteOffset(start));
  size_t pos = findAligned(hay, what, from);
  if (pos == std::string_view::npos) return -1;
  if (length() == byteLength()) return static_cast<int>(pos);
  return start + np_uchar_tell(hay.data() + from, hay.data() + pos);
}

int KxbString::rfind(const KxbString& needle) const {
  if (isNull() || needle.isNull() || needle.byteLength() == 0) return -1;
  std::string_view hay(bytes(), static_cast<size_t>(byteLength()));
  std::string_view what(needle.bytes(), static_cast<size_t>(needle.byteLength()));
  size_t pos = hay.rfind(what);
  if (pos != std::string_view::npos &&
      (isContinuation(what.front()) ||
       static_cast<unsigned char>(what.back()) >= 0x80)) {
    // Rare: fall back to walking the aligned matches forwards.
    size_t last = std::string_view::npos;
    for (size_t p = findAligned(hay, what, 0); p != std::string_view::npos;
         p = findAligned(hay, what, p + 1)) {
      last = p;
    }
    pos = last;
  }
  if (pos == std::string_view::npos) return -1;
  if (length() == byteLength()) return static_cast<int>(pos);
  return np_uchar_tell(hay.data(), hay.data() + pos);
}

KxbString KxbString::mid(unsigned start, int count) const {
  KxbString result;
  if (isNull()) return result;
  int chars = length();
  if (start >= static_cast<unsigned>(chars)) {
    result.assign("");
    return result;
  }
  int first = static_cast<int>(start);
  int last = (count < 0 || count > chars - first) ? chars : first + count;
  if (first == 0 && last == chars && body_ != nullptr) return *this;
  int from = byteOffset(first);
  int to = byteOffset(last);
  result.doAssign(bytes() + from, last - first, to - from);
  return result;
}

KxbString KxbString::right(int count) const {
  if (isNull()) return KxbString();
  int chars = length();
  if (count < 0) return KxbString("", false);
  if (count >= chars) return mid(0, -1);
  return mid(static_cast<unsigned>(chars - count), -1);
}

KxbString KxbString::replace(const KxbString& what, const KxbString& with,
                             unsigned start, int count) const {
  KxbString result;
  if (isNull()) return result;
  // Every piece and every append must succeed: a result with a piece
  // missing would pass for a good one.
  bool failed = false;
  auto take = [&](const KxbString& piece) {
    bool pieceFailed = piece.isNull();
    if (!pieceFailed) result.append(piece, &pieceFailed);
    failed = failed || pieceFailed;
  };
  if (start != 0) take(mid(0, static_cast<int>(start)));
  int pos = static_cast<int>(start);
  if (count != 0) {
    int step = what.length();
    for (;;) {
      int found = find(what, pos);
      if (found < 0) break;
      take(mid(static_cast<unsigned>(pos), found - pos));
      if (!with.isNull()) take(with);
      pos = found + step;
      if (count > 0 && --count == 0) break;
    }
  }
  take(mid(static_cast<unsigned>(pos), -1));
  return failed ? KxbString() : result;
}

// ---------------------------------------------------------------------------
// Numbers

static void report(bool* failed, bool value) {
  if (failed != nullptr) *failed = value;
}

double KxbString::asDouble(bool* failed) const {
  double value = 0;
  bool ok = !isNull() && kxs_numparsedbl(bytes(), &value) > 0;
  report(failed, !ok);
  return ok ? value : 0;
}

int64_t KxbString::asInt64(bool* failed) const {
  int64_t value = 0;
  bool ok = !isNull() && kxs_numparse64(bytes(), &value) > 0;
  report(failed, !ok);
  return ok ? value : 0;
}

int KxbString::asInt(bool* failed) const {
  int64_t value = 0;
  bool ok = !isNull() && kxs_numparse64(bytes(), &value) > 0 &&
            value == static_cast<int64_t>(static_cast<int32_t>(value));
  report(failed, !ok);
  return ok ? static_cast<int>(value) : 0;
}

unsigned KxbString::asSize(bool* failed) const {
  uint64_t value = 0;
  bool ok = !isNull() && kxs_numparseU64(bytes(), &value) > 0 &&
            value < (uint64_t{1} << 32);
  report(failed, !ok);
  return ok ? static_cast<unsigned>(value) : 0;
}
