// UTF-8 characters.
//
// A "character" is one well-formed UTF-8 sequence (shortest form, no
// surrogates, at most U+10FFFF). A byte that does not start a well-formed
// sequence is an invalid character of its own, one byte long. Every function
// here walks text by that rule, so lengths, seeks and tells agree with each
// other on any bytes. Case mapping, case folding and white space follow the
// Unicode character database (utf8proc); invalid bytes are copied unchanged by
// the mapping functions and, in np_uchar_icomp, sort after every character,
// among themselves by byte value.
//
// Null text is taken as empty text unless stated otherwise. All functions are
// thread-safe and never allocate.
//
// Example: "a\xC3\xA9\xE2\x82" is four characters: "a", "é" (C3 A9) and the
// two invalid bytes E2 and 82 of a truncated three-byte sequence.
#ifndef KXB_PLATFORM_NP_UCHAR_H_
#define KXB_PLATFORM_NP_UCHAR_H_

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

// Code point returned for an invalid character (all bits set).
#define NP_UCHAR_INVALID (-1)

// Number of characters of the NUL-terminated text `s` (0 for null).
int np_uchar_length(const char* s);
// Number of characters in the first `bytes` bytes of `s`. Reads nothing past
// them: a sequence cut by the limit counts as invalid bytes. A NUL byte in
// that range counts as a character.
int np_uchar_nlength(const char* s, size_t bytes);
// Position after the first `n` characters of `s`, or null when `s` has fewer
// than `n` characters. n <= 0 gives `s`.
const char* np_uchar_seek(const char* s, int n);
// Number of characters that start at or after `base` and before `p` (p inside
// the same NUL-terminated text). For p at a character boundary this is
// exactly the n for which np_uchar_seek(base, n) == p. p <= base gives 0.
int np_uchar_tell(const char* base, const char* p);
// Code point of the character at `p` and, through `size`, its byte length
// (1 for an invalid character, 0 at the terminator, whose code point is 0).
// NP_UCHAR_INVALID for an invalid character.
int np_uchar_toint(const char* p, int* size);
// Non-zero when the character at `p` is white space (Unicode White_Space);
// `size` receives its byte length as np_uchar_toint gives it.
int np_uchar_isspace(const char* p, int* size);
// Non-zero when the character at `p` is ASCII (below 0x80; the terminator
// counts, with size 0); `size` receives its byte length as np_uchar_toint
// gives it. Walking a text with it until size 0 visits every character.
int np_uchar_isascii(const char* p, int* size);
// Case-insensitive order of two NUL-terminated texts: below, equal to or above
// 0 (-1, 0 or 1). Compares the full case foldings code point by code point
// ("Straße" equals "STRASSE", "a" sorts before "B"); a text that is a prefix
// of the other sorts first, invalid bytes after every code point, and a null
// text before everything (two nulls are equal).
int np_uchar_icomp(const char* a, const char* b);
// Lower/upper-case mapping of the NUL-terminated `src` (full mapping, so the
// byte length may change: "ß" upper-cases to "SS", "ﬁ" to "FI", "İ"
// lower-cases to "i" and U+0307). Each character is mapped on its own (no
// context-dependent rules such as the final sigma, no language rules).
// Returns the byte length of the whole mapped text without terminator. With
// `dst` non-null and dstSize >= 1, also writes the mapped characters that fit
// whole in dstSize-1 bytes and a terminator; as with snprintf, a result >=
// dstSize means dst holds a cut copy. `dst` must not overlap `src`.
int np_uchar_lower(const char* src, char* dst, int dstSize);
int np_uchar_upper(const char* src, char* dst, int dstSize);
// Copies at most `n` characters of `src` into `dst` (whole characters that
// fit in dstSize-1 bytes), terminates it and returns the bytes copied. `dst`
// may equal `src` (cutting text in place). dstSize <= 0 or a null `dst`
// writes nothing and returns 0; n <= 0 or a null `src` gives the empty text.
int np_uchar_bufncopy(char* dst, const char* src, int dstSize, int n);

// UTF-8 <-> UTF-16 with the contract of the Windows calls
// MultiByteToWideChar / WideCharToMultiByte for code page 65001 (CP_UTF8):
//  - srcLen -1 means "up to and including the terminator", so the result
//    counts the terminator; otherwise exactly srcLen units are converted.
//  - dst null or dstLen 0: returns the size needed, writes nothing.
//  - otherwise converts and returns the units written, or 0 when dst is too
//    small (nothing useful may be assumed about dst then). Nothing is written
//    past the returned count.
//  - invalid UTF-8 becomes U+FFFD, one per maximal ill-formed subpart;
//    code points above U+FFFF become surrogate pairs; an unpaired surrogate
//    in UTF-16 becomes U+FFFD (EF BF BD) in UTF-8.
//  - codePage other than 65001 or flags other than 0: returns 0.
//  - srcLen 0 or below -1, a null src, a negative dstLen, or a result of
//    more than INT_MAX units return 0, as on Windows.
#define NP_CP_UTF8 65001
int np_mb_to_wide(unsigned codePage, unsigned flags, const char* src, int srcLen,
                  unsigned short* dst, int dstLen);
int np_wide_to_mb(unsigned codePage, unsigned flags, const unsigned short* src,
                  int srcLen, char* dst, int dstLen);

#ifdef __cplusplus
}
#endif

#endif  // KXB_PLATFORM_NP_UCHAR_H_
