// Character sets of the process's locale, and conversion of text in them to
// UTF-8.
//
// The library keeps all text in UTF-8; text that arrives in the locale's
// character set (the environment block) is converted once, here. Encodings
// are named by NP_UCHAR_ENC_* numbers obtained from a character-set name with
// np_uchar_getenc.
//
// Thread safety: all functions may be called from any thread; none
// allocates.
#ifndef KXB_PLATFORM_NP_ENCODE_H_
#define KXB_PLATFORM_NP_ENCODE_H_

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

#define NP_UCHAR_ENC_UNKNOWN (-1)
#define NP_UCHAR_ENC_UTF8 0
#define NP_UCHAR_ENC_ASCII 1
#define NP_UCHAR_ENC_LATIN1 2   // ISO-8859-1
#define NP_UCHAR_ENC_LATIN9 3   // ISO-8859-15
#define NP_UCHAR_ENC_CP1252 4   // Windows-1252

// The character set the environment declares for text: the codeset part
// ("UTF-8" of "de_DE.UTF-8@euro") of the first of LC_ALL, LC_CTYPE and LANG
// that is set and non-empty. A locale without a codeset part ("C", "POSIX",
// "de_DE") gives "UTF-8", the system's default on Linux. Writes the name into
// `buffer` (cut to size-1 bytes, always terminated when size >= 1) and
// returns `buffer`.
const char* np_lcinfo_charset(char* buffer, size_t size);

// The encoding of a character-set name, matched ignoring case, "-" and "_"
// ("utf8", "UTF-8", "ISO_8859-1", "latin1", "ANSI_X3.4-1968", "US-ASCII",
// "ISO-8859-15", "CP1252"). NP_UCHAR_ENC_UNKNOWN for others and for null.
int np_uchar_getenc(const char* charset);
// The encoding assumed when a character set is unknown: UTF-8.
int np_uchar_defenc(void);

// Converts `srcBytes` bytes of `src` in `encoding` to UTF-8 in `dst`
// (dstSize bytes), cut at a character boundary to fit and always terminated
// when dstSize >= 1. UTF-8 text is copied as it is; an ASCII byte above 0x7F
// becomes U+FFFD. Returns the byte length of the whole converted text without
// terminator (as snprintf: a result >= dstSize means `dst` holds a cut copy),
// or -1 for an unknown encoding or a null `src`.
int np_uchar_encode(int encoding, const char* src, size_t srcBytes, char* dst,
                    size_t dstSize);

#ifdef __cplusplus
}
#endif

#endif  // KXB_PLATFORM_NP_ENCODE_H_
