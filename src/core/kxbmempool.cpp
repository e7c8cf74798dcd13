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
#include <mutex>
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

// A statistics counter written by one thread and read by others: a relaxed
// load and store, no locked instruction.
inline void bump(uint32_t* counter) {
  __atomic_store_n(counter, __atomic_load_n(counter, __ATOMIC_RELAXED) + 1,
                   __ATOMIC_RELAXED);
}
inline unsigned long read(const uint32_t* counter) {
  return __atomic_load_n(counter, __ATOMIC_RELAXED);
}

// Counts of one thread, or of the threads that ended, for one pool.
struct Counts {
  uint32_t allocations[kClassCount];
  uint32_t unmanaged;
  uint32_t frees;
};

struct Pool {
  SizeClass classes[kClassCount];
  // Counts of threads that have ended; the living threads keep their own
  // (see ThreadCache), so that counting touches no shared cache line.
  Counts retired;
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
  Counts counts;        // this thread's, for the pool of `generation`
  ThreadCache* next;    // in the registry of living caches
  bool registered;
};
// Plain data, so the fast path reaches it without a guard.
// Initial-exec: the fast path reaches it without a call into the loader.
__attribute__((tls_model("initial-exec"))) thread_local ThreadCache t_cache;

// The link word may be read by another thread's pop that lost its race (and
// then discards what it read), so it is always accessed atomically; relaxed
// accesses cost nothing more than plain ones.
inline void* link(void* slot) {
  return __atomic_load_n(static_cast<void**>(slot), __ATOMIC_RELAXED);
}
inline void setLink(void* slot, void* next) {
  __atomic_store_n(static_cast<void**>(slot), next, __ATOMIC_RELAXED);
}
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

// The caches of the living threads, for the statistics.
std::mutex g_registryMutex;
ThreadCache* g_registry = nullptr;

void addCounts(Counts* into, const Counts& from) {
  for (int c = 0; c < kClassCount; ++c) {
    into->allocations[c] += read(&from.allocations[c]);
  }
  into->unmanaged += read(&from.unmanaged);
  into->frees += read(&from.frees);
}

// Gives the cached blocks of `cache` beyond `keep` back to the shared list.
__attribute__((noinline)) void drainCache(Pool* pool, ThreadCache& cache,
                                          int c, int keep) {
  int give = cache.count[c] - keep;
  if (give <= 0) return;
  void* first = cache.head[c];
  void* last = first;
  for (int i = 1; i < give; ++i) last = link(last);
  cache.head[c] = link(last);
  cache.count[c] = keep;
  rkAStackPushChain(&pool->classes[c].freeList, first, last);
}

// Returns a thread's cached blocks and counts to the pool when the thread
// ends, and takes its cache out of the registry.
struct CacheFlusher {
  bool armed = false;
  ~CacheFlusher() {
    std::lock_guard<std::mutex> hold(g_registryMutex);
    for (ThreadCache** p = &g_registry; *p != nullptr; p = &(*p)->next) {
      if (*p == &t_cache) {
        *p = t_cache.next;
        break;
      }
    }
    t_cache.registered = false;
    Pool* pool = g_pool.load(std::memory_order_acquire);
    if (pool == nullptr ||
        t_cache.generation != g_generation.load(std::memory_order_acquire)) {
      return;
    }
    addCounts(&pool->retired, t_cache.counts);
    for (int c = 0; c < kClassCount; ++c) drainCache(pool, t_cache, c, 0);
  }
};
thread_local CacheFlusher t_flusher;

// Makes the calling thread's cache belong to the current pool: blocks and
// counts left from an earlier pool are dropped.
__attribute__((noinline)) void adoptCache(uint64_t generation) {
  std::lock_guard<std::mutex> hold(g_registryMutex);
  for (int c = 0; c < kClassCount; ++c) {
    t_cache.head[c] = nullptr;
    t_cache.count[c] = 0;
    __atomic_store_n(&t_cache.counts.allocations[c], 0, __ATOMIC_RELAXED);
  }
  __atomic_store_n(&t_cache.counts.unmanaged, 0, __ATOMIC_RELAXED);
  __atomic_store_n(&t_cache.counts.frees, 0, __ATOMIC_RELAXED);
  t_cache.generation = generation;
  if (!t_cache.registered) {
    t_cache.next = g_registry;
    g_registry = &t_cache;
    t_cache.registered = true;
    t_flusher.armed = true;
  }
}

// The cache of the calling thread, adopted for the current pool.
inline ThreadCache& currentCache() {
  uint64_t generation = g_generation.load(std::memory_order_relaxed);
  if (__builtin_expect(t_cache.generation != generation, 0)) {
    adoptCache(generation);
  }
  return t_cache;
}

bool addChunk(SizeClass* cls) {
  // Read by getStats on other threads.
  __atomic_add_fetch(&cls->chunkCount, 1, __ATOMIC_RELAXED);
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
    setLink(slot, previous);
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
__attribute__((noinline)) bool refill(Pool* pool, int c) {
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
  while (link(last) != nullptr) last = link(last);
  setLink(last, t_cache.head[c]);
  t_cache.head[c] = chain;
  t_cache.count[c] += got;
  return true;
}

}  // namespace

namespace {

// A request above 1,024 bytes: a heap block behind a header whose kind word
// is 0.
__attribute__((noinline)) bool getHeapBlock(ThreadCache& cache, unsigned size,
                                            void** block) {
  void* raw = np_mem_alloc(static_cast<size_t>(size) + kHeaderBytes);
  if (raw == nullptr) return false;
  void* user = blockOf(raw);
  kindWord(user) = 0;
  bump(&cache.counts.unmanaged);
  *block = user;
  return true;
}

}  // namespace

// The fast paths of getBytes and freeBytes touch only the calling thread's
// cache; everything else lives in out-of-line functions so that the fast
// paths stay short.
bool KxbMemPool::getBytes(unsigned int size, void** block) {
  *block = nullptr;
  Pool* pool = g_pool.load(std::memory_order_acquire);
  if (pool == nullptr || kxFaultArmedHit(KX_FAULT_POOL_ALLOC)) return false;
  ThreadCache& cache = currentCache();
  if (__builtin_expect(size > 1024, 0)) return getHeapBlock(cache, size, block);
  int c = classOf(size);
  bump(&cache.counts.allocations[c]);
  if (__builtin_expect(cache.head[c] == nullptr, 0) && !refill(pool, c)) {
    return false;
  }
  void* slot = cache.head[c];
  cache.head[c] = link(slot);
  --cache.count[c];
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
  // The kind word of a pooled block is the address of its class in the
  // pool's array.
  uintptr_t first = reinterpret_cast<uintptr_t>(pool != nullptr ? pool->classes
                                                                : nullptr);
  uintptr_t offset = kind - first;
  if (pool == nullptr || offset >= sizeof pool->classes ||
      offset % sizeof(SizeClass) != 0) {
    // Not a block of this pool. Pushing it onto a list would corrupt the
    // pool, so after the report it is left alone.
    kxbAssertFailure("mempool free", "kxbmempool", __LINE__);
    return;
  }
  int c = static_cast<int>(offset / sizeof(SizeClass));
  ThreadCache& cache = currentCache();
  void* slot = slotOf(block);
  setLink(slot, cache.head[c]);
  cache.head[c] = slot;
  if (__builtin_expect(++cache.count[c] > kCacheMax, 0)) {
    drainCache(pool, cache, c, kCacheMax - kCacheBatch);
  }
  bump(&cache.counts.frees);
}

char* KxbMemPool::getStats() {
  Counts counts{};
  unsigned long chunks[kClassCount] = {0, 0, 0, 0};
  if (Pool* pool = g_pool.load(std::memory_order_acquire)) {
    std::lock_guard<std::mutex> hold(g_registryMutex);
    uint64_t generation = g_generation.load();
    addCounts(&counts, pool->retired);
    for (ThreadCache* cache = g_registry; cache != nullptr; cache = cache->next) {
      if (__atomic_load_n(&cache->generation, __ATOMIC_RELAXED) == generation) {
        addCounts(&counts, cache->counts);
      }
    }
    for (int c = 0; c < kClassCount; ++c) {
      chunks[c] = static_cast<unsigned long>(
          __atomic_load_n(&pool->classes[c].chunkCount, __ATOMIC_RELAXED));
    }
  }
  unsigned long a[kClassCount];
  for (int c = 0; c < kClassCount; ++c) a[c] = counts.allocations[c];
  unsigned long unmanaged = counts.unmanaged, frees = counts.frees;
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
