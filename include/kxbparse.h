// KxbParse: one-line attribute texts such as connection or option strings.
//
//   KxbParse attributes;
//   attributes.parse(KxbString("Server=db1; Port=5432; Name=a%3Bb", true));
//   KxbString name, value;
//   for (int i = 0; i < attributes.getAttributeCount(); ++i) {
//     attributes.getAttribute(i, &name, &value);   // "Name", "a;b" ...
//   }
//
// The text is cut at every separator byte (';' by default) into attributes;
// empty pieces are skipped, each other piece is trimmed of white space and
// then percent-unescaped (as getUnEscapeStringFromURI does), so a value can
// carry the separator as %3B. An attribute splits into name and value at its
// first "=" outside parentheses: "(" and ")" nest, and after any "{" no "="
// splits any more ("}" does not close it). An escaped "=" (%3D) is decoded
// before the split and so does split.
//
// A value class: copies are independent. One object is used by one thread
// at a time. Nothing throws.
#ifndef KXB_INCLUDE_KXBPARSE_H_
#define KXB_INCLUDE_KXBPARSE_H_

#include "kxbstring.h"

class KxbParse {
 public:
  KxbParse();
  // Copies the attributes; when memory runs out the copy holds none and its
  // error message says so.
  KxbParse(const KxbParse& other);
  KxbParse& operator=(const KxbParse& other);
  ~KxbParse();

  // Replaces the source text and the attributes and clears the error
  // message. A separator of 0 means ';'. Separators cannot be quoted; an
  // attribute that trimming leaves empty (" ; ") is kept as an empty
  // attribute. True, unless memory ran out: then the attributes read so far
  // are kept and the error message says so.
  bool parse(const KxbString& text, char separator = ';');

  int getAttributeCount() const { return count_; }

  // *attribute = the whole attribute `index` (from 0). False for an index
  // out of range: *attribute stays null and the error message is catalogue
  // message 1516 of "Base Services".
  bool getAttributeRaw(int index, KxbString* attribute);

  // Attribute `index` split at its first top-level "=": *name is the text
  // before it, trimmed, left null when that is empty; *value the text after
  // it, untrimmed, left null when empty. Without such an "=" the whole
  // attribute is the value and the name stays null. Either pointer may be
  // null. Both are made null first. An index out of range returns false with
  // message 1516 as for getAttributeRaw.
  bool getAttribute(int index, KxbString* name, KxbString* value);

  // The last error message; null until an access failed.
  KxbString getErrorMessage() const { return errorMessage_; }

 private:
  bool checkIndex(int index);
  bool appendAttribute(const KxbString& attribute);
  // Makes room for `capacity` attributes; false when memory ran out.
  bool reserve(int capacity);
  void clearAttributes();
  void setOutOfMemory();

  KxbString errorMessage_;
  KxbString source_;
  KxbString* attributes_;  // from the memory pool
  int count_;
  int capacity_;
};

#endif  // KXB_INCLUDE_KXBPARSE_H_
