// Test-only fault injection at the seam to the operating system.
//
// Each fault point counts the calls that pass through it. A test arms a point
// with kxFaultArm(point, n): the n-th call from then on (1 = the very next)
// fails as the operating system would have failed it, once, and the point is
// disarmed again. Production code never arms a point; an unarmed point costs
// one relaxed atomic load.
//
// Thread safety: all functions may be called from any thread.
#ifndef KXB_PLATFORM_KX_FAULT_H_
#define KXB_PLATFORM_KX_FAULT_H_

#ifdef __cplusplus
extern "C" {
#endif

typedef enum kxFaultPoint {
  KX_FAULT_POOL_ALLOC = 0,  // KxbMemPool::getBytes returns false
  KX_FAULT_HEAP_ALLOC,      // np_mem_alloc returns null (pool chunks, big blocks)
  KX_FAULT_OPEN,            // opening a file fails with EACCES
  KX_FAULT_WRITE,           // a write fails with EIO
  KX_FAULT_RENAME,          // a rename fails with EIO
  KX_FAULT_PROC_START,      // starting a process fails with EAGAIN
  KX_FAULT_DSO_LOAD,        // loading a shared library fails
  KX_FAULT_LOCK_CREATE,     // kxLockCreate returns null
  KX_FAULT_THREAD_START,    // a thread pool cannot start a worker thread
  KX_FAULT_POINT_COUNT
} kxFaultPoint;

// Makes the n-th call through `point` fail (n >= 1); n <= 0 disarms it.
void kxFaultArm(kxFaultPoint point, int n);
// Disarms every point.
void kxFaultReset(void);
// Called by the seam: true when this call is the one to fail.
int kxFaultHit(kxFaultPoint point);

// Non-zero while any point is armed; read it first on hot paths so that an
// unarmed seam costs one load and no call.
extern int kx_fault_armed;
static inline int kxFaultArmedHit(kxFaultPoint point) {
  return __atomic_load_n(&kx_fault_armed, __ATOMIC_RELAXED) != 0 &&
         kxFaultHit(point);
}

#ifdef __cplusplus
}
#endif

#endif  // KXB_PLATFORM_KX_FAULT_H_
