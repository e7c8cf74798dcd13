// Percent-escaping, slash conversion and the byte-span helpers of the URI
// units.
#include <cstdarg>
#include <cstring>

#include "core/kxbstring_internal.h"
#include "kxbmempool.h"
#include "kxburi.h"
#include "kxs_format.h"
#include "np_uchar.h"
#include "uri/kxburi_internal.h"

namespace kxburi {
namespace {

// Texts up to this many bytes are decoded on the stack.
constexpr size_t kLocalDecodeBytes = 512;

constexpr char kHexDigits[] = "0123456789ABCDEF";

int hexValue(unsigned char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

void countPiece(void* context, const char* /*text*/, size_t bytes,
                const void* kxbString) {
  size_t* total = static_cast<size_t*>(context);
  if (kxbString != nullptr) {
    *total += bytesOf(*static_cast<const KxbString*>(kxbString)).size();
  } else {
    *total += bytes;
  }
}

// Collects output in a stack chunk and appends it to a string in batches.
class ChunkWriter {
 public:
  explicit ChunkWriter(KxbString* out) : out_(out) {}
  // False when the flush needed to make room failed.
  bool put(char c) {
    if (used_ == sizeof chunk_ && !flush()) return false;
    chunk_[used_++] = c;
    return true;
  }
  bool flush() {
    if (used_ == 0) return true;
    bool ok = KxbStringAccess::appendBytes(*out_, chunk_, static_cast<int>(used_));
    used_ = 0;
    return ok;
  }

 private:
  KxbString* out_;
  char chunk_[256];
  size_t used_ = 0;
};

bool putEscaped(ChunkWriter* writer, unsigned char c) {
  return writer->put('%') && writer->put(kHexDigits[c >> 4]) &&
         writer->put(kHexDigits[c & 0x0F]);
}

// *out = `in` with every `from` byte turned into `to`.
bool convertSlashes(const KxbString& in, KxbString* out, char from, char to) {
  if (out == nullptr) return false;
  KxbString source = in;  // `out` may be `&in`
  out->setNull();
  if (isEmpty(source)) return false;
  ChunkWriter writer(out);
  for (char c : bytesOf(source)) {
    if (!writer.put(c == from ? to : c)) {
      out->setNull();
      return false;
    }
  }
  if (!writer.flush()) {
    out->setNull();
    return false;
  }
  return true;
}

}  // namespace

bool setSpan(KxbString* out, std::string_view bytes) {
  out->setNull();
  if (bytes.empty()) {
    *out = literal("");
    return true;
  }
  return KxbStringAccess::appendBytes(*out, bytes.data(),
                                      static_cast<int>(bytes.size()));
}

bool unescapeBytes(std::string_view text, KxbString* out) {
  out->setNull();
  if (text.empty()) {
    *out = literal("");
    return true;
  }
  char local[kLocalDecodeBytes + 1];
  char* buffer = local;
  if (text.size() > kLocalDecodeBytes) {
    void* block = nullptr;
    if (!KxbMemPool::getBytes(static_cast<unsigned>(text.size() + 1), &block)) {
      return false;
    }
    buffer = static_cast<char*>(block);
  }
  size_t written = 0;
  size_t i = 0;
  const size_t n = text.size();
  while (i < n) {
    const unsigned char c = static_cast<unsigned char>(text[i]);
    if (c == '%' && i + 2 < n) {
      const int high = hexValue(static_cast<unsigned char>(text[i + 1]));
      const int low = hexValue(static_cast<unsigned char>(text[i + 2]));
      if (high >= 0 && low >= 0) {
        // A decoded NUL would end the C text: it is dropped.
        const char decoded = static_cast<char>(high * 16 + low);
        if (decoded != '\0') buffer[written++] = decoded;
      } else {
        buffer[written++] = text[i];
        buffer[written++] = text[i + 1];
        buffer[written++] = text[i + 2];
      }
      i += 3;
    } else {
      buffer[written++] = static_cast<char>(c);
      ++i;
    }
  }
  const bool ok = setSpan(out, std::string_view(buffer, written));
  if (buffer != local) KxbMemPool::freeBytes(buffer);
  if (!ok) out->setNull();
  return ok;
}

bool unescapeOrRaw(std::string_view bytes, KxbString* out) {
  if (unescapeBytes(bytes, out)) return true;
  setSpan(out, bytes);
  return false;
}

EscapeResult escapeBytes(std::string_view text, const char* set,
                         int64_t count, KxbString* out) {
  const size_t setBytes =
      (set == nullptr || count <= 0) ? 0 : static_cast<size_t>(count);
  ChunkWriter writer(out);
  size_t i = 0;
  while (i < text.size()) {
    // ASCII is always one whole character: no need to decode it.
    int size = 1;
    const int code = static_cast<unsigned char>(text[i]) < 0x80
                         ? text[i]
                         : np_uchar_toint(text.data() + i, &size);
    if (code < 0 || size < 1) {
      return writer.flush() ? EscapeResult::kInvalid : EscapeResult::kNoMemory;
    }
    const unsigned char first = static_cast<unsigned char>(text[i]);
    bool ok = true;
    if (size >= 2) {
      for (int k = 0; k < size && ok; ++k) {
        ok = putEscaped(&writer, static_cast<unsigned char>(text[i + k]));
      }
    } else if (setBytes > 0 && std::memchr(set, first, setBytes) != nullptr) {
      ok = putEscaped(&writer, first);
    } else {
      ok = writer.put(static_cast<char>(first));
    }
    if (!ok) return EscapeResult::kNoMemory;
    i += static_cast<size_t>(size);
  }
  return writer.flush() ? EscapeResult::kOk : EscapeResult::kNoMemory;
}

bool escapeOrRaw(const KxbString& text, const char* set, KxbString* out) {
  if (isEmpty(text)) {
    *out = text;
    return true;
  }
  KxbString escaped;
  switch (escapeBytes(bytesOf(text), set, static_cast<int64_t>(std::strlen(set)),
                      &escaped)) {
    case EscapeResult::kOk:
      *out = escaped;
      return true;
    case EscapeResult::kInvalid:
      *out = text;
      return true;
    case EscapeResult::kNoMemory:
      break;
  }
  out->setNull();
  return false;
}

size_t formattedBytes(const char* pattern, ...) {
  size_t total = 0;
  va_list args;
  va_start(args, pattern);
  kxs_vformat(pattern, args, countPiece, &total);
  va_end(args);
  return total;
}

}  // namespace kxburi

using kxburi::EscapeResult;

bool getEscapeStringForURI(const KxbString& text, const char* escapeChars,
                           int64_t count, KxbString* out, KxbString* error) {
  if (out == nullptr) {
    if (error != nullptr) {
      *error = kxburi::literal(
          "The output variable is not allocated or defined to be used.");
    }
    return false;
  }
  KxbString source = text;  // `out` may be `&text`
  if (kxburi::isEmpty(source)) {
    *out = source;
    return true;
  }
  return kxburi::escapeBytes(kxburi::bytesOf(source), escapeChars, count,
                             out) == EscapeResult::kOk;
}

bool getUnEscapeStringFromURI(const KxbString& text, KxbString* out) {
  if (out == nullptr) return false;
  KxbString source = text;  // `out` may be `&text`
  return kxburi::unescapeBytes(kxburi::bytesOf(source), out);
}

bool convertBackSlashesToSlashes(const KxbString& in, KxbString* out) {
  return kxburi::convertSlashes(in, out, '\\', '/');
}

bool convertSlashesToBackSlashes(const KxbString& in, KxbString* out) {
  return kxburi::convertSlashes(in, out, '/', '\\');
}
