// Catalogue messages as KxbString.
#include "kxbmessage.h"

#include <cstdarg>

#include "kxmsg.h"

namespace {
constexpr size_t kMessageBytes = 2048;
}  // namespace

KxbString kxb_get_fragment(int id, ...) {
  char buffer[kMessageBytes];
  va_list args;
  va_start(args, id);
  kxmsg112_get_vfragment(id, buffer, sizeof buffer, args);
  va_end(args);
  return KxbString(buffer, false);
}

KxbString kxb_get_message(const char* set, int number, const char* unit,
                          int line, ...) {
  char buffer[kMessageBytes];
  va_list args;
  va_start(args, line);
  kxmsg112_get_vmessage(set, number, unit, line, buffer, sizeof buffer, args);
  va_end(args);
  return KxbString(buffer, false);
}

extern "C" int kxbSetMessageLocale(const char* locale,
                                   const char** errorMessage) {
  int result = kxmsg112_set_locale(locale);
  if (result != 0 && errorMessage != nullptr) {
    *errorMessage = "Failed to set locale";
  }
  return result;
}
