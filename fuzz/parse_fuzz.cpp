// libFuzzer target for KxbParse, the attribute-text parser: arbitrary text
// cut at a separator taken from the input, every attribute read raw and
// split, the splitting rules and the copy semantics checked; any violation
// aborts.
//
// Input: the first byte picks the separator (0 means ';'), the rest is the
// text.
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

#include <string>
#include <string_view>
#include <vector>

#include "kxbmempool.h"
#include "kxbparse.h"
#include "kxlog.h"
#include "fuzz_util.h"

namespace {

using kxb_fuzz::bytesOf;
using kxb_fuzz::isValidUtf8;

struct Attribute {
  std::string raw;
  std::string name;
  std::string value;
  bool nameNull;
  bool valueNull;
};

bool isBlank(char c) { return c == ' ' || c == '\t'; }

std::vector<Attribute> readAll(KxbParse* parse) {
  std::vector<Attribute> all;
  for (int i = 0; i < parse->getAttributeCount(); ++i) {
    KxbString raw, name, value;
    CHECK(parse->getAttributeRaw(i, &raw));
    CHECK(parse->getAttribute(i, &name, &value));
    // Either output may be left out.
    KxbString nameOnly, valueOnly;
    CHECK(parse->getAttribute(i, &nameOnly, nullptr));
    CHECK(parse->getAttribute(i, nullptr, &valueOnly));
    CHECK(nameOnly.compare(name) == 0 && nameOnly.isNull() == name.isNull());
    CHECK(valueOnly.compare(value) == 0 && valueOnly.isNull() == value.isNull());
    all.push_back({std::string(bytesOf(raw)), std::string(bytesOf(name)),
                   std::string(bytesOf(value)), name.isNull(), value.isNull()});
  }
  return all;
}

void check(const std::string& text, char separator) {
  KxbParse parse;
  CHECK(parse.getErrorMessage().isNull());
  CHECK(parse.parse(KxbString(text.c_str()), separator));
  CHECK(parse.getErrorMessage().isNull());
  const char cut = separator == 0 ? ';' : separator;
  size_t pieces = 1;
  for (char c : text) pieces += (c == cut);
  CHECK(static_cast<size_t>(parse.getAttributeCount()) <= pieces);

  const std::vector<Attribute> all = readAll(&parse);
  for (const Attribute& a : all) {
    // Name and value come out of the attribute, the name trimmed and never
    // empty.
    CHECK(a.name.size() + a.value.size() <= a.raw.size());
    CHECK(a.nameNull == a.name.empty());
    CHECK(!a.valueNull || a.value.empty());
    if (!a.nameNull) {
      CHECK(!isBlank(a.name.front()) && !isBlank(a.name.back()));
      CHECK(a.raw.find('=') != std::string::npos);
    }
    // Without any "=" the whole attribute is the value.
    if (a.raw.find('=') == std::string::npos) {
      CHECK(a.nameNull && a.value == a.raw);
    }
    // Attributes are trimmed before unescaping: no blank at either end
    // unless an escape spelled it.
    if (!a.raw.empty() && text.find('%') == std::string::npos) {
      CHECK(!isBlank(a.raw.front()) && !isBlank(a.raw.back()));
    }
  }

  // Out of range: false, outputs null, the error message set.
  KxbString raw("x", true), name("y", true), value("z", true);
  CHECK(!parse.getAttributeRaw(parse.getAttributeCount(), &raw));
  CHECK(raw.isNull());
  CHECK(!parse.getErrorMessage().isNull());
  CHECK(!parse.getAttribute(-1, &name, &value));
  CHECK(name.isNull() && value.isNull());

  // Copies are equal and independent; parsing again gives the same.
  KxbParse copy(parse);
  KxbParse assigned;
  assigned = parse;
  KxbParse again;
  CHECK(again.parse(KxbString(text.c_str()), separator));
  parse.parse(KxbString("other=1", true));
  for (KxbParse* other : {&copy, &assigned, &again}) {
    const std::vector<Attribute> same = readAll(other);
    CHECK(same.size() == all.size());
    for (size_t i = 0; i < same.size(); ++i) {
      CHECK(same[i].raw == all[i].raw && same[i].name == all[i].name &&
            same[i].value == all[i].value);
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  if (kxlogInitialize() != 0 || !KxbMemPool::initialize()) abort();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  // Texts are C strings: the text ends at its first NUL.
  const std::string rest(reinterpret_cast<const char*>(data + 1), size - 1);
  const std::string text(rest.c_str());
  check(text, static_cast<char>(data[0]));
  if (data[0] != ';') check(text, ';');
  return 0;
}
