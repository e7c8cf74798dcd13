// Strict, locale-independent number parsers.
//
// Each parses the whole NUL-terminated text: optional blanks (space, tab, CR,
// LF), an optional sign ("+" or "-"), the digits, optional blanks, and
// nothing else. Integers are decimal digits only and may not overflow their
// type; kxs_numparseU64 accepts no "-" at all (not even "-0"). The double
// parser accepts the C decimal forms (digits with an optional "." fraction
// and an optional exponent "e"/"E" with sign), "inf"/"infinity"/"nan" in any
// case, and rejects overflow to infinity; "." is the decimal point whatever
// the process locale. Underflow to a subnormal or zero is accepted.
//
// Each returns 1 on success and writes the value (unless `out` is null, which
// only checks the text); 0 on failure, leaving *out untouched. Null text
// fails. Thread-safe; nothing is allocated.
#ifndef KXB_PLATFORM_KXS_NUM_H_
#define KXB_PLATFORM_KXS_NUM_H_

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

int kxs_numparse(const char* text, int32_t* out);
int kxs_numparse64(const char* text, int64_t* out);
int kxs_numparseU64(const char* text, uint64_t* out);
int kxs_numparsedbl(const char* text, double* out);

// "%.15g" of `value` with "." as decimal point whatever the locale, into
// `buffer` of `size` bytes (32 always suffice; the longest result,
// "-1.79769313486232e+308", has 22 bytes). Returns the byte length; when the
// text does not fit, or buffer is null, returns -1 (an empty text when size
// >= 1).
int kxs_dtoa15g(double value, char* buffer, int size);

#ifdef __cplusplus
}
#endif

#endif  // KXB_PLATFORM_KXS_NUM_H_
