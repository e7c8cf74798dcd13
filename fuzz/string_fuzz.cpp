// KxbString operations on arbitrary bytes: every operation must keep the
// string's invariants (character count, terminator, no overruns) whatever
// the text, valid UTF-8 or not.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "kxbmempool.h"
#include "kxbstring.h"
#include "np_uchar.h"

namespace {

const bool g_pool = KxbMemPool::initialize();

void check(const KxbString& s) {
  const char* text = s.asCstr();
  int bytes = s.cStrSize() - 1;
  if (static_cast<int>(std::strlen(text)) != bytes) __builtin_trap();
  if (np_uchar_length(text) != s.length()) __builtin_trap();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2) return 0;
  // First byte: parameters; the rest split into a text and a needle.
  unsigned knob = data[0];
  std::string rest(reinterpret_cast<const char*>(data + 1), size - 1);
  for (char& c : rest) {
    if (c == '\0') c = ' ';
  }
  size_t cut = rest.size() / 2 + (knob % 3);
  if (cut > rest.size()) cut = rest.size();
  std::string a = rest.substr(0, cut);
  std::string b = rest.substr(cut, (knob >> 2) % 5);

  KxbString s(a.c_str(), false);
  check(s);
  KxbString needle(b.c_str(), false);
  KxbString bytes;
  bytes.assignBytes(a.c_str(), static_cast<int>(knob));
  check(bytes);
  if (bytes.cStrSize() - 1 > static_cast<int>(knob)) __builtin_trap();

  int found = s.find(needle, static_cast<int>(knob % 7));
  if (found >= 0) {
    KxbString at = s.mid(static_cast<unsigned>(found), needle.length());
    if (at.compare(needle) != 0) __builtin_trap();
  }
  int last = s.rfind(needle);
  if (last >= 0 && s.find(needle, last + 1) >= 0) __builtin_trap();

  KxbString replaced = s.replace(needle, KxbString("<>", true), knob % 4, -1);
  check(replaced);
  KxbString piece = s.mid(knob % 11, static_cast<int>(knob % 13) - 3);
  check(piece);
  check(s.right(static_cast<int>(knob % 9)));

  KxbString trimmed = s;
  int removed = trimmed.trim(knob & 1, knob & 2);
  check(trimmed);
  if (trimmed.length() + removed != s.length()) __builtin_trap();
  KxbString cut2 = s;
  cut2.truncate(knob % 17);
  check(cut2);

  KxbString lower = s, upper = s;
  lower.lowercase();
  upper.uppercase();
  check(lower);
  check(upper);
  KxbString appended = s;
  appended.append(needle);
  appended.append(b.c_str(), static_cast<int>(knob % 3));
  check(appended);

  // Wide round trip: valid UTF-8 comes back unchanged.
  KxUtf8ToUC* wide = s.asUCS2();
  if (wide != nullptr) {
    KxbString back;
    back.fromUCS2(wide->ucString());
    check(back);
    bool valid = true;
    for (const char* p = s.asCstr(); *p;) {
      int n = 0;
      if (np_uchar_toint(p, &n) == NP_UCHAR_INVALID) valid = false;
      p += n > 0 ? n : 1;
    }
    if (valid && back.compare(s) != 0) __builtin_trap();
    wide->release();
  }
  return 0;
}
