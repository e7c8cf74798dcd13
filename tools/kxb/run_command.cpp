// kxb run: runs a program through KxbExecute and prints its output log.
#include <cstdio>
#include <cstring>

#include "kxbexecute.h"
#include "kxbstring.h"
#include "tools/kxb/commands.h"

namespace kxb_tool {
namespace {

constexpr const char* kRunUsage =
    "usage: kxb run [--shell] [--capture] [--wait SECONDS] "
    "[--env NAME=VALUE]... COMMAND [ARG...]";

}  // namespace

// The exit status is the program's own (128 + signal when a signal ended
// it), 0 when it was still running after --wait, 1 when it could not be
// started or waited for, 2 for bad usage.
int runRun(int argc, char** argv) {
  bool shell = false;
  bool capture = false;
  int wait = -1;
  KxbExecute execute;
  int i = 0;
  for (; i < argc && std::strncmp(argv[i], "--", 2) == 0; ++i) {
    if (std::strcmp(argv[i], "--") == 0) {
      ++i;
      break;
    } else if (std::strcmp(argv[i], "--shell") == 0) {
      shell = true;
    } else if (std::strcmp(argv[i], "--capture") == 0) {
      capture = true;
    } else if (std::strcmp(argv[i], "--wait") == 0 && i + 1 < argc) {
      bool bad = false;
      wait = KxbString(argv[++i], true).asInt(&bad);
      if (bad) return fail(2, "--wait takes a number of seconds");
    } else if (std::strcmp(argv[i], "--env") == 0 && i + 1 < argc) {
      if (std::strchr(argv[i + 1], '=') == nullptr) {
        return fail(2, "--env takes NAME=VALUE");
      }
      execute.addEnvironment(KxbString(argv[++i]));
    } else {
      return fail(2, kRunUsage);
    }
  }
  if (i >= argc) return fail(2, kRunUsage);
  execute.setCommand(KxbString(argv[i]));
  for (++i; i < argc; ++i) execute.addOption(KxbString(argv[i]));

  bool ok = execute.run(shell, capture, wait);
  KxbString log = execute.getOutputLog();
  if (!log.isNull()) std::printf("%s\n", log.asCstr());
  std::fflush(stdout);
  if (!ok) {
    KxbString error = execute.getErrorMessage();
    std::fprintf(stderr, "kxb: %s\n", error.asCstr());
    int code = execute.getExitCode();
    return code > 0 ? code : 1;
  }
  return 0;
}

}  // namespace kxb_tool
