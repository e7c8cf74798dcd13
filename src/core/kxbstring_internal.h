// The shared body of KxbString, and access to the string's internals for
// the formatter and the tests.
#ifndef KXB_SRC_CORE_KXBSTRING_INTERNAL_H_
#define KXB_SRC_CORE_KXBSTRING_INTERNAL_H_

#include <cstdint>

#include "kx_atomic.h"
#include "kxbstring.h"

struct InternalString {
  char* buffer;          // NUL-terminated UTF-8, from the memory pool
  kxAtom refs;           // owners sharing this body
  uint32_t capacity;     // bytes of buffer, terminator included
  uint32_t byteLength;   // bytes of text, terminator excluded
  uint32_t charLength;   // characters of text
};

class KxbStringAccess {
 public:
  static const InternalString* body(const KxbString& s) { return s.body_; }
  static bool isStatic(const KxbString& s) { return s.staticText_ != nullptr; }
  // Appends `bytes` bytes of `text` (whose character count is unknown); a
  // null string becomes the text. False when memory ran out (unchanged).
  static bool appendBytes(KxbString& s, const char* text, int bytes);
};

#endif  // KXB_SRC_CORE_KXBSTRING_INTERNAL_H_
