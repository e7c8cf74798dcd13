// KxbMemPool: the process-wide small-block allocator.
//
// Four size classes (tiny 16, small 64, medium 256, large 1,024 bytes), each
// fed by chunks of 1,024 blocks and a lock-free free list; larger requests go
// to the general heap. Every block is 16-byte aligned; the word right before
// it tells its kind (0 for a heap block, else its size class), which is how
// freeBytes finds where a block belongs.
//
// Each thread keeps a short private stack of free blocks per class in front
// of the shared free lists (refilled and drained in batches with one atomic
// swap each), so the common allocation and release touch no shared memory.
// A block freed on one thread may be reused by any thread. Within a thread
// the block freed last is the first handed out again. Blocks stay owned by
// the pool: chunks are returned to the system only when the pool is
// destroyed, which makes every block still held invalid.
//
// Lifetime: initialize() is counted (the library's initialisation calls it);
// getBytes fails cleanly while no pool exists. Thread safety: getBytes and
// freeBytes from any thread; initialize/terminate from one thread while no
// other uses the pool.
#ifndef KXB_INCLUDE_KXBMEMPOOL_H_
#define KXB_INCLUDE_KXBMEMPOOL_H_

class KxbMemPool {
 public:
  // Sets *block to null first; false when no pool exists or memory ran out.
  static bool getBytes(unsigned int size, void** block);
  // Returns a block from getBytes; null is ignored. A pointer the pool did
  // not hand out raises the assertion "mempool free".
  static void freeBytes(void* block);
  // The statistics line, in a static buffer overwritten by the next call:
  // "Tiny: %lu Small %lu Med: %lu Large: %lu Unmanaged: %lu Total: %lu
  //  Frees: %lu Chunk Alloc: Tiny: %lu Small %lu Med: %lu Large: %lu".
  static char* getStats();

  // Creates the pool, or counts one more user of the existing one. False
  // (nothing left behind) when memory or the growth lock cannot be had.
  static bool initialize();
  // Counts one user less; the last one destroys the pool.
  static void terminate();

  KxbMemPool() = delete;
};

#endif  // KXB_INCLUDE_KXBMEMPOOL_H_
