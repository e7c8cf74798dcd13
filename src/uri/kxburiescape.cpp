// Percent-escaping, slash conversion and the byte-span helpers of the URI
// units.
#include <cstdarg>
#include <cstdint>
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
  // Appends `bytes` bytes at once.
  bool putBytes(const char* text, size_t bytes) {
    if (bytes > sizeof chunk_ - used_) {
      if (!flush()) return false;
      if (bytes > sizeof chunk_) {
        return KxbStringAccess::appendBytes(*out_, text, static_cast<int>(bytes));
      }
    }
    std::memcpy(chunk_ + used_, text, bytes);
    used_ += bytes;
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

// Which one-byte characters to escape: the first `count` bytes of `set`
// (none when `set` is null or count <= 0), up to a NUL, which no text holds.
class EscapeSet {
 public:
  EscapeSet() = default;
  EscapeSet(const char* set, int64_t count) {
    if (set == nullptr) return;
    for (int64_t k = 0; k < count && set[k] != '\0'; ++k) {
      const unsigned char c = static_cast<unsigned char>(set[k]);
      bits_[c >> 6] |= uint64_t{1} << (c & 63);
    }
  }
  bool has(unsigned char c) const { return (bits_[c >> 6] >> (c & 63)) & 1; }

 private:
  uint64_t bits_[4] = {0, 0, 0, 0};
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
    static const KxbString kEmpty = literal("");
    *out = kEmpty;
    return true;
  }
  return KxbStringAccess::appendBytes(*out, bytes.data(),
                                      static_cast<int>(bytes.size()));
}

bool unescapeBytes(std::string_view text, KxbString* out) {
  out->setNull();
  if (text.empty()) return setSpan(out, text);
  // Most spans hold no escape at all: take them as they stand.
  if (text.find('%') == std::string_view::npos) return setSpan(out, text);
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
  const EscapeSet escapeSet(set, count);
  ChunkWriter writer(out);
  size_t i = 0;
  size_t run = 0;  // start of the bytes not yet written, all kept as they are
  while (i < text.size()) {
    const unsigned char first = static_cast<unsigned char>(text[i]);
    // ASCII is always one whole character: no need to decode it.
    if (first < 0x80 && !escapeSet.has(first)) {
      ++i;
      continue;
    }
    if (!writer.putBytes(text.data() + run, i - run)) return EscapeResult::kNoMemory;
    int size = 1;
    const int code = first < 0x80 ? first : np_uchar_toint(text.data() + i, &size);
    if (code < 0 || size < 1) {
      return writer.flush() ? EscapeResult::kInvalid : EscapeResult::kNoMemory;
    }
    bool ok = true;
    if (size >= 2) {
      for (int k = 0; k < size && ok; ++k) {
        ok = putEscaped(&writer, static_cast<unsigned char>(text[i + k]));
      }
    } else {
      ok = putEscaped(&writer, first);
    }
    if (!ok) return EscapeResult::kNoMemory;
    i += static_cast<size_t>(size);
    run = i;
  }
  if (!writer.putBytes(text.data() + run, i - run)) return EscapeResult::kNoMemory;
  return writer.flush() ? EscapeResult::kOk : EscapeResult::kNoMemory;
}

bool escapeOrRaw(const KxbString& text, const char* set, KxbString* out) {
  if (isEmpty(text)) {
    *out = text;
    return true;
  }
  // A text with nothing to escape is shared rather than copied.
  const int64_t count = static_cast<int64_t>(std::strlen(set));
  const EscapeSet escapeSet(set, count);
  bool needed = false;
  for (char c : bytesOf(text)) {
    const unsigned char u = static_cast<unsigned char>(c);
    if (u >= 0x80 || escapeSet.has(u)) {
      needed = true;
      break;
    }
  }
  if (!needed) {
    *out = text;
    return true;
  }
  KxbString escaped;
  switch (escapeBytes(bytesOf(text), set, count, &escaped)) {
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

bool concat(KxbString* out, std::initializer_list<std::string_view> pieces) {
  size_t total = 0;
  for (std::string_view piece : pieces) total += piece.size();
  char local[kLocalDecodeBytes];
  char* buffer = local;
  if (total > sizeof local) {
    void* block = nullptr;
    if (!KxbMemPool::getBytes(static_cast<unsigned>(total), &block)) {
      out->setNull();
      return false;
    }
    buffer = static_cast<char*>(block);
  }
  size_t at = 0;
  for (std::string_view piece : pieces) {
    if (!piece.empty()) std::memcpy(buffer + at, piece.data(), piece.size());
    at += piece.size();
  }
  const bool ok = setSpan(out, std::string_view(buffer, total));
  if (buffer != local) KxbMemPool::freeBytes(buffer);
  if (!ok) out->setNull();
  return ok;
}

namespace {

// Bytes `text` takes when escaped with `set`, or SIZE_MAX when it is not
// valid UTF-8 (and so is written raw).
size_t escapedSize(std::string_view text, const EscapeSet& set) {
  size_t total = text.size();
  size_t i = 0;
  while (i < text.size()) {
    const unsigned char first = static_cast<unsigned char>(text[i]);
    if (first < 0x80) {
      if (set.has(first)) total += 2;
      ++i;
      continue;
    }
    int size = 1;
    if (np_uchar_toint(text.data() + i, &size) < 0 || size < 1) return SIZE_MAX;
    total += 2 * static_cast<size_t>(size);
    i += static_cast<size_t>(size);
  }
  return total;
}

// Writes the valid UTF-8 `text` escaped with `set` at `to`; returns the end.
char* writeEscaped(std::string_view text, const EscapeSet& set, char* to) {
  for (char c : text) {
    const unsigned char u = static_cast<unsigned char>(c);
    if (u >= 0x80 || set.has(u)) {
      *to++ = '%';
      *to++ = kHexDigits[u >> 4];
      *to++ = kHexDigits[u & 0x0F];
    } else {
      *to++ = c;
    }
  }
  return to;
}

}  // namespace

bool concatEscaped(KxbString* out, std::initializer_list<TextPiece> pieces) {
  constexpr size_t kMaxPieces = 16;
  if (pieces.size() > kMaxPieces) {
    out->setNull();
    return false;
  }
  // Per piece: its escape set and the bytes it takes; a piece whose size is
  // its own is copied as it stands.
  EscapeSet sets[kMaxPieces];
  size_t sizes[kMaxPieces];
  size_t total = 0;
  size_t k = 0;
  for (const TextPiece& piece : pieces) {
    sizes[k] = piece.bytes.size();
    if (piece.escapeSet != nullptr && !piece.bytes.empty()) {
      sets[k] = EscapeSet(piece.escapeSet,
                          static_cast<int64_t>(std::strlen(piece.escapeSet)));
      const size_t escaped = escapedSize(piece.bytes, sets[k]);
      if (escaped != SIZE_MAX) sizes[k] = escaped;
    }
    total += sizes[k++];
  }
  char local[kLocalDecodeBytes];
  char* buffer = local;
  if (total > sizeof local) {
    void* block = nullptr;
    if (!KxbMemPool::getBytes(static_cast<unsigned>(total), &block)) {
      out->setNull();
      return false;
    }
    buffer = static_cast<char*>(block);
  }
  char* at = buffer;
  k = 0;
  for (const TextPiece& piece : pieces) {
    if (sizes[k] == piece.bytes.size()) {
      if (!piece.bytes.empty()) std::memcpy(at, piece.bytes.data(), piece.bytes.size());
      at += piece.bytes.size();
    } else {
      at = writeEscaped(piece.bytes, sets[k], at);
    }
    ++k;
  }
  const bool ok = setSpan(out, std::string_view(buffer, total));
  if (buffer != local) KxbMemPool::freeBytes(buffer);
  if (!ok) out->setNull();
  return ok;
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
