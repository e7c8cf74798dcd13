// KxbConfigOptionsImpl: setting, reading, expanding and removing options.
#include <new>

#include "startup/kxbconfigoptions_impl.h"
#include "startup/kxbconfigstore.h"

bool KxbConfigOptionsImpl::setOption(const KxbString& key,
                                     const KxbString& value) {
  KxbConfigOptionGuard guard(true);
  try {
    auto found = index_.find(key);
    if (found != index_.end()) {
      entries_[found->second].second = value;
      return true;
    }
    entries_.emplace_back(key, value);
    try {
      index_.emplace(key, static_cast<uint32_t>(entries_.size() - 1));
    } catch (const std::bad_alloc&) {
      entries_.pop_back();
      return false;
    }
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

KxbString KxbConfigOptionsImpl::valueLocked(const KxbString& key,
                                            bool* found) const {
  auto entry = index_.find(key);
  *found = entry != index_.end();
  return *found ? entries_[entry->second].second : KxbString();
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
