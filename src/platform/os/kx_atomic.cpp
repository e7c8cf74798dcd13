#include "kx_atomic.h"

#include <pthread.h>

#include <new>

#include "kx_fault.h"
#include "np_mem.h"

struct kxLockImpl {
  bool readerWriter;
  pthread_mutex_t mutex;
  pthread_rwlock_t rwlock;
};

extern "C" kxLock kxLockCreate(int initiallyHeld, int readerWriter) {
  if (kxFaultHit(KX_FAULT_LOCK_CREATE)) return nullptr;
  kxLockImpl* lock = np_mem_new<kxLockImpl>();
  if (lock == nullptr) return nullptr;
  lock->readerWriter = readerWriter != 0;
  int rc;
  if (lock->readerWriter) {
    rc = pthread_rwlock_init(&lock->rwlock, nullptr);
  } else {
    // Recursive, like the critical sections the library was written for:
    // start-up holds the global mutex while it raises assertions, whose
    // dispatch takes the same mutex.
    pthread_mutexattr_t attributes;
    rc = pthread_mutexattr_init(&attributes);
    if (rc == 0) {
      rc = pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
      if (rc == 0) rc = pthread_mutex_init(&lock->mutex, &attributes);
      pthread_mutexattr_destroy(&attributes);
    }
  }
  if (rc != 0) {
    delete lock;
    return nullptr;
  }
  if (initiallyHeld) kxLockGet(lock, 1, 1);
  return lock;
}

extern "C" int kxLockGet(kxLock lock, int exclusive, int wait) {
  if (lock == nullptr) return -1;
  if (!lock->readerWriter) {
    return wait ? pthread_mutex_lock(&lock->mutex)
                : pthread_mutex_trylock(&lock->mutex);
  }
  if (exclusive) {
    return wait ? pthread_rwlock_wrlock(&lock->rwlock)
                : pthread_rwlock_trywrlock(&lock->rwlock);
  }
  return wait ? pthread_rwlock_rdlock(&lock->rwlock)
              : pthread_rwlock_tryrdlock(&lock->rwlock);
}

extern "C" void kxLockRelease(kxLock lock) {
  if (lock == nullptr) return;
  if (lock->readerWriter) {
    pthread_rwlock_unlock(&lock->rwlock);
  } else {
    pthread_mutex_unlock(&lock->mutex);
  }
}

extern "C" void kxLockDestroy(kxLock lock) {
  if (lock == nullptr) return;
  if (lock->readerWriter) {
    pthread_rwlock_destroy(&lock->rwlock);
  } else {
    pthread_mutex_destroy(&lock->mutex);
  }
  delete lock;
}
