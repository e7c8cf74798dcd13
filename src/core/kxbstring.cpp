// KxbString: construction, assignment, appending and in-place edits.
// Searching, pieces and conversions are in kxbstring_ops.cpp.
#include "kxbstring.h"

#include <cstdio>
#include <cstring>
#include <limits>

#include "core/kxbstring_internal.h"
#include "kxbmempool.h"
#include "kxs_format.h"
#include "kxs_num.h"
#include "np_uchar.h"

namespace {

// Pool blocks come in these sizes; a buffer gets the whole block it lands
// in, so that short strings grow in place for a while.
uint32_t roundedCapacity(uint32_t bytes) {
  if (bytes <= 16) return 16;
  if (bytes <= 64) return 64;
  if (bytes <= 256) return 256;
  if (bytes <= 1024) return 1024;
  return bytes;
}

// True when the text ends inside a multi-byte sequence that more bytes could
// complete, so that counting appended characters on their own might differ
// from counting the joined text.
bool endsInsideSequence(const char* text, uint32_t bytes) {
  if (bytes == 0) return false;
  const unsigned char* p = reinterpret_cast<const unsigned char*>(text);
  if (p[bytes - 1] < 0x80) return false;
  uint32_t back = 0;
  while (back < 3 && back < bytes && (p[bytes - 1 - back] & 0xC0) == 0x80) {
    ++back;
  }
  if (back == bytes) return false;
  unsigned char lead = p[bytes - 1 - back];
  uint32_t need = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC0 ? 2 : 1;
  return need > back + 1;
}

const char* stringAccessor(const void* s, size_t* bytes) {
  const KxbString* string = static_cast<const KxbString*>(s);
  if (string->isNull()) return nullptr;
  *bytes = static_cast<size_t>(string->cStrSize() - 1);
  return string->asCstr();
}

// Lets the platform's buffer formatter (logs, catalogue texts) print "%S".
struct AccessorInstaller {
  AccessorInstaller() { kxs_set_string_accessor(stringAccessor); }
} g_accessorInstaller;

}  // namespace

// ---------------------------------------------------------------------------
// Bodies

InternalString* KxbString::newString(uint32_t bytes) {
  if (bytes >= std::numeric_limits<uint32_t>::max() - 1) return nullptr;
  void* memory;
  if (!KxbMemPool::getBytes(sizeof(InternalString), &memory)) return nullptr;
  InternalString* body = static_cast<InternalString*>(memory);
  uint32_t capacity = roundedCapacity(bytes + 1);
  void* buffer;
  if (!KxbMemPool::getBytes(capacity, &buffer)) {
    KxbMemPool::freeBytes(body);
    return nullptr;
  }
  body->buffer = static_cast<char*>(buffer);
  kxAtomInit(&body->refs, 1);
  body->capacity = capacity;
  body->byteLength = 0;
  body->charLength = 0;
  return body;
}

void KxbString::releaseBody(InternalString* body, bool wipe) {
  if (body == nullptr) return;
  // A count of 1 read here is this string's own reference: nobody else can
  // change it, so the locked decrement is not needed.
  if (__atomic_load_n(&body->refs.value, __ATOMIC_ACQUIRE) != 1 &&
      kxAtomSub(&body->refs, 1) >= 1) {
    return;
  }
  if (wipe) {
    // volatile so that the compiler cannot drop stores to memory about to
    // be freed.
    volatile char* p = body->buffer;
    for (uint32_t i = 0; i < body->capacity; ++i) p[i] = 0;
  }
  KxbMemPool::freeBytes(body->buffer);
  KxbMemPool::freeBytes(body);
}

void KxbString::replaceString(InternalString* body) {
  releaseBody(body_, false);
  body_ = body;
  staticText_ = nullptr;
  staticChars_ = 0;
  staticBytes_ = 0;
}

const char* KxbString::bytes() const {
  if (body_ != nullptr) return body_->buffer;
  return staticText_ != nullptr ? staticText_ : "";
}

int KxbString::byteLength() const {
  if (body_ != nullptr) return static_cast<int>(body_->byteLength);
  return staticText_ != nullptr ? staticBytes_ : 0;
}

int KxbString::byteOffset(int index) const {
  int chars = length();
  int total = byteLength();
  if (index <= 0) return 0;
  if (index >= chars) return total;
  if (chars == total) return index;  // pure ASCII
  const char* text = bytes();
  const char* at = np_uchar_seek(text, index);
  if (at != nullptr && at - text <= total) return static_cast<int>(at - text);
  // A NUL byte inside the text (read from a file, say) stops the seek: walk
  // the bytes themselves, a NUL counting as one character.
  const char* p = text;
  for (int i = 0; i < index && p < text + total; ++i) {
    int size = 0;
    np_uchar_toint(p, &size);
    p += size > 0 ? size : 1;
  }
  return static_cast<int>(p - text);
}

// ---------------------------------------------------------------------------
// Construction

KxbString::KxbString()
    : body_(nullptr), staticText_(nullptr), staticChars_(-1), staticBytes_(-1) {}

KxbString::KxbString(const char* text, bool isStatic)
    : body_(nullptr), staticText_(nullptr), staticChars_(0), staticBytes_(0) {
  if (text == nullptr) return;
  if (isStatic) {
    staticText_ = text;
    staticChars_ = np_uchar_length(text);
    staticBytes_ = static_cast<int32_t>(std::strlen(text));
  } else {
    doAssign(text, -1, -1);
  }
}

// Takes one more reference to `body`. Always a locked increment: the source
// string may be read (copied) by several threads at once.
static void share(InternalString* body) {
  if (body != nullptr) kxAtomAdd(&body->refs, 1);
}

KxbString::KxbString(const KxbString& other)
    : body_(other.body_),
      staticText_(other.staticText_),
      staticChars_(other.staticChars_),
      staticBytes_(other.staticBytes_) {
  share(body_);
}

KxbString::KxbString(KxbString&& other) noexcept
    : body_(other.body_),
      staticText_(other.staticText_),
      staticChars_(other.staticChars_),
      staticBytes_(other.staticBytes_) {
  other.body_ = nullptr;
  other.staticText_ = nullptr;
}

KxbString& KxbString::operator=(const KxbString& other) {
  if ((body_ != nullptr && body_ == other.body_) ||
      (staticText_ != nullptr && staticText_ == other.staticText_)) {
    return *this;
  }
  share(other.body_);
  releaseBody(body_, false);
  body_ = other.body_;
  staticText_ = other.staticText_;
  staticChars_ = other.staticChars_;
  staticBytes_ = other.staticBytes_;
  return *this;
}

KxbString& KxbString::operator=(KxbString&& other) noexcept {
  if (this == &other) return *this;
  releaseBody(body_, false);
  body_ = other.body_;
  staticText_ = other.staticText_;
  staticChars_ = other.staticChars_;
  staticBytes_ = other.staticBytes_;
  other.body_ = nullptr;
  other.staticText_ = nullptr;
  return *this;
}

KxbString::~KxbString() { releaseBody(body_, false); }

// ---------------------------------------------------------------------------
// Access

const char* KxbString::asCstr() const { return bytes(); }

int KxbString::length() const {
  if (body_ != nullptr) return static_cast<int>(body_->charLength);
  return staticText_ != nullptr ? staticChars_ : 0;
}

int KxbString::cStrSize() const { return byteLength() + 1; }

void KxbString::setNull(bool wipe) {
  releaseBody(body_, wipe);
  body_ = nullptr;
  if (staticText_ != nullptr) {
    staticText_ = nullptr;
    staticChars_ = 0;
    staticBytes_ = 0;
  }
}

// ---------------------------------------------------------------------------
// The append and assign primitives

bool KxbString::doAppend(const char* text, int chars, int bytes) {
  if (text == nullptr) {
    text = "";
    bytes = 0;
    chars = 0;
  } else if (bytes < 0) {
    if (chars >= 0) {
      const char* end = np_uchar_seek(text, chars);
      if (end != nullptr) {
        bytes = static_cast<int>(end - text);
      } else {
        bytes = static_cast<int>(std::strlen(text));
        chars = -1;
      }
    } else {
      bytes = static_cast<int>(std::strlen(text));
    }
  }
  InternalString* body = body_;
  uint64_t total64 = static_cast<uint64_t>(body->byteLength) + bytes;
  if (total64 >= std::numeric_limits<uint32_t>::max() / 2) return false;
  uint32_t total = static_cast<uint32_t>(total64);
  bool joinsSequence = endsInsideSequence(body->buffer, body->byteLength);

  if (kxAtomGet(&body->refs) >= 2) {
    InternalString* copy = newString(total);
    if (copy == nullptr) return false;
    std::memcpy(copy->buffer, body->buffer, body->byteLength);
    std::memcpy(copy->buffer + body->byteLength, text, bytes);
    copy->buffer[total] = '\0';
    copy->charLength = body->charLength;
    releaseBody(body, false);
    body_ = body = copy;
  } else if (total >= body->capacity) {
    uint32_t capacity = body->capacity == 0 ? total + 1 : body->capacity;
    while (capacity <= total) capacity *= 2;
    capacity = roundedCapacity(capacity);
    void* memory;
    if (!KxbMemPool::getBytes(capacity, &memory)) return false;
    char* buffer = static_cast<char*>(memory);
    std::memcpy(buffer, body->buffer, body->byteLength);
    // `text` may lie in the old buffer: copy it before that is freed.
    std::memcpy(buffer + body->byteLength, text, bytes);
    buffer[total] = '\0';
    KxbMemPool::freeBytes(body->buffer);
    body->buffer = buffer;
    body->capacity = capacity;
  } else {
    std::memmove(body->buffer + body->byteLength, text, bytes);
    body->buffer[total] = '\0';
  }

  if (joinsSequence) {
    // Bytes of a character cut at the old end may be completed by the new
    // ones: whatever count came with the text, count the whole again.
    body->charLength = static_cast<uint32_t>(np_uchar_nlength(body->buffer, total));
  } else if (chars < 0) {
    body->charLength += static_cast<uint32_t>(
        np_uchar_nlength(body->buffer + body->byteLength, bytes));
  } else {
    body->charLength += static_cast<uint32_t>(chars);
  }
  body->byteLength = total;
  return true;
}

bool KxbString::doAssign(const char* text, int chars, int bytes) {
  InternalString* old = body_;
  body_ = nullptr;
  staticText_ = nullptr;
  staticChars_ = 0;
  staticBytes_ = 0;
  int reserve = bytes > 0 ? bytes : 0;
  InternalString* fresh = newString(static_cast<uint32_t>(reserve));
  if (fresh == nullptr) {
    releaseBody(old, false);
    return false;
  }
  body_ = fresh;
  if (!doAppend(text, chars, bytes)) {
    releaseBody(fresh, false);
    body_ = nullptr;
    releaseBody(old, false);
    return false;
  }
  // Released only now: `text` may lie in the old body.
  releaseBody(old, false);
  return true;
}

bool KxbString::convertStatic() {
  const char* text = staticText_;
  int32_t chars = staticChars_;
  int32_t bytes = staticBytes_;
  if (doAssign(text, chars, bytes)) return true;
  staticText_ = text;
  staticChars_ = chars;
  staticBytes_ = bytes;
  return false;
}

bool KxbString::prepWrite() {
  if (staticText_ != nullptr) return convertStatic();
  if (body_ == nullptr) return doAssign("", 0, 0);
  if (kxAtomGet(&body_->refs) < 2) return true;
  InternalString* copy = newString(body_->byteLength);
  if (copy == nullptr) return false;
  std::memcpy(copy->buffer, body_->buffer, body_->byteLength + 1);
  copy->byteLength = body_->byteLength;
  copy->charLength = body_->charLength;
  replaceString(copy);
  return true;
}

bool KxbStringAccess::appendBytes(KxbString& s, const char* text, int bytes) {
  if (s.isNull()) return s.doAssign(text, -1, bytes);
  if (s.staticText_ != nullptr && !s.convertStatic()) return false;
  return s.doAppend(text, -1, bytes);
}

// ---------------------------------------------------------------------------
// Assignment

KxbString& KxbString::assign(const char* s) {
  doAssign(s, -1, -1);
  return *this;
}

KxbString& KxbString::assign(const char* s, int count) {
  doAssign(s, count < 0 ? -1 : count, -1);
  return *this;
}

KxbString& KxbString::assign(int value) {
  char buffer[80];
  int n = std::snprintf(buffer, sizeof buffer, "%d", value);
  doAssign(buffer, n, n);
  return *this;
}

KxbString& KxbString::assign(int64_t value) {
  char buffer[80];
  int n = std::snprintf(buffer, sizeof buffer, "%lld",
                        static_cast<long long>(value));
  doAssign(buffer, n, n);
  return *this;
}

KxbString& KxbString::assign(uint64_t value) {
  char buffer[80];
  int n = std::snprintf(buffer, sizeof buffer, "%llu",
                        static_cast<unsigned long long>(value));
  doAssign(buffer, n, n);
  return *this;
}

KxbString& KxbString::assign(double value) {
  char buffer[32];
  int n = kxs_dtoa15g(value, buffer, sizeof buffer);
  doAssign(buffer, n, n);
  return *this;
}

KxbString& KxbString::assignBytes(const char* s, int maxBytes) {
  int chars = 0;
  int bytes = 0;
  if (s != nullptr) {
    for (;;) {
      int size = 0;
      int code = np_uchar_toint(s + bytes, &size);
      if (size == 0 || code == NP_UCHAR_INVALID || bytes + size > maxBytes) {
        break;
      }
      bytes += size;
      ++chars;
    }
  }
  doAssign(s == nullptr ? "" : s, chars, bytes);
  return *this;
}

KxbString& KxbString::fromUCS2(const unsigned short* wide) {
  if (wide == nullptr) {
    setNull(false);
    return *this;
  }
  int units = 0;
  while (wide[units] != 0) ++units;
  int size = np_wide_to_mb(NP_CP_UTF8, 0, wide, units + 1, nullptr, 0);
  if (size <= 0) return *this;
  void* buffer;
  if (!KxbMemPool::getBytes(static_cast<unsigned>(size), &buffer)) return *this;
  char* utf8 = static_cast<char*>(buffer);
  int written = np_wide_to_mb(NP_CP_UTF8, 0, wide, units + 1, utf8, size);
  if (written > 0) doAssign(utf8, -1, written - 1);
  KxbMemPool::freeBytes(buffer);
  return *this;
}

// ---------------------------------------------------------------------------
// Appending

static void report(bool* failed, bool value) {
  if (failed != nullptr) *failed = value;
}

KxbString& KxbString::append(const KxbString& other, bool* failed) {
  report(failed, false);
  if (other.isNull()) return *this;
  if (isNull()) {
    *this = other;
    return *this;
  }
  if (staticText_ != nullptr && !convertStatic()) {
    report(failed, true);
    return *this;
  }
  // `other` may be this very string: its counts are read before the append.
  int chars = other.length();
  int bytes = other.byteLength();
  report(failed, !doAppend(other.bytes(), chars, bytes));
  return *this;
}

// True when the `bytes` bytes at `text` are all ASCII.
static bool isAscii(const char* text, size_t bytes) {
  size_t i = 0;
  for (; i + 8 <= bytes; i += 8) {
    uint64_t word;
    std::memcpy(&word, text + i, 8);
    if (word & 0x8080808080808080ull) return false;
  }
  for (; i < bytes; ++i) {
    if (static_cast<unsigned char>(text[i]) >= 0x80) return false;
  }
  return true;
}

KxbString& KxbString::append(const char* s, int count, bool* failed) {
  report(failed, false);
  // The common case, kept short: ASCII text appended in place to a body of
  // our own with room for it. ASCII never joins the bytes before it into a
  // character, so its byte count is its character count.
  if (count < 0 && s != nullptr && body_ != nullptr &&
      kxAtomGet(&body_->refs) == 1) {
    size_t bytes = std::strlen(s);
    uint32_t used = body_->byteLength;
    if (bytes < body_->capacity - used && isAscii(s, bytes)) {
      std::memcpy(body_->buffer + used, s, bytes + 1);
      body_->byteLength = used + static_cast<uint32_t>(bytes);
      body_->charLength += static_cast<uint32_t>(bytes);
      return *this;
    }
  }
  if (isNull()) {
    report(failed, !doAssign(s, count < 0 ? -1 : count, -1));
    return *this;
  }
  if (count == 0) return *this;
  if (staticText_ != nullptr && !convertStatic()) {
    report(failed, true);
    return *this;
  }
  report(failed, !doAppend(s, count < 0 ? -1 : count, -1));
  return *this;
}

KxbString& KxbString::append(const char* s, bool* failed) {
  if (s == nullptr && !isNull()) {
    report(failed, false);
    return *this;
  }
  return append(s, -1, failed);
}

// ---------------------------------------------------------------------------
// In-place edits

namespace {

struct IsSpace {
  bool operator()(const char* p, int* size) const {
    unsigned char c = static_cast<unsigned char>(*p);
    if (c < 0x80 && c != 0) {
      *size = 1;
      return c == ' ' || (c >= '\t' && c <= '\r');
    }
    return np_uchar_isspace(p, size) != 0;
  }
  // Whether ASCII byte `c` is one the operator matches.
  static bool asciiMatch(unsigned char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
  }
};

struct IsCodePoint {
  int ch;
  bool operator()(const char* p, int* size) const {
    return np_uchar_toint(p, size) == ch;
  }
  bool asciiMatch(unsigned char c) const { return c == ch; }
};

}  // namespace

// Finds the bytes [from, to) that trimming keeps and how many characters
// it removes.
template <typename Match>
static int trimBounds(const char* text, int bytes, bool leading, bool trailing,
                      Match match, int* from, int* to) {
  int start = 0;
  int removed = 0;
  int size = 0;
  if (leading) {
    while (start < bytes && match(text + start, &size) && size > 0) {
      start += size;
      ++removed;
    }
  }
  int end = bytes;
  if (trailing) {
    // An ASCII byte is a character of its own whatever precedes it, so a
    // run of ASCII bytes at the end is trimmed walking backwards. The walk
    // from the front below is needed only when the text ends in a non-ASCII
    // byte, or holds a NUL byte (where that walk stops).
    int back = bytes;
    int backChars = 0;
    while (back > start) {
      unsigned char c = static_cast<unsigned char>(text[back - 1]);
      if (c >= 0x80 || c == 0) break;
      if (!match.asciiMatch(c)) {
        if (std::memchr(text + start, 0, static_cast<size_t>(back - start)) !=
            nullptr) {
          break;
        }
        *from = start;
        *to = back;
        return removed + backChars;
      }
      --back;
      ++backChars;
    }
    if (back == start) {
      *from = start;
      *to = start;
      return removed + backChars;
    }
    // The kept text ends where the last run of matching characters begins,
    // if the text ends inside that run.
    int runStart = -1;
    int runChars = 0;
    for (int p = start; p < bytes; p += size) {
      bool hit = match(text + p, &size);
      if (size <= 0) break;
      if (!hit) {
        runStart = -1;
      } else if (runStart < 0) {
        runStart = p;
        runChars = 1;
      } else {
        ++runChars;
      }
    }
    if (runStart >= 0) {
      end = runStart;
      removed += runChars;
    }
  }
  *from = start;
  *to = end;
  return removed;
}

int KxbString::cutTo(int from, int to, int removed) {
  if (removed == 0 || !prepWrite()) return 0;
  std::memmove(body_->buffer, body_->buffer + from, to - from);
  body_->buffer[to - from] = '\0';
  body_->byteLength = static_cast<uint32_t>(to - from);
  body_->charLength -= static_cast<uint32_t>(removed);
  return removed;
}

int KxbString::trim(bool leading, bool trailing) {
  if ((!leading && !trailing) || isNull()) return 0;
  int from, to;
  int removed = trimBounds(bytes(), byteLength(), leading, trailing,
                           IsSpace(), &from, &to);
  return cutTo(from, to, removed);
}

int KxbString::trimChar(int ch, bool leading, bool trailing) {
  if ((!leading && !trailing) || isNull()) return 0;
  int from, to;
  int removed = trimBounds(bytes(), byteLength(), leading, trailing,
                           IsCodePoint{ch}, &from, &to);
  return cutTo(from, to, removed);
}

void KxbString::truncate(unsigned count) {
  if (static_cast<unsigned>(length()) <= count) return;
  if (!prepWrite()) {
    setNull(false);
    return;
  }
  int bytes = byteOffset(static_cast<int>(count));
  body_->buffer[bytes] = '\0';
  body_->byteLength = static_cast<uint32_t>(bytes);
  body_->charLength = count;
}

bool KxbString::mapCase(int (*map)(const char*, char*, int)) {
  if (isNull()) return true;
  int size = map(bytes(), nullptr, 0);
  if (size <= 0) return true;
  InternalString* mapped = newString(static_cast<uint32_t>(size));
  if (mapped == nullptr) return false;
  map(bytes(), mapped->buffer, size + 1);
  mapped->byteLength = static_cast<uint32_t>(size);
  mapped->charLength = static_cast<uint32_t>(np_uchar_length(mapped->buffer));
  replaceString(mapped);
  return true;
}

bool KxbString::lowercase() { return mapCase(np_uchar_lower); }

bool KxbString::uppercase() { return mapCase(np_uchar_upper); }
