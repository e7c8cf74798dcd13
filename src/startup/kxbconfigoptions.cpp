// KxbConfigOptionsImpl: setting, reading, expanding and removing options.
#include <cstring>
#include <new>
#include <string>
#include <string_view>

#include "startup/kxbconfigoptions_impl.h"
#include "startup/kxbconfigstore.h"

namespace {

// Copies the `length` bytes at `text` into `out` with A-Z lowered. False,
// leaving `out` cut, when a byte is not ASCII.
bool foldAscii(const char* text, size_t length, char* out) {
  for (size_t i = 0; i < length; ++i) {
    unsigned char c = static_cast<unsigned char>(text[i]);
    if (c >= 0x80) return false;
    out[i] = static_cast<char>(c + (static_cast<unsigned>(c - 'A') < 26u ? 32 : 0));
  }
  return true;
}

}  // namespace

long KxbConfigOptionsImpl::findLocked(const KxbString& key) const {
  // Keys longer than the buffer (rare) take the ordered index.
  char folded[128];
  size_t length = key.isNull() ? 0 : static_cast<size_t>(key.cStrSize() - 1);
  if (!key.isNull() && length <= sizeof folded) {
    if (foldAscii(key.asCstr(), length, folded)) {
      auto hit = asciiIndex_.find(std::string_view(folded, length));
      if (hit != asciiIndex_.end()) return static_cast<long>(hit->second);
      if (nonAsciiKeys_ == 0) return -1;
    }
  }
  auto found = index_.find(key);
  return found == index_.end() ? -1 : static_cast<long>(found->second);
}

bool KxbConfigOptionsImpl::setOption(const KxbString& key,
                                     const KxbString& value) {
  KxbConfigOptionGuard guard(true);
  try {
    long found = findLocked(key);
    if (found >= 0) {
      entries_[static_cast<size_t>(found)].second = value;
      return true;
    }
    const uint32_t position = static_cast<uint32_t>(entries_.size());
    std::string folded(key.isNull() ? 0 : static_cast<size_t>(key.cStrSize() - 1),
                       '\0');
    const bool ascii =
        !key.isNull() && foldAscii(key.asCstr(), folded.size(), folded.data());
    entries_.emplace_back(key, value);
    try {
      index_.emplace(key, position);
    } catch (const std::bad_alloc&) {
      entries_.pop_back();
      return false;
    }
    try {
      if (ascii) asciiIndex_.emplace(std::move(folded), position);
    } catch (const std::bad_alloc&) {
      index_.erase(key);
      entries_.pop_back();
      return false;
    }
    if (!ascii) ++nonAsciiKeys_;
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

KxbString KxbConfigOptionsImpl::valueLocked(const KxbString& key,
                                            bool* found) const {
  long position = findLocked(key);
  *found = position >= 0;
  return *found ? entries_[static_cast<size_t>(position)].second : KxbString();
}

bool KxbConfigOptionsImpl::expandLocked(const KxbString& text,
                                        KxbString* out) const {
  const KxbString marks("%%", true);
  KxbString current = text;
  while (true) {
    int open = current.find(marks, 0);
    if (open < 0) break;
    int close = current.find(marks, open + 2);
    if (close < 0) break;  // an unmatched "%%" stays
    bool found = false;
    KxbString macro = valueLocked(current.mid(static_cast<unsigned>(open + 2),
                                              close - open - 2),
                                  &found);
    if (!found) {
      *out = current;
      return false;
    }
    KxbString next = current.mid(0, open);
    next.append(macro);
    next.append(current.mid(static_cast<unsigned>(close + 2)));
    current = next;
  }
  *out = current;
  return true;
}

bool KxbConfigOptionsImpl::getOptionAt(unsigned index, KxbString* key,
                                       KxbString* value, bool expand) {
  KxbConfigOptionGuard guard(false);
  if (index >= entries_.size()) return false;
  const auto& entry = entries_[index];
  if (key != nullptr) *key = entry.first;
  if (value != nullptr) {
    if (expand) {
      expandLocked(entry.second, value);
    } else {
      *value = entry.second;
    }
  }
  return true;
}

bool KxbConfigOptionsImpl::getOption(const KxbString& key, KxbString* value,
                                     bool expand) {
  KxbConfigOptionGuard guard(false);
  bool found = false;
  KxbString stored = valueLocked(key, &found);
  if (!found) {
    if (value != nullptr) value->setNull();
    return false;
  }
  if (!expand) {
    if (value != nullptr) *value = stored;
    return true;
  }
  KxbString expanded;
  bool complete = expandLocked(stored, &expanded);
  if (value != nullptr) *value = expanded;
  return complete;
}

void KxbConfigOptionsImpl::removeOption(const KxbString& key) {
  KxbConfigOptionGuard guard(true);
  auto found = index_.find(key);
  if (found == index_.end()) return;
  uint32_t removed = found->second;
  index_.erase(found);
  entries_.erase(entries_.begin() + removed);
  for (auto& [name, position] : index_) {
    if (position > removed) --position;
  }
  // Renumbering walks the ASCII index anyway; the removed key goes with it
  // (found by position, so that nothing needs to be allocated here).
  bool wasAscii = false;
  for (auto entry = asciiIndex_.begin(); entry != asciiIndex_.end();) {
    if (entry->second == removed) {
      entry = asciiIndex_.erase(entry);
      wasAscii = true;
      continue;
    }
    if (entry->second > removed) --entry->second;
    ++entry;
  }
  if (!wasAscii) --nonAsciiKeys_;
}

int KxbConfigOptionsImpl::count() {
  KxbConfigOptionGuard guard(false);
  return static_cast<int>(entries_.size());
}

KxbString KxbConfigOptionsImpl::lastError() {
  KxbConfigOptionGuard guard(false);
  return lastError_;
}

void KxbConfigOptionsImpl::setLastError(const KxbString& text) {
  KxbConfigOptionGuard guard(true);
  lastError_ = text;
}
