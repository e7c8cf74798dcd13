// KxURIQueryHandler: a URI query text ("a=1&b=2") as an ordered list of
// name/value pairs.
//
// The URI kinds use it to add values to their query; callers may make one
// over any query text. Pairs keep their insertion order.
//
// Thread safety: a handler is used by one thread at a time. Nothing throws.
#ifndef KXB_INCLUDE_KXBURIQUERY_H_
#define KXB_INCLUDE_KXBURIQUERY_H_

#include "kxburibase.h"
#include "kxbstring.h"

class KxURIQueryHandler {
 public:
  // Destroys the handler and its pairs. Call it once on a valid handler;
  // KxURIReleaser (kxburibase.h) also accepts null.
  virtual void release() = 0;
  // With duplicates allowed, appends the pair. Otherwise the first pair
  // whose name equals `name` (case-sensitive) takes the new value, and the
  // pair is appended only when none matches. False only when memory ran out
  // (the list is then unchanged).
  virtual bool addValue(const KxbString& name, const KxbString& value) = 0;
  // Number of pairs.
  virtual int getCount() const = 0;
  // Pair `index` (from 0, in list order) copied into *name and *value
  // (either may be null). False for an index out of range; the outputs are
  // then untouched.
  virtual bool getValueAt(int index, KxbString* name,
                          KxbString* value) const = 0;
  // The query text: "name=value" pairs joined by "&", with space, "&", "="
  // and "#" (and non-ASCII bytes) in names and values written as %XX; a name
  // or value that is not valid UTF-8 is written raw. No pairs: the empty
  // string. Null only when memory ran out.
  virtual KxbString toString() const = 0;
  // Adds the pairs of `query` by addValue. The text is cut at each "&"; a
  // segment with its first "=" at index 1 or later gives a pair (name before
  // the "=", value after it, each unescaped); segments without "=", or
  // beginning with "=", are skipped. The "=" is looked for from the start of
  // the remaining text, so in "a&b=c" the first pair is named "a&b" with an
  // empty value, and the second is b=c. Returns the result of the last
  // segment's addValue (true when it was skipped): false means memory ran out
  // while adding that pair.
  virtual bool parse(const KxbString& query) = 0;

 protected:
  virtual ~KxURIQueryHandler() = default;
};

// A new handler over `query` (parsed when non-empty) with the duplicates
// rule fixed for its life. Null only when memory ran out, also while the
// query was being parsed. The caller releases it.
KxURIQueryHandler* getURIQueryHandler(const KxbString& query,
                                      bool allowDuplicates);

#endif  // KXB_INCLUDE_KXBURIQUERY_H_
