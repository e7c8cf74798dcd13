// kxb options: the effective options a host would start with, and where
// each came from.
//
//   kxb options [--home DIR] [--user DIR] [--file F]... [--set KEY=VALUE]...
//               [--origin] [KEY...]
//
// Initialises and starts the library as a host does: --home sets
// KXEXEC_HOME, --user the user directory, --file queues a configuration
// file, --set queues an option (a KEY without "=" queues the key with no
// value). Prints every option of the effective set in order as KEY=VALUE,
// secrets masked as in the start-up log; with --origin each line ends with
// "# <where the value came from>". With KEYs only those, macros expanded.
// A failed start-up prints its message and exits 1; so does a KEY the
// effective set lacks (after the others are printed).
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "kxbconfigoptions.h"
#include "kxbstartup.h"
#include "kxlog.h"
#include "np_env.h"
#include "startup/kxbstartup_internal.h"
#include "tools/kxb/commands.h"

namespace kxb_tool {
namespace {

constexpr char kUsage[] =
    "usage: kxb options [--home DIR] [--user DIR] [--file F]... "
    "[--set KEY=VALUE]... [--origin] [KEY...]";

struct Arguments {
  const char* home = nullptr;
  const char* user = nullptr;
  std::vector<const char*> files;
  std::vector<std::string> settings;
  bool origin = false;
  std::vector<const char*> keys;
};

bool parse(int argc, char** argv, Arguments* out) {
  for (int i = 0; i < argc; ++i) {
    const char* argument = argv[i];
    bool hasValue = i + 1 < argc;
    if (std::strcmp(argument, "--origin") == 0) {
      out->origin = true;
    } else if (std::strcmp(argument, "--home") == 0 && hasValue) {
      out->home = argv[++i];
    } else if (std::strcmp(argument, "--user") == 0 && hasValue) {
      out->user = argv[++i];
    } else if (std::strcmp(argument, "--file") == 0 && hasValue) {
      out->files.push_back(argv[++i]);
    } else if (std::strcmp(argument, "--set") == 0 && hasValue) {
      out->settings.emplace_back(argv[++i]);
    } else if (argument[0] == '-' && argument[1] == '-') {
      return false;
    } else {
      out->keys.push_back(argument);
    }
  }
  return true;
}

std::string absolute(const char* path) {
  std::error_code code;
  std::filesystem::path full = std::filesystem::absolute(path, code);
  return code ? std::string(path) : full.lexically_normal().string();
}

std::string originOf(const char* key) {
  KxbOptionOrigin origin;
  if (kxbStartupGetOptionOrigin(key, &origin) != 0) return "unknown";
  char text[4200];
  kxbStartupDescribeOptionOrigin(&origin, text, sizeof text);
  return text;
}

void print(const KxbString& key, const KxbString& value, bool withOrigin) {
  KxbString shown = kxbStartupMaskValue(key, value);
  if (withOrigin) {
    std::printf("%s=%s\t# %s\n", key.asCstr(), shown.isNull() ? "" : shown.asCstr(),
                originOf(key.asCstr()).c_str());
  } else {
    std::printf("%s=%s\n", key.asCstr(), shown.isNull() ? "" : shown.asCstr());
  }
}

// Queues the files and options, starts up and prints. The library is
// initialised.
int startAndPrint(const Arguments& arguments) {
  const char* error = nullptr;
  if (arguments.user != nullptr) {
    kxbStartupSetUserPath(absolute(arguments.user).c_str());
  }
  for (const char* file : arguments.files) {
    if (kxbStartupAddConfigFile(file, &error) != 0) return fail(1, error);
  }
  for (const std::string& setting : arguments.settings) {
    size_t equals = setting.find('=');
    std::string key = setting.substr(0, equals);
    int result = equals == std::string::npos
                     ? kxbStartupAddOption(key.c_str(), nullptr, &error)
                     : kxbStartupAddOption(key.c_str(),
                                           setting.c_str() + equals + 1, &error);
    if (result != 0) return fail(1, error);
  }
  if (kxbStartup(&error, 0) != 0) {
    fail(1, error);
    if (*kxlogLastError() != '\0') std::fprintf(stderr, "kxb: %s\n", kxlogLastError());
    return 1;
  }
  KxbConfigOptions* options = kxbGetConfigOptions(KxbString("", true));
  if (options == nullptr) return fail(1, "the effective options cannot be read");
  if (arguments.keys.empty()) {
    KxbString key, value;
    for (unsigned i = 0; options->getOptionAt(i, &key, &value, false); ++i) {
      print(key, value, arguments.origin);
    }
    return 0;
  }
  int status = 0;
  for (const char* name : arguments.keys) {
    KxbString key(name);
    KxbString value;
    if (!options->getOption(key, &value, true) && value.isNull()) {
      std::fprintf(stderr, "kxb: no option '%s'\n", name);
      status = 1;
      continue;
    }
    print(key, value, arguments.origin);
  }
  return status;
}

}  // namespace

int runOptions(int argc, char** argv) {
  Arguments arguments;
  if (!parse(argc, argv, &arguments)) return fail(2, kUsage);
  if (arguments.home != nullptr &&
      np_env_set("KXEXEC_HOME", absolute(arguments.home).c_str()) != 0) {
    return fail(1, "cannot set KXEXEC_HOME");
  }
  const char* error = nullptr;
  if (kxbInitialize(hostPath().c_str(), &error) != 0) return fail(1, error);
  int status = startAndPrint(arguments);
  kxbShutdown();
  return status;
}

}  // namespace kxb_tool
