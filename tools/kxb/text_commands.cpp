// kxb uuid, kxb case, kxb wide.
#include <cstdio>
#include <cstring>

#include "kxbstring.h"
#include "tools/kxb/commands.h"

namespace kxb_tool {

int runUuid(int argc, char**) {
  if (argc != 0) return fail(2, "usage: kxb uuid");
  KxbString uuid = kxbGetUUID();
  if (uuid.isNull()) return fail(1, "no random source");
  std::printf("%s\n", uuid.asCstr());
  return 0;
}

int runCase(int argc, char** argv) {
  if (argc != 2 || (std::strcmp(argv[0], "upper") != 0 &&
                    std::strcmp(argv[0], "lower") != 0)) {
    return fail(2, "usage: kxb case upper|lower TEXT");
  }
  KxbString text(argv[1], false);
  bool ok = argv[0][0] == 'u' ? text.uppercase() : text.lowercase();
  if (!ok) return fail(1, "out of memory");
  std::printf("%s\n", text.asCstr());
  return 0;
}

int runWide(int argc, char** argv) {
  if (argc != 1) return fail(2, "usage: kxb wide TEXT");
  KxUtf8ToUC* wide = KxbString(argv[0], true).asUCS2();
  if (wide == nullptr) return fail(1, "out of memory");
  for (int i = 0; i + 1 < wide->bufLength(); ++i) {
    std::printf(i == 0 ? "%04X" : " %04X", wide->ucString()[i]);
  }
  std::printf("\n");
  wide->release();
  return 0;
}

}  // namespace kxb_tool
