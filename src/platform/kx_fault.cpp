#include "kx_fault.h"

#include <atomic>

namespace {

// Calls left before the armed call, per point; 0 when disarmed.
std::atomic<int> g_countdown[KX_FAULT_POINT_COUNT];
// Non-zero while any point is armed, so the common path is one load.
std::atomic<int> g_armed{0};

}  // namespace

extern "C" void kxFaultArm(kxFaultPoint point, int n) {
  if (point < 0 || point >= KX_FAULT_POINT_COUNT) return;
  int before = g_countdown[point].exchange(n > 0 ? n : 0);
  if (before == 0 && n > 0) g_armed.fetch_add(1);
  if (before > 0 && n <= 0) g_armed.fetch_sub(1);
}

extern "C" void kxFaultReset(void) {
  for (int i = 0; i < KX_FAULT_POINT_COUNT; ++i) {
    kxFaultArm(static_cast<kxFaultPoint>(i), 0);
  }
}

extern "C" int kxFaultHit(kxFaultPoint point) {
  if (g_armed.load(std::memory_order_relaxed) == 0) return 0;
  int left = g_countdown[point].load();
  while (left > 0) {
    if (g_countdown[point].compare_exchange_weak(left, left - 1)) {
      if (left == 1) {
        g_armed.fetch_sub(1);
        return 1;
      }
      return 0;
    }
  }
  return 0;
}
