// Text conversions of the general decimal number type: the numeric-string
// syntax in, to-scientific-string and to-engineering-string out.
#include <string.h>

#include "decimal/dec_internal.h"

namespace kxdec {
namespace {

inline bool isDigit(char c) { return c >= '0' && c <= '9'; }

inline char lower(char c) {
  return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
}

// True when text equals word (lower case) ignoring case.
bool equalsIgnoreCase(const char* text, const char* word) {
  for (; *word != '\0'; ++text, ++word) {
    if (lower(*text) != *word) return false;
  }
  return *text == '\0';
}

// True when text starts with word (lower case) ignoring case.
bool startsIgnoreCase(const char* text, const char* word) {
  for (; *word != '\0'; ++text, ++word) {
    if (lower(*text) != *word) return false;
  }
  return true;
}

// Exponents are read with saturation: anything beyond this is far outside
// every context and rounds to the same overflow or underflow.
constexpr int64_t kExponentSaturation = 1000000000000000ll;  // 10^15

decNumber* syntaxError(decNumber* r, decContext* set) {
  storeNaN(r, DEC_Conversion_syntax, set);
  return r;
}

decNumber* parseNaN(decNumber* r, bool neg, bool signalling,
                    const char* payload, decContext* set) {
  while (*payload == '0') ++payload;
  size_t count = 0;
  for (const char* q = payload; *q != '\0'; ++q) {
    if (!isDigit(*q)) return syntaxError(r, set);
    ++count;
  }
  if (count > static_cast<size_t>(set->digits - set->clamp)) {
    return syntaxError(r, set);
  }
  Big c;
  bigFromDigits(c, payload, static_cast<int>(count));
  storeFinite(r, neg, c, 0);
  r->bits = static_cast<uint8_t>((neg ? DECNEG : 0) |
                                 (signalling ? DECSNAN : DECNAN));
  return r;
}

char* writeUnsigned(char* p, int64_t v) {
  char tmp[24];
  int n = 0;
  do {
    tmp[n++] = static_cast<char>('0' + v % 10);
    v /= 10;
  } while (v != 0);
  while (n > 0) *p++ = tmp[--n];
  return p;
}

char* toText(const decNumber* a, char* out, bool engineering) {
  char* p = out;
  if (isNeg(a)) *p++ = '-';
  if (isInf(a)) {
    memcpy(p, "Infinity", 9);
    return out;
  }
  char digits[DECNUMDIGITS];
  Big c;
  coefOf(a, c);
  if (isNaNAny(a)) {
    if (a->bits & DECSNAN) *p++ = 's';
    memcpy(p, "NaN", 3);
    p += 3;
    if (c.n != 0) p += bigToDigits(c, p);
    *p = '\0';
    return out;
  }
  const int64_t count = bigToDigits(c, digits);
  const int64_t exp = a->exponent;
  int64_t adj = exp + count - 1;
  if (exp <= 0 && adj >= -6) {
    // Plain notation.
    int64_t before = count + exp;  // digits before the point
    if (exp == 0) {
      memcpy(p, digits, count);
      p += count;
    } else if (before > 0) {
      memcpy(p, digits, before);
      p += before;
      *p++ = '.';
      memcpy(p, digits + before, count - before);
      p += count - before;
    } else {
      *p++ = '0';
      *p++ = '.';
      for (int64_t i = 0; i < -before; ++i) *p++ = '0';
      memcpy(p, digits, count);
      p += count;
    }
    *p = '\0';
    return out;
  }
  // Exponential notation: one digit before the point, or for engineering
  // one to three with the exponent a multiple of three.
  int64_t before = 1;
  int64_t zero_pad = 0;  // zeros after the point of an engineering zero
  if (engineering) {
    int64_t m = ((adj % 3) + 3) % 3;
    if (c.n != 0) {
      adj -= m;
      before += m;
    } else if (m != 0) {
      zero_pad = 3 - m;
      adj += 3 - m;
    }
  }
  if (c.n == 0 && engineering) {
    *p++ = '0';
    if (zero_pad > 0) {
      *p++ = '.';
      for (int64_t i = 0; i < zero_pad; ++i) *p++ = '0';
    }
  } else if (before >= count) {
    memcpy(p, digits, count);
    p += count;
    for (int64_t i = count; i < before; ++i) *p++ = '0';
  } else {
    memcpy(p, digits, before);
    p += before;
    *p++ = '.';
    memcpy(p, digits + before, count - before);
    p += count - before;
  }
  if (adj != 0) {
    *p++ = 'E';
    *p++ = adj < 0 ? '-' : '+';
    p = writeUnsigned(p, adj < 0 ? -adj : adj);
  }
  *p = '\0';
  return out;
}

}  // namespace
}  // namespace kxdec

using namespace kxdec;

extern "C" {

decNumber* decNumberFromString(decNumber* r, const char* text,
                               decContext* set) {
  if (!checkContext(r, set)) return r;
  if (text == nullptr) return syntaxError(r, set);
  const char* p = text;
  bool neg = false;
  if (*p == '+' || *p == '-') {
    neg = *p == '-';
    ++p;
  }
  if (!isDigit(*p) && *p != '.') {
    if (equalsIgnoreCase(p, "inf") || equalsIgnoreCase(p, "infinity")) {
      storeInfinity(r, neg);
      return r;
    }
    if (startsIgnoreCase(p, "nan")) return parseNaN(r, neg, false, p + 3, set);
    if (startsIgnoreCase(p, "snan")) return parseNaN(r, neg, true, p + 4, set);
    return syntaxError(r, set);
  }
  // Digits with at most one point.
  const char* start = p;
  int64_t ndigits = 0;
  int64_t nfraction = 0;
  bool point = false;
  for (;; ++p) {
    if (isDigit(*p)) {
      ++ndigits;
      if (point) ++nfraction;
    } else if (*p == '.' && !point) {
      point = true;
    } else {
      break;
    }
  }
  const char* end = p;
  if (ndigits == 0) return syntaxError(r, set);
  int64_t exponent = 0;
  if (*p == 'e' || *p == 'E') {
    ++p;
    bool eneg = false;
    if (*p == '+' || *p == '-') {
      eneg = *p == '-';
      ++p;
    }
    if (!isDigit(*p)) return syntaxError(r, set);
    for (; isDigit(*p); ++p) {
      if (exponent < kExponentSaturation) exponent = exponent * 10 + (*p - '0');
    }
    if (eneg) exponent = -exponent;
  }
  if (*p != '\0') return syntaxError(r, set);

  // Significant digits: leading zeros skipped; beyond two more than the
  // precision they only count as "non-zero below" and in the exponent.
  const int64_t keep = static_cast<int64_t>(set->digits) + 2;
  char buffer[DECNUMDIGITS + 2];
  int64_t kept = 0;
  int64_t dropped = 0;
  bool sticky = false;
  bool leading = true;
  for (const char* q = start; q < end; ++q) {
    if (*q == '.') continue;
    if (leading && *q == '0') continue;
    leading = false;
    if (kept < keep) {
      buffer[kept++] = *q;
    } else {
      ++dropped;
      if (*q != '0') sticky = true;
    }
  }
  Big c;
  bigFromDigits(c, buffer, static_cast<int>(kept));
  finish(r, neg, c, exponent - nfraction + dropped, sticky, set);
  return r;
}

char* decNumberToString(const decNumber* a, char* text) {
  return toText(a, text, false);
}

char* decNumberToEngString(const decNumber* a, char* text) {
  return toText(a, text, true);
}

}  // extern "C"
