#include "kx_fault.h"

#include <atomic>

namespace {

// Calls left before the armed call, per point; 0 when disarmed.
std::atomic<int> g_countdown[KX_FAULT_POINT_COUNT];
}  // namespace

// Counts the armed points, so that the common path is one load.
int kx_fault_armed = 0;

extern "C" void kxFaultArm(kxFaultPoint point, int n) {
  if (point < 0 || point >= KX_FAULT_POINT_COUNT) return;
  int before = g_countdown[point].exchange(n > 0 ? n : 0);
  if (before == 0 && n > 0) __atomic_add_fetch(&kx_fault_armed, 1, __ATOMIC_SEQ_CST);
  if (before > 0 && n <= 0) __atomic_sub_fetch(&kx_fault_armed, 1, __ATOMIC_SEQ_CST);
}

extern "C" void kxFaultReset(void) {
  for (int i = 0; i < KX_FAULT_POINT_COUNT; ++i) {
    kxFaultArm(static_cast<kxFaultPoint>(i), 0);
  }
}

extern "C" int kxFaultHit(kxFaultPoint point) {
  if (__atomic_load_n(&kx_fault_armed, __ATOMIC_RELAXED) == 0) return 0;
  int left = g_countdown[point].load();
  while (left > 0) {
    if (g_countdown[point].compare_exchange_weak(left, left - 1)) {
      if (left == 1) {
        __atomic_sub_fetch(&kx_fault_armed, 1, __ATOMIC_SEQ_CST);
        return 1;
      }
      return 0;
    }
  }
  return 0;
}
