#include "kxs_format.h"

#include <atomic>
#include <cinttypes>
#include <cstdio>
#include <cstring>

#include "kxs_num.h"

namespace {

std::atomic<kxs_string_accessor> g_accessor{nullptr};

void emitSigned(int64_t value, kxs_format_sink sink, void* context) {
  char buffer[32];
  int n = std::snprintf(buffer, sizeof buffer, "%" PRId64, value);
  sink(context, buffer, static_cast<size_t>(n), nullptr);
}

void emitUnsigned(uint64_t value, kxs_format_sink sink, void* context) {
  char buffer[32];
  int n = std::snprintf(buffer, sizeof buffer, "%" PRIu64, value);
  sink(context, buffer, static_cast<size_t>(n), nullptr);
}

}  // namespace

extern "C" void kxs_vformat(const char* format, va_list args,
                            kxs_format_sink sink, void* context) {
  if (format == nullptr) return;
  va_list ap;
  va_copy(ap, args);
  const char* p = format;
  while (*p != '\0') {
    // Literal runs go out in one piece.
    const char* run = p;
    while (*p != '\0' && *p != '%') ++p;
    if (p != run) sink(context, run, static_cast<size_t>(p - run), nullptr);
    if (*p == '\0') break;
    ++p;  // past '%'
    char c = *p;
    switch (c) {
      case '\0':
        sink(context, "%", 1, nullptr);
        continue;
      case '%':
        sink(context, "%", 1, nullptr);
        ++p;
        continue;
      case 'd':
        emitSigned(va_arg(ap, int), sink, context);
        ++p;
        continue;
      case 'g': {
        char buffer[32];
        int n = kxs_dtoa15g(va_arg(ap, double), buffer, sizeof buffer);
        sink(context, buffer, static_cast<size_t>(n), nullptr);
        ++p;
        continue;
      }
      case 's': {
        const char* text = va_arg(ap, const char*);
        if (text != nullptr) {
          sink(context, text, std::strlen(text), nullptr);
        } else {
          sink(context, "", 0, nullptr);
        }
        ++p;
        continue;
      }
      case 'S':
        sink(context, nullptr, 0, va_arg(ap, const void*));
        ++p;
        continue;
      case 'I':
        if (std::strncmp(p, "I64i", 4) == 0) {
          emitSigned(va_arg(ap, int64_t), sink, context);
          p += 4;
        } else if (std::strncmp(p, "I64u", 4) == 0) {
          emitUnsigned(va_arg(ap, uint64_t), sink, context);
          p += 4;
        } else {
          // "%I" without "64i"/"64u": the "%" stays, the "I" is dropped.
          sink(context, "%", 1, nullptr);
          ++p;
        }
        continue;
      case 'l': {
        int ells = 0;
        while (p[ells] == 'l') ++ells;
        char kind = p[ells];
        if (kind == 'd' || kind == 'i') {
          if (ells == 1) {
            emitSigned(va_arg(ap, int), sink, context);
          } else {
            emitSigned(va_arg(ap, long long), sink, context);
          }
          p += ells + 1;
        } else if (kind == 'u') {
          if (ells == 1) {
            emitUnsigned(va_arg(ap, unsigned), sink, context);
          } else {
            emitUnsigned(va_arg(ap, unsigned long long), sink, context);
          }
          p += ells + 1;
        } else {
          // Not a conversion: "%l" and the byte after the "l"s, no argument.
          char piece[2] = {'l', kind};
          sink(context, "%", 1, nullptr);
          sink(context, piece, kind == '\0' ? 1 : 2, nullptr);
          p += ells + (kind == '\0' ? 0 : 1);
        }
        continue;
      }
      default: {
        // Any other byte: "%" and the byte, literally, no argument.
        char piece[2] = {'%', c};
        sink(context, piece, 2, nullptr);
        ++p;
        continue;
      }
    }
  }
  va_end(ap);
}

extern "C" void kxs_set_string_accessor(kxs_string_accessor accessor) {
  g_accessor.store(accessor);
}

namespace {

struct BufferSink {
  char* out;
  size_t size;  // usable bytes, terminator excluded
  size_t used;
  bool full;
};

// Appends as much of `text` as fits, cutting before a partial character.
void bufferSink(void* context, const char* text, size_t bytes,
                const void* kxbString) {
  BufferSink* sink = static_cast<BufferSink*>(context);
  if (sink->full) return;
  if (kxbString != nullptr) {
    kxs_string_accessor accessor = g_accessor.load();
    if (accessor == nullptr) return;
    text = accessor(kxbString, &bytes);
    if (text == nullptr) return;
  }
  if (text == nullptr || bytes == 0) return;
  size_t room = sink->size - sink->used;
  if (bytes > room) {
    bytes = room;
    // Do not leave the lead bytes of a character without its tail.
    while (bytes > 0 &&
           (static_cast<unsigned char>(text[bytes]) & 0xC0) == 0x80) {
      --bytes;
    }
    sink->full = true;
  }
  std::memcpy(sink->out + sink->used, text, bytes);
  sink->used += bytes;
}

}  // namespace

extern "C" size_t kxs_vformat_buffer(char* buffer, size_t size,
                                     const char* format, va_list args) {
  if (buffer == nullptr || size == 0) return 0;
  BufferSink sink{buffer, size - 1, 0, false};
  kxs_vformat(format, args, bufferSink, &sink);
  buffer[sink.used] = '\0';
  return sink.used;
}

extern "C" size_t kxs_format_buffer(char* buffer, size_t size,
                                    const char* format, ...) {
  va_list args;
  va_start(args, format);
  size_t n = kxs_vformat_buffer(buffer, size, format, args);
  va_end(args);
  return n;
}
