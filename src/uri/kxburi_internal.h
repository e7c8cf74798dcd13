// Shared machinery of the URI units: byte spans into strings, escaping
// cores that report running out of memory, checked formatting, pool
// allocation of URI objects, the generic parser and the member block every
// URI kind starts with.
//
// Convention: functions returning bool here return false only when memory
// ran out. The factories turn any such failure into a null object, so that
// no caller ever sees a half-filled URI.
#ifndef KXB_SRC_URI_KXBURI_INTERNAL_H_
#define KXB_SRC_URI_KXBURI_INTERNAL_H_

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <new>
#include <string_view>
#include <utility>

#include "kxbmempool.h"
#include "kxburi.h"
#include "kxbstring.h"

namespace kxburi {

// The bytes of `s` (empty for null).
inline std::string_view bytesOf(const KxbString& s) {
  return std::string_view(s.asCstr(), static_cast<size_t>(s.cStrSize() - 1));
}

// A string over a literal: no allocation, lives forever.
inline KxbString literal(const char* text) { return KxbString(text, true); }

inline bool isEmpty(const KxbString& s) { return s.length() == 0; }

// *out = exactly these bytes (the empty string, not null, for none).
bool setSpan(KxbString* out, std::string_view bytes);

// Decodes %XX into *out as getUnEscapeStringFromURI does; *out null when
// memory ran out.
bool unescapeBytes(std::string_view bytes, KxbString* out);
// *out = unescaped `bytes`, or the raw bytes when unescaping runs out of
// memory (as the parsers promise); false still tells of the failure.
bool unescapeOrRaw(std::string_view bytes, KxbString* out);

enum class EscapeResult { kOk, kInvalid, kNoMemory };
// Appends the escaped `text` to *out (see getEscapeStringForURI). `set`
// holds the one-byte characters to escape (null: none).
EscapeResult escapeBytes(std::string_view text, const char* set,
                         int64_t count, KxbString* out);
// *out = `text` escaped with the NUL-terminated `set`; the raw text when it
// is not valid UTF-8; `text` itself when empty.
bool escapeOrRaw(const KxbString& text, const char* set, KxbString* out);

// *out = the pieces joined, written with one allocation. False when memory
// ran out (*out is then null).
bool concat(KxbString* out, std::initializer_list<std::string_view> pieces);

// A piece of text for concatEscaped: the bytes, and the one-byte characters
// to escape in them (null: written as they are). An escaped piece follows
// escapeOrRaw: its non-ASCII characters and the listed bytes become %XX,
// unless it is not valid UTF-8, which is written raw.
struct TextPiece {
  std::string_view bytes;
  const char* escapeSet = nullptr;
};
// *out = the pieces joined, each escaped as it says, with one allocation.
// False when memory ran out (*out is then null).
bool concatEscaped(KxbString* out, std::initializer_list<TextPiece> pieces);

// Bytes the library formatter makes of `format` and the arguments.
size_t formattedBytes(const char* format, ...);

// *out = kxbStringFormat(format, args...); false when a piece was lost to
// an allocation failure (the formatter carries on without it).
template <class... Args>
bool format(KxbString* out, const char* pattern, Args... args) {
  *out = kxbStringFormat(pattern, args...);
  return bytesOf(*out).size() == formattedBytes(pattern, args...);
}

// Appends, reporting failure.
inline bool append(KxbString* out, const char* text) {
  bool failed = false;
  out->append(text, &failed);
  return !failed;
}
inline bool append(KxbString* out, const KxbString& text) {
  bool failed = false;
  out->append(text, &failed);
  return !failed;
}

// URI objects live in memory-pool blocks: construction failure is a null
// pointer, and release() hands the block back.
template <class T, class... Args>
T* poolNew(Args&&... args) {
  void* block = nullptr;
  if (!KxbMemPool::getBytes(static_cast<unsigned>(sizeof(T)), &block)) {
    return nullptr;
  }
  return new (block) T(std::forward<Args>(args)...);
}

// The components the generic parser finds. `rawQuery` is the query span as
// written (before unescaping); it is null exactly when `query` is.
struct UriParts {
  KxbString text;
  KxbString scheme;
  KxbString host;
  KxbString path;
  KxbString query;
  KxbString fragment;
  KxbString rawQuery;
};

// Splits `text` by the generic rules (see kxburi.h). False when memory ran
// out.
bool parseGeneric(const KxbString& text, UriParts* parts);

// The unescaped generic form "scheme://host/path" and its variants.
bool buildPlainForm(const KxbString& scheme, const KxbString& host,
                    const KxbString& path, KxbString* out);

// Path navigation shared by the repository and server-reference kinds.
// *name = the last segment: empty for an empty path, the whole path when its
// last "/" is missing or first.
bool lastSegment(const KxbString& path, KxbString* name);
// *parent = the path before its last "/"; null when that "/" is missing or
// first.
bool parentPath(const KxbString& path, KxbString* parent);

// The value of `key` (exact) in a query text, each pair unescaped; null
// when absent. The query is read through a handler with the given
// duplicates rule, so without duplicates a repeated key keeps its last
// value, with them the first pair of the key is found. False when memory ran
// out.
bool queryValue(const KxbString& query, const char* key, bool allowDuplicates,
                KxbString* value);

// The six members every URI kind starts with, their accessors, and release.
template <class Interface>
class KxURIFields : public Interface {
 public:
  void release() override {
    void* block = dynamic_cast<void*>(this);
    this->~KxURIFields();
    KxbMemPool::freeBytes(block);
  }
  KxbString getScheme() const override { return scheme_; }
  KxbString getHost() const override { return host_; }
  KxbString getPath() const override { return path_; }
  KxbString getQuery() const override { return query_; }
  KxbString getFragment() const override { return fragment_; }
  // A kind that is a repository or a data URI overrides its own.
  KxReposURI* asReposURI() override { return nullptr; }
  KxDataURI* asDataURI() override { return nullptr; }

 protected:
  KxURIFields() = default;
  ~KxURIFields() override = default;

  // Takes the generic parser's findings.
  void takeParts(UriParts&& parts) {
    uriText_ = std::move(parts.text);
    scheme_ = std::move(parts.scheme);
    host_ = std::move(parts.host);
    path_ = std::move(parts.path);
    query_ = std::move(parts.query);
    fragment_ = std::move(parts.fragment);
  }
  void takeParts(const UriParts& parts) {
    uriText_ = parts.text;
    scheme_ = parts.scheme;
    host_ = parts.host;
    path_ = parts.path;
    query_ = parts.query;
    fragment_ = parts.fragment;
  }

  // addQueryValue over query_ (see KxURI).
  bool addToQuery(const KxbString& name, const KxbString& value,
                  KxbString* error, bool allowDuplicates) {
    bool ok = false;
    KxURIQueryHandler* handler = getURIQueryHandler(query_, allowDuplicates);
    if (handler != nullptr) {
      if (handler->addValue(name, value)) {
        KxbString text = handler->toString();
        if (!text.isNull()) {
          query_ = text;
          ok = true;
        }
      }
      handler->release();
    }
    if (!ok && error != nullptr) *error = literal("Error adding query value");
    return ok;
  }

  KxbString uriText_;
  KxbString scheme_;
  KxbString host_;
  KxbString path_;
  KxbString query_;
  KxbString fragment_;
};

// Objects of the kinds, parsed from a text whose prefix selected them. Null
// when memory ran out.
KxURI* newDataURIFromText(const KxbString& text);
KxURI* newReposURIFromText(const KxbString& text);
KxURI* newRQSRefURIFromText(const KxbString& text);
KxURI* newHadoopURIFromText(const KxbString& text);
// Null also when a column descriptor of the text is refused.
KxURI* newWorkTableURIFromText(const KxbString& text);

}  // namespace kxburi

#endif  // KXB_SRC_URI_KXBURI_INTERNAL_H_
