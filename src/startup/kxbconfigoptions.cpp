// KxbConfigOptionsImpl: setting, reading, expanding and removing options.
#include <cstring>
#include <new>

#include "startup/kxbconfigoptions_impl.h"
#include "startup/kxbconfigstore.h"
#include "np_mem.h"

namespace {

// The bytes of `key` ("" for null), without counting its characters.
KxbFoldedKey foldedKey(const KxbString& key) {
  return KxbFoldedKey(key.asCstr(), static_cast<size_t>(key.cStrSize() - 1));
}

}  // namespace

long KxbConfigOptionsImpl::findLocked(const KxbFoldedKey& key,
                                      const KxbString* text) const {
  if (key.ascii()) {
    long hit = foldedIndex_.find(key);
    if (hit != KxbFoldedKeyIndex::kAbsent || nonAsciiKeys_ == 0) return hit;
  }
  auto found = text != nullptr
                   ? index_.find(*text)
                   : index_.find(KxbString(key.bytes(), true));
  return found == index_.end() ? -1 : static_cast<long>(found->second);
}

long KxbConfigOptionsImpl::findLocked(const KxbString& key) const {
  if (key.isNull()) {
    // A key of its own, distinct from "": only in the ordered index.
    auto found = index_.find(key);
    return found == index_.end() ? -1 : static_cast<long>(found->second);
  }
  return findLocked(foldedKey(key), &key);
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
    const KxbFoldedKey folded = foldedKey(key);
    const bool ascii = !key.isNull() && folded.ascii();
    entries_.emplace_back(key, value);
    try {
      index_.emplace(key, position);
    } catch (const std::bad_alloc&) {
      np_mem_note_failure();
      entries_.pop_back();
      return false;
    }
    try {
      if (ascii) foldedIndex_.insert(folded, position);
    } catch (const std::bad_alloc&) {
      np_mem_note_failure();
      index_.erase(key);
      entries_.pop_back();
      return false;
    }
    if (!ascii) ++nonAsciiKeys_;
    return true;
  } catch (const std::bad_alloc&) {
    np_mem_note_failure();
    return false;
  }
}

const KxbString* KxbConfigOptionsImpl::valueLocked(const char* key) const {
  long position = key == nullptr
                      ? findLocked(KxbString())
                      : findLocked(KxbFoldedKey(key, std::strlen(key)), nullptr);
  return position < 0 ? nullptr : &entries_[static_cast<size_t>(position)].second;
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
    KxbString name =
        current.mid(static_cast<unsigned>(open + 2), close - open - 2);
    long position = findLocked(name);
    if (position < 0) {
      *out = current;
      return false;
    }
    KxbString next = current.mid(0, open);
    next.append(entries_[static_cast<size_t>(position)].second);
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
  long position = findLocked(key);
  if (position < 0) {
    if (value != nullptr) value->setNull();
    return false;
  }
  const KxbString& stored = entries_[static_cast<size_t>(position)].second;
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
  const size_t before = foldedIndex_.size();
  foldedIndex_.removePosition(removed);
  if (foldedIndex_.size() == before) --nonAsciiKeys_;
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
