// kxb query: the rows of an SQL query on an SQLite database file, read
// through a row-set cursor, as an aligned table or as CSV.
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "kxbcursorwlp.h"
#include "tools/kxb/commands.h"

namespace kxb_tool {
namespace {

constexpr const char* kQueryUsage = "usage: kxb query DATABASE SQL [--csv]";

struct Cell {
  std::string text;
  int width;  // characters
  bool null;
};

Cell cellOf(const KxbString& text) {
  return Cell{text.asCstr(), text.isNull() ? 4 : text.length(), text.isNull()};
}

// RFC 4180 quoting: fields with a comma, quote or line break are quoted,
// quotes doubled. A null cell is an empty field.
void printCsvField(const Cell& cell) {
  const std::string& text = cell.text;
  if (text.find_first_of(",\"\r\n") == std::string::npos) {
    std::fputs(text.c_str(), stdout);
    return;
  }
  std::fputc('"', stdout);
  for (char c : text) {
    if (c == '"') std::fputc('"', stdout);
    std::fputc(c, stdout);
  }
  std::fputc('"', stdout);
}

void printCsv(const std::vector<std::vector<Cell>>& rows) {
  for (const std::vector<Cell>& row : rows) {
    for (size_t c = 0; c < row.size(); ++c) {
      if (c > 0) std::fputc(',', stdout);
      printCsvField(row[c]);
    }
    std::fputs("\r\n", stdout);
  }
}

void printPadded(const Cell& cell, int width, bool last) {
  std::fputs(cell.null ? "NULL" : cell.text.c_str(), stdout);
  if (!last) {
    for (int i = cell.width; i < width + 2; ++i) std::fputc(' ', stdout);
  }
}

// Columns padded to their widest cell, a rule under the names, the row
// count at the end.
void printTable(const std::vector<std::vector<Cell>>& rows) {
  const size_t columns = rows.front().size();
  std::vector<int> widths(columns, 0);
  for (const std::vector<Cell>& row : rows) {
    for (size_t c = 0; c < columns; ++c) {
      if (row[c].width > widths[c]) widths[c] = row[c].width;
    }
  }
  for (size_t r = 0; r < rows.size(); ++r) {
    for (size_t c = 0; c < columns; ++c) {
      printPadded(rows[r][c], widths[c], c + 1 == columns);
    }
    std::fputc('\n', stdout);
    if (r == 0) {
      for (size_t c = 0; c < columns; ++c) {
        std::fputs(std::string(widths[c], '-').c_str(), stdout);
        if (c + 1 < columns) std::fputs("  ", stdout);
      }
      std::fputc('\n', stdout);
    }
  }
  const size_t count = rows.size() - 1;
  std::printf("(%zu row%s)\n", count, count == 1 ? "" : "s");
}

}  // namespace

int runQuery(int argc, char** argv) {
  bool csv = false;
  std::vector<const char*> operands;
  for (int i = 0; i < argc; ++i) {
    if (std::strcmp(argv[i], "--csv") == 0) {
      csv = true;
    } else {
      operands.push_back(argv[i]);
    }
  }
  if (operands.size() != 2) return fail(2, kQueryUsage);
  KxbString error;
  KxbDatavarWlpCursor* cursor = kxbCreateQueryCursor(
      KxbString(operands[0]), KxbString(operands[1]), &error);
  if (cursor == nullptr) return fail(1, error.asCstr());

  std::vector<std::vector<Cell>> rows(1);
  const int columns = cursor->getColumnCount();
  for (int c = 0; c < columns; ++c) {
    rows[0].push_back(cellOf(cursor->getColumnName(c)));
  }
  int status = 0;
  for (;;) {
    const int step = cursor->next();
    if (step == kxbCursorEnd) break;
    if (step != kxbCursorRow) {
      status = fail(1, cursor->getErrorMessage().asCstr());
      break;
    }
    std::vector<Cell>& row = rows.emplace_back();
    for (int c = 0; c < columns; ++c) {
      row.push_back(cellOf(cursor->getValue(c).asString()));
    }
  }
  cursor->release();
  if (status != 0) return status;
  if (csv) {
    printCsv(rows);
  } else {
    printTable(rows);
  }
  return 0;
}

}  // namespace kxb_tool
