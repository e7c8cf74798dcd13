// kxb: the library's command-line program.
#include <cstdio>
#include <cstring>

#include <string>

#include "kxbb.h"
#include "kxbstartup.h"
#include "np_fio.h"
#include "services/kxbtextio_loader.h"
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
    {"config",
     "config get|set|delete|list FILE [SECTION] [KEY] [VALUE]\n"
     "                          read or edit a configuration file",
     runConfig},
    {"decimal",
     "decimal EXPRESSION        evaluate + - * / % ( ) sqrt floor ceil round\n"
     "                          over exact 52-digit decimals",
     runDecimal},
    {"uri",
     "uri TEXT | uri --build KIND [KEY=VALUE...]\n"
     "                          print a URI's kind and components",
     runUri},
    {"attrs", "attrs TEXT [--sep C]      print the attributes of TEXT",
     runAttrs},
    {"date",
     "date TEXT [--order mdy|dmy|ymd] [--iso] [--zone H:M]\n"
     "                          print the date TEXT names in every form",
     runDate},
    {"now",
     "now [--utc] [--iso] [--zone H:M]\n"
     "                          print the current date in every form",
     runNow},
    {"query",
     "query DATABASE SQL [--csv]\n"
     "                          print a query's rows from an SQLite file",
     runQuery},
    {"save",
     "save DATABASE TABLE SQL|@FILE [--from SOURCE] [--type COL=TYPE]...\n"
     "                          save a query's rows as a new table, typed",
     runSave},
    {"template",
     "template FILE [NAME=VALUE...]\n"
     "                          render a template file; values from the\n"
     "                          arguments, then the environment",
     runTemplate},
    {"run",
     "run [--shell] [--capture] [--wait SECONDS] [--env NAME=VALUE]...\n"
     "    COMMAND [ARG...]      run a program; print its output log; exit\n"
     "                          with its status",
     runRun},
    {"mail",
     "mail --command CMD --to T [--from F] --subject S [--text TEXT]...\n"
     "    [--attach FILE]... [--tmp DIR] [--keep]\n"
     "                          compose a mail and send it with CMD (%T the\n"
     "                          recipients, %B the file); --keep prints the\n"
     "                          composed file",
     runMail},
    {"overlay",
     "overlay list|set|unset BASE OVERLAY [KEY [VALUE [--comment TEXT]]]\n"
     "                          local overrides over a shared base file",
     runOverlay},
};

// Commands that initialise and start the library themselves, as a host.
const Command kHostCommands[] = {
    {"options",
     "options [--home DIR] [--user DIR] [--file F]... [--set KEY=VALUE]...\n"
     "        [--origin] [KEY...]\n"
     "                          start up as a host and print the effective\n"
     "                          options (with --origin, where each came from)",
     runOptions},
};

int usage(FILE* out) {
  std::fputs("usage: kxb COMMAND [ARGS...]\ncommands:\n", out);
  for (const Command& command : kCommands) {
    std::fprintf(out, "  %s\n", command.usage);
  }
  for (const Command& command : kHostCommands) {
    std::fprintf(out, "  %s\n", command.usage);
  }
  return out == stdout ? 0 : 2;
}

}  // namespace

// The path the library is initialised with: this program's own file when
// the companion libraries lie beside it (a build tree), else a name inside
// the installed companion directory, where the library then finds them.
std::string hostPath() {
  char self[4096];
  if (kxbbSelfPath(self, sizeof self) == 0) {
    char directory[4096];
    char name[4096];
    std::string companion;
    if (np_fio_pparse(self, directory, sizeof directory, name, sizeof name) == 0) {
      companion = std::string(directory) + "/libkxbio311.so";
    }
    if (!companion.empty() && np_fio_stat(companion.c_str()) == 0) return self;
  }
  return std::string(kxbCompanionDirectory()) + "/kxb";
}

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
    const char* error = nullptr;
    if (kxbInitialize(hostPath().c_str(), &error) != 0) return fail(1, error);
    int status = command.run(argc - 2, argv + 2);
    kxbShutdown();
    return status;
  }
  for (const Command& command : kHostCommands) {
    if (std::strcmp(argv[1], command.name) == 0) {
      return command.run(argc - 2, argv + 2);
    }
  }
  std::fprintf(stderr, "kxb: unknown command '%s'\n", argv[1]);
  return usage(stderr);
}
