// The effective-options dump, with secrets masked.
#include <string>

#include "kxlog.h"
#include "startup/kxbstartup_internal.h"

namespace {

constexpr char kMask[] = "********";

bool isKey(const KxbString& key, const char* name) {
  return key.compare(name, false) == 0;
}

// In a location "host=x,pass=secret,port=1" the text after "pass=" (any
// case) up to the next "," or "/" is masked, unless "pass=" opens the value.
KxbString maskLocation(const KxbString& value) {
  if (value.isNull()) return value;
  std::string bytes(value.asCstr());
  std::string lowered(bytes);
  for (char& c : lowered) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + 32);
  }
  size_t at = lowered.find("pass=");
  if (at == std::string::npos || at == 0) return value;
  size_t start = at + 5;
  size_t end = bytes.find_first_of(",/", start);
  if (end == std::string::npos) end = bytes.size();
  bytes.replace(start, end - start, kMask);
  return KxbString(bytes.c_str());
}

}  // namespace

KxbString kxbStartupMaskValue(const KxbString& key, const KxbString& value) {
  try {
    if (isKey(key, "BASE/AUTH_SERVER_PASS") || isKey(key, "METAPASS")) {
      return KxbString(kMask, true);
    }
    if (isKey(key, "BASE/AUTH_SERVER_LOC")) return maskLocation(value);
    return value;
  } catch (...) {
    // Out of memory: never risk printing the secret.
    return KxbString(kMask, true);
  }
}

void kxbStartupDumpOptions(const KxbStartupRun& run) {
  if (!kxlogIsEnabled(run.log, KXLOG_NOTABLE)) return;
  kxlogWrite(run.log, KXLOG_NOTABLE, kStartupUnit, __LINE__,
             "Effective options:");
  KxbString key;
  KxbString value;
  for (unsigned i = 0; run.options->getOptionAt(i, &key, &value, false); ++i) {
    kxlogWrite(run.log, KXLOG_NOTABLE, kStartupUnit, __LINE__, "%s=%s",
               key.asCstr(), kxbStartupMaskValue(key, value).asCstr());
  }
}
