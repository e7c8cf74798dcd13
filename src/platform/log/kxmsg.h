// The message catalogue: numbered texts per catalogue set and locale.
//
// Files: <location>/<locale>/<set file>, where <location> is the value of
// KAXEL_ERROR_LOCATION and <locale> that of KAXEL_ERROR_LOCALE ("en" when
// unset or empty). Catalogue sets and their files: "Base Services" ->
// "base_services.msg", "Event Plugin" -> "event_plugin.msg"; fragments ->
// "fragments.msg"; set names match ignoring case. A file is UTF-8, one
// message per line: the number, one or more blanks, the text; "#" starts a
// comment line, blank lines are ignored, blanks at the end of a line dropped;
// "\n", "\t" and "\\" in a text stand for a line break, a tab and a
// backslash. Arguments are written with the library's format language
// (kxs_format.h). A locale has a catalogue when at least one of the three
// files exists; a missing file just has no texts.
//
// A malformed line (no number, no blank after it, no text, invalid UTF-8) and
// a second text for a number already seen are skipped, with a warning on the
// "KX.Base.Messages" logger naming the file and line: the rest of the file
// stays usable. A file that exists but cannot be read makes the whole open
// fail.
//
// The text of kxmsg112_get_vmessage is the catalogue text alone: the source
// unit and line are not part of it (they are for logs). A number the
// catalogue lacks, an unknown set or a catalogue that cannot be opened gives
// "<set> message <number> (<unit>:<line>)" followed by nothing else, never an
// empty text.
//
// The catalogue is read into memory when opened; a locale switch loads the
// new one completely before it replaces the old. Thread-safe: a
// reader-writer lock guards the loaded catalogue.
#ifndef KXB_PLATFORM_KXMSG_H_
#define KXB_PLATFORM_KXMSG_H_

#include <stdarg.h>
#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

// Opens the catalogue at KAXEL_ERROR_LOCATION for KAXEL_ERROR_LOCALE (or the
// locale last set, or the one already open). 0 on success, *errorText null;
// otherwise non-zero and *errorText (when given) points at a static text
// naming what is missing, valid until the next failure. Counted like
// kxlogInitialize.
int kxmsg112_initialize(const char** errorText);
// Drops one count; at zero (or when nothing was counted) the catalogue is
// closed and the locale chosen by kxmsg112_set_locale forgotten, so the next
// open reads the environment again.
void kxmsg112_terminate(void);
// Switches to another locale and opens its catalogue: 0 on success; non-zero,
// leaving the current locale in place, when <location>/<locale> holds no
// catalogue, a file of it cannot be read, or `locale` is null, empty or not a
// plain directory name.
int kxmsg112_set_locale(const char* locale);
// The current locale ("en" by default); the pointer stays valid for the life
// of the process.
const char* kxmsg112_get_locale(void);

// Fragment `id` formatted with the arguments into `buffer` (size bytes, cut
// at a character boundary). Opens the catalogue on first use. 0 on success;
// non-zero when the catalogue cannot be opened or has no such fragment
// (buffer then holds a text saying so), or when buffer is null or size 0
// (nothing written).
int kxmsg112_get_vfragment(int id, char* buffer, size_t size, va_list args);
int kxmsg112_get_fragment(int id, char* buffer, size_t size, ...);

// Message `number` of catalogue set `set`, formatted. Opens the catalogue on
// first use when nobody did. Returns 0 when the catalogue had the message,
// non-zero when the fallback text was written (or, buffer null or size 0,
// nothing).
int kxmsg112_get_vmessage(const char* set, int number, const char* unit,
                          int line, char* buffer, size_t size, va_list args);

#ifdef __cplusplus
}
#endif

#endif  // KXB_PLATFORM_KXMSG_H_
