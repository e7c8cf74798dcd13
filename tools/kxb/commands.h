// The subcommands of the kxb command-line program. Each takes the arguments
// after its name and returns the process exit status (0 success, 1 failure,
// 2 bad usage), writing results to standard output and errors to standard
// error.
#ifndef KXB_TOOLS_KXB_COMMANDS_H_
#define KXB_TOOLS_KXB_COMMANDS_H_

#include <string>

namespace kxb_tool {

struct Command {
  const char* name;
  const char* usage;
  int (*run)(int argc, char** argv);
};

int runUuid(int argc, char** argv);
int runCase(int argc, char** argv);
int runWide(int argc, char** argv);
int runMsg(int argc, char** argv);
int runConfig(int argc, char** argv);
int runDecimal(int argc, char** argv);
int runUri(int argc, char** argv);
int runAttrs(int argc, char** argv);
int runDate(int argc, char** argv);
int runNow(int argc, char** argv);
int runQuery(int argc, char** argv);
int runSave(int argc, char** argv);
int runTemplate(int argc, char** argv);
int runRun(int argc, char** argv);
int runMail(int argc, char** argv);
int runOverlay(int argc, char** argv);
// Initialises the library itself (it sets KXEXEC_HOME first).
int runOptions(int argc, char** argv);

// The path the library is initialised with (main.cpp).
std::string hostPath();

// Prints "kxb: <text>" to standard error and returns `status`.
int fail(int status, const char* text);

}  // namespace kxb_tool

#endif  // KXB_TOOLS_KXB_COMMANDS_H_
