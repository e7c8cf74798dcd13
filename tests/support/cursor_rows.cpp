#include "support/cursor_rows.h"

#include "kxbcursorwlp.h"

namespace kxb_test {

std::string showCell(const KxbDatavar& cell) {
  if (cell.isNull()) return "<null>";
  static const char kInitials[] = "UBIRSDX";
  const int type = cell.type();
  std::string out(1, type >= 0 && type <= 6 ? kInitials[type] : '?');
  out += ":";
  out += cell.asString().asCstr();
  return out;
}

std::string showCell(const KxbString& cell) {
  if (cell.isNull()) return "<null>";
  return std::string("S:") + cell.asCstr();
}

void fillThreeColumns(KxbDatavarCursorCreater* cursor, int rows) {
  cursor->addColumn(KxbString("a"), Integer);
  cursor->addColumn(KxbString("b"), String);
  cursor->addColumn(KxbString("c"), Real);
  cursor->endColumns();
  for (int r = 0; r < rows; ++r) {
    cursor->beginRow();
    KxbDatavar v;
    cursor->setValue(0, v.assign(r));
    const std::string text = "row " + std::to_string(r);
    KxbDatavar s;
    cursor->setValue(1, s.assign(text.c_str()));
    KxbDatavar d;
    cursor->setValue(2, d.assign(r + 0.5));
    cursor->endRow();
  }
  cursor->flush();
}

void fillThreeColumns(KxbStringCursorCreater* cursor, int rows) {
  cursor->addColumn(KxbString("a"));
  cursor->addColumn(KxbString("b"));
  cursor->addColumn(KxbString("c"));
  cursor->endColumns();
  for (int r = 0; r < rows; ++r) {
    cursor->beginRow();
    cursor->setValue(0, KxbString(std::to_string(r).c_str()));
    cursor->setValue(1, KxbString(("row " + std::to_string(r)).c_str()));
    cursor->setValue(2, KxbString(std::to_string(r + 0.5).c_str()));
    cursor->endRow();
  }
  cursor->flush();
}

std::vector<DatavarFactory> datavarFactories() {
  return {{"resident", createDatavarResidentCursor},
          {"rowset", +[]() -> KxbDatavarCursorCreater* {
             return createDatavarWlpCursor();
           }}};
}

std::vector<StringFactory> stringFactories() {
  return {{"resident", createStringResidentCursor},
          {"rowset", createStringWlpCursor}};
}

}  // namespace kxb_test
