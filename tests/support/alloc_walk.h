// Walks every allocation of an operation: runs it with the n-th allocation
// through one fault point (the pool's or the heap's) failing, for n = 1, 2,
// 3, ... until a run finishes without reaching the armed allocation. The
// heap's point covers np_mem_alloc on every thread and, in a program that
// links support/alloc_walk_heap.cpp, operator new on the thread that armed
// it (that file replaces it), so that the standard library's containers
// fail too.
//
//   kxb_test::AllocWalk walk = kxb_test::walkAllocations(
//       KX_FAULT_POOL_ALLOC, [](kxb_test::AllocFault& fault) {
//         KxbString s("x", false);            // set-up: not counted
//         fault.arm();
//         bool failed = false;
//         s.append("more", &failed);
//         if (fault.disarm()) { ...the failure state... return; }
//         ...the full result...
//       });
//
// Each attempt arms the fault right before the operation and disarms it
// right after, before checking anything (checks allocate too). disarm()
// tells whether the armed allocation was reached; the walk ends at the
// first attempt where it was not, which must then be a plain success.
#ifndef KXB_TESTS_SUPPORT_ALLOC_WALK_H_
#define KXB_TESTS_SUPPORT_ALLOC_WALK_H_

#include <functional>
#include <string>

#include "kx_fault.h"

namespace kxb_test {

class AllocFault {
 public:
  AllocFault(kxFaultPoint point, int n) : point_(point), n_(n) {}
  // Makes the n-th allocation from now on fail.
  void arm();
  // Disarms the point; true when the armed allocation failed meanwhile.
  bool disarm();
  int n() const { return n_; }

 private:
  kxFaultPoint point_;
  int n_;
  bool armed_ = false;
  bool hit_ = false;
};

struct AllocWalk {
  int reached = 0;    // the n of the first run that did not reach the fault
  int hits = 0;       // runs whose armed allocation failed
  bool ended = false; // false when the walk stopped at its limit
};

// Runs `attempt` for n = 1 .. limit as described above. Stops early at the
// first failed assertion of an attempt, so a fault is reported once.
AllocWalk walkAllocations(kxFaultPoint point,
                          const std::function<void(AllocFault&)>& attempt,
                          int limit = 20000);

// Walks the pool's point, then the heap's (unless the first walk failed),
// printing how far each went under `family`.
void walkPoolAndHeap(const char* family,
                     const std::function<void(AllocFault&)>& attempt);

// True on the thread whose heap fault point is armed.
extern thread_local bool g_walkingHeap;

// Puts SQLite's allocations under the heap's point as well, on the walking
// thread (defined in support/alloc_walk_heap.cpp). Must run before SQLite
// is first used in the process; false when it came too late.
bool routeSqliteAllocations();

// "pool" or "heap", for messages.
std::string faultName(kxFaultPoint point);

}  // namespace kxb_test

#endif  // KXB_TESTS_SUPPORT_ALLOC_WALK_H_
