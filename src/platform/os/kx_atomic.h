// Atomic counters and locks of the base layer.
//
// kxAtom: a 32-bit counter changed only by atomic read-modify-write. Add and
// Sub return the new value; all operations are sequentially consistent, so a
// reference count released with kxAtomSub may free what it guarded.
//
// kxLock: one handle type for the three kinds of lock the library uses,
// chosen by the two arguments of kxLockCreate:
//   kxLockCreate(0, 0)  a plain mutex, free
//   kxLockCreate(1, 0)  a plain mutex, already held by the calling thread
// A plain mutex is recursive: the thread holding it may take it again and
// then releases it as often as it took it.
//   kxLockCreate(0, 1)  a reader-writer lock, free
//   kxLockCreate(1, 1)  a reader-writer lock, held exclusively by the caller
// kxLockGet(lock, exclusive, wait): exclusive 1 takes the lock alone, 0 shares
// it (a plain mutex is always taken alone); wait 0 tries without blocking and
// returns non-zero when the lock is busy. kxLockRelease releases what the
// calling thread holds (shared or exclusive). A lock is released by the thread
// that took it. kxLockDestroy frees a lock nobody holds; null is ignored.
#ifndef KXB_PLATFORM_KX_ATOMIC_H_
#define KXB_PLATFORM_KX_ATOMIC_H_

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct kxAtom { int32_t value; } kxAtom;

// Inline: every string copy and release goes through them.
static inline void kxAtomInit(kxAtom* atom, int32_t value) {
  __atomic_store_n(&atom->value, value, __ATOMIC_SEQ_CST);
}
// Return the new value.
static inline int32_t kxAtomAdd(kxAtom* atom, int32_t delta) {
  return __atomic_add_fetch(&atom->value, delta, __ATOMIC_SEQ_CST);
}
static inline int32_t kxAtomSub(kxAtom* atom, int32_t delta) {
  return __atomic_sub_fetch(&atom->value, delta, __ATOMIC_SEQ_CST);
}
static inline int32_t kxAtomGet(const kxAtom* atom) {
  return __atomic_load_n(&atom->value, __ATOMIC_SEQ_CST);
}

typedef struct kxLockImpl* kxLock;

// Null when the lock cannot be made.
kxLock kxLockCreate(int initiallyHeld, int readerWriter);
// 0 when the lock was taken; non-zero when `wait` is 0 and it was busy, or
// when `lock` is null.
int kxLockGet(kxLock lock, int exclusive, int wait);
void kxLockRelease(kxLock lock);
void kxLockDestroy(kxLock lock);

#ifdef __cplusplus
}

// Holds `lock` exclusively (waiting for it) from construction until
// release() or the end of the scope. A null lock is never taken.
class kxLockHold {
 public:
  explicit kxLockHold(kxLock lock) : lock_(lock) {
    if (lock_ != nullptr) kxLockGet(lock_, 1, 1);
  }
  ~kxLockHold() { release(); }
  void release() {
    if (lock_ != nullptr) kxLockRelease(lock_);
    lock_ = nullptr;
  }
  kxLockHold(const kxLockHold&) = delete;
  kxLockHold& operator=(const kxLockHold&) = delete;

 private:
  kxLock lock_;
};
#endif

#endif  // KXB_PLATFORM_KX_ATOMIC_H_
