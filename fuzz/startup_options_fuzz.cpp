// libFuzzer target for the start-up options text (kxbStartupAddParsedOptions
// and the attribute parser under it): arbitrary text is parsed and queued.
// Checked: the queued option set holds exactly what the parser's attributes
// say (a named attribute as name=value, a bare word as a key without a
// value, later keys overriding earlier ones ignoring case); there are no
// more attributes than ';'-separated pieces; and an attribute without
// escapes, parentheses or braces splits at its first "=" with the name
// trimmed. Any violation aborts.
//
// Input: the text (up to its first NUL byte).
#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include <map>
#include <string>

#include "../bench/library_setup.h"
#include "fuzz_util.h"
#include "kxbconfigoptions.h"
#include "kxbparse.h"
#include "kxbstartup.h"

namespace {

using kxb_fuzz::bytesOf;

const char kQueued[] = ".@=CommandArgs=@.";

std::string shown(const KxbString& s) {
  return s.isNull() ? std::string("<null>") : std::string(bytesOf(s));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const bool ready = kxb_bench::setUpLibrary();
  (void)ready;
  const std::string text(reinterpret_cast<const char*>(data),
                         strnlen(reinterpret_cast<const char*>(data), size));

  KxbParse attributes;
  CHECK(attributes.parse(KxbString(text.c_str())));
  size_t pieces = 1;
  for (char c : text) pieces += c == ';';
  CHECK(static_cast<size_t>(attributes.getAttributeCount()) <= pieces);

  // What queueing must leave: key -> value, keys compared as the option set
  // compares them, the last one winning.
  std::map<KxbString, std::string, KxbStringLessInsensitive> expected;
  for (int i = 0; i < attributes.getAttributeCount(); ++i) {
    KxbString raw, name, value;
    CHECK(attributes.getAttributeRaw(i, &raw));
    CHECK(attributes.getAttribute(i, &name, &value));
    const std::string r = shown(raw);
    if (r.find_first_of("%(){") == std::string::npos && !name.isNull()) {
      // name + "=" + value gives the attribute back, up to the white space
      // trimmed off the name.
      const size_t eq = r.find('=');
      CHECK(eq != std::string::npos);
      CHECK(shown(value) == (eq + 1 < r.size() ? r.substr(eq + 1) : "<null>"));
      CHECK(r.substr(0, eq).find(shown(name)) != std::string::npos);
    }
    if (!name.isNull() && name.length() > 0) {
      expected[name] = shown(value);
    } else if (!value.isNull()) {
      expected[value] = "<null>";
    }
  }

  kxbClearConfigOptions(KxbString(kQueued));
  const char* error = nullptr;
  const int result = kxbStartupAddParsedOptions(text.c_str(), &error);
  CHECK(result == 0 && error == nullptr);
  KxbConfigOptions* queued = kxbGetConfigOptions(KxbString(kQueued));
  CHECK(queued != nullptr);
  CHECK(static_cast<size_t>(queued->count()) == expected.size());
  KxbString key, value;
  for (unsigned i = 0; queued->getOptionAt(i, &key, &value, false); ++i) {
    auto found = expected.find(key);
    CHECK(found != expected.end());
    CHECK(found->second == shown(value));
  }
  kxbClearConfigOptions(KxbString(kQueued));
  return 0;
}
