#include "np_mem.h"

#include <cstdlib>

#include "kx_fault.h"

namespace {
thread_local unsigned t_failures = 0;
}  // namespace

extern "C" void* np_mem_alloc(size_t bytes) {
  // glibc's malloc aligns to 16 bytes on x86-64 and aarch64.
  void* block =
      kxFaultHit(KX_FAULT_HEAP_ALLOC) ? nullptr : std::malloc(bytes == 0 ? 1 : bytes);
  if (block == nullptr) ++t_failures;
  return block;
}

extern "C" unsigned np_mem_failures(void) { return t_failures; }

extern "C" void np_mem_note_failure(void) { ++t_failures; }

extern "C" void np_mem_free(void* block) { std::free(block); }
