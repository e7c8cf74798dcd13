// The small-block pool. See kxbmempool.h for the contract.
//
// Layout of a pooled slot (16-byte aligned, block size + 16 bytes):
//   [link word][owning size class][caller's block ...]
// Layout of a heap block above 1,024 bytes:
//   [unused][0][caller's block ...]
// so the word just before any block is 0 for the heap, else its class.
#include "kxbmempool.h"

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <new>

#include "kx_atomic.h"
#include "kx_fault.h"
#include "kxbstartup.h"
#include "np_mem.h"
#include "rk_astack.h"

namespace {

constexpr int kClassCount = 4;
constexpr unsigned kBlockSizes[kClassCount] = {16, 64, 256, 1024};
constexpr int kBlocksPerChunk = 1024;
constexpr size_t kHeaderBytes = 16;
// A thread keeps at most kCacheMax free blocks per class and moves
// kCacheBatch at a time between its cache and the shared list.
constexpr int kCacheMax = 64;
constexpr int kCacheBatch = 32;

struct ChunkNode {
  void* chunk;
  ChunkNode* next;
};

struct SizeClass {
  int32_t chunkCount;
  int32_t blocksPerChunk;
  uint32_t blockSize;
  ChunkNode* first;
  ChunkNode* last;
  rkAStack freeList;
};

// Statistics counters: a relaxed load and store, not a locked increment, so
// they cost almost nothing and may undercount under contention.
struct Counter {
  std::atomic<uint32_t> value{0};
  void bump() {
    value.store(value.load(std::memory_order_relaxed) + 1,
                std::memory_order_relaxed);
  }
  unsigned long get() const { return value.load(std::memory_order_relaxed); }
};

struct Pool {
  SizeClass classes[kClassCount];
  Counter allocations[kClassCount];
  Counter unmanaged;
  Counter frees;
};

std::atomic<Pool*> g_pool{nullptr};
int g_initCount = 0;
kxLock g_growthLock = nullptr;
// Changes at every creation and destruction of the pool, so that a thread's
// cache left from an earlier pool is recognised and dropped.
std::atomic<uint64_t> g_generation{0};
char g_stats[320];

struct ThreadCache {
  uint64_t generation;
  void* head[kClassCount];
  int count[kClassCount];
};
// Plain data, so the fast path reaches it without a guard.
// Initial-exec: the fast path reaches it without a call into the loader.
__attribute__((tls_model("initial-exec"))) thread_local ThreadCache t_cache;

inline void*& linkWord(void* slot) { return *static_cast<void**>(slot); }
inline uintptr_t& kindWord(void* block) {
  return reinterpret_cast<uintptr_t*>(block)[-1];
}
inline void* slotOf(void* block) {
  return static_cast<char*>(block) - kHeaderBytes;
}
inline void* blockOf(void* slot) {
  return static_cast<char*>(slot) + kHeaderBytes;
}

inline int classOf(unsigned size) {
  if (size <= 64) return size <= 16 ? 0 : 1;
  return size <= 256 ? 2 : 3;
}

// Gives the cached blocks of `cache` beyond `keep` back to the shared list.
void drainCache(Pool* pool, ThreadCache& cache, int c, int keep) {
  int give = cache.count[c] - keep;
  if (give <= 0) return;
  void* first = cache.head[c];
  void* last = first;
  for (int i = 1; i < give; ++i) last = linkWord(last);
  cache.head[c] = linkWord(last);
  cache.count[c] = keep;
  rkAStackPushChain(&pool->classes[c].freeList, first, last);
}

// Returns a thread's cached blocks to the pool when the thread ends.
struct CacheFlusher {
  bool registered = false;
  ~CacheFlusher() {
    Pool* pool = g_pool.load(std::memory_order_acquire);
    if (pool == nullptr ||
        t_cache.generation != g_generation.load(std::memory_order_acquire)) {
      return;
    }
    for (int c = 0; c < kClassCount; ++c) drainCache(pool, t_cache, c, 0);
  }
};
thread_local CacheFlusher t_flusher;

// Makes the calling thread's cache belong to the current pool.
void adoptCache(uint64_t generation) {
  for (int c = 0; c < kClassCount; ++c) {
    t_cache.head[c] = nullptr;
    t_cache.count[c] = 0;
  }
  t_cache.generation = generation;
  t_flusher.registered = true;
}

bool addChunk(SizeClass* cls) {
  ++cls->chunkCount;
  size_t slotBytes = cls->blockSize + kHeaderBytes;
  char* chunk = static_cast<char*>(
      np_mem_alloc(slotBytes * static_cast<size_t>(cls->blocksPerChunk)));
  if (chunk == nullptr) return false;
  ChunkNode* node = static_cast<ChunkNode*>(np_mem_alloc(sizeof(ChunkNode)));
  if (node == nullptr) {
    np_mem_free(chunk);
    return false;
  }
  // Link the slots so that the one at the highest address ends on top, as
  // pushing them one by one in address order would.
  void* previous = nullptr;
  for (int i = 0; i < cls->blocksPerChunk; ++i) {
    void* slot = chunk + slotBytes * static_cast<size_t>(i);
    reinterpret_cast<uintptr_t*>(slot)[1] = reinterpret_cast<uintptr_t>(cls);
    linkWord(slot) = previous;
    previous = slot;
  }
  rkAStackPushChain(&cls->freeList, previous, chunk);
  node->chunk = chunk;
  node->next = nullptr;
  if (cls->last != nullptr) {
    cls->last->next = node;
  } else {
    cls->first = node;
  }
  cls->last = node;
  return true;
}

void freeClass(SizeClass* cls) {
  rkAStackDestroy(&cls->freeList);
  for (ChunkNode* node = cls->first; node != nullptr;) {
    ChunkNode* next = node->next;
    np_mem_free(node->chunk);
    np_mem_free(node);
    node = next;
  }
  cls->first = cls->last = nullptr;
}

void destroyPool(Pool* pool) {
  g_pool.store(nullptr, std::memory_order_release);
  g_generation.fetch_add(1);
  kxLockDestroy(g_growthLock);
  g_growthLock = nullptr;
  if (pool == nullptr) return;
  for (SizeClass& cls : pool->classes) freeClass(&cls);
  pool->~Pool();
  np_mem_free(pool);
}

// Refills the thread's cache of class `c` from the shared list, growing the
// class by a chunk when the list is empty. False when memory ran out.
bool refill(Pool* pool, int c) {
  SizeClass* cls = &pool->classes[c];
  int got = 0;
  void* chain = rkAStackPopChain(&cls->freeList, kCacheBatch, &got);
  if (chain == nullptr) {
    kxLockGet(g_growthLock, 1, 1);
    // Another thread may have added a chunk while this one waited.
    chain = rkAStackPopChain(&cls->freeList, kCacheBatch, &got);
    if (chain == nullptr) {
      if (!addChunk(cls)) {
        kxLockRelease(g_growthLock);
        return false;
      }
      chain = rkAStackPopChain(&cls->freeList, kCacheBatch, &got);
    }
    kxLockRelease(g_growthLock);
    if (chain == nullptr) return false;
  }
  // The popped chain ends in null; put it in front of the cached blocks.
  void* last = chain;
  while (linkWord(last) != nullptr) last = linkWord(last);
  linkWord(last) = t_cache.head[c];
  t_cache.head[c] = chain;
  t_cache.count[c] += got;
  return true;
}

}  // namespace

bool KxbMemPool::getBytes(unsigned int size, void** block) {
  *block = nullptr;
  Pool* pool = g_pool.load(std::memory_order_acquire);
  if (pool == nullptr || kxFaultHit(KX_FAULT_POOL_ALLOC)) return false;
  if (size > 1024) {
    void* raw = np_mem_alloc(static_cast<size_t>(size) + kHeaderBytes);
    if (raw == nullptr) return false;
    void* user = blockOf(raw);
    kindWord(user) = 0;
    pool->unmanaged.bump();
    *block = user;
    return true;
  }
  int c = classOf(size);
  pool->allocations[c].bump();
  uint64_t generation = g_generation.load(std::memory_order_relaxed);
  if (t_cache.generation != generation) adoptCache(generation);
  if (t_cache.head[c] == nullptr && !refill(pool, c)) return false;
  void* slot = t_cache.head[c];
  t_cache.head[c] = linkWord(slot);
  --t_cache.count[c];
  *block = blockOf(slot);
  return true;
}

void KxbMemPool::freeBytes(void* block) {
  if (block == nullptr) return;
  uintptr_t kind = kindWord(block);
  if (kind == 0) {
    np_mem_free(slotOf(block));
    return;
  }
  Pool* pool = g_pool.load(std::memory_order_acquire);
  int c = -1;
  if (pool != nullptr) {
    for (int i = 0; i < kClassCount; ++i) {
      if (kind == reinterpret_cast<uintptr_t>(&pool->classes[i])) c = i;
    }
  }
  if (c < 0) {
    // Not a block of this pool. Pushing it onto a list would corrupt the
    // pool, so after the report it is left alone.
    kxbAssertFailure("mempool free", "kxbmempool", __LINE__);
    return;
  }
  void* slot = slotOf(block);
  uint64_t generation = g_generation.load(std::memory_order_relaxed);
  if (t_cache.generation != generation) adoptCache(generation);
  linkWord(slot) = t_cache.head[c];
  t_cache.head[c] = slot;
  if (++t_cache.count[c] > kCacheMax) {
    drainCache(pool, t_cache, c, kCacheMax - kCacheBatch);
  }
  pool->frees.bump();
}

char* KxbMemPool::getStats() {
  unsigned long a[kClassCount] = {0, 0, 0, 0};
  unsigned long chunks[kClassCount] = {0, 0, 0, 0};
  unsigned long unmanaged = 0, frees = 0;
  if (Pool* pool = g_pool.load(std::memory_order_acquire)) {
    for (int c = 0; c < kClassCount; ++c) {
      a[c] = pool->allocations[c].get();
      chunks[c] = static_cast<unsigned long>(pool->classes[c].chunkCount);
    }
    unmanaged = pool->unmanaged.get();
    frees = pool->frees.get();
  }
  unsigned long total = a[0] + a[1] + a[2] + a[3] + unmanaged;
  std::snprintf(g_stats, sizeof g_stats,
                "Tiny: %lu Small %lu Med: %lu Large: %lu Unmanaged: %lu "
                "Total: %lu Frees: %lu Chunk Alloc: Tiny: %lu Small %lu "
                "Med: %lu Large: %lu",
                a[0], a[1], a[2], a[3], unmanaged, total, frees, chunks[0],
                chunks[1], chunks[2], chunks[3]);
  return g_stats;
}

bool KxbMemPool::initialize() {
  if (g_pool.load() != nullptr) {
    ++g_initCount;
    return true;
  }
  g_growthLock = kxLockCreate(0, 0);
  if (g_growthLock == nullptr) return false;
  void* memory = np_mem_alloc(sizeof(Pool));
  if (memory == nullptr) {
    destroyPool(nullptr);
    return false;
  }
  Pool* pool = new (memory) Pool();
  for (int c = 0; c < kClassCount; ++c) {
    SizeClass& cls = pool->classes[c];
    cls.blocksPerChunk = kBlocksPerChunk;
    cls.blockSize = kBlockSizes[c];
    rkAStackInit(&cls.freeList);
    if (!addChunk(&cls)) {
      destroyPool(pool);
      return false;
    }
  }
  g_generation.fetch_add(1);
  g_pool.store(pool, std::memory_order_release);
  g_initCount = 1;
  return true;
}

void KxbMemPool::terminate() {
  if (g_initCount <= 0) return;
  if (--g_initCount > 0) return;
  destroyPool(g_pool.load());
}
