// kxb msg: a catalogue message in a chosen locale.
#include <cstdio>
#include <cstring>

#include "kxbmessage.h"
#include "kxbstring.h"
#include "tools/kxb/commands.h"

namespace kxb_tool {

// Arguments are handed to the message as texts ("%s"); a message expecting
// a number gets it by "%d" from the argument parsed as an integer.
int runMsg(int argc, char** argv) {
  const char* locale = nullptr;
  if (argc >= 2 && std::strcmp(argv[0], "--locale") == 0) {
    locale = argv[1];
    argc -= 2;
    argv += 2;
  }
  if (argc < 2) return fail(2, "usage: kxb msg [--locale L] SET NUMBER [ARG...]");
  if (locale != nullptr) {
    const char* error = nullptr;
    if (kxbSetMessageLocale(locale, &error) != 0) return fail(1, error);
  }
  bool bad = false;
  int number = KxbString(argv[1], true).asInt(&bad);
  if (bad) return fail(2, "NUMBER must be an integer");
  const char* a[6] = {"", "", "", "", "", ""};
  for (int i = 2; i < argc && i < 8; ++i) a[i - 2] = argv[i];
  KxbString text =
      kxb_get_message(argv[0], number, "kxb", __LINE__, a[0], a[1], a[2], a[3],
                      a[4], a[5]);
  std::printf("%s\n", text.asCstr());
  return 0;
}

}  // namespace kxb_tool
