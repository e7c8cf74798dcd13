// Helpers shared by the fuzz targets: CHECK aborts with the failed condition
// (libFuzzer then saves the input), and two small views of library strings.
#ifndef KXB_FUZZ_FUZZ_UTIL_H_
#define KXB_FUZZ_FUZZ_UTIL_H_

#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "kxbstring.h"
#include "np_uchar.h"

#define CHECK(cond)                                                             \
  do {                                                                          \
    if (!(cond)) {                                                              \
      std::fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__,    \
                   #cond);                                                      \
      std::abort();                                                             \
    }                                                                           \
  } while (0)

namespace kxb_fuzz {

// The bytes of a string, without its terminator.
inline std::string_view bytesOf(const KxbString& s) {
  return std::string_view(s.asCstr(), static_cast<size_t>(s.cStrSize() - 1));
}

// True when `text` is well-formed UTF-8 throughout.
inline bool isValidUtf8(const char* text) {
  int size = 0;
  for (const char* p = text; *p != '\0'; p += size) {
    if (np_uchar_toint(p, &size) < 0 || size < 1) return false;
  }
  return true;
}

}  // namespace kxb_fuzz

#endif  // KXB_FUZZ_FUZZ_UTIL_H_
