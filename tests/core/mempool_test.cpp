#include <cstdint>
#include <cstring>
#include <cstdio>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "kx_fault.h"
#include "kxbmempool.h"
#include "kxbstartup.h"
#include "support/assertions.h"
#include "support/library_env.h"

namespace {

struct Stats {
  unsigned long tiny, small, med, large, unmanaged, total, frees;
  unsigned long chunks[4];
};

Stats readStats() {
  Stats s{};
  int n = std::sscanf(KxbMemPool::getStats(),
                      "Tiny: %lu Small %lu Med: %lu Large: %lu Unmanaged: %lu "
                      "Total: %lu Frees: %lu Chunk Alloc: Tiny: %lu Small %lu "
                      "Med: %lu Large: %lu",
                      &s.tiny, &s.small, &s.med, &s.large, &s.unmanaged,
                      &s.total, &s.frees, &s.chunks[0], &s.chunks[1],
                      &s.chunks[2], &s.chunks[3]);
  EXPECT_EQ(11, n) << KxbMemPool::getStats();
  return s;
}

void* take(unsigned size) {
  void* block = nullptr;
  EXPECT_TRUE(KxbMemPool::getBytes(size, &block));
  EXPECT_NE(nullptr, block);
  EXPECT_EQ(0u, reinterpret_cast<uintptr_t>(block) % 16) << "size " << size;
  return block;
}

TEST(MemPool, SizeClassesAndStatisticsLine) {
  kxb_test::PoolRestart fresh;
  EXPECT_STREQ(
      "Tiny: 0 Small 0 Med: 0 Large: 0 Unmanaged: 0 Total: 0 Frees: 0 "
      "Chunk Alloc: Tiny: 1 Small 1 Med: 1 Large: 1",
      KxbMemPool::getStats());
  void* zero = take(0);
  void* tiny = take(16);
  void* small = take(17);
  void* med = take(256);
  void* large = take(1024);
  void* heap = take(1025);
  Stats s = readStats();
  EXPECT_EQ(2u, s.tiny);
  EXPECT_EQ(1u, s.small);
  EXPECT_EQ(1u, s.med);
  EXPECT_EQ(1u, s.large);
  EXPECT_EQ(1u, s.unmanaged);
  EXPECT_EQ(6u, s.total);
  KxbMemPool::freeBytes(heap);
  EXPECT_EQ(0u, readStats().frees);  // heap blocks are not counted as frees
  for (void* b : {zero, tiny, small, med, large}) KxbMemPool::freeBytes(b);
  EXPECT_EQ(5u, readStats().frees);
  KxbMemPool::freeBytes(nullptr);
  EXPECT_EQ(5u, readStats().frees);
}

TEST(MemPool, LastFreedIsFirstReused) {
  void* a = take(40);
  void* b = take(40);
  KxbMemPool::freeBytes(a);
  KxbMemPool::freeBytes(b);
  EXPECT_EQ(b, take(40));
  EXPECT_EQ(a, take(40));
  KxbMemPool::freeBytes(a);
  KxbMemPool::freeBytes(b);
}

TEST(MemPool, ChunkGrowsAfterItsThousandTwentyFourthBlock) {
  kxb_test::PoolRestart fresh;
  std::vector<void*> blocks;
  std::set<void*> distinct;
  for (int i = 0; i < 1024; ++i) {
    blocks.push_back(take(8));
    distinct.insert(blocks.back());
  }
  EXPECT_EQ(1u, readStats().chunks[0]);
  blocks.push_back(take(8));
  distinct.insert(blocks.back());
  EXPECT_EQ(2u, readStats().chunks[0]);
  EXPECT_EQ(1025u, distinct.size());
  // Blocks do not overlap: write each fully and check it survived.
  for (size_t i = 0; i < blocks.size(); ++i) {
    std::memset(blocks[i], static_cast<int>(i & 0xFF), 16);
  }
  for (size_t i = 0; i < blocks.size(); ++i) {
    EXPECT_EQ(static_cast<unsigned char>(i & 0xFF),
              static_cast<unsigned char*>(blocks[i])[15]);
  }
  for (void* b : blocks) KxbMemPool::freeBytes(b);
}

TEST(MemPool, FailuresAreClean) {
  void* block = reinterpret_cast<void*>(1);
  kxFaultArm(KX_FAULT_POOL_ALLOC, 1);
  EXPECT_FALSE(KxbMemPool::getBytes(10, &block));
  EXPECT_EQ(nullptr, block);

  // A class that must grow while the heap refuses fails; the next request
  // succeeds again.
  {
    kxb_test::PoolRestart fresh;
    std::vector<void*> blocks;
    for (int i = 0; i < 1024; ++i) blocks.push_back(take(500));
    kxFaultArm(KX_FAULT_HEAP_ALLOC, 1);
    block = reinterpret_cast<void*>(1);
    EXPECT_FALSE(KxbMemPool::getBytes(500, &block));
    EXPECT_EQ(nullptr, block);
    blocks.push_back(take(500));
    for (void* b : blocks) KxbMemPool::freeBytes(b);
    kxFaultArm(KX_FAULT_HEAP_ALLOC, 1);
    EXPECT_FALSE(KxbMemPool::getBytes(5000, &block));
  }

  // Creation that cannot get its memory leaves no pool behind.
  {
    kxb_test::PoolRestart fresh;
    KxbMemPool::terminate();
    for (int n = 1; n <= 10; ++n) {
      kxFaultArm(KX_FAULT_HEAP_ALLOC, n);
      bool made = KxbMemPool::initialize();
      kxFaultArm(KX_FAULT_HEAP_ALLOC, 0);
      if (made) {
        // The pool record and four first chunks with their list nodes.
        EXPECT_EQ(10, n);
        break;
      }
      EXPECT_FALSE(KxbMemPool::getBytes(1, &block));
    }
    kxFaultArm(KX_FAULT_LOCK_CREATE, 1);
    KxbMemPool::terminate();
    EXPECT_FALSE(KxbMemPool::initialize());
    EXPECT_TRUE(KxbMemPool::initialize());
  }
}

TEST(MemPool, NoPoolNoBlocks) {
  kxb_test::PoolRestart fresh;
  KxbMemPool::terminate();
  void* block = reinterpret_cast<void*>(1);
  EXPECT_FALSE(KxbMemPool::getBytes(8, &block));
  EXPECT_EQ(nullptr, block);
  EXPECT_TRUE(KxbMemPool::initialize());
}

TEST(MemPool, ForeignPointerRaisesAssertion) {
  kxb_test::AssertionRecorder raised("kxbmempool");
  alignas(16) uintptr_t fake[4] = {0, 0x1234, 0, 0};
  KxbMemPool::freeBytes(&fake[2]);
  EXPECT_EQ((std::vector<std::string>{"mempool free"}), raised.messages());
}

// Counts are kept per thread and summed by getStats: those of ended threads
// and of the living ones, blocks still cached included, must add up exactly
// once the threads are quiet, and a request that fails because its class
// cannot grow still counts.
TEST(MemPoolThreads, StatisticsAddUpOverThreads) {
  kxb_test::PoolRestart fresh;
  std::vector<std::thread> threads;
  for (int t = 0; t < 3; ++t) {
    threads.emplace_back([] {
      std::vector<void*> held;
      for (int i = 0; i < 200; ++i) held.push_back(take(40));
      for (int i = 0; i < 100; ++i) held.push_back(take(8));
      // More frees than a thread caches: part goes back to the shared list.
      for (void* b : held) KxbMemPool::freeBytes(b);
    });
  }
  for (auto& thread : threads) thread.join();
  std::vector<void*> medium;
  for (int i = 0; i < 1024; ++i) medium.push_back(take(200));
  kxFaultArm(KX_FAULT_HEAP_ALLOC, 1);
  void* block = nullptr;
  EXPECT_FALSE(KxbMemPool::getBytes(200, &block));
  for (int i = 0; i < 10; ++i) KxbMemPool::freeBytes(medium[i]);
  Stats s = readStats();
  EXPECT_EQ(300u, s.tiny);
  EXPECT_EQ(600u, s.small);
  EXPECT_EQ(1025u, s.med);
  EXPECT_EQ(0u, s.large);
  EXPECT_EQ(1925u, s.total);
  EXPECT_EQ(910u, s.frees);
  for (size_t i = 10; i < medium.size(); ++i) KxbMemPool::freeBytes(medium[i]);
  EXPECT_EQ(1924u, readStats().frees);
  EXPECT_EQ(1025u, readStats().med);
}

TEST(MemPoolThreads, NoBlockHandedOutTwice) {
  constexpr int kThreads = 4;
  constexpr int kRounds = 200;
  constexpr int kHeld = 300;
  std::vector<std::thread> threads;
  std::vector<std::vector<void*>> kept(kThreads);
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t, &kept] {
      std::vector<void*> held;
      for (int r = 0; r < kRounds; ++r) {
        for (int i = 0; i < kHeld; ++i) {
          void* block = nullptr;
          unsigned size = static_cast<unsigned>((i * 37 + t) % 1100);
          if (!KxbMemPool::getBytes(size, &block)) continue;
          // Stamp the block with its owner; a block handed out twice would
          // be stamped by two threads.
          *static_cast<uintptr_t*>(block) = static_cast<uintptr_t>(t);
          held.push_back(block);
        }
        for (void* block : held) {
          EXPECT_EQ(static_cast<uintptr_t>(t), *static_cast<uintptr_t*>(block));
        }
        // Keep every tenth block across the rounds, free the rest (on this
        // thread, or later on another).
        for (size_t i = 0; i < held.size(); ++i) {
          if (i % 10 == 0) {
            kept[t].push_back(held[i]);
          } else {
            KxbMemPool::freeBytes(held[i]);
          }
        }
        held.clear();
      }
    });
  }
  for (auto& thread : threads) thread.join();
  std::set<void*> distinct;
  size_t total = 0;
  for (auto& list : kept) {
    total += list.size();
    distinct.insert(list.begin(), list.end());
  }
  EXPECT_EQ(total, distinct.size());
  // Free the kept blocks on other threads than the ones that took them.
  std::vector<std::thread> freers;
  for (int t = 0; t < kThreads; ++t) {
    freers.emplace_back([&kept, t] {
      for (void* block : kept[(t + 1) % kThreads]) KxbMemPool::freeBytes(block);
    });
  }
  for (auto& thread : freers) thread.join();
}

}  // namespace
