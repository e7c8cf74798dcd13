// kxbStringFormat: the format language of kxs_format.h into a KxbString.
#include <cstdarg>

#include "core/kxbstring_internal.h"
#include "kxbstring.h"
#include "kxs_format.h"

namespace {

// Each piece is appended on its own; a piece lost to an allocation failure
// leaves the result as it was and formatting goes on.
void appendPiece(void* context, const char* text, size_t bytes,
                 const void* kxbString) {
  KxbString* result = static_cast<KxbString*>(context);
  if (kxbString != nullptr) {
    result->append(*static_cast<const KxbString*>(kxbString));
    return;
  }
  KxbStringAccess::appendBytes(*result, text, static_cast<int>(bytes));
}

}  // namespace

KxbString kxbStringFormat(const char* format, ...) {
  KxbString result;
  if (format == nullptr || *format == '\0') return result;
  va_list args;
  va_start(args, format);
  kxs_vformat(format, args, appendPiece, &result);
  va_end(args);
  return result;
}
