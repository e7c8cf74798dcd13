// KxbConfigOverlay: a read-only base configuration file and an overlay file
// of local changes, listed as one.
#include <iterator>
#include <map>
#include <new>

#include "kxbconfigfile.h"
#include "kxbmessage.h"
#include "np_mem.h"

namespace {
constexpr char kUnit[] = "kxbconfigoverlay";
}  // namespace

struct KxbConfigKeyFlags {
  bool inBase = false;
  bool inOverlay = false;
};

struct KxbConfigOverlayData {
  KxbConfigFile base;
  KxbConfigFile overlay;
  std::map<KxbString, KxbConfigKeyFlags, KxbStringLessInsensitive> keys;
  KxbString errorMessage;
};

KxbConfigOverlay::KxbConfigOverlay()
    : data_(np_mem_new<KxbConfigOverlayData>()) {}

KxbConfigOverlay::~KxbConfigOverlay() { delete data_; }

bool KxbConfigOverlay::readBase(const KxbString& path) {
  if (data_ == nullptr) return false;
  KxbConfigOverlayData& d = *data_;
  if (!d.base.read(path)) {
    d.errorMessage = d.base.getErrorMessage();
    return false;
  }
  try {
    d.keys.clear();
    KxbString key;
    for (bool more = d.base.getNextEntry(true, &key, nullptr); more;
         more = d.base.getNextEntry(false, &key, nullptr)) {
      d.keys[key] = KxbConfigKeyFlags{true, false};
    }
  } catch (const std::bad_alloc&) {
    np_mem_note_failure();
    d.errorMessage = kxb_get_message("Base Services", 444, kUnit, __LINE__);
    return false;
  }
  return true;
}

bool KxbConfigOverlay::readOverlay(const KxbString& path) {
  if (data_ == nullptr) return false;
  KxbConfigOverlayData& d = *data_;
  if (!d.overlay.read(path)) {
    d.errorMessage = d.overlay.getErrorMessage();
    return false;
  }
  try {
    KxbString key;
    for (bool more = d.overlay.getNextEntry(true, &key, nullptr); more;
         more = d.overlay.getNextEntry(false, &key, nullptr)) {
      auto found = d.keys.find(key);
      if (found == d.keys.end()) {
        d.keys.emplace(key, KxbConfigKeyFlags{false, true});
      } else {
        found->second.inBase = true;
        found->second.inOverlay = true;
      }
    }
  } catch (const std::bad_alloc&) {
    np_mem_note_failure();
    d.errorMessage = kxb_get_message("Base Services", 444, kUnit, __LINE__);
    return false;
  }
  return true;
}

bool KxbConfigOverlay::writeOverlay(const KxbString& path) {
  if (data_ == nullptr) return false;
  if (!data_->overlay.write(path)) {
    data_->errorMessage = data_->overlay.getErrorMessage();
    return false;
  }
  return true;
}

int KxbConfigOverlay::getEntryCount() {
  return data_ == nullptr ? 0 : static_cast<int>(data_->keys.size());
}

bool KxbConfigOverlay::getEntry(int index, KxbString* key,
                                KxbString* baseValue,
                                KxbString* overlayValue) {
  if (data_ == nullptr || index < 0 ||
      static_cast<size_t>(index) >= data_->keys.size()) {
    if (key != nullptr) key->setNull();
    if (baseValue != nullptr) baseValue->setNull();
    if (overlayValue != nullptr) overlayValue->setNull();
    return false;
  }
  auto entry = std::next(data_->keys.begin(), index);
  if (key != nullptr) *key = entry->first;
  if (entry->second.inBase && baseValue != nullptr) {
    *baseValue = data_->base.getEntry(entry->first);
  }
  if (entry->second.inOverlay && overlayValue != nullptr) {
    *overlayValue = data_->overlay.getEntry(entry->first);
  }
  return true;
}

KxbString KxbConfigOverlay::getEntryComment(const KxbString& key) {
  if (data_ == nullptr) return KxbString();
  auto found = data_->keys.find(key);
  if (found == data_->keys.end()) return KxbString();
  KxbString comment;
  if (found->second.inOverlay) comment = data_->overlay.getEntryComment(key);
  if (comment.length() == 0 && found->second.inBase) {
    comment = data_->base.getEntryComment(key);
  }
  return comment;
}

KxbString KxbConfigOverlay::getErrorMessage() {
  return data_ == nullptr ? KxbString() : data_->errorMessage;
}

void KxbConfigOverlay::setOverlayEntry(const KxbString& key,
                                       const KxbString& value) {
  if (data_ == nullptr) return;
  KxbConfigOverlayData& d = *data_;
  auto found = d.keys.find(key);
  if (value.length() == 0) {
    if (found == d.keys.end() || !found->second.inOverlay) return;
    // A key also in the base stays flagged as overlaid; the overlay no
    // longer has it, so its overlay value reads as null.
    if (!found->second.inBase) d.keys.erase(found);
    d.overlay.deleteEntry(key);
    return;
  }
  KxbString carried;
  try {
    if (found == d.keys.end()) {
      d.keys.emplace(key, KxbConfigKeyFlags{false, true});
    } else if (!found->second.inOverlay) {
      found->second.inBase = true;
      found->second.inOverlay = true;
      carried = d.base.getEntryComment(key);
    }
  } catch (const std::bad_alloc&) {
    np_mem_note_failure();
    d.errorMessage = kxb_get_message("Base Services", 444, kUnit, __LINE__);
    return;
  }
  d.overlay.setEntry(key, value);
  if (carried.length() > 0) d.overlay.setEntryComment(key, carried);
}

void KxbConfigOverlay::setEntryComment(const KxbString& key,
                                       const KxbString& comment) {
  if (data_ == nullptr) return;
  KxbConfigOverlayData& d = *data_;
  auto found = d.keys.find(key);
  if (found == d.keys.end()) return;
  if (!found->second.inOverlay) {
    d.overlay.setEntry(key, d.base.getEntry(key));
    found->second.inBase = true;
    found->second.inOverlay = true;
  }
  d.overlay.setEntryComment(key, comment);
}
