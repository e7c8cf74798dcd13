// KxbReal: an exact decimal number of 52 significant digits.
//
// One 192-bit decimal floating-point value (IEEE 754 decimal192, exponents
// to +-98304) with a null state and a "truncated" flag. Null is a NaN:
// isNull() is true exactly when the value is a NaN, and every invalid result
// (0/0, a failed text conversion, the square root of a negative) is null.
// Every operation computes in a fresh default context of the format (52
// digits, half-even unless stated), so objects share nothing and may be used
// on different threads freely; one object is used by one thread at a time.
//
// The truncated flag: every assignment clears it; the four basic operations
// clear it on the LEFT operand (the object they are called on) and set it
// there, not on the result, when the operation had to round. A rounding
// (Inexact) is never also reported as an error, even when it came with an
// overflow; any other condition sets the operation's error flag.
//
// Nothing throws; bool* failure flags may be null.
#ifndef KXB_INCLUDE_KXBREAL_H_
#define KXB_INCLUDE_KXBREAL_H_

#include <cstdint>

#include "kxbstring.h"

// ODBC SQL_NUMERIC_STRUCT: 19 bytes, no padding.
#pragma pack(push, 1)
struct KX_SQL_NUMERIC_STRUCT {
  unsigned char precision;  // decimal digits
  signed char scale;        // digits after the decimal point
  unsigned char sign;       // 1 positive, 0 negative
  unsigned char val[16];    // unscaled magnitude, 128-bit little-endian
};
#pragma pack(pop)

class KxbReal {
 public:
  // Null.
  KxbReal();
  KxbReal(const KxbReal& other);
  // The shortest decimal that converts back to the same double (0.1 is 0.1).
  explicit KxbReal(double value);
  explicit KxbReal(int64_t value);
  explicit KxbReal(int value) : KxbReal(static_cast<int64_t>(value)) {}
  virtual ~KxbReal() = default;

  KxbReal& operator=(const KxbReal& other);
  KxbReal& operator=(double value);

  void assign(double value);
  void assign(int64_t value);
  void assign(int value) { assign(static_cast<int64_t>(value)); }
  // Leading white space is skipped; the rest is the number's text ("1.50",
  // "-2E+3", "Infinity"). The value is reduced (1.50 holds 1.5); text that is
  // not a number gives null. Rounding to 52 digits sets the truncated flag.
  void assign(const char* text);
  // The raw 24 bytes as three 64-bit words in memory order; `byteSwap` for
  // data stored in the other byte order. Any NaN becomes the canonical NaN.
  void assign(const uint64_t* words, bool byteSwap);
  // The magnitude read from `val`, the exponent minus the scale, negated
  // when the sign byte is 0.
  void assign(const KX_SQL_NUMERIC_STRUCT* numeric);

  // Results are new objects; see the truncated-flag rule above.
  KxbReal add(const KxbReal& other, bool* error = nullptr);
  KxbReal subtract(const KxbReal& other, bool* error = nullptr);
  KxbReal multiply(const KxbReal& other, bool* error = nullptr);
  KxbReal divide(const KxbReal& other, bool* error = nullptr);
  // Remainder after division by `other` with the quotient rounded to the
  // nearest integer, ties to even (7 modulo 4 is -1). Null when anything
  // at all was reported.
  KxbReal modulo(const KxbReal& other);
  // places 0: an unchanged copy. Otherwise rounded half-up to `places`
  // digits after the point (negative: to tens, hundreds, ...).
  KxbReal round(int places);
  // Toward negative infinity for values >= 0; toward zero for negative
  // values (floor of -2.5 is -2).
  KxbReal floor();
  KxbReal ceiling();
  KxbReal absolute();
  KxbReal negative();
  // Null with *error set for a null or negative value; truncated when the
  // root had to be rounded.
  KxbReal sqrt(bool* error = nullptr);

  KxbReal operator+(const KxbReal& other) { return add(other); }
  KxbReal operator-(const KxbReal& other) { return subtract(other); }
  KxbReal operator*(const KxbReal& other) { return multiply(other); }
  KxbReal operator/(const KxbReal& other) { return divide(other); }
  KxbReal operator+(double other) { return add(KxbReal(other)); }
  KxbReal operator-(double other) { return subtract(KxbReal(other)); }
  KxbReal operator*(double other) { return multiply(KxbReal(other)); }
  KxbReal operator/(double other) { return divide(KxbReal(other)); }
  KxbReal& operator+=(const KxbReal& other) { return *this = add(other); }
  KxbReal& operator-=(const KxbReal& other) { return *this = subtract(other); }
  KxbReal& operator*=(const KxbReal& other) { return *this = multiply(other); }
  KxbReal& operator/=(const KxbReal& other) { return *this = divide(other); }
  KxbReal& operator+=(double other) { return *this += KxbReal(other); }
  KxbReal& operator-=(double other) { return *this -= KxbReal(other); }
  KxbReal& operator*=(double other) { return *this *= KxbReal(other); }
  KxbReal& operator/=(double other) { return *this /= KxbReal(other); }

  // -1, 0 or 1; a null operand gives 1 (null is greater than, and unequal
  // to, everything, itself included). Every operator below follows this
  // outcome, so with a null on either side `>`, `>=` and `!=` are true and
  // `==`, `<` and `<=` are false.
  int compare(const KxbReal& other) const;
  bool operator==(const KxbReal& other) const { return compare(other) == 0; }
  bool operator!=(const KxbReal& other) const { return compare(other) != 0; }
  // (`a < b` of two KxbReals is the free operator below.)
  bool operator>(const KxbReal& other) const { return compare(other) == 1; }
  bool operator<=(const KxbReal& other) const { return compare(other) <= 0; }
  bool operator>=(const KxbReal& other) const { return compare(other) >= 0; }
  bool operator==(double other) const { return *this == KxbReal(other); }
  bool operator!=(double other) const { return *this != KxbReal(other); }
  bool operator<(double other) const { return compare(KxbReal(other)) < 0; }
  bool operator>(double other) const { return *this > KxbReal(other); }
  bool operator<=(double other) const { return *this <= KxbReal(other); }
  bool operator>=(double other) const { return *this >= KxbReal(other); }

  bool isNull() const;
  void setNull();
  bool truncated() const { return (flags_ & kTruncated) != 0; }

  // Nearest double; null fails with 0.
  double asDouble(bool* failed = nullptr) const;
  // Rounded toward negative infinity (2.7 -> 2, -2.5 -> -3); null or out of
  // range fails with 0.
  int64_t asInt64(bool* failed = nullptr) const;
  // As asInt64, for 0 .. 4294967295.
  unsigned asSize(bool* failed = nullptr) const;
  // At most `maxLength` characters (61 at most): plain notation when the
  // integer part fits, else scientific; null when the value cannot be
  // written in that room without losing significant integer digits, or is
  // null, or maxLength <= 0. Fraction digits that do not fit are dropped
  // without rounding.
  KxbString asString(int maxLength) const;
  KxbString asString() const { return asString(61); }
  // Normalises this object (reduced, exponent never positive: 1E+2 becomes
  // 100) and copies its 24 bytes out as three words.
  void asFD(uint64_t* words);
  // Fills `numeric` for `scale` digits after the point. The precision byte
  // receives the number of digits of the unscaled magnitude. Fails (and
  // nothing of the structure is to be used) when the value is null or
  // infinite, its unscaled magnitude needs more than 128 bits, or it has more
  // digits than `precision`.
  void asSQLNumeric(KX_SQL_NUMERIC_STRUCT* numeric, bool* failed,
                    int precision, int scale) const;

 private:
  static constexpr uint32_t kTruncated = 1;

  KxbReal basic(int operation, const KxbReal& other, bool* error);

  uint32_t flags_;
  alignas(8) unsigned char value_[24];
};

// True only when the comparison outcome is "less"; also the order for sorted
// containers (null values are never less than anything).
bool operator<(const KxbReal& a, const KxbReal& b);

#endif  // KXB_INCLUDE_KXBREAL_H_
