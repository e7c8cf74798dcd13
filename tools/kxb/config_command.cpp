// kxb config: read and edit configuration files ("key=value" lines) the way
// the library does, keeping comments and other lines in place.
//
//   kxb config get FILE [SECTION] KEY        print the value
//   kxb config set FILE [SECTION] KEY VALUE  set it (the file is made when
//                                            missing)
//   kxb config delete FILE [SECTION] KEY     remove it (a "#-DELETED" line
//                                            marks its place)
//   kxb config list FILE                     print every entry, in key order
//
// Configuration keys have no sections of their own; a SECTION is the first
// part of a "SECTION/KEY" key, as in "BASE/TEMP".
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>

#include "kxbconfigfile.h"
#include "kxbstring.h"
#include "tools/kxb/commands.h"

namespace kxb_tool {
namespace {

constexpr char kUsage[] =
    "usage: kxb config get FILE [SECTION] KEY\n"
    "       kxb config set FILE [SECTION] KEY VALUE\n"
    "       kxb config delete FILE [SECTION] KEY\n"
    "       kxb config list FILE";

// KEY, or SECTION "/" KEY.
KxbString keyOf(int argc, char** argv) {
  if (argc == 1) return KxbString(argv[0]);
  std::string joined = std::string(argv[0]) + "/" + argv[1];
  return KxbString(joined.c_str());
}

int report(KxbConfigFile& config) {
  return fail(1, config.getErrorMessage().asCstr());
}

int get(const char* path, const KxbString& key) {
  KxbConfigFile config;
  if (!config.read(KxbString(path))) return report(config);
  KxbString value = config.getEntry(key);
  if (value.isNull()) {
    std::string text = std::string("no entry '") + key.asCstr() + "' in " + path;
    return fail(1, text.c_str());
  }
  std::printf("%s\n", value.asCstr());
  return 0;
}

int change(const char* path, const KxbString& key, const char* value) {
  KxbConfigFile config;
  std::error_code code;
  if (std::filesystem::exists(path, code) && !config.read(KxbString(path))) {
    return report(config);
  }
  if (value != nullptr) {
    config.setEntry(key, KxbString(value));
  } else if (config.getEntry(key).isNull()) {
    std::string text = std::string("no entry '") + key.asCstr() + "' in " + path;
    return fail(1, text.c_str());
  } else {
    config.deleteEntry(key);
  }
  return config.write(KxbString(path)) ? 0 : report(config);
}

int list(const char* path) {
  KxbConfigFile config;
  if (!config.read(KxbString(path))) return report(config);
  KxbString key, value;
  for (bool more = config.getNextEntry(true, &key, &value); more;
       more = config.getNextEntry(false, &key, &value)) {
    std::printf("%s=%s\n", key.asCstr(), value.asCstr());
  }
  return 0;
}

int dispatch(int argc, char** argv) {
  if (argc < 2) return fail(2, kUsage);
  const char* action = argv[0];
  const char* path = argv[1];
  int rest = argc - 2;
  char** args = argv + 2;
  if (std::strcmp(action, "get") == 0 && (rest == 1 || rest == 2)) {
    return get(path, keyOf(rest, args));
  }
  if (std::strcmp(action, "set") == 0 && (rest == 2 || rest == 3)) {
    return change(path, keyOf(rest - 1, args), args[rest - 1]);
  }
  if (std::strcmp(action, "delete") == 0 && (rest == 1 || rest == 2)) {
    return change(path, keyOf(rest, args), nullptr);
  }
  if (std::strcmp(action, "list") == 0 && rest == 0) return list(path);
  return fail(2, kUsage);
}

}  // namespace

// The library's initialisation (main.cpp) has loaded the text IO library.
int runConfig(int argc, char** argv) { return dispatch(argc, argv); }

}  // namespace kxb_tool
