// Base64 (RFC 4648, standard alphabet, "=" padding) of the string helpers.
//
// The encoder writes one unbroken run of characters: it never inserts line
// breaks, whatever the length. Callers that need lines cut the input into
// pieces themselves (57 bytes give one 76-character line). This keeps a
// MIME encoded word ("=?UTF-8?B?...?=") in one piece, so a header decodes as
// a whole; the price is that a long input encoded in one call is one long
// line. A mail body encoded that way exceeds the 998-character line limit of
// RFC 5322 once it is longer than 747 bytes, and SMTP servers that enforce
// the limit refuse the mail.
//
// Thread-safe; nothing is allocated.
#ifndef KXB_PLATFORM_KXS_B64_H_
#define KXB_PLATFORM_KXS_B64_H_

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

// Encodes `length` bytes of `data` into `output` and terminates it. Returns
// the encoded length (4 * ceil(length / 3), without the terminator). A null
// `output` only measures. When `outputSize` cannot hold the encoding and its
// terminator, nothing is written and -1 is returned; -1 also for a null
// `data` with a non-zero length, or a length whose encoding does not fit an
// int.
int kxs_b64_encode(const void* data, size_t length, char* output,
                   size_t outputSize);

#ifdef __cplusplus
}
#endif

#endif  // KXB_PLATFORM_KXS_B64_H_
