// libFuzzer target for macro expansion in option sets: the input is split
// into "key=value" lines that fill a fresh set, and every option is read
// with expansion. The harness first expands each value itself, the same way
// (leftmost "%%name%%" replaced, then the scan starts again), looking names
// up without expansion, and gives up on values that take too many steps or
// grow too long: those refer to themselves, directly or through a cycle, and
// would never finish in the library either, which sets no limit of its own.
// For the rest the library's result and its found/unknown answer must match
// the harness's. Any violation aborts.
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

#include <string>
#include <string_view>
#include <vector>

#include "../bench/library_setup.h"
#include "kxbconfigoptions.h"
#include "fuzz_util.h"

namespace {


constexpr int kMaxSteps = 64;
constexpr size_t kMaxLength = 1 << 16;

std::string text(const KxbString& s) {
  return std::string(s.asCstr(), static_cast<size_t>(s.cStrSize() - 1));
}

enum class Outcome { kComplete, kUnknownMacro, kUnbounded };

// Expands `value` by looking names up in `set` without expansion.
Outcome expandBounded(KxbConfigOptions* set, std::string value, std::string* out) {
  for (int step = 0; step < kMaxSteps; ++step) {
    size_t open = value.find("%%");
    size_t close = open == std::string::npos ? open : value.find("%%", open + 2);
    if (close == std::string::npos) {
      *out = value;
      return Outcome::kComplete;
    }
    KxbString macro;
    std::string name = value.substr(open + 2, close - open - 2);
    if (!set->getOption(KxbString(name.c_str()), &macro, false)) {
      *out = value;
      return Outcome::kUnknownMacro;
    }
    value = value.substr(0, open) + text(macro) + value.substr(close + 2);
    if (value.size() > kMaxLength) return Outcome::kUnbounded;
  }
  return Outcome::kUnbounded;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const bool ready = kxb_bench::setUpLibrary();
  (void)ready;
  std::string_view input(reinterpret_cast<const char*>(data), size);
  // Text with NUL bytes cannot be a key or value; cut at the first.
  input = input.substr(0, input.find('\0'));

  const KxbString setName("macro_fuzz");
  KxbConfigOptions* set = kxbGetConfigOptions(setName);
  CHECK(set != nullptr);
  std::vector<std::string> keys;
  while (!input.empty() && keys.size() < 32) {
    size_t end = input.find('\n');
    std::string_view line = input.substr(0, end);
    input = end == std::string_view::npos ? std::string_view() : input.substr(end + 1);
    size_t equals = line.find('=');
    if (equals == std::string_view::npos) continue;
    std::string key(line.substr(0, equals));
    std::string value(line.substr(equals + 1));
    CHECK(set->setOption(KxbString(key.c_str()), KxbString(value.c_str())));
    keys.push_back(key);
  }

  for (const std::string& key : keys) {
    KxbString raw;
    CHECK(set->getOption(KxbString(key.c_str()), &raw, false));
    std::string expected;
    Outcome outcome = expandBounded(set, text(raw), &expected);
    if (outcome == Outcome::kUnbounded) continue;
    KxbString expanded;
    bool complete = set->getOption(KxbString(key.c_str()), &expanded, true);
    CHECK(complete == (outcome == Outcome::kComplete));
    CHECK(text(expanded) == expected);
  }
  // Every option is listed once, in the order first set.
  for (int i = 0; i < set->count(); ++i) {
    KxbString key;
    CHECK(set->getOptionAt(static_cast<unsigned>(i), &key, nullptr, false));
  }
  kxbClearConfigOptions(setName);
  return 0;
}
