// Resource identifiers: the URI family and its factories.
//
// Every resource the suite addresses is named by a text
//   scheme "://" authority "/" path ["?" query] ["#" fragment]
// and handled through the KxURI interface (kxburibase.h). The scheme picks
// the kind of object:
//
//   "kxd://", "kxf://"  KxDataURI    (kxbdatauri.h)
//   "kxr://"            KxReposURI   (kxbreposuri.h)
//   "rqsref://"         KxRQSRefURI  (kxbreposuri.h)
//   "hadoop://"         KxHadoopURI  (kxbhadoopuri.h)
//   "kxwt://"           KxWorkTableURI (kxbwturi.h)
//   anything else       the generic kind, described here
//
// This header gives access to all of them, to the query handler
// (kxburiquery.h) and to the escaping functions (kxburibase.h).
//
// Generic parsing. Positions are byte indexes. The scheme is the text
// before the first ":" (when that is not the first byte). The authority
// starts after the first "//" found after that ":" and runs to the next "/";
// a text with no "/" after the authority ("abc://server") keeps null host and
// path. The query starts at the first "?" after that "/", and the fragment at
// the first "#" after the query (or after the "/" when there is no query),
// so a "#" before the first "?" stays in the path: abc://h/a#b?c has the path
// "a#b" and the query "c". A "?" directly followed by "#" leaves the query
// null. Path, query and fragment are unescaped; the host never is.
//
// Generic strings. getURIString returns the parsed text unchanged; for an
// object built from components it writes, by which of scheme and host are
// non-empty, "scheme://host/path", "scheme:///path", "//host/path" or
// "/path" — without query or fragment and without escaping — and stores
// that. getEscapedURIString writes the same form with space, "?" and "#"
// escaped in the path, followed by "?" and the query (space and "?"
// escaped) and "#" and the fragment (space and "#" escaped) when non-empty.
//
// Ownership: every object returned is the caller's, given back with
// release() (or held in a KxURIPtr). Thread safety: objects are used by one
// thread at a time; the functions are reentrant. Nothing throws.
#ifndef KXB_INCLUDE_KXBURI_H_
#define KXB_INCLUDE_KXBURI_H_

#include "kxbdatauri.h"
#include "kxbhadoopuri.h"
#include "kxbreposuri.h"
#include "kxburibase.h"
#include "kxburiquery.h"
#include "kxbwturi.h"
#include "kxbstring.h"

// Parses `text` into the kind its scheme selects. The prefix tests above are
// case-sensitive: "KXR://h/p" is a generic URI. Null for a null or empty
// text, a text without "://" or with nothing before it ("://x"), a "kxwt://"
// text holding a column descriptor the work table refuses (kxbwturi.h), and
// when memory ran out. Any other text the kind's own rules reject still
// gives an object, with empty members.
KxURI* getURIFromURIString(const KxbString& text);

// A new object from components, the kind chosen by `scheme`: "kxr" and
// "rqsref" ignoring case (repository URI from host and path with an empty
// type; server reference from host, path and query); "kxd" and "kxf" exactly
// (data URI with `host` as the server and `path` as the data source);
// "kxwt" ignoring case (work table named by the path); anything else,
// "hadoop" and "KXD" included, the generic kind, with every "\" of the path
// turned into "/" and an empty path stored as null. Null when memory ran
// out.
KxURI* getFullURI(const KxbString& scheme, const KxbString& host,
                  const KxbString& path, const KxbString& query,
                  const KxbString& fragment);
// getFullURI with an empty query and fragment.
KxURI* getURI(const KxbString& scheme, const KxbString& host,
              const KxbString& path);

// *nativePath = the file-system path a URI names, in POSIX form:
//   - with a host: "//host/path", the counterpart of a UNC path
//     (\\host\path). Note that Linux reads a leading "//" as "/", so mount
//     the share there if it is to be reached. A "file" URI whose host is
//     "localhost" (any case) counts as having none.
//   - without a host: "/path" (the URI path is relative to the root, so
//     file:///tmp/x gives /tmp/x), except that a path starting with a drive
//     letter ("C:/tmp/x", "C:") has no POSIX counterpart and is returned as it
//     stands, with "/" separators, so that it never lands under "/".
// Every "\" of the path becomes "/", and a path that already starts with "/"
// gets no second one. An empty path gives "//host/" or "/". False for a null
// `uri` or `nativePath`, or when memory ran out (*nativePath then null).
bool getNativePath(KxURI* uri, KxbString* nativePath);

#endif  // KXB_INCLUDE_KXBURI_H_
