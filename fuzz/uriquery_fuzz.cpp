// libFuzzer target for the URI query handler: a query text parsed with and
// without duplicates, then name/value pairs from the rest of the input
// added, with the count and lookup rules of addValue and the read-back of
// toString checked; any violation aborts.
//
// Input: the query text up to the first newline; every further line is a
// pair, name and value separated by the first tab (no tab: empty value).
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
#include "np_uchar.h"
#include "fuzz_util.h"

namespace {

using kxb_fuzz::bytesOf;
using kxb_fuzz::isValidUtf8;

bool isValidUtf8(std::string_view text) {
  int size = 0;
  std::string copy(text);
  for (const char* p = copy.c_str(); *p != '\0'; p += size) {
    if (np_uchar_toint(p, &size) < 0 || size < 1) return false;
  }
  return true;
}

struct Pair {
  std::string name;
  std::string value;
};

// True when toString writes the pair so that parse reads it back as it is:
// a non-empty name, both valid UTF-8 and without "%" (which is written raw
// and would be decoded on the way back).
bool readsBack(const Pair& pair) {
  return !pair.name.empty() && pair.name.find('%') == std::string::npos &&
         pair.value.find('%') == std::string::npos && isValidUtf8(pair.name) &&
         isValidUtf8(pair.value);
}

// Pairs of the handler, in order.
std::vector<Pair> pairsOf(KxURIQueryHandler* handler) {
  std::vector<Pair> pairs;
  KxbString name, value;
  for (int i = 0; i < handler->getCount(); ++i) {
    CHECK(handler->getValueAt(i, &name, &value));
    pairs.push_back({std::string(bytesOf(name)), std::string(bytesOf(value))});
  }
  // Out of range: false, outputs untouched.
  KxbString untouched("x", true);
  CHECK(!handler->getValueAt(handler->getCount(), &untouched, nullptr));
  CHECK(!handler->getValueAt(-1, nullptr, &untouched));
  CHECK(untouched.compare("x") == 0);
  return pairs;
}

void fuzzHandler(const std::string& query, const std::vector<Pair>& adds,
                 bool allowDuplicates) {
  KxURIQueryHandler* handler =
      getURIQueryHandler(KxbString(query.c_str()), allowDuplicates);
  CHECK(handler != nullptr);
  std::vector<Pair> expected = pairsOf(handler);
  for (const Pair& add : adds) {
    CHECK(handler->addValue(KxbString(add.name.c_str()),
                            KxbString(add.value.c_str())));
    bool replaced = false;
    if (!allowDuplicates) {
      for (Pair& pair : expected) {
        if (pair.name == add.name) {
          pair.value = add.value;
          replaced = true;
          break;
        }
      }
    }
    if (!replaced) expected.push_back(add);
    CHECK(handler->getCount() == static_cast<int>(expected.size()));
  }
  const std::vector<Pair> actual = pairsOf(handler);
  CHECK(actual.size() == expected.size());
  bool allReadBack = true;
  for (size_t i = 0; i < actual.size(); ++i) {
    CHECK(actual[i].name == expected[i].name);
    CHECK(actual[i].value == expected[i].value);
    allReadBack = allReadBack && readsBack(actual[i]);
  }

  // The text reads back to the same pairs (with duplicates allowed, so that
  // none merge) whenever every pair can.
  const KxbString text = handler->toString();
  CHECK(!text.isNull());
  CHECK(actual.empty() == (bytesOf(text).size() == 0));
  if (allReadBack) {
    KxURIQueryHandler* back = getURIQueryHandler(text, true);
    CHECK(back != nullptr);
    const std::vector<Pair> again = pairsOf(back);
    CHECK(again.size() == actual.size());
    for (size_t i = 0; i < again.size(); ++i) {
      CHECK(again[i].name == actual[i].name && again[i].value == actual[i].value);
    }
    CHECK(back->toString().compare(text) == 0);
    back->release();
  }
  // parse of the handler's own text is accepted again.
  CHECK(handler->parse(text));
  handler->release();
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  if (kxlogInitialize() != 0 || !KxbMemPool::initialize()) abort();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // Texts are C strings: NUL bytes end them, so they are dropped here.
  std::string input;
  for (size_t i = 0; i < size; ++i) {
    if (data[i] != 0) input.push_back(static_cast<char>(data[i]));
  }
  const size_t firstLine = input.find('\n');
  const std::string query = input.substr(0, firstLine);
  std::vector<Pair> adds;
  size_t at = firstLine;
  while (at != std::string::npos && adds.size() < 64) {
    const size_t next = input.find('\n', at + 1);
    const std::string line = input.substr(at + 1, next == std::string::npos
                                                      ? std::string::npos
                                                      : next - at - 1);
    const size_t tab = line.find('\t');
    if (tab == std::string::npos) {
      adds.push_back({line, ""});
    } else {
      adds.push_back({line.substr(0, tab), line.substr(tab + 1)});
    }
    at = next;
  }
  fuzzHandler(query, adds, false);
  fuzzHandler(query, adds, true);
  return 0;
}
