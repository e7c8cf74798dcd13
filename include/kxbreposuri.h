// KxReposURI and KxRQSRefURI: objects held by the suite's own services.
//
// Repository URI ("kxr"): an object in a named repository, written
//   kxr://Repository/folder/path/Object Name(Type)
// The host is the repository, the path the folders and object name without
// the type, and the type is the text inside the last "(" ... ")". A text
// without a type in parentheses names the root folder: kxr://Main/Jobs gives
// an empty path and the type "Folder", while kxr://Main/(Job) gives an empty
// path and the type "Job". The repository and path are unescaped; the type
// is taken as written. The query and fragment of the text are kept but never
// written by the string forms.
//
// Server-reference URI ("rqsref"): an object on a server, written
//   rqsref://Server/path?ObjectType=job&ServiceType=batch
// The scheme is always "rqsref". The object and service types are the query
// values of "ObjectType" and "ServiceType".
//
// A parsed URI of either kind returns its text unchanged from getURIString;
// one built from components writes:
//   kxr:    "scheme://repository/path(type)" (always with the parentheses,
//           so an empty type gives "()"); escaped form: the path's non-ASCII
//           bytes as %XX.
//   rqsref: "rqsref://server/path", without the query; the escaped form adds
//           "?query" (names and values re-escaped through a query handler)
//           and "#fragment", and escapes space, "?" and "#" in the path.
//
// Navigation returns new objects, owned by the caller, or null when memory
// ran out. Thread safety and ownership as for every KxURI (kxburibase.h).
#ifndef KXB_INCLUDE_KXBREPOSURI_H_
#define KXB_INCLUDE_KXBREPOSURI_H_

#include "kxburibase.h"
#include "kxbstring.h"

class KxReposURI : public KxURI {
 public:
  // The type ("Job", "Folder"; as given to the builder, possibly empty).
  virtual KxbString getObjectType() const = 0;
  // The repository name (the host).
  virtual KxbString getRepository() const = 0;
  // A new URI of the folder holding this object: the path before its last
  // "/" (none when that "/" is missing or first), the type "Folder", the
  // same repository. Null for the root (empty path) and when memory ran out.
  virtual KxReposURI* getParent() = 0;
  // A new URI of the repository's root folder (no path, type "Folder").
  // Null when memory ran out.
  virtual KxReposURI* getRoot() = 0;
  // Always the empty string.
  virtual KxbString getUnusedComponent() const = 0;
  // "scheme:///path(type)": the string without the repository, raw path.
  // Null when memory ran out.
  virtual KxbString getPathURIString() const = 0;
  // The last path segment: empty for an empty path, the whole path when it
  // has no "/" after its first character.
  virtual KxbString getName() const = 0;
  // True exactly when the path is empty and the type is "Folder"
  // (case-sensitive).
  virtual bool isRootFolder() const = 0;

 protected:
  ~KxReposURI() override = default;
};

class KxRQSRefURI : public KxURI {
 public:
  // The server (the host).
  virtual KxbString getServer() const = 0;
  // A new URI of the path before its last "/" on the same server, without
  // query or fragment. Null for an empty path and when memory ran out.
  virtual KxRQSRefURI* getParent() = 0;
  // "rqsref:///path", followed by "?" and the raw query when there is one.
  // Null when memory ran out.
  virtual KxbString getPathURIString() const = 0;
  // The last path segment, as for repository URIs.
  virtual KxbString getName() const = 0;
  // The value of the first query pair named "ObjectType" / "ServiceType"
  // (exactly); null when there is none.
  virtual KxbString getObjectType() const = 0;
  virtual KxbString getServiceType() const = 0;

 protected:
  ~KxRQSRefURI() override = default;
};

// Splits a repository text (any output may be null). False when the scheme
// is not exactly "kxr" (only *scheme is set) or memory ran out. A path with
// no type in parentheses gives an empty *path and the type "Folder".
bool getPathURLComponentsFromString(const KxbString& text, KxbString* scheme,
                                    KxbString* repository, KxbString* path,
                                    KxbString* type);

// A new repository URI (scheme "kxr"): the repository and path unescaped,
// every "\" of the path turned into "/", the type as passed even when empty.
// Null when memory ran out.
KxReposURI* getReposURIFromComponents(const KxbString& repository,
                                      const KxbString& path,
                                      const KxbString& type);

// Copies the host, path, query and fragment of any URI text (by the generic
// parser) to the outputs that are not null. Always true; when memory runs
// out nothing is written.
bool getRQSRefURIComponentsFromString(const KxbString& text, KxbString* server,
                                      KxbString* path, KxbString* query,
                                      KxbString* fragment);

// A new server-reference URI: server and path unescaped, the query stored as
// passed (only when non-empty). Null when memory ran out.
KxRQSRefURI* getRQSRefURIFromComponents(const KxbString& server,
                                        const KxbString& path,
                                        const KxbString& query);

#endif  // KXB_INCLUDE_KXBREPOSURI_H_
