// KxbDatavar: the library's dynamically typed value.
//
//   KxbDatavar v;                    // null, type() Unknown
//   v.assign("42");                  // String "42"
//   v.setType(Integer);              // Integer 42
//   KxbDatavar w(v);                 // shares the value: no data copied
//   w.assign(3.5);                   // w becomes a Real; v is still 42
//
// A variant is null or holds one value of one kxbType. The value lives in a
// record shared by copies through an atomic reference count; the first
// change through one holder copies nothing but gives that holder a record of
// its own (copy on write). Records and every fixed-size value come from the
// memory pool (kxbmempool.h), which must exist; a Binary value's KxbBlob
// object comes from the general heap.
//
// Conversions (asBool ... asBlob) never throw. Those taking `bool* failed`
// set *failed to false on entry and to true on failure (a null pointer means
// the caller does not ask); a failed conversion returns the zero value of
// its result (false, 0, 0.0, a null KxbReal, an empty KxbBlob). A null
// variant converts to the zero value without failure. Some conversion rules
// are deliberately odd and relied upon by callers (see the member comments):
// they are not to be "fixed".
//
// Failure of assignments: when no private record can be had (memory ran
// out) the variant is left as it was; when the record's data cannot be made
// the variant becomes null. Assigning a null source (a null KxbString,
// KxbReal, KxbDate, KxbBlob or text pointer) makes the variant null.
//
// Thread safety: copies sharing one record may be used, changed and
// destroyed on different threads at the same time. One KxbDatavar object is
// not to be used by two threads at once.
#ifndef KXB_INCLUDE_KXBDATAVAR_H_
#define KXB_INCLUDE_KXBDATAVAR_H_

#include <cstdint>

#include "kxbblob.h"
#include "kxbdate.h"
#include "kxbreal.h"
#include "kxbstring.h"

// The value types. The numbers are part of the interface (they are stored
// and exchanged); do not renumber.
enum kxbType : int {
  Unknown = 0,
  Boolean = 1,
  Integer = 2,
  Real = 3,
  String = 4,
  Date = 5,
  Binary = 6
};

// The guesses of determineType.
enum determinedType : int {
  kxbDeterminedTruth = 0,    // "yes", "no", "true", "false", "t", "f", "y", "n"
  kxbDeterminedInteger = 1,
  kxbDeterminedReal = 2,
  kxbDeterminedDate = 3,
  kxbDeterminedText = 4
};

// The type named `name` in the type-name table ("Unknown", "Boolean",
// "Integer", "Real", "String", "Date", "Date (MDY)", "Date (DMY)",
// "Date (YMD)", "Binary"), compared ignoring case; Unknown for any other
// name and for null.
kxbType kxbTypeFromString(const char* name);
// As above; *dateOrder (when given) receives the date-element order of the
// name: 1 for "Date (DMY)", 2 for "Date (YMD)", 0 for every other name.
kxbType kxbTypeFromString(const char* name, int* dateOrder);
// The name of `type` ("Date" for Date); "" for a value outside the table,
// never null. The text is static.
const char* kxbTypeToString(kxbType type);

// A guess of what `text` holds: a truth word (exact, case-sensitive), a date
// the platform date parser reads with at least all its date or all its time
// elements non-zero, an integer or a real number (digits, at most one point,
// one exponent mark after a digit and two signs, blanks ignored), or other
// text (also the empty and the null text).
determinedType determineType(KxbString text);

// The process-wide forms of Date values as text (asString): ISO 8601
// ("2024-03-07T09:05:00") when `iso` is set, with milliseconds when
// isoMillis is set too; otherwise "2024-03-07 09:05:00". Both false when
// the library is loaded; start-up sets them from BASE/DATE_FORMAT before
// other threads use variants. Reads take no lock.
void kxbSetDatavarIsoDates(bool iso);
void kxbSetDatavarIsoMillis(bool isoMillis);

struct KxbDatavarRecord;

class KxbDatavar {
 public:
  // Null.
  KxbDatavar();
  // Shares the record of `other` (one atomic increment).
  KxbDatavar(const KxbDatavar& other);
  // Takes the record of `other`, which becomes null.
  KxbDatavar(KxbDatavar&& other) noexcept;
  // Releases the record; the last holder frees it.
  virtual ~KxbDatavar();
  // Shares the record of `other` (nothing happens when both share one).
  KxbDatavar& operator=(const KxbDatavar& other);
  KxbDatavar& operator=(KxbDatavar&& other) noexcept;

  // The held type; Unknown when null.
  kxbType type() const;
  // True without a record; for Real and Binary values true when the held
  // KxbReal or KxbBlob is null; false for every other value (an empty String
  // is not null).
  bool isNull() const;
  // Releases the record: the variant becomes null and reports Unknown.
  void setNull();
  // Characters of a String value; -1 for every other type and for null.
  int length() const;

  // Typed assignments. Each returns *this (see the failure rules above).
  KxbDatavar& assign(bool value);
  KxbDatavar& assign(int value);  // an Integer
  KxbDatavar& assign(int64_t value);
  KxbDatavar& assign(long long value) {
    return assign(static_cast<int64_t>(value));
  }
  KxbDatavar& assign(float value);   // a Real made from the double value
  KxbDatavar& assign(double value);  // a Real
  KxbDatavar& assign(const KxbReal& value);
  KxbDatavar& assign(const KxbString& value);
  KxbDatavar& assign(const KxbDate& value);
  // Shares the blob's content (blobs have no copy on write).
  KxbDatavar& assign(const KxbBlob& value);
  // A String from NUL-terminated UTF-8 text.
  KxbDatavar& assign(const char* text);
  // A String of the first `count` characters of `text` (all of it when the
  // text is shorter or `count` is negative).
  KxbDatavar& assign(const char* text, int count);
  // A String of the whole characters of `text` that fit in `maxBytes` bytes;
  // the copy stops at the terminator and at the first invalid UTF-8
  // sequence, and never cuts a character.
  KxbDatavar& assignBytes(const char* text, int maxBytes);

  // Raw transfer, for layers that move values without interpreting them.
  //
  // Stores `size` raw bytes as a value of `type`, as getRaw gives them:
  // Boolean 1 byte, Integer 8 (int64 in memory order), Date 8 (the day
  // number as a double), Real 24 (the three words of KxbReal's raw form,
  // byte-swapped first when `byteSwap`), String the UTF-8 bytes including
  // the terminator (the last byte is taken as the terminator); Unknown
  // keeps the bytes as they are. A null pointer, a size of 0 or a type
  // outside the enumeration makes the variant null. A size that does not
  // fit a fixed-size type leaves a zero value of that type (Boolean false,
  // Integer 0, Date day 0) or, for Real, the number the variant held when
  // it was a Real already (else a null Real). Binary cannot be transferred
  // raw: the variant keeps the blob it held as a Binary, or gets an empty
  // one.
  KxbDatavar& assign(kxbType type, const void* raw, unsigned size);
  KxbDatavar& assign(kxbType type, const void* raw, unsigned size,
                     bool byteSwap);
  // Stores the `size` bytes of `text` (a terminator is added) as a String
  // and then converts it to `type` with setType. Returns false when `text`
  // is null or `size` 0 (the variant becomes null), when memory ran out, or
  // when setType reports failure (the variant then holds what setType left).
  bool build(kxbType type, const char* text, unsigned size);
  // The stored bytes and their count in *size: null and 0 for a null
  // variant; the 24 raw bytes of a Real (the normal form of the value);
  // the data of every other type. For Binary the pointer is the KxbBlob
  // object and the size 0: blobs cannot be moved raw. The pointer is valid
  // until this variant is changed or destroyed.
  const void* getRaw(unsigned* size) const;
  // The fixed raw size of `type`: Boolean 1, Integer 8, Real 24, Date 8;
  // 0 (variable or not raw) for every other type.
  static unsigned getRawSizeReq(kxbType type);

  // Conversions, by the held type:
  //
  // asBool: Boolean as is; Integer non-zero; Real its asInt64 non-zero;
  //   String a truth word ("TRUE"/"FALSE", "T"/"F", "YES"/"NO", "Y"/"N",
  //   "ON"/"OFF", any case) or else its first byte: '0' false, another
  //   digit true ("10" and "7abc" are true); other texts, Date and Binary
  //   fail.
  // asInt: Integer keeps its low 32 bits without a range check (2^32 + 1
  //   gives 1); Real outside the int range fails; String a whole decimal
  //   number; Date the day number truncated toward zero; Binary fails.
  // asInt64: as asInt in 64 bits.
  // asSize (unsigned 32 bits): Integer fails unless its upper 32 bits are 0
  //   (so every negative fails); String a whole non-negative number below
  //   2^32; Date reads the stored double's bit pattern as an integer, so
  //   only day 0.0 (and other patterns with a zero upper half) succeeds.
  // asDouble / asFloat: Boolean 0 or 1; Integer converted; Real nearest;
  //   String a decimal number; Date the day number; Binary fails.
  // asReal: exact from Boolean, Integer and Date's day number; String
  //   parsed (fails when not a number); Binary fails.
  // asBlob: only String (its bytes including the terminating zero byte) and
  //   Binary (shares the blob) convert.
  bool asBool(bool* failed = nullptr) const;
  int asInt(bool* failed = nullptr) const;
  int64_t asInt64(bool* failed = nullptr) const;
  unsigned asSize(bool* failed = nullptr) const;
  double asDouble(bool* failed = nullptr) const;
  float asFloat(bool* failed = nullptr) const;
  KxbReal asReal(bool* failed = nullptr) const;
  KxbBlob asBlob(bool* failed = nullptr) const;
  // Boolean, Integer and Binary give a null date; Real its double as a day
  // number; String parsed in the process-wide date order; null when that
  // fails.
  KxbDate asDate() const;
  // "true"/"false"; Integer in decimal; Real in at most 61 characters; Date
  // in the process-wide form (kxbSetDatavarIsoDates); Binary a null string.
  KxbString asString() const;

  // Converts the held value to `type` in place with the conversion above
  // and assigns the result back, also when it failed (Boolean false,
  // Integer 0, Real and Binary null). Returns false for a null variant, for
  // Unknown and types outside the enumeration (nothing changes), when
  // the conversion failed, and when memory ran out (the variant is then as
  // it was, or null when its new value could not be stored). A Date
  // conversion never fails: an unreadable text gives true and a null
  // variant.
  bool setType(kxbType type);

  // Cuts a String value to at most `chars` whole characters within
  // `maxBytes` bytes (no byte limit when negative). The character count
  // becomes `chars` itself, even when the byte limit kept fewer characters.
  // Other types are left alone. False only when memory ran out (the value
  // is then unchanged).
  bool truncate(int chars, int maxBytes);

  // Negative, zero or positive. Null sorts before every value; two nulls
  // are equal. Values of two different types raise the assertion "compare
  // type mismatch" (kxbAssertFailure) and give -1. Strings compare by their
  // UTF-8 bytes (no locale, no case folding); Binary values are all equal.
  int compare(const KxbDatavar& other) const;

 private:
  friend struct KxbDatavarAccess;

  KxbDatavarRecord* record_;
};

// Orders variants for sorted containers: a before b when a.compare(b) < 0.
struct KxbDatavarLess {
  bool operator()(const KxbDatavar& a, const KxbDatavar& b) const {
    return a.compare(b) < 0;
  }
};

#endif  // KXB_INCLUDE_KXBDATAVAR_H_
