// KxHadoopURI: a file or folder on a Hadoop cluster, named by a "hadoop://"
// text.
//
//   hadoop://NameNode[:Port]/path[?key=value&...][#fragment]
//
// The authority names the cluster's name node: a host name, an IPv4 address
// or an IPv6 address in brackets ("[::1]"), optionally followed by ":" and a
// port from 1 to 65535. It must be followed by "/" (hadoop://nn:8020/ names
// the root folder); a text without that "/" parses to an object whose host,
// path and query are null, as for any URI. The path is unescaped. The query
// carries the connection settings, one key each, read with
// these accessors:
//
//   kxCfg     getConfig()      name of a client configuration to load
//   kxUser    getUser()        user to connect as
//   kxPass    getPassword()    that user's password
//   kxDomain  getDomain()      authentication domain of the user
//   kxBufSz   getBufferSize()  read/write buffer size in bytes, a positive
//                              decimal number
//
// Keys are matched exactly (case-sensitive); the first pair of a key wins and
// unknown keys are ignored. Values are unescaped once, from the query as it
// is written in the text, so a value may hold "&", "=", "#" or "%" written
// as %26, %3D, %23 and %25.
//
// Strings: getURIString returns the text the object was made from (the
// builder makes one), so it holds the password; use getMaskedURIString for
// anything that may be logged or shown. getEscapedURIString rebuilds the
// text from the current components: the path with space, "?", "#" and "%"
// written as %XX, the query as written (including pairs added since), the
// fragment escaped likewise. addQueryValue replaces the value of the first
// pair of the same name (appending when there is none) and writes the pair
// with space, "&", "=", "#" and "%" escaped; the accessors see the change,
// getURIString does not. asReposURI and asDataURI return null.
//
// Thread safety and ownership as for every KxURI (kxburibase.h).
#ifndef KXB_INCLUDE_KXBHADOOPURI_H_
#define KXB_INCLUDE_KXBHADOOPURI_H_

#include <cstdint>

#include "kxburibase.h"
#include "kxbstring.h"

class KxHadoopURI : public KxURI {
 public:
  // The name node's host: the authority without its port, and without the
  // brackets of an IPv6 address. Null when the text had no authority.
  virtual KxbString getNameNode() const = 0;
  // *port = the name node's port, or 0 when the authority names none (the
  // cluster's default applies). False when the text after the ":" is not a
  // number from 1 to 65535: then *port is 0 and *error (when given) says
  // why. `port` must not be null.
  virtual bool getPort(int* port, KxbString* error) const = 0;
  // The values of kxCfg, kxUser, kxPass and kxDomain; null when absent.
  virtual KxbString getConfig() const = 0;
  virtual KxbString getUser() const = 0;
  virtual KxbString getPassword() const = 0;
  virtual KxbString getDomain() const = 0;
  // *size = the value of kxBufSz, or 0 when the key is absent (the client's
  // default applies). False when the value is not a positive whole number
  // that fits 64 bits ("64k", "-1", "0", empty): then *size is 0 and *error
  // (when given) names the value. `size` must not be null.
  virtual bool getBufferSize(int64_t* size, KxbString* error) const = 0;
  // getURIString() with the value of every kxPass pair replaced by
  // "********" (see getMaskedHadoopURIString). Null when memory ran out.
  virtual KxbString getMaskedURIString() = 0;

 protected:
  ~KxHadoopURI() override = default;
};

// A new Hadoop URI made from components: the text
// "hadoop://nameNode[:port]/path?kxCfg=..&kxUser=..&kxPass=..&kxDomain=..
// &kxBufSz=.." is written (each key only when its value is non-empty, and
// kxBufSz only when bufferSize > 0; the path and values escaped so that they
// read back unchanged) and parsed. `nameNode` may be empty (the cluster of
// the configuration); an IPv6 address is bracketed. A port of 0 writes none.
// Returns null with *error (when given) set for a name node holding "/",
// "?", "#", "@", "[", "]" or white space, a port outside 0..65535, a port
// without a name node, or a negative buffer size; null (with an error text
// when memory allows) when memory ran out.
KxHadoopURI* getHadoopURIFromComponents(
    const KxbString& nameNode, int port, const KxbString& path,
    const KxbString& config, const KxbString& user, const KxbString& password,
    const KxbString& domain, int64_t bufferSize, KxbString* error);

// `text` with every password in its query replaced by "********". A pair
// is any segment that starts the text or follows a "?" or "&", and runs to
// the next "&", "#" or the end (so a bare query text is masked too). It is masked when its name reads "kxPass" ignoring case: the name
// being the segment's text before its first "=", unescaped, or, for a
// segment with no "=" as written, the text before the first "=" of the
// unescaped segment ("kxPass%3Dsecret"). The name stays as written (the
// unescaped one for the second form) and an empty value stays empty. Any
// text is accepted, whatever its scheme. Null for a null text and when
// memory ran out.
KxbString getMaskedHadoopURIString(const KxbString& text);

#endif  // KXB_INCLUDE_KXBHADOOPURI_H_
