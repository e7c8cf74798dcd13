// The option-set store's life (for the library's initialisation and
// shutdown) and the lock every set takes.
#ifndef KXB_SRC_STARTUP_KXBCONFIGSTORE_H_
#define KXB_SRC_STARTUP_KXBCONFIGSTORE_H_

#include "kx_atomic.h"

// Creates the lock (held while the empty store is made) and the store.
// False, with nothing left behind, when either cannot be made; true at once
// when the store exists already.
bool kxbCreateConfigOptionStore();
// Under the lock held exclusively destroys every set and the store, then
// the lock. Nothing when there is no store. No other thread may use a set.
void kxbDestroyConfigOptionStore();
// The store's reader-writer lock; null when there is no store.
kxLock kxbConfigOptionLock();

// Holds the store's lock, shared or exclusive, for a scope.
class KxbConfigOptionGuard {
 public:
  explicit KxbConfigOptionGuard(bool exclusive) : lock_(kxbConfigOptionLock()) {
    if (lock_ != nullptr && kxLockGet(lock_, exclusive ? 1 : 0, 1) != 0) {
      lock_ = nullptr;
    }
  }
  ~KxbConfigOptionGuard() {
    if (lock_ != nullptr) kxLockRelease(lock_);
  }
  KxbConfigOptionGuard(const KxbConfigOptionGuard&) = delete;
  KxbConfigOptionGuard& operator=(const KxbConfigOptionGuard&) = delete;

 private:
  kxLock lock_;
};

#endif  // KXB_SRC_STARTUP_KXBCONFIGSTORE_H_
