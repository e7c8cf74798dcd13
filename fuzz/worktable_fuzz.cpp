// libFuzzer target for work-table URIs: "kxwt://" texts parsed (every
// accessor and string form, the column rules checked), and work tables built
// from components (addColumn, setRange) whose text must read back to the same
// columns and range; any violation aborts.
//
// Input: the whole input after "kxwt://" is parsed. For the builder, the
// first line is the table name, the next line holds start and count as two
// numbers, and every further line is a column "name<TAB>value" (a first
// byte of "!" in the name makes it a String column, else untyped).
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

#include <string>
#include <string_view>
#include <vector>

#include "kxbmempool.h"
#include "kxburi.h"
#include "kxlog.h"
#include "fuzz_util.h"

namespace {

using kxb_fuzz::bytesOf;
using kxb_fuzz::isValidUtf8;

void touch(KxWorkTableURI* table) {
  CHECK(table->getScheme().compare("kxwt") == 0);
  CHECK(table->getHost().isNull());
  CHECK(table->getPath().compare(table->getTableName()) == 0);
  table->getQuery();
  table->getFragment();
  const KxbString text = table->getURIString();
  CHECK(!text.isNull() && bytesOf(text).substr(0, 7) == "kxwt://");
  CHECK(!table->getEscapedURIString().isNull());
  KxbString native;
  CHECK(getNativePath(table, &native));
  CHECK(table->asDataURI() == nullptr && table->asReposURI() == nullptr);

  const int count = table->getColumnCount();
  CHECK(count >= 0);
  std::vector<KxbString> names;
  for (int i = 0; i < count; ++i) {
    KxbString name, value;
    kxbType type = Unknown;
    CHECK(table->getColumn(i, &name, &value, &type));
    CHECK(table->getColumn(i, nullptr, nullptr, nullptr));
    // Columns have names, unique ignoring case.
    CHECK(name.length() > 0);
    for (const KxbString& other : names) CHECK(other.compare(name, false) != 0);
    names.push_back(name);
  }
  KxbString name("x", true), value("y", true);
  kxbType type = String;
  CHECK(!table->getColumn(count, &name, &value, &type));
  CHECK(name.isNull() && value.isNull() && type == Unknown);
  CHECK(!table->getColumn(-1, nullptr, nullptr, nullptr));

  int64_t start = 7, rows = 7;
  if (!table->getRange(&start, &rows)) {
    CHECK(start == 0 && rows == 0);
  } else {
    CHECK(start >= 0);
  }
}

// Bytes a column name or value can hold and still read back from the text
// as they are.
bool plainName(std::string_view s) {
  if (s.empty()) return false;
  for (char c : s) {
    const bool ok = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                    (c >= '0' && c <= '9') || c == '_';
    if (!ok) return false;
  }
  return true;
}
bool plainValue(std::string_view s) {
  for (char c : s) {
    const bool ok = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                    (c >= '0' && c <= '9') || c == '_' || c == ' ' ||
                    c == '\'' || c == ',' || c == '-' || c == '.';
    if (!ok) return false;
  }
  return true;
}

void fuzzText(const std::string& input) {
  KxURI* uri = getURIFromURIString(KxbString(("kxwt://" + input).c_str()));
  if (uri == nullptr) return;  // a refused column descriptor
  auto* table = dynamic_cast<KxWorkTableURI*>(uri);
  CHECK(table != nullptr);
  touch(table);
  KxbString error;
  CHECK(table->addQueryValue(KxbString("k", true), KxbString("v", true), &error));
  CHECK(table->setRange(3, 4, &error));
  int64_t start = 0, rows = 0;
  CHECK(table->getRange(&start, &rows) && start == 3 && rows == 4);
  touch(table);
  uri->release();
}

std::vector<std::string> linesOf(const std::string& input) {
  std::vector<std::string> lines;
  size_t at = 0;
  while (lines.size() < 40) {
    const size_t end = input.find('\n', at);
    lines.push_back(input.substr(at, end == std::string::npos ? end : end - at));
    if (end == std::string::npos) break;
    at = end + 1;
  }
  return lines;
}

void fuzzBuilder(const std::string& input) {
  const std::vector<std::string> lines = linesOf(input);
  const std::string tableName = lines[0];
  int64_t start = -1, rows = -1;
  if (lines.size() > 1) {
    long long a = -1, b = -1;
    if (sscanf(lines[1].c_str(), "%lld %lld", &a, &b) >= 1) {
      start = a;
      rows = b;
    }
  }
  KxWorkTableURI* table =
      getWorkTableURIFromComponents(KxbString(tableName.c_str()), start, rows);
  CHECK(table != nullptr);
  struct Column {
    std::string name, value;
  };
  std::vector<Column> added;
  bool plain = plainName(tableName);
  for (size_t i = 2; i < lines.size(); ++i) {
    const std::string& line = lines[i];
    const size_t tab = line.find('\t');
    std::string name = line.substr(0, tab);
    const std::string value = tab == std::string::npos ? "" : line.substr(tab + 1);
    const kxbType type = (!name.empty() && name[0] == '!') ? String : Unknown;
    if (type == String) name.erase(0, 1);
    bool duplicate = false;
    for (const Column& c : added) {
      duplicate |= KxbString(c.name.c_str()).compare(KxbString(name.c_str()), false) == 0;
    }
    KxbString error;
    const bool ok = table->addColumn(KxbString(name.c_str()),
                                     KxbString(value.c_str()), type, &error);
    // Refused exactly for an empty or repeated name, with a reason.
    CHECK(ok == (!name.empty() && !duplicate));
    CHECK(ok == error.isNull());
    if (ok) {
      added.push_back({name, value});
      plain = plain && plainName(name) && plainValue(value);
    }
  }
  CHECK(table->getColumnCount() == static_cast<int>(added.size()));
  touch(table);

  // The text of a table with plain names and values reads back to the same
  // table.
  if (plain) {
    KxURI* again = getURIFromURIString(table->getURIString());
    auto* back = dynamic_cast<KxWorkTableURI*>(again);
    CHECK(back != nullptr);
    CHECK(back->getTableName().compare(table->getTableName()) == 0);
    CHECK(back->getColumnCount() == table->getColumnCount());
    for (int i = 0; i < table->getColumnCount(); ++i) {
      KxbString name1, value1, name2, value2;
      CHECK(table->getColumn(i, &name1, &value1, nullptr));
      CHECK(back->getColumn(i, &name2, &value2, nullptr));
      CHECK(name1.compare(name2) == 0);
      CHECK(bytesOf(value1) == bytesOf(value2));
    }
    int64_t s1 = 0, c1 = 0, s2 = 0, c2 = 0;
    const bool r1 = table->getRange(&s1, &c1);
    if (r1) {
      CHECK(back->getRange(&s2, &c2));
      CHECK(s1 == s2 && c1 == c2);
    }
    again->release();
  }
  table->release();
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  if (kxlogInitialize() != 0 || !KxbMemPool::initialize()) abort();
  // Refused columns are logged; keep the run quiet.
  kxlogSetLevel(kxlogGetLogger("KX.Base.URI.WorkTable"), KXLOG_ERROR);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // Texts are C strings: the input ends at its first NUL.
  const std::string raw(reinterpret_cast<const char*>(data), size);
  const std::string input(raw.c_str());
  fuzzText(input);
  fuzzBuilder(input);
  return 0;
}
