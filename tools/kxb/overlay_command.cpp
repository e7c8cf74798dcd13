// kxb overlay: local overrides kept in an overlay file over a shared base
// file that is only ever read.
//
//   kxb overlay list BASE OVERLAY              every key with its effective
//                                              value and where it comes from
//   kxb overlay set BASE OVERLAY KEY VALUE [--comment TEXT]
//                                              override KEY in the overlay
//   kxb overlay unset BASE OVERLAY KEY         drop the override (the overlay
//                                              keeps a "#-DELETED" line)
//
// The overlay file is made when missing; the base must exist.
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
    "usage: kxb overlay list BASE OVERLAY\n"
    "       kxb overlay set BASE OVERLAY KEY VALUE [--comment TEXT]\n"
    "       kxb overlay unset BASE OVERLAY KEY";

int report(KxbConfigOverlay& overlay) {
  return fail(1, overlay.getErrorMessage().asCstr());
}

// Reads both files; a missing overlay counts as an empty one.
bool readBoth(KxbConfigOverlay& overlay, const char* base, const char* local) {
  if (!overlay.readBase(KxbString(base))) return false;
  std::error_code code;
  if (!std::filesystem::exists(local, code)) return true;
  return overlay.readOverlay(KxbString(local));
}

int list(const char* base, const char* local) {
  KxbConfigOverlay overlay;
  if (!readBoth(overlay, base, local)) return report(overlay);
  for (int i = 0; i < overlay.getEntryCount(); ++i) {
    KxbString key, baseValue, overlayValue;
    overlay.getEntry(i, &key, &baseValue, &overlayValue);
    if (!overlayValue.isNull()) {
      if (baseValue.isNull()) {
        std::printf("%s=%s\t# overlay only\n", key.asCstr(),
                    overlayValue.asCstr());
      } else {
        std::printf("%s=%s\t# overlay (base: %s)\n", key.asCstr(),
                    overlayValue.asCstr(), baseValue.asCstr());
      }
    } else if (!baseValue.isNull()) {
      std::printf("%s=%s\t# base\n", key.asCstr(), baseValue.asCstr());
    }
  }
  return 0;
}

int set(const char* base, const char* local, const char* key,
        const char* value, const char* comment) {
  if (*value == '\0') {
    return fail(2, "an empty VALUE removes nothing: use kxb overlay unset");
  }
  KxbConfigOverlay overlay;
  if (!readBoth(overlay, base, local)) return report(overlay);
  overlay.setOverlayEntry(KxbString(key), KxbString(value));
  if (comment != nullptr) {
    overlay.setEntryComment(KxbString(key), KxbString(comment));
  }
  return overlay.writeOverlay(KxbString(local)) ? 0 : report(overlay);
}

int unset(const char* base, const char* local, const char* key) {
  KxbConfigOverlay overlay;
  if (!readBoth(overlay, base, local)) return report(overlay);
  KxbString name(key);
  bool overridden = false;
  for (int i = 0; i < overlay.getEntryCount() && !overridden; ++i) {
    KxbString entry, overlayValue;
    overlay.getEntry(i, &entry, nullptr, &overlayValue);
    overridden = entry.compare(name, false) == 0 && !overlayValue.isNull();
  }
  if (!overridden) {
    std::string text = std::string("no override of '") + key + "' in " + local;
    return fail(1, text.c_str());
  }
  overlay.setOverlayEntry(name, KxbString());
  return overlay.writeOverlay(KxbString(local)) ? 0 : report(overlay);
}

}  // namespace

int runOverlay(int argc, char** argv) {
  if (argc < 3) return fail(2, kUsage);
  const char* action = argv[0];
  const char* base = argv[1];
  const char* local = argv[2];
  if (std::strcmp(action, "list") == 0 && argc == 3) return list(base, local);
  if (std::strcmp(action, "set") == 0) {
    if (argc == 5) return set(base, local, argv[3], argv[4], nullptr);
    if (argc == 7 && std::strcmp(argv[5], "--comment") == 0) {
      return set(base, local, argv[3], argv[4], argv[6]);
    }
  }
  if (std::strcmp(action, "unset") == 0 && argc == 4) {
    return unset(base, local, argv[3]);
  }
  return fail(2, kUsage);
}

}  // namespace kxb_tool
