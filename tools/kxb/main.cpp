// kxb: the library's command-line program.
#include <cstdio>
#include <cstring>

#include "kxbmempool.h"
#include "kxlog.h"
#include "tools/kxb/commands.h"

namespace kxb_tool {
namespace {

const Command kCommands[] = {
    {"uuid", "uuid                      print a fresh random UUID", runUuid},
    {"case", "case upper|lower TEXT     map TEXT to upper or lower case",
     runCase},
    {"wide", "wide TEXT                 print TEXT's UTF-16 code units", runWide},
    {"msg",
     "msg [--locale L] SET NUMBER [ARG...]\n"
     "                          print a catalogue message",
     runMsg},
};

int usage(FILE* out) {
  std::fputs("usage: kxb COMMAND [ARGS...]\ncommands:\n", out);
  for (const Command& command : kCommands) {
    std::fprintf(out, "  %s\n", command.usage);
  }
  return out == stdout ? 0 : 2;
}

}  // namespace

int fail(int status, const char* text) {
  std::fprintf(stderr, "kxb: %s\n", text);
  return status;
}

}  // namespace kxb_tool

int main(int argc, char** argv) {
  using namespace kxb_tool;
  if (argc < 2) return usage(stderr);
  if (std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0) {
    return usage(stdout);
  }
  for (const Command& command : kCommands) {
    if (std::strcmp(argv[1], command.name) != 0) continue;
    if (kxlogInitialize() != 0 || !KxbMemPool::initialize()) {
      return fail(1, "cannot initialise the library");
    }
    int status = command.run(argc - 2, argv + 2);
    KxbMemPool::terminate();
    kxlogTerminate();
    return status;
  }
  std::fprintf(stderr, "kxb: unknown command '%s'\n", argv[1]);
  return usage(stderr);
}
