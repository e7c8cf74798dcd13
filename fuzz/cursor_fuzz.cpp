// libFuzzer target for cursors: arbitrary bytes describe columns and rows
// of a resident data-variant cursor, which is copied (copyCursor) into a
// second resident cursor and into a row-set cursor; both copies must read
// back exactly the source's columns, types and cells, and a string cursor
// made from the source must hold each cell as its text. Any violation
// aborts.
//
// Input: byte 0 gives 1-4 columns, the next bytes their types (Boolean,
// Integer, Real, String, Date); then each row takes for every column one
// byte that says null or a value and the value's bytes.
#include <stddef.h>
#include <stdint.h>

#include <cstring>
#include <string>
#include <vector>

#include "../bench/library_setup.h"
#include "fuzz_util.h"
#include "kxbcursor.h"
#include "kxbcursorwlp.h"

namespace {

using kxb_fuzz::bytesOf;

struct Reader {
  const uint8_t* data;
  size_t size;
  size_t at = 0;
  bool more() const { return at < size; }
  uint8_t byte() { return at < size ? data[at++] : 0; }
  int64_t integer() {
    int64_t v = 0;
    for (int i = 0; i < 8; ++i) v = (v << 8) | byte();
    return v;
  }
  std::string text() {
    size_t n = byte() % 24;
    std::string t;
    while (n-- > 0 && more()) {
      const char c = static_cast<char>(byte());
      if (c != '\0') t += c;
    }
    return t;
  }
};

std::string cell(const KxbDatavar& v) {
  if (v.isNull()) return "<null>";
  const KxbString s = v.asString();
  return std::to_string(v.type()) + ":" + (s.isNull() ? "<null>" : std::string(bytesOf(s)));
}

template <class Cursor>
std::string dump(Cursor* c) {
  std::string out;
  for (int i = 0; i < c->getColumnCount(); ++i) {
    out += std::string(bytesOf(c->getColumnName(i))) + "/" +
           std::to_string(c->getColumnType(i)) + ",";
  }
  out += "\n";
  CHECK(c->rewind());
  for (int step; (step = c->next()) == kxbCursorRow;) {
    for (int i = 0; i < c->getColumnCount(); ++i) out += cell(c->getValue(i)) + "|";
    out += "\n";
  }
  return out;
}

const kxbType kTypes[] = {Boolean, Integer, Real, String, Date};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const bool ready = kxb_bench::setUpLibrary();
  (void)ready;
  Reader in{data, size};
  KxbDatavarCursorCreater* source = createDatavarResidentCursor();
  CHECK(source != nullptr);
  const int columns = 1 + in.byte() % 4;
  std::vector<kxbType> types;
  for (int i = 0; i < columns; ++i) {
    types.push_back(kTypes[in.byte() % 5]);
    const std::string name = "c" + std::to_string(i);
    CHECK(source->addColumn(KxbString(name.c_str()), types.back()) == types.back());
  }
  CHECK(source->endColumns());
  for (int row = 0; row < 64 && in.more(); ++row) {
    CHECK(source->beginRow());
    for (int i = 0; i < columns; ++i) {
      KxbDatavar v;
      if (in.byte() % 4 != 0) {
        switch (types[i]) {
          case Boolean: v.assign((in.byte() & 1) != 0); break;
          case Integer: v.assign(in.integer()); break;
          case Real: {
            const std::string t = std::to_string(in.integer() % 100000000) + "." +
                                  std::to_string(in.byte());
            v.assign(t.c_str());
            v.setType(Real);
            break;
          }
          case String: v.assign(in.text().c_str()); break;
          default: v.assign(KxbDate(static_cast<double>(in.integer() % 3000000)));
        }
      }
      source->setValue(i, v);
    }
    CHECK(source->endRow());
  }
  CHECK(source->flush());
  const std::string expected = dump(source);

  KxbDatavarCursorCreater* resident = createDatavarResidentCursor();
  KxbString error;
  CHECK(copyCursor(source, resident, &error));
  CHECK(dump(resident) == expected);

  KxbDatavarWlpCursor* rows = createDatavarWlpCursor();
  CHECK(rows != nullptr);
  CHECK(copyCursor(source, rows, &error));
  CHECK(dump(rows) == expected);

  // Round trip back from the row set into a fresh resident cursor.
  KxbDatavarCursorCreater* back = createDatavarResidentCursor();
  CHECK(copyCursor(rows, back, &error));
  CHECK(dump(back) == expected);

  back->release();
  rows->release();
  resident->release();
  source->release();
  return 0;
}
