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
  // Pads the class to 64 bytes, so that the class of a kind word is found
  // with a mask and a shift (see classIndexOf) and the classes' free lists
  // do not share cache lines.
  char padding[16];
};
static_assert(sizeof(SizeClass) == 64, "classIndexOf expects 64-byte classes");

// A statistics counter written by one thread and read by others: a relaxed
// load and store, no locked instruction.
inline void bump(uint32_t* counter) {
  __atomic_store_n(counter, __atomic_load_n(counter, __ATOMIC_RELAXED) + 1,
                   __ATOMIC_RELAXED);
}
inline unsigned long read(const uint32_t* counter) {
  return __atomic_load_n(counter, __ATOMIC_RELAXED);
}

// Counts of the threads that ended, for one pool.
struct Counts {
  uint32_t allocations[kClassCount];
  uint32_t unmanaged;
  uint32_t frees;
};

// The counts one thread keeps. An allocation is not counted where it
// happens: every block in a thread's cache came from a refill or from a
// free on that thread, and left by an allocation or a drain, so
//   allocations = refilled + freed - drained - cached (+ failed requests),
// and only the refills, drains and failures (all on slow paths) and the
// frees are counted. The fast allocation path touches no counter at all.
struct ThreadCounts {
  uint32_t refilled[kClassCount];
  uint32_t drained[kClassCount];
  uint32_t freed[kClassCount];
  uint32_t failed[kClassCount];
  uint32_t unmanaged;
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
// cache left from an earlier pool is recognised and dropped. A thread adopts
// the generation of a living pool only, so a cache whose generation is the
// current one belongs to the pool that exists now: the fast paths test that
// alone. It starts at 1 so that a thread's first call (generation 0) never
// matches.
std::atomic<uint64_t> g_generation{1};
char g_stats[320];

struct ThreadCache {
  uint64_t generation;
  // The address of the pool's first size class, for the generation above.
  uintptr_t classes;
  void* head[kClassCount];
  int count[kClassCount];
  ThreadCounts counts;  // this thread's, for the pool of `generation`
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

// The class index of kind word `kind`, given the address of the pool's first
// class, or -1 when `kind` is not the address of one of the four classes.
inline int classIndexOf(uintptr_t kind, uintptr_t classes) {
  uintptr_t offset = kind - classes;
  if ((offset & ~static_cast<uintptr_t>(3 * sizeof(SizeClass))) != 0) return -1;
  return static_cast<int>(offset / sizeof(SizeClass));
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

// Adds the counts of a thread's cache. Read from another thread while the
// owner works the sum may be off by the requests in flight; the counts are
// statistics only.
void addCounts(Counts* into, const ThreadCache& cache) {
  const ThreadCounts& from = cache.counts;
  for (int c = 0; c < kClassCount; ++c) {
    uint32_t cached = static_cast<uint32_t>(
        __atomic_load_n(&cache.count[c], __ATOMIC_RELAXED));
    into->allocations[c] += static_cast<uint32_t>(
        read(&from.refilled[c]) + read(&from.freed[c]) - read(&from.drained[c]) -
        cached + read(&from.failed[c]));
    into->frees += static_cast<uint32_t>(read(&from.freed[c]));
  }
  into->unmanaged += static_cast<uint32_t>(read(&from.unmanaged));
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
  __atomic_store_n(&cache.count[c], keep, __ATOMIC_RELAXED);
  __atomic_store_n(&cache.counts.drained[c],
                   cache.counts.drained[c] + static_cast<uint32_t>(give),
                   __ATOMIC_RELAXED);
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
    for (int c = 0; c < kClassCount; ++c) drainCache(pool, t_cache, c, 0);
    addCounts(&pool->retired, t_cache);
  }
};
thread_local CacheFlusher t_flusher;

// Makes the calling thread's cache belong to `pool`, the current pool of
// `generation`: blocks and counts left from an earlier pool are dropped.
__attribute__((noinline)) void adoptCache(Pool* pool, uint64_t generation) {
  std::lock_guard<std::mutex> hold(g_registryMutex);
  for (int c = 0; c < kClassCount; ++c) {
    t_cache.head[c] = nullptr;
    __atomic_store_n(&t_cache.count[c], 0, __ATOMIC_RELAXED);
  }
  t_cache.counts = ThreadCounts{};  // getStats reads under the same mutex
  t_cache.classes = reinterpret_cast<uintptr_t>(pool->classes);
  __atomic_store_n(&t_cache.generation, generation, __ATOMIC_RELAXED);
  if (!t_cache.registered) {
    t_cache.next = g_registry;
    g_registry = &t_cache;
    t_cache.registered = true;
    t_flusher.armed = true;
  }
}

// The cache of the calling thread, adopted for `pool`, the current pool.
inline ThreadCache& currentCache(Pool* pool) {
  uint64_t generation = g_generation.load(std::memory_order_relaxed);
  if (__builtin_expect(t_cache.generation != generation, 0)) {
    adoptCache(pool, generation);
  }
  return t_cache;
}

// Whether the calling thread's cache belongs to the pool that exists now
// (false when there is none).
inline bool cacheIsCurrent() {
  return t_cache.generation == g_generation.load(std::memory_order_relaxed);
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
  while (link(last) != nullptr) last = link(last);
  setLink(last, t_cache.head[c]);
  t_cache.head[c] = chain;
  __atomic_store_n(&t_cache.count[c], t_cache.count[c] + got, __ATOMIC_RELAXED);
  __atomic_store_n(&t_cache.counts.refilled[c],
                   t_cache.counts.refilled[c] + static_cast<uint32_t>(got),
                   __ATOMIC_RELAXED);
  return true;
}

// A request above 1,024 bytes: a heap block behind a header whose kind word
// is 0.
bool getHeapBlock(ThreadCache& cache, unsigned size, void** block) {
  void* raw = np_mem_alloc(static_cast<size_t>(size) + kHeaderBytes);
  if (raw == nullptr) return false;
  void* user = blockOf(raw);
  kindWord(user) = 0;
  bump(&cache.counts.unmanaged);
  *block = user;
  return true;
}

// Everything getBytes does not do inline: no pool, an armed fault point, a
// cache not yet adopted for this pool, a heap block, an empty cache.
__attribute__((noinline)) bool getBytesSlow(unsigned size, void** block) {
  *block = nullptr;
  Pool* pool = g_pool.load(std::memory_order_acquire);
  if (pool == nullptr) return false;
  if (kxFaultArmedHit(KX_FAULT_POOL_ALLOC)) {
    np_mem_note_failure();
    return false;
  }
  ThreadCache& cache = currentCache(pool);
  if (size > 1024) return getHeapBlock(cache, size, block);
  int c = classOf(size);
  if (cache.head[c] == nullptr && !refill(pool, c)) {
    // Counted as an allocation all the same.
    bump(&cache.counts.failed[c]);
    return false;
  }
  void* slot = cache.head[c];
  cache.head[c] = link(slot);
  __atomic_store_n(&cache.count[c], cache.count[c] - 1, __ATOMIC_RELAXED);
  *block = blockOf(slot);
  return true;
}

// Everything freeBytes does not do inline: heap blocks, foreign pointers, no
// pool, a cache not yet adopted for this pool.
__attribute__((noinline)) void freeBytesSlow(void* block) {
  uintptr_t kind = kindWord(block);
  if (kind == 0) {
    np_mem_free(slotOf(block));
    return;
  }
  Pool* pool = g_pool.load(std::memory_order_acquire);
  int c = pool == nullptr
              ? -1
              : classIndexOf(kind, reinterpret_cast<uintptr_t>(pool->classes));
  if (c < 0) {
    // Not a block of this pool. Pushing it onto a list would corrupt the
    // pool, so after the report it is left alone.
    kxbAssertFailure("mempool free", "kxbmempool", __LINE__);
    return;
  }
  ThreadCache& cache = currentCache(pool);
  void* slot = slotOf(block);
  setLink(slot, cache.head[c]);
  cache.head[c] = slot;
  bump(&cache.counts.freed[c]);
  int cached = cache.count[c] + 1;
  __atomic_store_n(&cache.count[c], cached, __ATOMIC_RELAXED);
  if (cached > kCacheMax) drainCache(pool, cache, c, kCacheMax - kCacheBatch);
}

// Gives back part of the calling thread's full cache of class `c`.
__attribute__((noinline)) void drainFull(int c) {
  drainCache(g_pool.load(std::memory_order_relaxed), t_cache, c,
             kCacheMax - kCacheBatch);
}

}  // namespace

// The fast paths of getBytes and freeBytes touch only the calling thread's
// cache and need no register beyond the scratch ones; everything else is a
// tail call into the slow paths above.
bool KxbMemPool::getBytes(unsigned int size, void** block) {
  ThreadCache& cache = t_cache;
  if (__builtin_expect(size <= 1024 && cacheIsCurrent() &&
                           __atomic_load_n(&kx_fault_armed, __ATOMIC_RELAXED) == 0,
                       1)) {
    int c = classOf(size);
    void* slot = cache.head[c];
    if (__builtin_expect(slot != nullptr, 1)) {
      cache.head[c] = link(slot);
      __atomic_store_n(&cache.count[c], cache.count[c] - 1, __ATOMIC_RELAXED);
      *block = blockOf(slot);
      return true;
    }
  }
  return getBytesSlow(size, block);
}

void KxbMemPool::freeBytes(void* block) {
  if (block == nullptr) return;
  ThreadCache& cache = t_cache;
  int c = classIndexOf(kindWord(block), cache.classes);
  if (__builtin_expect(c >= 0 && cacheIsCurrent(), 1)) {
    void* slot = slotOf(block);
    setLink(slot, cache.head[c]);
    cache.head[c] = slot;
    bump(&cache.counts.freed[c]);
    int cached = cache.count[c] + 1;
    __atomic_store_n(&cache.count[c], cached, __ATOMIC_RELAXED);
    if (__builtin_expect(cached > kCacheMax, 0)) drainFull(c);
    return;
  }
  freeBytesSlow(block);
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
        addCounts(&counts, *cache);
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
