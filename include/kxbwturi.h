// KxWorkTableURI: an in-process work table, with an optional typed column
// filter and an optional row range, named by a "kxwt://" text.
//
//   kxwt://Orders?id=Integer'7',name=String'O%27Brien'#start=10,count=5
//
// The table name runs to the first "?" (or "#"), white space around it
// trimmed. The column text after "?"
// is a comma-separated list of descriptors: a bare name, or name=value with
// the value written as type word, "'", value, "'" (the type word as
// kxbTypeToString gives it, e.g. "Integer", "String"; none for an untyped
// value). In a value "'" is written %27 and "," %2C. The range text after
// "#" holds "start=N" and "count=N" separated by "," (not "&"); N is a
// 64-bit integer and -1 means unset.
//
// Parsing quirks kept on purpose: with "?" but no "#" the remaining text is
// read as both column text and range text (kxwt://T?start=5 has a column
// "start" and the range start 5); a value without any "'" loses its first
// character; an unknown range key, or a range value that is not a number,
// ends the range list. An empty item between commas is a column with an
// empty name, which makes the whole parse fail; so does any column
// addColumn refuses (the reason is logged at level 3 on
// "KX.Base.URI.WorkTable").
//
// Typed values: a Boolean, Integer, Real or Date column with a non-empty
// value must hold a value of that type. Checking that needs the data
// variant, which this version does not use yet: addColumn refuses such
// columns with an error saying so, and texts holding them do not parse
// (null). Untyped and String columns, and typed columns without a value,
// work fully.
//
// Strings are rebuilt on every call and never stored: getURIString writes
// "kxwt://" table "?" columns "#" range (each part only when non-empty);
// getEscapedURIString the same with the table name's non-ASCII bytes as %XX.
// getScheme is always "kxwt", getHost null, getPath the table name,
// getQuery the column text, getFragment the range text. addQueryValue
// appends "name=value" to the column text (duplicates allowed) without
// adding a column.
//
// Errors are catalogue messages of "Base Services": 29 (allocation failed,
// with "(column descriptor)" or "(URI fragment)"), 1776 (duplicate column),
// 1795 (empty column name). They go to the caller's error string when one is
// given, else to the logger "KX.Base.URI.WorkTable" at level 3.
//
// Thread safety and ownership as for every KxURI (kxburibase.h).
#ifndef KXB_INCLUDE_KXBWTURI_H_
#define KXB_INCLUDE_KXBWTURI_H_

#include <cstdint>

#include "kxburibase.h"
#include "kxbdatavar.h"
#include "kxbstring.h"

class KxWorkTableURI : public KxURI {
 public:
  // Adds a column descriptor and appends it to the column text. Fails (false,
  // nothing changed) for an empty name, a name already used (ignoring case),
  // a typed value that cannot be checked (see above), or memory running out;
  // the reason goes to *error or the log. On success *error (when given) is
  // made null.
  virtual bool addColumn(const KxbString& name, const KxbString& value,
                         kxbType type, KxbString* error) = 0;
  // Column `index` (from 0, in insertion order); any output may be null.
  // Out of range: false, both strings null and the type Unknown.
  virtual bool getColumn(int index, KxbString* name, KxbString* value,
                         kxbType* type) const = 0;
  virtual int getColumnCount() const = 0;
  virtual KxbString getTableName() const = 0;
  // The range. When no start is set (it is negative) both outputs are 0 and
  // the result false; otherwise start and count (count -1 when unset).
  virtual bool getRange(int64_t* start, int64_t* count) const = 0;
  virtual void setTableName(const KxbString& name) = 0;
  // Stores start and count (-1: unset) and rewrites the range text. False
  // only when memory ran out (message 29 with "(URI fragment)").
  virtual bool setRange(int64_t start, int64_t count, KxbString* error) = 0;

 protected:
  ~KxWorkTableURI() override = default;
};

// A new work-table URI with no columns, without range or with the given
// start and count (-1: unset). Null when memory ran out.
KxWorkTableURI* getWorkTableURIFromComponents(const KxbString& name);
KxWorkTableURI* getWorkTableURIFromComponents(const KxbString& name,
                                              int64_t start, int64_t count);

#endif  // KXB_INCLUDE_KXBWTURI_H_
