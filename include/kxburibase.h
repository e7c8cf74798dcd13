// KxURI: the interface every resource identifier shares, and the text
// helpers all URI kinds use (percent-escaping, slash conversion).
//
// A URI text has the form scheme "://" authority "/" path, optionally "?"
// query and "#" fragment. Each kind of URI (generic, data, repository,
// server reference, Hadoop; see kxburi.h) is an object behind a KxURI
// pointer, made by a factory and owned by the caller, who gives it back with
// release(). Objects come from the memory pool (kxbmempool.h), which must
// exist; without it, and whenever memory runs out, factories return null.
//
// Thread safety: a URI object is used by one thread at a time. The free
// functions here are reentrant.
//
// Nothing here throws.
#ifndef KXB_INCLUDE_KXBURIBASE_H_
#define KXB_INCLUDE_KXBURIBASE_H_

#include <cstdint>
#include <memory>

#include "kxbstring.h"

class KxReposURI;
class KxDataURI;

// The operations every URI kind implements, in this order. Accessors return
// copies of the object's members (cheap: copies share the text body).
class KxURI {
 public:
  // Destroys the object and gives its memory back. Call it exactly once on a
  // valid object; KxURIReleaser (below) also accepts null.
  virtual void release() = 0;
  // The scheme ("kxr", "abc"), or null when the text had none.
  virtual KxbString getScheme() const = 0;
  // The authority text between "//" and the next "/", as written (never
  // unescaped); null when the text had none.
  virtual KxbString getHost() const = 0;
  // The path without its leading "/", unescaped.
  virtual KxbString getPath() const = 0;
  // The query text without "?", unescaped. A "?" directly followed by "#"
  // leaves it null; a "?" at the very end gives the empty text.
  virtual KxbString getQuery() const = 0;
  // The fragment without "#", unescaped.
  virtual KxbString getFragment() const = 0;
  // The URI text as stored: the text the object was parsed from, or the one
  // built from the components by the first call (and stored then, so later
  // changes to the components do not show). Null when memory ran out.
  virtual KxbString getURIString() = 0;
  // The URI text rebuilt from the current components with escaping, never
  // stored. Null when memory ran out.
  virtual KxbString getEscapedURIString() = 0;
  // This object as a repository / data URI; null for every other kind. The
  // result is the same object (not a new one): do not release it separately.
  virtual KxReposURI* asReposURI() = 0;
  virtual KxDataURI* asDataURI() = 0;
  // Adds the pair name=value to the query through a query handler
  // (kxburiquery.h) and stores the handler's text as the new query. The
  // generic kind appends a second pair of the same name; the other kinds
  // replace the value of the first pair of that name. The stored URI text
  // does not change. False when memory ran out: then `error` (when given)
  // receives "Error adding query value" and the query is unchanged.
  virtual bool addQueryValue(const KxbString& name, const KxbString& value,
                             KxbString* error) = 0;

 protected:
  virtual ~KxURI() = default;
};

// Deleter for std::unique_ptr over any object with release(); ignores null.
struct KxURIReleaser {
  template <class T>
  void operator()(T* object) const {
    if (object != nullptr) object->release();
  }
};
template <class T>
using KxURIPtr = std::unique_ptr<T, KxURIReleaser>;

// Percent-escapes `text` and appends the result to *out (callers normally
// pass an empty or null string). A character of two or more bytes becomes
// %XX for each of its bytes (upper-case hex); a one-byte character becomes
// %XX when it is among the first `count` bytes of `escapeChars` (count <= 0:
// none) and stays itself otherwise. "%", "/" and control characters are not
// escaped unless listed, so escaping is not the inverse of unescaping for
// text that already holds %XX. An empty or null text assigns it to *out.
// Returns false when `out` is null (then *error, when given, receives "The
// output variable is not allocated or defined to be used."), when the text
// holds invalid UTF-8 (the walk stops there; what was written before stays
// in *out), or when memory ran out.
bool getEscapeStringForURI(const KxbString& text, const char* escapeChars,
                           int64_t count, KxbString* out, KxbString* error);

// Decodes %XX sequences (either case of hex digit) into *out. A "%" not
// followed by two hex digits is copied with the two bytes after it; a "%"
// among the last two bytes is copied as it is; "+" stays "+"; %00 is
// dropped. An empty or null text gives the empty string. Returns false when
// `out` is null or memory ran out (then *out is null); true otherwise. The
// result may hold invalid UTF-8 when the escapes spell it.
bool getUnEscapeStringFromURI(const KxbString& text, KxbString* out);

// *out = `in` with every "\" turned into "/" (resp. "/" into "\"). A null or
// empty `in`, or running out of memory, makes *out null and returns false.
// `out` may be `&in`.
bool convertBackSlashesToSlashes(const KxbString& in, KxbString* out);
bool convertSlashesToBackSlashes(const KxbString& in, KxbString* out);

#endif  // KXB_INCLUDE_KXBURIBASE_H_
