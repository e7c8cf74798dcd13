// The general heap, behind one seam so that tests can make it fail
// (KX_FAULT_HEAP_ALLOC). Same contract as malloc/free: np_mem_alloc returns
// null on failure, np_mem_free ignores null. 16-byte aligned.
#ifndef KXB_PLATFORM_NP_MEM_H_
#define KXB_PLATFORM_NP_MEM_H_

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

void* np_mem_alloc(size_t bytes);
void np_mem_free(void* block);

// The calling thread's count of allocations that failed: every null from
// np_mem_alloc, and every failure another allocator reports through
// np_mem_note_failure (the pool's, a caught std::bad_alloc, a null from
// np_mem_new). Only the caller's own thread is counted. A long
// operation that goes on past failed steps compares the count before and
// after, as a sticky out-of-memory flag, instead of checking every step.
unsigned np_mem_failures(void);
void np_mem_note_failure(void);

#ifdef __cplusplus
}

#include <new>
#include <utility>

// new (std::nothrow) T(args...), its failure counted as np_mem_alloc's are.
template <typename T, typename... Args>
T* np_mem_new(Args&&... args) {
  T* object = new (std::nothrow) T(std::forward<Args>(args)...);
  if (object == nullptr) np_mem_note_failure();
  return object;
}
#endif

#endif  // KXB_PLATFORM_NP_MEM_H_
