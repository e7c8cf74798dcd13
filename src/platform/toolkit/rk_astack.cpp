#include "rk_astack.h"

// The head {pointer, tag} is swapped as one 16-byte unit with cmpxchg16b.
// Every successful push or pop bumps the tag, so a swap only succeeds when
// nothing changed since the head was read: that is what makes the batch pop
// safe (the chain walked before the swap is still the stack's top).
// Link words are read and written with relaxed atomics because a node's
// link may be rewritten by its next owner while a losing thread still reads
// it; the value read is then discarded by the failed swap.

// ThreadSanitizer does not see the double-width swap as an atomic operation,
// so under it the stack tells it about the hand-over of nodes itself: a push
// releases, a pop acquires.
#if defined(__SANITIZE_THREAD__)
extern "C" void __tsan_acquire(void* address);
extern "C" void __tsan_release(void* address);
#define KX_HANDOVER_RELEASE(stack) __tsan_release(stack)
#define KX_HANDOVER_ACQUIRE(stack) __tsan_acquire(stack)
#else
#define KX_HANDOVER_RELEASE(stack) ((void)0)
#define KX_HANDOVER_ACQUIRE(stack) ((void)0)
#endif

namespace {

using Head = unsigned __int128;

inline Head pack(rkAStackNode* node, uintptr_t tag) {
  return (static_cast<Head>(tag) << 64) | reinterpret_cast<uintptr_t>(node);
}
inline rkAStackNode* headNode(Head h) {
  return reinterpret_cast<rkAStackNode*>(static_cast<uintptr_t>(h));
}
inline uintptr_t headTag(Head h) { return static_cast<uintptr_t>(h >> 64); }

inline Head* headOf(rkAStack* stack) { return reinterpret_cast<Head*>(stack); }

// A torn read is harmless: the compare-and-swap below validates it.
inline Head loadHead(rkAStack* stack) {
  rkAStackNode* node = __atomic_load_n(&stack->head, __ATOMIC_ACQUIRE);
  uintptr_t tag = __atomic_load_n(&stack->tag, __ATOMIC_ACQUIRE);
  return pack(node, tag);
}

inline bool swapHead(rkAStack* stack, Head expected, Head desired) {
  return __sync_bool_compare_and_swap(headOf(stack), expected, desired);
}

inline rkAStackNode* linkOf(rkAStackNode* node) {
  return __atomic_load_n(&node->next, __ATOMIC_RELAXED);
}
inline void setLink(rkAStackNode* node, rkAStackNode* next) {
  __atomic_store_n(&node->next, next, __ATOMIC_RELAXED);
}

}  // namespace

extern "C" int rkAStackInit(rkAStack* stack) {
  stack->head = nullptr;
  stack->tag = 0;
  return 0;
}

extern "C" void rkAStackPushChain(rkAStack* stack, void* first, void* last) {
  rkAStackNode* head = static_cast<rkAStackNode*>(first);
  rkAStackNode* tail = static_cast<rkAStackNode*>(last);
  KX_HANDOVER_RELEASE(stack);
  Head old = loadHead(stack);
  for (;;) {
    setLink(tail, headNode(old));
    Head desired = pack(head, headTag(old) + 1);
    if (swapHead(stack, old, desired)) return;
    old = loadHead(stack);
  }
}

extern "C" void rkAStackPush(rkAStack* stack, void* node) {
  rkAStackPushChain(stack, node, node);
}

extern "C" void* rkAStackPopChain(rkAStack* stack, int max, int* count) {
  *count = 0;
  if (max < 1) return nullptr;
  for (;;) {
    Head old = loadHead(stack);
    rkAStackNode* first = headNode(old);
    if (first == nullptr) return nullptr;
    rkAStackNode* last = first;
    int taken = 1;
    while (taken < max) {
      rkAStackNode* next = linkOf(last);
      if (next == nullptr) break;
      last = next;
      ++taken;
    }
    Head desired = pack(linkOf(last), headTag(old) + 1);
    if (swapHead(stack, old, desired)) {
      KX_HANDOVER_ACQUIRE(stack);
      setLink(last, nullptr);
      *count = taken;
      return first;
    }
  }
}

extern "C" void* rkAStackPop(rkAStack* stack) {
  int count;
  return rkAStackPopChain(stack, 1, &count);
}

extern "C" void rkAStackDestroy(rkAStack* stack) {
  stack->head = nullptr;
  stack->tag = 0;
}
