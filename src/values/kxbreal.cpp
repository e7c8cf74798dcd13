// KxbReal. See kxbreal.h.
#include "kxbreal.h"

#include <cstring>

#include "decimal/decSext.h"
#include "np_uchar.h"

namespace {

// The raw bytes of a KxbReal are a decSext.
inline decSext* sext(unsigned char* bytes) {
  return reinterpret_cast<decSext*>(bytes);
}
inline const decSext* sext(const unsigned char* bytes) {
  return reinterpret_cast<const decSext*>(bytes);
}

// A fresh default context of the format.
struct Context {
  decContext set;
  Context() { decContextDefault(&set, DEC_INIT_DECIMAL192); }
  explicit Context(enum rounding mode) : Context() {
    decContextSetRounding(&set, mode);
  }
  uint32_t status() const { return decContextGetStatus(&set); }
  bool raised(uint32_t mask) const {
    return decContextTestStatus(&set, mask) != 0;
  }
};

enum Operation { kAdd, kSubtract, kMultiply, kDivide };

constexpr int kMaxText = 61;

// 2^32 as a decimal.
decSext twoTo32() {
  decSext value;
  decSextFromUInt64(&value, uint64_t{1} << 32);
  return value;
}

}  // namespace

KxbReal::KxbReal() : flags_(0) { decSextNaN(sext(value_)); }

KxbReal::KxbReal(const KxbReal& other) : flags_(other.flags_) {
  std::memcpy(value_, other.value_, sizeof value_);
}

KxbReal::KxbReal(double value) : flags_(0) { assign(value); }

KxbReal::KxbReal(int64_t value) : flags_(0) { assign(value); }

KxbReal& KxbReal::operator=(const KxbReal& other) {
  flags_ = other.flags_;
  std::memcpy(value_, other.value_, sizeof value_);
  return *this;
}

KxbReal& KxbReal::operator=(double value) {
  assign(value);
  return *this;
}

// ---------------------------------------------------------------------------
// Assignment

void KxbReal::assign(double value) {
  flags_ = 0;
  decSextFromDouble(sext(value_), value);
}

void KxbReal::assign(int64_t value) {
  flags_ = 0;
  decSextFromInt64(sext(value_), value);
}

void KxbReal::assign(const char* text) {
  flags_ = 0;
  if (text == nullptr) {
    setNull();
    return;
  }
  for (int size = 0; *text != '\0' && np_uchar_isspace(text, &size) && size > 0;) {
    text += size;
  }
  Context context;
  decSextFromString(sext(value_), text, &context.set);
  if (context.raised(DEC_Inexact)) flags_ |= kTruncated;
  if (isNull()) {
    setNull();
    return;
  }
  decSextReduce(sext(value_), sext(value_), &context.set);
}

void KxbReal::assign(const uint64_t* words, bool byteSwap) {
  flags_ = 0;
  std::memcpy(value_, words, sizeof value_);
  if (byteSwap) decSextByteSwap(sext(value_), sext(value_));
  if (decSextIsNaN(sext(value_))) decSextNaN(sext(value_));
}

void KxbReal::assign(const KX_SQL_NUMERIC_STRUCT* numeric) {
  flags_ = 0;
  decSext* value = sext(value_);
  decSextZero(value);
  Context context;
  const decSext base = twoTo32();
  bool leading = true;
  for (int word = 3; word >= 0; --word) {
    const unsigned char* b = numeric->val + 4 * word;
    uint32_t w = b[0] | (b[1] << 8) | (b[2] << 16) | (uint32_t{b[3]} << 24);
    if (leading && w == 0) continue;
    leading = false;
    decSext part;
    decSextFromUInt32(&part, w);
    decSextFMA(value, value, &base, &part, &context.set);
  }
  decSextSetExponent(value, &context.set, -numeric->scale);
  if (numeric->sign == 0) decSextMinus(value, value, &context.set);
}

// ---------------------------------------------------------------------------
// Arithmetic

KxbReal KxbReal::basic(int operation, const KxbReal& other, bool* error) {
  KxbReal result;
  flags_ &= ~kTruncated;
  if (error != nullptr) *error = false;
  Context context;
  decSext* out = sext(result.value_);
  const decSext* lhs = sext(value_);
  const decSext* rhs = sext(other.value_);
  switch (operation) {
    case kAdd: decSextAdd(out, lhs, rhs, &context.set); break;
    case kSubtract: decSextSubtract(out, lhs, rhs, &context.set); break;
    case kMultiply: decSextMultiply(out, lhs, rhs, &context.set); break;
    default: decSextDivide(out, lhs, rhs, &context.set); break;
  }
  if (context.raised(DEC_Inexact)) {
    // A rounding is told on the left operand, and never as an error.
    flags_ |= kTruncated;
  } else if (context.status() != 0 && error != nullptr) {
    *error = true;
  }
  return result;
}

KxbReal KxbReal::add(const KxbReal& other, bool* error) {
  return basic(kAdd, other, error);
}
KxbReal KxbReal::subtract(const KxbReal& other, bool* error) {
  return basic(kSubtract, other, error);
}
KxbReal KxbReal::multiply(const KxbReal& other, bool* error) {
  return basic(kMultiply, other, error);
}
KxbReal KxbReal::divide(const KxbReal& other, bool* error) {
  return basic(kDivide, other, error);
}

KxbReal KxbReal::modulo(const KxbReal& other) {
  KxbReal result;
  Context context;
  decSextRemainderNear(sext(result.value_), sext(value_), sext(other.value_),
                       &context.set);
  if (context.status() != 0) result.setNull();
  return result;
}

KxbReal KxbReal::round(int places) {
  KxbReal result(*this);
  result.flags_ = 0;
  if (places == 0 || isNull()) return result;
  Context context(DEC_ROUND_HALF_UP);
  decSext quantum;
  decSextFromInt32(&quantum, 1);
  decSextSetExponent(&quantum, &context.set, -places);
  decSextQuantize(sext(result.value_), sext(value_), &quantum, &context.set);
  return result;
}

KxbReal KxbReal::floor() {
  KxbReal result;
  Context context;
  if (decSextIsNegative(sext(value_))) {
    // Negative values round their magnitude down: toward zero.
    KxbReal magnitude = absolute();
    decSextToIntegralValue(sext(result.value_), sext(magnitude.value_),
                           &context.set, DEC_ROUND_FLOOR);
    decSextMinus(sext(result.value_), sext(result.value_), &context.set);
    result.flags_ = magnitude.flags_;
    return result;
  }
  decSextToIntegralValue(sext(result.value_), sext(value_), &context.set,
                         DEC_ROUND_FLOOR);
  return result;
}

KxbReal KxbReal::ceiling() {
  KxbReal result;
  Context context;
  decSextToIntegralValue(sext(result.value_), sext(value_), &context.set,
                         DEC_ROUND_CEILING);
  return result;
}

KxbReal KxbReal::absolute() {
  KxbReal result;
  Context context;
  decSextAbs(sext(result.value_), sext(value_), &context.set);
  return result;
}

KxbReal KxbReal::negative() {
  KxbReal result;
  Context context;
  decSextMinus(sext(result.value_), sext(value_), &context.set);
  return result;
}

KxbReal KxbReal::sqrt(bool* error) {
  KxbReal result;
  if (error != nullptr) *error = false;
  if (isNull()) {
    if (error != nullptr) *error = true;
    return result;
  }
  Context context;
  decNumber number;
  decimal192ToNumber(sext(value_), &number);
  decNumberSquareRoot(&number, &number, &context.set);
  decimal192FromNumber(sext(result.value_), &number, &context.set);
  if (context.raised(DEC_Invalid_operation)) {
    result.setNull();
    if (error != nullptr) *error = true;
  } else if (context.raised(DEC_Inexact | DEC_Overflow | DEC_Underflow)) {
    result.flags_ |= kTruncated;
  }
  return result;
}

// ---------------------------------------------------------------------------
// Comparison

int KxbReal::compare(const KxbReal& other) const {
  Context context;
  decSext result;
  decSextCompare(&result, sext(value_), sext(other.value_), &context.set);
  // A null operand makes the outcome a NaN, which orders as greater.
  if (decSextIsNaN(&result)) return 1;
  if (decSextIsZero(&result)) return 0;
  return decSextIsNegative(&result) ? -1 : 1;
}

bool operator<(const KxbReal& a, const KxbReal& b) {
  return a.compare(b) == -1;
}

bool KxbReal::isNull() const { return decSextIsNaN(sext(value_)) != 0; }

void KxbReal::setNull() { decSextNaN(sext(value_)); }

// ---------------------------------------------------------------------------
// Conversions

static void report(bool* failed, bool value) {
  if (failed != nullptr) *failed = value;
}

double KxbReal::asDouble(bool* failed) const {
  report(failed, isNull());
  return isNull() ? 0.0 : decSextToDouble(sext(value_));
}

int64_t KxbReal::asInt64(bool* failed) const {
  if (isNull()) {
    report(failed, true);
    return 0;
  }
  Context context;
  int64_t value = decSextToInt64(sext(value_), &context.set, DEC_ROUND_FLOOR);
  bool bad = context.raised(DEC_Invalid_operation);
  report(failed, bad);
  return bad ? 0 : value;
}

unsigned KxbReal::asSize(bool* failed) const {
  if (isNull()) {
    report(failed, true);
    return 0;
  }
  Context context;
  uint64_t value = decSextToUInt64(sext(value_), &context.set, DEC_ROUND_FLOOR);
  bool bad = context.raised(DEC_Invalid_operation) || value > 4294967295u;
  report(failed, bad);
  return bad ? 0 : static_cast<unsigned>(value);
}

KxbString KxbReal::asString(int maxLength) const {
  if (maxLength <= 0 || isNull()) return KxbString();
  int limit = maxLength > kMaxText ? kMaxText : maxLength;
  const decSext* raw = sext(value_);
  bool negative = decSextIsSigned(raw) != 0;
  if (decSextIsInfinite(raw)) {
    const char* text = negative ? "-Infinity" : "Infinity";
    return static_cast<int>(std::strlen(text)) <= limit ? KxbString(text, false)
                                                         : KxbString();
  }
  if (decSextIsZero(raw)) return KxbString("0", false);

  Context context;
  decSext reduced;
  decSextReduce(&reduced, raw, &context.set);
  int32_t exponent = 0;
  uint8_t bcd[DECSEXT_Pmax];
  decSextToBCD(&reduced, &exponent, bcd);
  int first = 0;
  while (first < DECSEXT_Pmax - 1 && bcd[first] == 0) ++first;
  const uint8_t* digits = bcd + first;
  int d = DECSEXT_Pmax - first;
  int e = exponent;
  int sign = negative ? 1 : 0;
  int integerDigits = e + d > 0 ? e + d : 0;

  char out[kMaxText + 1];
  int n = 0;
  if (negative) out[n++] = '-';

  bool plain = integerDigits + sign <= limit && integerDigits <= DECSEXT_Pmax;
  // A value below 1 whose leading zeros leave no room for its first digit.
  if (plain && integerDigits == 0 && sign + 2 + -(e + d) + 1 > limit) {
    plain = false;
  }
  if (plain) {
    if (integerDigits == 0) {
      out[n++] = '0';
    } else {
      for (int i = 0; i < integerDigits; ++i) {
        out[n++] = static_cast<char>('0' + (i < d ? digits[i] : 0));
      }
    }
    // Fraction: the zeros after the point, then the digits beyond the
    // integer part, as many as fit, cut without rounding.
    int room = limit - n - 1;
    int written = 0;
    char fraction[kMaxText];
    if (e < 0) {
      int zeros = integerDigits == 0 ? -(e + d) : 0;
      for (int i = 0; i < zeros && written < room; ++i) fraction[written++] = '0';
      for (int i = integerDigits; i < d && written < room; ++i) {
        fraction[written++] = static_cast<char>('0' + digits[i]);
      }
    }
    while (written > 0 && fraction[written - 1] == '0') --written;
    if (written > 0) {
      out[n++] = '.';
      std::memcpy(out + n, fraction, written);
      n += written;
    }
    out[n] = '\0';
    return KxbString(out, false);
  }

  // Scientific notation never rounds significant digits away.
  if (e <= 0 || d + sign > limit) return KxbString();
  out[n++] = static_cast<char>('0' + digits[0]);
  if (d > 1) {
    out[n++] = '.';
    for (int i = 1; i < d; ++i) out[n++] = static_cast<char>('0' + digits[i]);
  }
  char tail[16];
  int tailBytes = 0;
  int adjusted = e + d - 1;
  tail[tailBytes++] = 'E';
  tail[tailBytes++] = '+';
  char number[12];
  int numberBytes = 0;
  for (int v = adjusted; v > 0; v /= 10) number[numberBytes++] = static_cast<char>('0' + v % 10);
  while (numberBytes > 0) tail[tailBytes++] = number[--numberBytes];
  if (n + tailBytes > limit) return KxbString();
  std::memcpy(out + n, tail, tailBytes);
  n += tailBytes;
  out[n] = '\0';
  return KxbString(out, false);
}

void KxbReal::asFD(uint64_t* words) {
  // Most values (amounts read back from their normal form) are normal
  // already; the general path below costs a reduction and an addition.
  if (!isNull() && !decSextIsPlainReduced(sext(value_))) {
    Context context;
    decSext zero;
    decSextZero(&zero);
    decSextReduce(sext(value_), sext(value_), &context.set);
    decSextAdd(sext(value_), sext(value_), &zero, &context.set);
  }
  std::memcpy(words, value_, sizeof value_);
}

void KxbReal::asSQLNumeric(KX_SQL_NUMERIC_STRUCT* numeric, bool* failed,
                           int precision, int scale) const {
  numeric->sign = 1;
  report(failed, true);
  if (isNull() || decSextIsInfinite(sext(value_))) return;
  Context context;
  decSext value;
  decSext quantum;
  decSextFromInt32(&quantum, 1);
  decSextSetExponent(&quantum, &context.set, -scale);
  decSextQuantize(&value, sext(value_), &quantum, &context.set);
  if (decSextIsNaN(&value)) return;
  if (decSextIsNegative(&value) ||
      (decSextIsSigned(&value) && decSextIsZero(&value))) {
    if (decSextIsNegative(&value)) numeric->sign = 0;
    decSextCopyAbs(&value, &value);
  }
  numeric->scale = static_cast<signed char>(scale);
  decSextSetExponent(&value, &context.set, 0);
  uint32_t digits = decSextIsZero(&value) ? 1 : decSextDigits(&value);
  numeric->precision = static_cast<unsigned char>(digits);
  std::memset(numeric->val, 0, sizeof numeric->val);
  const decSext base = twoTo32();
  for (int word = 0; word < 4; ++word) {
    decSext remainder;
    decSextRemainder(&remainder, &value, &base, &context.set);
    uint32_t w = decSextToUInt32(&remainder, &context.set, DEC_ROUND_FLOOR);
    for (int b = 0; b < 4; ++b) {
      numeric->val[4 * word + b] = static_cast<unsigned char>(w >> (8 * b));
    }
    decSextDivideInteger(&value, &value, &base, &context.set);
    if (decSextIsZero(&value)) break;
  }
  bool tooWide = !decSextIsZero(&value);
  bool tooLong = static_cast<int>(digits) > precision;
  report(failed, tooWide || tooLong || context.raised(DEC_Invalid_operation));
}
