// The library's format language, walked once for every user of it.
//
// Conversions: "%%", "%d", "%ld"/"%li" (int), "%lu" (unsigned), "%lld"/"%lli",
// "%llu" (64-bit), "%I64i", "%I64u" (64-bit), "%g" (double, "%.15g" with "."
// as decimal point), "%s" (UTF-8 text, null appends nothing) and "%S" (a
// pointer to a KxbString). There are no flags, widths or precisions; any
// other "%" sequence is copied literally without consuming an argument:
// "%c" for another byte c gives "%c"; "%I" not followed by "64i"/"64u" gives
// "%" and drops the "I"; "%l..." followed by a byte other than d, i, u gives
// "%l" and that byte; a final "%" gives "%".
//
// kxs_vformat hands the result to `sink` piece by piece, in order: literal
// bytes, converted numbers and "%s" texts as (text, bytes, null); "%S" as
// (null, 0, the KxbString pointer), for the sink to interpret.
//
// Thread-safe; allocates nothing.
#ifndef KXB_PLATFORM_KXS_FORMAT_H_
#define KXB_PLATFORM_KXS_FORMAT_H_

#include <stdarg.h>
#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef void (*kxs_format_sink)(void* context, const char* text, size_t bytes,
                                const void* kxbString);

void kxs_vformat(const char* format, va_list args, kxs_format_sink sink,
                 void* context);

// The text of a KxbString for sinks outside the string class: null for a null
// string, else its bytes and byte count. Installed by the string unit.
typedef const char* (*kxs_string_accessor)(const void* kxbString, size_t* bytes);
void kxs_set_string_accessor(kxs_string_accessor accessor);

// Formats into `buffer` of `size` bytes (size >= 1), cutting at a character
// boundary when the result does not fit; always terminates. Returns the byte
// length written.
size_t kxs_vformat_buffer(char* buffer, size_t size, const char* format,
                          va_list args);
size_t kxs_format_buffer(char* buffer, size_t size, const char* format, ...);

#ifdef __cplusplus
}
#endif

#endif  // KXB_PLATFORM_KXS_FORMAT_H_
