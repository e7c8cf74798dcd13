// The toolkit's lock-free stack (LIFO) of caller-owned nodes.
//
// A node is any block whose first pointer-sized word the stack may use as
// its link while the node is on the stack. Push and pop are lock-free and safe
// from any number of threads at once. The head carries a modification tag
// next to the pointer, changed by every push and pop and swapped together with
// it by one double-width compare-and-swap, so a node popped and pushed again
// between another thread's read and its swap (the ABA problem) cannot corrupt
// the list. Nodes must stay readable while they may be on the stack (memory is
// returned to the system only after rkAStackDestroy). A caller that links
// popped nodes itself (for rkAStackPushChain) writes each link word with a
// relaxed atomic store (__atomic_store_n): a thread that lost the race for a
// node may still be reading that word.
#ifndef KXB_PLATFORM_RK_ASTACK_H_
#define KXB_PLATFORM_RK_ASTACK_H_

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct rkAStackNode { struct rkAStackNode* next; } rkAStackNode;

typedef struct alignas(16) rkAStack {
  rkAStackNode* head;
  uintptr_t tag;
} rkAStack;

// 0 on success.
int rkAStackInit(rkAStack* stack);
void rkAStackPush(rkAStack* stack, void* node);
// Null when the stack is empty.
void* rkAStackPop(rkAStack* stack);
// Pushes the chain first..last (already linked through their first words)
// with one swap.
void rkAStackPushChain(rkAStack* stack, void* first, void* last);
// Pops up to `max` nodes with one swap and returns them linked, first the
// newest; *count receives how many. Null when the stack is empty.
void* rkAStackPopChain(rkAStack* stack, int max, int* count);
// Forgets every node (they are the caller's to free).
void rkAStackDestroy(rkAStack* stack);

#ifdef __cplusplus
}
#endif

#endif  // KXB_PLATFORM_RK_ASTACK_H_
