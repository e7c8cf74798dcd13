// kxb template: renders a template file.
//
//   kxb template FILE [NAME=VALUE ...]
//
// Each variable takes its value from the NAME=VALUE arguments, else from the
// environment variable of that name. An optional variable ("[name]") with
// neither renders empty; a required one ("{name}") fails, naming it. Parse
// errors print the catalogue message, which gives the line.
#include <cstdio>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "kxbstring.h"
#include "kxbtemplate.h"
#include "kxbtxtfile.h"
#include "kxlog.h"
#include "np_env.h"
#include "tools/kxb/commands.h"

namespace kxb_tool {
namespace {

constexpr const char* kTemplateUsage = "usage: kxb template FILE [NAME=VALUE ...]";

// The environment variable `name`; false when it is not set.
bool environmentValue(const std::string& name, std::string* value) {
  std::vector<char> buffer(256);
  for (;;) {
    const int found = np_env_get(name.c_str(), buffer.data(), buffer.size());
    if (found == NP_ENV_FOUND) {
      *value = buffer.data();
      return true;
    }
    if (found != NP_ENV_TOO_SMALL) return false;
    buffer.resize(buffer.size() * 4);
  }
}

class CommandValues : public KxbTemplateValueCB {
 public:
  bool lookup(const KxbString& name, KxbString* value,
              KxbString* error) override {
    const std::string key = name.asCstr();
    std::string text;
    auto given = arguments.find(key);
    if (given != arguments.end()) {
      *value = KxbString(given->second.c_str());
      return true;
    }
    if (environmentValue(key, &text)) {
      *value = KxbString(text.c_str());
      return true;
    }
    if (optional.count(key) != 0) return true;  // renders empty
    const std::string reason = "no value for the required variable '" + key +
                               "' (give " + key + "=VALUE)";
    if (error != nullptr) *error = KxbString(reason.c_str());
    return false;
  }

  std::map<std::string, std::string> arguments;
  std::set<std::string> optional;
};

// The whole text of the file at `path`; false with the reason in *error.
bool readFile(const char* path, std::string* text, std::string* error) {
  KxbString openError;
  KxbTxtFile* file = kxbTxtFileOpen(path, KXB_TXT_READ, -1, 0, &openError);
  if (file == nullptr) {
    *error = openError.asCstr();
    return false;
  }
  char buffer[65536];
  int got = 0;
  while ((got = file->read(buffer, sizeof buffer)) > 0) {
    text->append(buffer, static_cast<size_t>(got));
  }
  if (got < 0) *error = file->getErrorMessage().asCstr();
  file->release();
  return got == 0;
}

}  // namespace

int runTemplate(int argc, char** argv) {
  if (argc < 1) return fail(2, kTemplateUsage);
  CommandValues values;
  for (int i = 1; i < argc; ++i) {
    const char* equals = std::strchr(argv[i], '=');
    if (equals == nullptr || equals == argv[i]) return fail(2, kTemplateUsage);
    values.arguments[std::string(argv[i], static_cast<size_t>(equals - argv[i]))] =
        equals + 1;
  }
  std::string text;
  std::string reason;
  if (!readFile(argv[0], &text, &reason)) {
    return fail(1, (std::string(argv[0]) + ": " + reason).c_str());
  }

  // This command reports a failed lookup itself; the template's own record
  // of it would only repeat it on standard error.
  kxlogSetLevel(kxlogGetLogger("KX.Base.Template"), KXLOG_ERROR);
  KxbString error;
  KxbTemplate* t = kxbCreateBasicTemplate(&values, &error);
  if (t == nullptr) return fail(1, error.asCstr());
  int status = 0;
  if (!t->parse(KxbString(text.c_str()), &error)) {
    status = fail(1, (std::string(argv[0]) + ": " + error.asCstr()).c_str());
  } else {
    for (int i = 0; i < t->getVariableCount(); ++i) {
      bool optional = false;
      KxbString name = t->getVariable(i, &optional, nullptr);
      if (optional) values.optional.insert(name.asCstr());
    }
    KxbString out = t->render(&error);
    if (out.isNull()) {
      status = fail(1, error.asCstr());
    } else {
      std::fwrite(out.asCstr(), 1, static_cast<size_t>(out.cStrSize() - 1),
                  stdout);
    }
  }
  t->release();
  return status;
}

}  // namespace kxb_tool
