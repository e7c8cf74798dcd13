#include "np_mem.h"

#include <cstdlib>

#include "kx_fault.h"

extern "C" void* np_mem_alloc(size_t bytes) {
  if (kxFaultHit(KX_FAULT_HEAP_ALLOC)) return nullptr;
  // glibc's malloc aligns to 16 bytes on x86-64 and aarch64.
  return std::malloc(bytes == 0 ? 1 : bytes);
}

extern "C" void np_mem_free(void* block) { std::free(block); }
