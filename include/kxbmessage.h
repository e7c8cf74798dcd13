// Catalogue messages as KxbString.
//
// A message is named by a catalogue set ("Base Services", "Event Plugin")
// and a number; fragments by a number alone. The texts live in the message
// catalogue under KAXEL_ERROR_LOCATION, in the locale KAXEL_ERROR_LOCALE
// ("en" by default). The text of a message does not carry the source unit
// and line passed to kxb_get_message; a number the catalogue lacks gives a
// text naming the set and the number (with the unit and line), never an empty
// string. Thread-safe.
#ifndef KXB_INCLUDE_KXBMESSAGE_H_
#define KXB_INCLUDE_KXBMESSAGE_H_

#include "kxbstring.h"

// Fragment `id`, formatted with the arguments (at most 2,047 bytes).
KxbString kxb_get_fragment(int id, ...);
// Message `number` of catalogue `set`, formatted with the arguments; `unit`
// and `line` name the caller's source for diagnostics.
KxbString kxb_get_message(const char* set, int number, const char* unit,
                          int line, ...);

extern "C" {
// Switches the catalogue's locale: 0 on success; otherwise non-zero, the
// locale is unchanged and *errorMessage (when given) is "Failed to set
// locale".
int kxbSetMessageLocale(const char* locale, const char** errorMessage);
}

#endif  // KXB_INCLUDE_KXBMESSAGE_H_
