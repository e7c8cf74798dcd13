// Helpers of the cursor tests: filling cursors and reading them back as
// plain text, and the list of implementations every protocol test runs on.
#ifndef KXB_TESTS_SUPPORT_CURSOR_ROWS_H_
#define KXB_TESTS_SUPPORT_CURSOR_ROWS_H_

#include <memory>
#include <string>
#include <vector>

#include "kxbcursor.h"

namespace kxb_test {

struct CursorReleaser {
  template <class T>
  void operator()(T* cursor) const {
    if (cursor != nullptr) cursor->release();
  }
};
using DatavarCursorPtr = std::unique_ptr<KxbDatavarCursorCreater, CursorReleaser>;
using StringCursorPtr = std::unique_ptr<KxbStringCursorCreater, CursorReleaser>;

// A cell as text: "<null>" for a null cell, else the type's initial and
// asString ("I:42", "S:", "R:1.5").
std::string showCell(const KxbDatavar& cell);
std::string showCell(const KxbString& cell);

// Every row from the current position on, cells joined by "|", rows by
// "\n"; stops at the end or an error (then "ERROR: <message>" is appended).
template <class Cursor>
std::string readRows(Cursor* cursor) {
  std::string out;
  for (;;) {
    const int step = cursor->next();
    if (step == kxbCursorEnd) break;
    if (step != kxbCursorRow) {
      out += "ERROR: ";
      out += cursor->getErrorMessage().asCstr();
      break;
    }
    for (int c = 0; c < cursor->getColumnCount(); ++c) {
      if (c > 0) out += "|";
      out += showCell(cursor->getValue(c));
    }
    out += "\n";
  }
  return out;
}

// Adds the columns "a", "b", "c" of types Integer, String, Real (or String
// columns for a string cursor), ends them, then `rows` rows of
// (r, "row r", r + 0.5).
void fillThreeColumns(KxbDatavarCursorCreater* cursor, int rows);
void fillThreeColumns(KxbStringCursorCreater* cursor, int rows);

// A named factory of cursors, for the tests that every implementation
// passes.
struct DatavarFactory {
  const char* name;
  KxbDatavarCursorCreater* (*make)();
};
struct StringFactory {
  const char* name;
  KxbStringCursorCreater* (*make)();
};
std::vector<DatavarFactory> datavarFactories();
std::vector<StringFactory> stringFactories();

}  // namespace kxb_test

#endif  // KXB_TESTS_SUPPORT_CURSOR_ROWS_H_
