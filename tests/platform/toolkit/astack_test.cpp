// The toolkit's lock-free stack: order, chains, and many threads taking and
// giving back the same nodes without losing or doubling one.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "rk_astack.h"

namespace {

struct Node {
  rkAStackNode link;  // first word: the stack's
  std::atomic<int> holders{0};
  int id = 0;
};

int idOf(void* node) { return static_cast<Node*>(node)->id; }

TEST(AStack, LastInFirstOutWithChains) {
  rkAStack stack;
  ASSERT_EQ(0, rkAStackInit(&stack));
  EXPECT_EQ(nullptr, rkAStackPop(&stack));
  int count = -1;
  EXPECT_EQ(nullptr, rkAStackPopChain(&stack, 4, &count));
  EXPECT_EQ(0, count);

  Node nodes[5];
  for (int i = 0; i < 5; ++i) nodes[i].id = i;
  rkAStackPush(&stack, &nodes[0]);
  rkAStackPush(&stack, &nodes[1]);
  // A chain 2 -> 3 -> 4 goes on top as it is linked.
  nodes[2].link.next = &nodes[3].link;
  nodes[3].link.next = &nodes[4].link;
  rkAStackPushChain(&stack, &nodes[2], &nodes[4]);

  void* chain = rkAStackPopChain(&stack, 4, &count);
  ASSERT_EQ(4, count);
  std::vector<int> order;
  for (auto* n = static_cast<rkAStackNode*>(chain); n != nullptr; n = n->next) {
    order.push_back(idOf(n));
  }
  EXPECT_EQ((std::vector<int>{2, 3, 4, 1}), order);  // ends with a null link
  EXPECT_EQ(0, idOf(rkAStackPop(&stack)));
  EXPECT_EQ(nullptr, rkAStackPop(&stack));
  EXPECT_EQ(nullptr, rkAStackPopChain(&stack, 0, &count));
  rkAStackDestroy(&stack);
}

// Threads pop single nodes and chains, hold them a moment and push them
// back, singly or relinked as a chain. A node held by two threads at once, or
// missing or doubled at the end, means the head swap let a stale read through.
TEST(AStack, ThreadsNeverShareOrLoseANode) {
  constexpr int kNodes = 64;
  constexpr int kThreads = 8;
  constexpr int kRounds = 60000;
  rkAStack stack;
  rkAStackInit(&stack);
  std::vector<Node> nodes(kNodes);
  for (int i = 0; i < kNodes; ++i) {
    nodes[i].id = i;
    rkAStackPush(&stack, &nodes[i]);
  }
  std::atomic<int> shared{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      std::vector<Node*> held;
      for (int round = 0; round < kRounds; ++round) {
        if ((round + t) % 2 == 0) {
          if (void* n = rkAStackPop(&stack)) held.push_back(static_cast<Node*>(n));
        } else {
          int count = 0;
          auto* n = static_cast<rkAStackNode*>(rkAStackPopChain(&stack, 3, &count));
          for (; n != nullptr; n = n->next) held.push_back(reinterpret_cast<Node*>(n));
        }
        for (Node* n : held) {
          if (n->holders.fetch_add(1) != 0) shared.fetch_add(1);
        }
        for (Node* n : held) n->holders.fetch_sub(1);
        if (held.size() >= 2 && round % 3 == 0) {
          for (size_t i = 0; i + 1 < held.size(); ++i) {
            // Relaxed atomic, as the stack asks: a thread that lost the
            // race for this node may still read its link.
            __atomic_store_n(&held[i]->link.next, &held[i + 1]->link,
                             __ATOMIC_RELAXED);
          }
          rkAStackPushChain(&stack, held.front(), held.back());
        } else {
          for (Node* n : held) rkAStackPush(&stack, n);
        }
        held.clear();
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(0, shared.load());

  std::vector<int> seen(kNodes, 0);
  int total = 0;
  while (void* n = rkAStackPop(&stack)) {
    ++seen[idOf(n)];
    ASSERT_LE(++total, kNodes) << "the stack holds a cycle or a doubled node";
  }
  for (int i = 0; i < kNodes; ++i) EXPECT_EQ(1, seen[i]) << "node " << i;
}

}  // namespace
