// The option-set store: sets by name, and the C entry point kxbGetOption.
#include <atomic>
#include <cstring>
#include <map>
#include <new>
#include <string>
#include <string_view>

#include "kx_atomic.h"
#include "kxbconfigoptions.h"
#include "startup/kxbconfigoptions_impl.h"
#include "startup/kxbconfigstore.h"
#include "np_mem.h"

namespace {

constexpr char kPrefix[] = "KXB_CONF_OPT/";
constexpr size_t kPrefixLength = sizeof kPrefix - 1;

// The bytes of a name, without counting its characters.
std::string_view bytesOf(const KxbString& text) {
  return std::string_view(text.asCstr(), static_cast<size_t>(text.cStrSize() - 1));
}

// Sets by internal name, in KxbString's byte order (unsigned bytes, a prefix
// first), which is also string_view's: names can be looked up as plain bytes.
struct NameLess {
  using is_transparent = void;
  bool operator()(const KxbString& a, const KxbString& b) const {
    return bytesOf(a) < bytesOf(b);
  }
  bool operator()(std::string_view a, const KxbString& b) const {
    return a < bytesOf(b);
  }
  bool operator()(const KxbString& a, std::string_view b) const {
    return bytesOf(a) < b;
  }
};
using Store = std::map<KxbString, KxbConfigOptionsImpl*, NameLess>;

std::atomic<kxLock> g_lock{nullptr};
Store* g_store = nullptr;  // guarded by g_lock

// "KXB_CONF_OPT/" + name; null when memory ran out.
KxbString internalName(const KxbString& name) {
  KxbString internal(kPrefix, true);
  bool failed = false;
  internal.append(name, &failed);
  return failed ? KxbString() : internal;
}

// The set named `internal`, made when missing; null when memory ran out.
// Needs the lock held exclusively.
KxbConfigOptionsImpl* findOrCreateLocked(const KxbString& internal) {
  if (g_store == nullptr || internal.isNull()) return nullptr;
  try {
    auto found = g_store->find(internal);
    if (found != g_store->end()) return found->second;
    KxbConfigOptionsImpl* set = new KxbConfigOptionsImpl;
    try {
      g_store->emplace(internal, set);
    } catch (const std::bad_alloc&) {
      np_mem_note_failure();
      delete set;
      return nullptr;
    }
    return set;
  } catch (const std::bad_alloc&) {
    np_mem_note_failure();
    return nullptr;
  }
}

}  // namespace

bool kxbCreateConfigOptionStore() {
  if (g_lock.load() != nullptr) return true;
  kxLock lock = kxLockCreate(1, 1);
  if (lock == nullptr) return false;
  Store* store = np_mem_new<Store>();
  if (store == nullptr) {
    kxLockRelease(lock);
    kxLockDestroy(lock);
    return false;
  }
  g_store = store;
  g_lock.store(lock);
  kxLockRelease(lock);
  return true;
}

void kxbDestroyConfigOptionStore() {
  kxLock lock = g_lock.load();
  if (lock == nullptr) return;
  kxLockGet(lock, 1, 1);
  for (auto& [name, set] : *g_store) delete set;
  delete g_store;
  g_store = nullptr;
  g_lock.store(nullptr);
  kxLockRelease(lock);
  kxLockDestroy(lock);
}

kxLock kxbConfigOptionLock() { return g_lock.load(); }

KxbConfigOptions* kxbGetConfigOptions(const KxbString& name) {
  KxbString internal = internalName(name);
  KxbConfigOptionGuard guard(true);
  return findOrCreateLocked(internal);
}

void kxbClearConfigOptions(const KxbString& name) {
  KxbString internal = internalName(name);
  KxbConfigOptionGuard guard(true);
  if (g_store == nullptr || internal.isNull()) return;
  auto found = g_store->find(internal);
  if (found == g_store->end()) return;
  delete found->second;
  g_store->erase(found);
}

namespace {

// The set named `internal` (the internal name's bytes), or null when there
// is none. Needs the lock held, shared at least.
KxbConfigOptionsImpl* findLocked(std::string_view internal) {
  if (g_store == nullptr) return nullptr;
  auto found = g_store->find(internal);
  return found == g_store->end() ? nullptr : found->second;
}

// kxbGetOption's result for `key` in `set`, its value copied into `buffer`.
// Needs the lock held.
int copyValueLocked(const KxbConfigOptionsImpl& set, const char* key,
                    char* buffer, int bufferSize) {
  const KxbString* value = set.valueLocked(key);
  if (value == nullptr) return 2;
  int size = value->cStrSize();
  if (size == 1) {
    if (buffer != nullptr && bufferSize > 0) buffer[0] = '\0';
    return 0;
  }
  if (buffer == nullptr || bufferSize < size) return -size;
  std::memcpy(buffer, value->asCstr(), static_cast<size_t>(size));
  return 0;
}

}  // namespace

extern "C" int kxbGetOption(const char* setName, const char* key,
                            char* buffer, int bufferSize) {
  // The internal name, on the stack unless it is long: the lookup of an
  // existing set allocates nothing and counts no characters.
  const size_t nameLength = setName == nullptr ? 0 : std::strlen(setName);
  char shortName[128];
  std::string longName;
  char* name = shortName;
  if (kPrefixLength + nameLength > sizeof shortName) {
    try {
      longName.resize(kPrefixLength + nameLength);
    } catch (const std::bad_alloc&) {
      np_mem_note_failure();
      return 1;
    }
    name = longName.data();
  }
  std::memcpy(name, kPrefix, kPrefixLength);
  if (nameLength > 0) std::memcpy(name + kPrefixLength, setName, nameLength);
  const std::string_view internal(name, kPrefixLength + nameLength);
  {
    KxbConfigOptionGuard shared(false);
    if (const KxbConfigOptionsImpl* set = findLocked(internal)) {
      return copyValueLocked(*set, key, buffer, bufferSize);
    }
  }
  // A set met for the first time is made, under the lock held exclusively,
  // and read under that same hold, so that a clear on another thread cannot
  // come between.
  KxbString internalText;
  try {
    internalText = KxbString(std::string(internal).c_str());
  } catch (const std::bad_alloc&) {
    np_mem_note_failure();
    return 1;
  }
  KxbConfigOptionGuard exclusive(true);
  const KxbConfigOptionsImpl* set = findOrCreateLocked(internalText);
  if (set == nullptr) return 1;
  return copyValueLocked(*set, key, buffer, bufferSize);
}
