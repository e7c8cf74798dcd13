// KxDataURI: a table or other object inside a data source, named by a
// "kxd://" or "kxf://" text.
//
//   kxd://DataSource[.SourceType]/part1/part2/part3.../objectName
//       a source reached through a driver layer; the type defaults to "ODBC".
//   kxf://Server[.SourceType]/dataSource/part1/part2/part3.../objectName
//       a source named by a server and a path of folders.
//
// Where each member comes from:
//
//   member       kxd text                         kxf text
//   server       always empty                     host before its first "."
//   dataSource   host before its first "."        first path segment
//   sourceType   host after its first ".";        host after its first ".";
//                "ODBC" when the host has none    empty when none
//   part1        first path segment               second path segment
//   part2        second path segment              third path segment
//   part3        the rest up to the last "/"      the rest up to the last "/"
//   objectName   the text after the last "/"      the text after the last "/"
//
// A "kxd" path of 3 bytes or fewer, and a "kxf" path of 4 bytes or fewer,
// gives no path members at all ("kxd://Sales/abc" names no object). When a
// segment is missing the span of the next member runs from the start:
// "kxd://Sales/ab/t" gives part1 "ab", part3 "ab" and objectName "t". The
// data source and path members are unescaped (the path twice: once as a
// path, once as a member); the source type is taken as written. The query
// and fragment of the text are dropped.
//
// After parsing, getHost() and getPath() report the host and path rebuilt
// from the members ("Sales.ODBC" and "dbo/main//" for
// kxd://Sales/dbo/main/Orders); they are filled once, when empty, and never
// overwritten.
//
// Strings: a parsed data URI returns its text unchanged from getURIString.
// One built from components writes, for "kxd", "scheme://dataSource.type/"
// followed by the parts up to the last non-empty one ("kxd://Sales./" for a
// data source with no type and no parts), and for "kxf" the same with
// "server.type" and the data source first. Members before the last non-empty
// one are written even when empty; query and fragment never are. The "kxd"
// form for an empty data source with an object name keeps a historical
// stray "%/" in its pattern: "kxd:///p1/%/p2/p3" (the object name is lost).
// getEscapedURIString writes the data source and path members with their
// non-ASCII bytes as %XX (spaces stay).
//
// Thread safety and ownership as for every KxURI (kxburibase.h).
#ifndef KXB_INCLUDE_KXBDATAURI_H_
#define KXB_INCLUDE_KXBDATAURI_H_

#include "kxburibase.h"
#include "kxbstring.h"

class KxDataURI : public KxURI {
 public:
  // Copies of the members (null when the text did not set them).
  virtual KxbString getDataSource() const = 0;
  virtual KxbString getSourceType() const = 0;
  virtual KxbString getPart1() const = 0;
  virtual KxbString getPart2() const = 0;
  virtual KxbString getPart3() const = 0;
  virtual KxbString getObjectName() const = 0;
  virtual KxbString getServer() const = 0;

 protected:
  ~KxDataURI() override = default;
};

// Splits a data URI text into its members (any output pointer may be null).
// True for the schemes "kxd" and "kxf" (case-sensitive); false for any other
// scheme (then only *scheme is set) or when memory ran out (outputs then
// undefined). Outputs the text does not set are made null.
bool getDataURIComponentsFromString(const KxbString& text, KxbString* scheme,
                                    KxbString* dataSource,
                                    KxbString* sourceType, KxbString* part1,
                                    KxbString* part2, KxbString* part3,
                                    KxbString* objectName, KxbString* server);

// A new data URI from members, each unescaped (note: `server` comes before
// `dataSource` here). The URI text, host and path are made from the members
// when first asked for. Any scheme is accepted, but only "kxd" and "kxf"
// build a text (others give the empty string). Null when memory ran out.
KxDataURI* getDataURIFromComponents(const KxbString& scheme,
                                    const KxbString& server,
                                    const KxbString& dataSource,
                                    const KxbString& sourceType,
                                    const KxbString& part1,
                                    const KxbString& part2,
                                    const KxbString& part3,
                                    const KxbString& objectName);

#endif  // KXB_INCLUDE_KXBDATAURI_H_
