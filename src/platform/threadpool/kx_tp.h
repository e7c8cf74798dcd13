// Stands in for the base layer's thread pools (kxTP*): pools of worker
// threads that run work records through a two-entry function table, built
// on std::thread and std::condition_variable.
//
// A work record is two words: the entry table and a context pointer for the
// owner. Every record handed to kxTPEnqueue (or to a running item's callback)
// gets exactly one call of one entry:
//   entry 1 (run)    run(record, 0, callback) on a worker thread;
//   entry 0 (signal) signal(record, flag) for an item that never ran, with
//                    flag 1 when kxTPReset dropped it and flag 0 when the pool
//                    was destroyed with it still queued.
// The record must stay valid until that call has begun; the pool does not
// touch it afterwards.
//
// While it runs, an item is given a callback with three operations:
//   enqueue   puts follow-on work at the back of the queue; 0 on success;
//   status    non-zero while the pool is neither being reset nor destroyed
//             (long work polls it and stops early when it turns 0);
//   complete  reports the item's completion; returns 0. The pool counts
//             a run as completed once, when its run entry returns, whether
//             complete was called once, more often or not at all.
// The callback belongs to that run and must not be used after it returns.
//
// Thread safety: every function may be called from any thread, except that
// kxTPDestroy must not race with other calls on the same pool and must not be
// called from one of its own work items. Idle workers sleep on a condition
// variable (no spinning); enqueueing wakes one sleeping worker at once, or
// starts a new one while the pool is below its most threads.
#ifndef KXB_PLATFORM_THREADPOOL_KX_TP_H_
#define KXB_PLATFORM_THREADPOOL_KX_TP_H_

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct kxTPPool kxTPPool;
typedef struct kxTPWork kxTPWork;
typedef struct kxTPCallback kxTPCallback;

typedef struct kxTPEntries {
  int (*signal)(kxTPWork* record, int flag);                        // entry 0
  int (*run)(kxTPWork* record, int flag, kxTPCallback* callback);  // entry 1
} kxTPEntries;

struct kxTPWork {
  const kxTPEntries* entryTable;
  void* context;  // the owner's; the pool never reads it
};

typedef struct kxTPCallbackOps {
  int (*enqueue)(kxTPCallback* self, kxTPWork* record);
  int (*status)(kxTPCallback* self);
  int (*complete)(kxTPCallback* self);
} kxTPCallbackOps;

struct kxTPCallback {
  const kxTPCallbackOps* ops;
};

// The configuration record: five 32-bit words.
typedef struct kxTPConfig {
  int32_t initialThreads;  // started at once, kept for the pool's life (>= 0)
  int32_t maxThreads;      // the most threads (>= 1, >= initialThreads)
  int32_t reserved;        // must be 0
  uint32_t idleMillis;     // how long a thread above initialThreads stays
                           // idle before it ends; 0: it never ends
  uint32_t queueLimit;     // the most items queued at once (>= 1)
} kxTPConfig;

// The statistics record: 56 bytes.
typedef struct kxTPStatsRecord {
  int64_t wakeups;      // sleeping workers woken for work, in all
  int64_t dropped;      // items dropped by kxTPReset, in all
  int64_t enqueued;     // items enqueued, in all
  int64_t completed;    // items completed, in all
  int32_t threads;      // threads now
  int32_t idleThreads;  // threads now waiting for work
  int32_t queued;       // items queued now
  int32_t running;      // items running now
  int32_t maxThreads;   // the most threads
  int32_t peakThreads;  // the most threads there have been at once
} kxTPStatsRecord;

// A new pool with its initial threads running; null when the configuration
// is invalid, memory runs out or a thread cannot be started.
kxTPPool* kxTPCreate(const kxTPConfig* config);

// Queues `record`: at the front when `front` is non-zero, else at the back.
// 0 on success; non-zero (nothing queued) for a null pool or record, a full
// queue or lack of memory. Accepted while the pool is held (kxTPQuiesce); an
// item queued while the pool is being destroyed gets its signal with flag 0.
int kxTPEnqueue(kxTPPool* pool, kxTPWork* record, int front);

// Blocks until the queue is empty and no item runs, follow-on work included.
// While dispatch is held it waits for another thread to resume it. 0 when
// done; non-zero for a null pool or when called from one of the pool's own
// work items (it would wait for itself).
int kxTPWait(kxTPPool* pool);

// Drops every queued item that has not started and calls each one's signal
// (flag 1) on the calling thread, in queue order; returns once all have been
// called. Running items go on; their status reads 0 meanwhile. 0 on
// success, non-zero for a null pool.
int kxTPReset(kxTPPool* pool);

// hold non-zero: no further item starts (queued items stay queued and
// kxTPEnqueue still accepts work); hold zero: dispatch resumes. With
// waitRunning non-zero the call then also blocks until no item runs (from
// one of the pool's own work items it does not wait).
void kxTPQuiesce(kxTPPool* pool, int hold, int waitRunning);

// Fills *stats with a consistent snapshot. 0 on success, non-zero for a
// null pool or record.
int kxTPStats(kxTPPool* pool, kxTPStatsRecord* stats);

// Stops dispatch, waits for the running items (their status reads 0), calls
// the signal (flag 0) of every item still queued, on the calling thread,
// stops the threads and frees the pool. Null is ignored.
void kxTPDestroy(kxTPPool* pool);

#ifdef __cplusplus
}
#endif

#endif  // KXB_PLATFORM_THREADPOOL_KX_TP_H_
