// Strict number parsers and "%.15g" printing, independent of the locale.
//
// The syntax of the whole text is checked here first; the value is then
// computed by std::from_chars (and printed by std::to_chars), which never
// consult the locale.
#include "kxs_num.h"

#include <stdint.h>
#include <string.h>

#include <charconv>
#include <limits>
#include <string_view>
#include <system_error>

#include "kxs_ascii.h"

namespace {

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }
bool IsDigit(char c) { return c >= '0' && c <= '9'; }

const char* SkipBlanks(const char* p) {
  while (IsBlank(*p)) ++p;
  return p;
}

// True when only blanks follow `p`.
bool OnlyBlanksFrom(const char* p) { return *SkipBlanks(p) == 0; }

// Blanks, optional sign, decimal digits, blanks. Sets [*begin, *end) to the
// part std::from_chars reads (the "-" included, a "+" left out).
bool IntegerSyntax(const char* text, bool allowMinus, const char** begin,
                   const char** end) {
  const char* p = SkipBlanks(text);
  if (*p == '+') {
    ++p;
    *begin = p;
  } else {
    *begin = p;
    if (*p == '-') {
      if (!allowMinus) return false;
      ++p;
    }
  }
  const char* digits = p;
  while (IsDigit(*p)) ++p;
  if (p == digits || !OnlyBlanksFrom(p)) return false;
  *end = p;
  return true;
}

template <typename T>
int ParseInteger(const char* text, T* out, bool allowMinus) {
  if (text == nullptr) return 0;
  const char* begin;
  const char* end;
  if (!IntegerSyntax(text, allowMinus, &begin, &end)) return 0;
  T value{};
  const std::from_chars_result r = std::from_chars(begin, end, value);
  if (r.ec != std::errc() || r.ptr != end) return 0;  // overflow
  if (out != nullptr) *out = value;
  return 1;
}

// Case-insensitive match of [p, end) against the lower-case word `word`.
bool WordIs(const char* p, const char* end, const char* word) {
  const size_t n = strlen(word);
  if (static_cast<size_t>(end - p) != n) return false;
  return kxs_ascii::equalNoCase(std::string_view(p, n), word);
}

// Adds a decimal digit to a magnitude, saturating far beyond any exponent
// that matters for a double.
int64_t AddDigit(int64_t v, char digit) {
  constexpr int64_t kCap = int64_t{1} << 40;
  return v >= kCap ? kCap : v * 10 + (digit - '0');
}

}  // namespace

extern "C" {

int kxs_numparse(const char* text, int32_t* out) {
  return ParseInteger(text, out, true);
}

int kxs_numparse64(const char* text, int64_t* out) {
  return ParseInteger(text, out, true);
}

int kxs_numparseU64(const char* text, uint64_t* out) {
  return ParseInteger(text, out, false);
}

int kxs_numparsedbl(const char* text, double* out) {
  if (text == nullptr) return 0;
  const char* p = SkipBlanks(text);
  bool negative = false;
  if (*p == '+' || *p == '-') {
    negative = *p == '-';
    ++p;
  }
  const char* const number = p;  // after the sign

  // Infinity and NaN.
  const char* word = p;
  while ((*word >= 'a' && *word <= 'z') || (*word >= 'A' && *word <= 'Z')) ++word;
  if (word != p) {
    if (!OnlyBlanksFrom(word)) return 0;
    double value;
    if (WordIs(p, word, "inf") || WordIs(p, word, "infinity")) {
      value = std::numeric_limits<double>::infinity();
    } else if (WordIs(p, word, "nan")) {
      value = std::numeric_limits<double>::quiet_NaN();
    } else {
      return 0;
    }
    if (out != nullptr) *out = negative ? -value : value;
    return 1;
  }

  // digits ["." digits] [("e" | "E") [sign] digits], with at least one digit
  // in the significand. While checking, note the decimal exponent of the
  // first non-zero digit, which tells an overflow from an underflow.
  int64_t leadExponent = 0;  // of the first non-zero digit, before "e"
  bool nonZero = false;
  int64_t intDigits = 0;
  const char* digits = p;
  for (; IsDigit(*p); ++p) {
    if (!nonZero && *p != '0') nonZero = true;
    if (nonZero) ++intDigits;
  }
  bool any = p != digits;
  if (nonZero) leadExponent = intDigits - 1;
  if (*p == '.') {
    ++p;
    const char* fraction = p;
    int64_t zeros = 0;
    for (; IsDigit(*p); ++p) {
      if (!nonZero) {
        if (*p != '0') {
          nonZero = true;
          leadExponent = -(zeros + 1);
        } else if (zeros < (int64_t{1} << 40)) {
          ++zeros;
        }
      }
    }
    any = any || p != fraction;
  }
  if (!any) return 0;
  int64_t exponent = 0;
  if (*p == 'e' || *p == 'E') {
    ++p;
    bool expNegative = false;
    if (*p == '+' || *p == '-') {
      expNegative = *p == '-';
      ++p;
    }
    const char* expDigits = p;
    for (; IsDigit(*p); ++p) exponent = AddDigit(exponent, *p);
    if (p == expDigits) return 0;
    if (expNegative) exponent = -exponent;
  }
  const char* const end = p;
  if (!OnlyBlanksFrom(end)) return 0;

  double value = 0;
  const std::from_chars_result r =
      std::from_chars(number, end, value, std::chars_format::general);
  if (r.ptr != end) return 0;
  if (r.ec == std::errc::result_out_of_range) {
    // Too large is an error; too small rounds to zero.
    if (!nonZero || leadExponent + exponent >= 0) return 0;
    value = 0.0;
  } else if (r.ec != std::errc()) {
    return 0;
  }
  if (out != nullptr) *out = negative ? -value : value;
  return 1;
}

int kxs_dtoa15g(double value, char* buffer, int size) {
  if (buffer == nullptr || size <= 0) return -1;
  char text[32];
  const std::to_chars_result r = std::to_chars(
      text, text + sizeof text, value, std::chars_format::general, 15);
  const size_t length = static_cast<size_t>(r.ptr - text);
  if (r.ec != std::errc() || length >= static_cast<size_t>(size)) {
    buffer[0] = 0;
    return -1;
  }
  memcpy(buffer, text, length);
  buffer[length] = 0;
  return static_cast<int>(length);
}

}  // extern "C"
