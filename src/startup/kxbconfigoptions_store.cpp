// The option-set store: sets by name, and the C entry point kxbGetOption.
#include <atomic>
#include <cstring>
#include <map>
#include <new>

#include "kx_atomic.h"
#include "kxbconfigoptions.h"
#include "startup/kxbconfigoptions_impl.h"
#include "startup/kxbconfigstore.h"

namespace {

using Store = std::map<KxbString, KxbConfigOptionsImpl*, KxbStringLess>;

std::atomic<kxLock> g_lock{nullptr};
Store* g_store = nullptr;  // guarded by g_lock

// "KXB_CONF_OPT/" + name; null when memory ran out.
KxbString internalName(const KxbString& name) {
  KxbString internal("KXB_CONF_OPT/", true);
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
      delete set;
      return nullptr;
    }
    return set;
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

}  // namespace

bool kxbCreateConfigOptionStore() {
  if (g_lock.load() != nullptr) return true;
  kxLock lock = kxLockCreate(1, 1);
  if (lock == nullptr) return false;
  Store* store = new (std::nothrow) Store;
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

extern "C" int kxbGetOption(const char* setName, const char* key,
                            char* buffer, int bufferSize) {
  KxbString internal =
      internalName(KxbString(setName == nullptr ? "" : setName, true));
  KxbString keyText(key, true);
  KxbString value;
  {
    // One hold of the lock for finding the set and reading the value, so
    // that a clear on another thread cannot come between them.
    KxbConfigOptionGuard guard(true);
    KxbConfigOptionsImpl* set = findOrCreateLocked(internal);
    if (set == nullptr) return 1;
    bool found = false;
    value = set->valueLocked(keyText, &found);
    if (!found) return 2;
  }
  int size = value.cStrSize();
  if (size == 1) {
    if (buffer != nullptr && bufferSize > 0) buffer[0] = '\0';
    return 0;
  }
  if (buffer == nullptr || bufferSize < size) return -size;
  std::memcpy(buffer, value.asCstr(), static_cast<size_t>(size));
  return 0;
}
