// libFuzzer target for KxbTemplate: arbitrary text is parsed; a text that
// parses must render exactly as a small reference renderer written here
// from the syntax rules, list the same variables with the same flags, and
// fetch each value once across two renders; a text that fails must fail in
// the reference too and leave an error message. Any violation aborts.
//
// Input: the text (up to its first NUL byte).
#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>

#include <map>
#include <string>

#include "fuzz_util.h"
#include "kxbmempool.h"
#include "kxbtemplate.h"
#include "kxlog.h"

namespace {

using kxb_fuzz::bytesOf;

// Values are derived from the name; names starting with "n" have none
// (render empty).
std::string valueOf(const std::string& name) {
  if (name[0] == 'n') return "";
  return "<" + name + ">";
}

class Values : public KxbTemplateValueCB {
 public:
  bool lookup(const KxbString& name, KxbString* value, KxbString*) override {
    const std::string key(bytesOf(name));
    ++calls[key];
    if (key[0] != 'n') *value = KxbString(valueOf(key).c_str());
    return true;
  }
  std::map<std::string, int> calls;
};

bool isWhite(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' ||
         c == '\f';
}

// The reference: true with the rendered text and the variables (name to
// optional flag) when `t` is a valid template.
bool reference(const std::string& t, std::string* out,
               std::map<std::string, bool>* variables) {
  size_t i = 0;
  while (i < t.size()) {
    const char c = t[i];
    const bool doubled = i + 1 < t.size() && t[i + 1] == c;
    if (c == '{' || c == '[') {
      if (doubled) {
        *out += c;
        i += 2;
        continue;
      }
      const char close = c == '{' ? '}' : ']';
      size_t j = i + 1;
      for (; j < t.size() && t[j] != close; ++j) {
        if (t[j] == c || isWhite(t[j])) return false;
      }
      if (j >= t.size() || j == i + 1) return false;
      const std::string name = t.substr(i + 1, j - i - 1);
      if (!variables->emplace(name, c == '[').second) return false;
      *out += valueOf(name);
      i = j + 1;
    } else if (c == '}' || c == ']') {
      if (!doubled) return false;
      *out += c;
      i += 2;
    } else {
      *out += c;
      ++i;
    }
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  if (kxlogInitialize() != 0 || !KxbMemPool::initialize()) abort();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string raw(reinterpret_cast<const char*>(data), size);
  const std::string text(raw.c_str());

  Values values;
  KxbString error;
  KxbTemplate* t = kxbCreateBasicTemplate(&values, &error);
  CHECK(t != nullptr && error.isNull());
  const bool parsed = t->parse(KxbString(text.c_str()), &error);

  std::string expected;
  std::map<std::string, bool> variables;
  const bool valid = reference(text, &expected, &variables);
  CHECK(parsed == valid);
  if (!parsed) {
    CHECK(!error.isNull());
    // What was made before the error still renders (or fails cleanly).
    KxbString partial = t->render(&error);
    (void)partial;
    t->release();
    return 0;
  }
  CHECK(error.isNull());

  CHECK(t->getVariableCount() == static_cast<int>(variables.size()));
  int index = 0;
  for (const auto& [name, optional] : variables) {
    bool flag = !optional;
    const KxbString got = t->getVariable(index++, &flag, &error);
    CHECK(bytesOf(got) == name);
    CHECK(flag == optional);
  }
  CHECK(t->getVariable(index, nullptr, &error).isNull());

  for (int round = 0; round < 2; ++round) {
    const KxbString out = t->render(&error);
    CHECK(!out.isNull());
    CHECK(bytesOf(out) == expected);
  }
  CHECK(values.calls.size() == variables.size());
  for (const auto& [name, count] : values.calls) CHECK(count == 1);

  // A new parse starts afresh: values are fetched again.
  CHECK(t->parse(KxbString(text.c_str()), &error));
  CHECK(bytesOf(t->render(&error)) == expected);
  for (const auto& [name, count] : values.calls) CHECK(count == 2);
  t->release();
  return 0;
}
