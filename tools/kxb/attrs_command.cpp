// kxb attrs: the attributes of an attribute text, as name and value.
#include <cstdio>
#include <cstring>

#include "kxbparse.h"
#include "kxbstring.h"
#include "tools/kxb/commands.h"

namespace kxb_tool {
namespace {

constexpr const char* kAttrsUsage = "usage: kxb attrs TEXT [--sep C]";

// "(null)" for null, else the text in double quotes.
void printValue(const char* label, const KxbString& value) {
  if (value.isNull()) {
    std::printf(" %s=(null)", label);
  } else {
    std::printf(" %s=\"%s\"", label, value.asCstr());
  }
}

}  // namespace

int runAttrs(int argc, char** argv) {
  const char* text = nullptr;
  char separator = ';';
  for (int i = 0; i < argc; ++i) {
    if (std::strcmp(argv[i], "--sep") == 0) {
      if (i + 1 >= argc || std::strlen(argv[i + 1]) != 1) {
        return fail(2, "--sep takes one character");
      }
      separator = argv[++i][0];
    } else if (text == nullptr) {
      text = argv[i];
    } else {
      return fail(2, kAttrsUsage);
    }
  }
  if (text == nullptr) return fail(2, kAttrsUsage);
  KxbParse attributes;
  if (!attributes.parse(KxbString(text, true), separator)) {
    return fail(1, attributes.getErrorMessage().asCstr());
  }
  for (int i = 0; i < attributes.getAttributeCount(); ++i) {
    KxbString name;
    KxbString value;
    attributes.getAttribute(i, &name, &value);
    std::printf("%d:", i);
    printValue("name", name);
    printValue("value", value);
    std::printf("\n");
  }
  return 0;
}

}  // namespace kxb_tool
