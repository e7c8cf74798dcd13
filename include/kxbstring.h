// KxbString: the library's one text type.
//
// A KxbString holds UTF-8 text and is in exactly one of three states:
//   null    no value (distinct from the empty text); isNull() is true;
//   static  borrows the caller's NUL-terminated text without copying it (the
//           caller keeps that text alive and unchanged for as long as this
//           string or any copy of it exists);
//   shared  owns a share of a reference-counted body from the memory pool.
// Copies share the body (one atomic increment); the first write to a shared
// body copies it (copy on write). Lengths, positions and counts are in
// characters unless a byte count is named. A "character" is a well-formed
// UTF-8 sequence, or a single byte that does not start one.
//
// Failure: allocation failure is the only failure. Assignments then leave the
// string null; appends leave it unchanged and set *failed; trim/trimChar
// return 0; truncate makes the string null; lowercase/uppercase return false;
// asUCS2 returns null; fromUCS2 leaves the string unchanged. Number parsers
// report through *failed with a result of 0. Nothing throws.
//
// Thread safety: one KxbString object is not safe for concurrent use, but
// different objects sharing one body may be used on different threads.
// Every body comes from KxbMemPool, which must exist (see kxbmempool.h).
#ifndef KXB_INCLUDE_KXBSTRING_H_
#define KXB_INCLUDE_KXBSTRING_H_

#include <cstdint>

struct InternalString;
class KxUtf8ToUC;

class KxbString {
 public:
  // Null.
  KxbString();
  // isStatic true: borrows `text` (null `text` gives a null string). false:
  // copies `text` into a new body (null `text` gives a null string; an
  // allocation failure gives a null string).
  KxbString(const char* text, bool isStatic = false);
  KxbString(const KxbString& other);
  KxbString(KxbString&& other) noexcept;
  KxbString& operator=(const KxbString& other);
  KxbString& operator=(KxbString&& other) noexcept;
  virtual ~KxbString();

  bool isNull() const { return body_ == nullptr && staticText_ == nullptr; }
  // Never null: "" for a null string.
  const char* asCstr() const;
  // Characters; 0 for null. Constant time.
  int length() const;
  // Bytes including the terminator; 1 for null.
  int cStrSize() const;
  // Drops the value. With `wipe`, a body this string holds the last reference
  // to is overwritten with zeros (all its capacity) before it is freed.
  void setNull(bool wipe = false);

  // Assignments: on allocation failure the string is left null.
  KxbString& assign(const char* s);
  // The first `count` characters of `s` (all when negative or `s` is shorter).
  KxbString& assign(const char* s, int count);
  KxbString& assign(int value);
  KxbString& assign(int64_t value);
  KxbString& assign(uint64_t value);
  // "%.15g", always with "." as the decimal point.
  KxbString& assign(double value);
  // The longest prefix of whole characters of `s` within `maxBytes` bytes,
  // stopping at the first invalid sequence.
  KxbString& assignBytes(const char* s, int maxBytes);
  // NUL-terminated UTF-16 text, converted.
  KxbString& fromUCS2(const unsigned short* wide);

  // Appends; *failed (when given) tells whether an allocation failed, in
  // which case the string is unchanged. A null string appended to is first
  // made a share of `other` / assigned the text.
  KxbString& append(const KxbString& other, bool* failed = nullptr);
  KxbString& append(const char* s, int count, bool* failed = nullptr);
  KxbString& append(const char* s, bool* failed = nullptr);

  // -1, 0 or 1 (case-sensitive: unsigned bytes; otherwise by case folding,
  // whose result is returned as it comes). Null sorts before everything.
  int compare(const KxbString& other, bool caseSensitive = true) const;
  int compare(const char* other, bool caseSensitive = true) const;

  // Character index of the first occurrence of `needle` at or after `start`
  // (negative counts as 0), or -1 (also for a null or empty needle, a null
  // string, or a start past the end).
  int find(const KxbString& needle, int start = 0) const;
  // Character index of the last occurrence (overlapping matches count), or -1.
  int rfind(const KxbString& needle) const;

  // `count` characters from `start` (to the end when negative). Null gives
  // null; a start past the end gives the empty string.
  KxbString mid(unsigned start, int count = -1) const;
  // The last `count` characters (all when count >= length; empty when
  // negative). Null gives null.
  KxbString right(int count) const;
  // From character `start` on, up to `count` occurrences of `what` replaced by
  // `with` (all when negative, none when 0). Null gives null, and so does
  // running out of memory.
  KxbString replace(const KxbString& what, const KxbString& with,
                    unsigned start = 0, int count = -1) const;

  // Remove white space / runs of code point `ch`; return characters removed.
  int trim(bool leading = true, bool trailing = true);
  int trimChar(int ch, bool leading = true, bool trailing = true);
  // Keeps the first `count` characters.
  void truncate(unsigned count);
  // Full Unicode case mapping; false only when memory ran out.
  bool lowercase();
  bool uppercase();

  // Strict decimal parses of the whole text (blanks and a sign allowed);
  // *failed true and result 0 when null or not a number of that type.
  double asDouble(bool* failed = nullptr) const;
  int64_t asInt64(bool* failed = nullptr) const;
  int asInt(bool* failed = nullptr) const;
  // Values below 2^32 only.
  unsigned asSize(bool* failed = nullptr) const;

  // A new holder of the text in UTF-16 (the empty text for null), or null
  // when memory ran out. Release it with KxUtf8ToUC::release().
  KxUtf8ToUC* asUCS2() const;

 private:
  friend class KxbStringAccess;

  static InternalString* newString(uint32_t bytes);
  static void releaseBody(InternalString* body, bool wipe);
  bool prepWrite();
  void replaceString(InternalString* body);
  bool doAppend(const char* text, int chars, int bytes);
  bool doAssign(const char* text, int chars, int bytes);
  bool convertStatic();
  // Keeps bytes [from, to) after removing `removed` characters.
  int cutTo(int from, int to, int removed);
  bool mapCase(int (*map)(const char*, char*, int));
  const char* bytes() const;
  int byteLength() const;
  // Byte offset of character `index` (index <= length()).
  int byteOffset(int index) const;

  InternalString* body_;
  const char* staticText_;
  int32_t staticChars_;
  int32_t staticBytes_;
};

// Null before anything; otherwise unsigned byte order.
bool operator<(const KxbString& a, const KxbString& b);

// Orders for sorted containers.
struct KxbStringLess {
  bool operator()(const KxbString& a, const KxbString& b) const {
    return a.compare(b, true) < 0;
  }
};
struct KxbStringLessInsensitive {
  bool operator()(const KxbString& a, const KxbString& b) const {
    return a.compare(b, false) < 0;
  }
};

// UTF-8 to UTF-16 holder. Buffers come from the memory pool.
class KxUtf8ToUC {
 public:
  KxUtf8ToUC();
  ~KxUtf8ToUC();
  // Shares, does not copy: afterwards both holders point at `other`'s
  // buffer, and the buffer this holder had is not freed. Whichever of the
  // two is set, released or destroyed first frees the shared buffer and
  // leaves the other pointing at freed memory, so the other must then be
  // neither read nor destroyed; assign a fresh holder (or set it) first.
  KxUtf8ToUC& operator=(const KxUtf8ToUC& other);
  // Converts `s` (null empties the holder). False only when the buffer could
  // not be allocated; a text that cannot be converted leaves count 0, true.
  bool set(const char* s);
  unsigned short* ucString() const { return ucBuffer_; }
  // 16-bit units including the terminator.
  int bufLength() const { return count_; }
  int bufLengthBytes() const { return count_ * 2; }
  // Empties and frees a holder made by KxbString::asUCS2.
  void release();

 private:
  KxUtf8ToUC(const KxUtf8ToUC&) = delete;

  int32_t count_;
  unsigned short* ucBuffer_;
};

// UTF-16 buffer filled by the caller, converted to UTF-8 on demand.
class KxUCToUtf8 {
 public:
  KxUCToUtf8();
  ~KxUCToUtf8();
  // Shares the 16-bit buffer and takes its length, nothing more: both
  // holders then write and read the same units, this holder's former 16-bit
  // buffer is not freed, and a UTF-8 text it had already made stays cached
  // (utf8String() keeps returning it). As with KxUtf8ToUC, the first of the
  // two to be set, released or destroyed frees the shared buffer, and the
  // other must not be used or destroyed after that.
  KxUCToUtf8& operator=(const KxUCToUtf8& other);
  // Frees both buffers; for length > 0 takes a buffer of length+1 units with
  // a 0 unit at `length`. False when that allocation failed.
  bool set(int length);
  unsigned short* getUCBuffer() const { return ucBuffer_; }
  int bufLength() const { return length_; }
  int bufLengthBytes() const { return length_ * 2; }
  // The UTF-8 text (converted on the first call, then cached), or null when
  // memory ran out.
  const char* utf8String();
  // Empties and frees a holder allocated with new.
  void release();

 private:
  KxUCToUtf8(const KxUCToUtf8&) = delete;

  unsigned short* ucBuffer_;
  char* utf8Buffer_;
  int32_t length_;
};

// Converts the NUL-terminated UTF-8 text `utf8`, terminator included, into
// UTF-16 units in `out` (room for `outUnits` units). Returns the number of
// units written, the terminator counted. With a null `out` or an `outUnits`
// of 0 nothing is written and the number of units needed is returned, so a
// caller can measure first. Ill-formed UTF-8 is not an error: each maximal
// ill-formed part becomes U+FFFD; characters above U+FFFF become surrogate
// pairs. Failure returns 0: a null `utf8`, a negative `outUnits`, or an
// `out` too small for the whole result (its contents are then unspecified,
// but nothing is written past `outUnits` units).
int convertUtf8ToUC(char* utf8, unsigned short* out, int outUnits);
// Converts the 0-terminated UTF-16 text `wide`, terminator included, into
// UTF-8 bytes in `out` (room for `outBytes` bytes). Returns the bytes
// written, the terminator counted; with a null `out` or an `outBytes` of 0,
// the bytes needed. An unpaired surrogate becomes U+FFFD. Failure returns 0:
// a null `wide`, a negative `outBytes`, or an `out` too small. A result that
// fills `out` exactly has its last byte forced to NUL, so a successful
// result in `out` is always terminated.
int convertUCToUtf8(unsigned short* wide, char* out, int outBytes);

// A fresh random UUID in canonical text form.
KxbString kxbGetUUID();

// The library's formatter: "%%", "%d", "%ld", "%li", "%lu", "%lld", "%lli",
// "%llu", "%I64i", "%I64u", "%g", "%s" (UTF-8 text) and "%S" (KxbString*).
// No flags, widths or precisions; anything else after "%" is copied
// literally and consumes no argument. An empty format gives null.
KxbString kxbStringFormat(const char* format, ...);

#endif  // KXB_INCLUDE_KXBSTRING_H_
