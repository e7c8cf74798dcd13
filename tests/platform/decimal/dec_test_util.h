// Helpers shared by the decimal tests: building values from text and hex,
// and printing them.
#ifndef KXB_TESTS_DECIMAL_DEC_TEST_UTIL_H_
#define KXB_TESTS_DECIMAL_DEC_TEST_UTIL_H_

#include <string>

#include "decimal/decContext.h"
#include "decimal/decSext.h"

namespace dectestutil {

inline decContext defaultContext() {
  decContext set;
  decContextDefault(&set, DEC_INIT_DECIMAL192);
  return set;
}

// Text in the default 192-bit context; the status is dropped.
inline decSext sext(const char* text) {
  decContext set = defaultContext();
  decSext v;
  decSextFromString(&v, text, &set);
  return v;
}

inline std::string str(const decSext& v) {
  char buf[DECSEXT_String];
  return decSextToString(&v, buf);
}

// The 24 bytes as 48 hex digits, most significant byte first.
inline std::string hex(const decSext& v) {
  static const char kDigits[] = "0123456789ABCDEF";
  std::string out;
  for (int i = DECSEXT_Bytes - 1; i >= 0; --i) {
    out += kDigits[v.bytes[i] >> 4];
    out += kDigits[v.bytes[i] & 15];
  }
  return out;
}

// The inverse of hex(): 48 hex digits, most significant byte first.
inline decSext fromHex(const std::string& text) {
  decSext v{};
  auto nibble = [](char c) {
    return c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10;
  };
  for (int i = 0; i < DECSEXT_Bytes; ++i) {
    size_t pos = 2 * static_cast<size_t>(DECSEXT_Bytes - 1 - i);
    v.bytes[i] =
        static_cast<uint8_t>(nibble(text[pos]) * 16 + nibble(text[pos + 1]));
  }
  return v;
}

}  // namespace dectestutil

#endif  // KXB_TESTS_DECIMAL_DEC_TEST_UTIL_H_
