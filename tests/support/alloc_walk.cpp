#include "support/alloc_walk.h"

#include <gtest/gtest.h>

#include <cstdio>

#include "support/fresh_process.h"

namespace kxb_test {

thread_local bool g_walkingHeap = false;

void AllocFault::arm() {
  armed_ = true;
  g_walkingHeap = point_ == KX_FAULT_HEAP_ALLOC;
  kxFaultArm(point_, n_);
}

bool AllocFault::disarm() {
  if (!armed_) return hit_;
  armed_ = false;
  g_walkingHeap = false;
  // The walk arms one point at a time, so the count of armed points tells
  // whether this one has fired (it disarms itself when it does).
  hit_ = __atomic_load_n(&kx_fault_armed, __ATOMIC_SEQ_CST) == 0;
  kxFaultArm(point_, 0);
  return hit_;
}

AllocWalk walkAllocations(kxFaultPoint point,
                          const std::function<void(AllocFault&)>& attempt,
                          int limit) {
  AllocWalk walk;
  kxFaultReset();
  for (int n = 1; n <= limit; ++n) {
    SCOPED_TRACE(faultName(point) + " allocation " + std::to_string(n));
    AllocFault fault(point, n);
    attempt(fault);
    const bool hit = fault.disarm();
    if (::testing::Test::HasFailure() || freshProcessHasFailure()) {
      walk.reached = n;
      return walk;
    }
    if (!hit) {
      walk.reached = n;
      walk.ended = true;
      return walk;
    }
    ++walk.hits;
  }
  walk.reached = limit;
  ADD_FAILURE() << "the operation still reached the " << faultName(point)
                << " fault after " << limit << " allocations";
  return walk;
}

void walkPoolAndHeap(const char* family,
                     const std::function<void(AllocFault&)>& attempt) {
  SCOPED_TRACE(family);
  for (kxFaultPoint point : {KX_FAULT_POOL_ALLOC, KX_FAULT_HEAP_ALLOC}) {
    AllocWalk walk = walkAllocations(point, attempt);
    EXPECT_TRUE(walk.ended);
    std::printf("[ walk     ] %-20s %s: N=%d, %d runs failed\n", family,
                faultName(point).c_str(), walk.reached, walk.hits);
    std::fflush(stdout);
    if (::testing::Test::HasFailure() || freshProcessHasFailure()) return;
  }
}

std::string faultName(kxFaultPoint point) {
  return point == KX_FAULT_POOL_ALLOC ? "pool" : point == KX_FAULT_HEAP_ALLOC ? "heap" : "fault";
}

}  // namespace kxb_test
