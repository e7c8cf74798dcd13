// KxbThreadPool: runs the caller's work items on a pool of worker threads.
//
//   class Job : public KxbThreadPoolWork {
//     int execute(bool, KxbThreadPoolCallback* cb) override {
//       ... work; cb->enqueue(&followOn) hands on more ...
//       return 0;
//     }
//     int signal(bool reset) override { ... never ran ...; return 0; }
//     int finish() override { ... after the completion ...; return 0; }
//   };
//   KxbThreadPool pool;
//   pool.start(2, 8, 30000);   // 2 threads now, at most 8, extras end after 30 s idle
//   pool.enqueue(&job, false);
//   pool.wait();
//
// The pool itself belongs to the platform's thread pools (kxTP*); this class
// only holds its handle and forwards. A work item is an object derived from
// KxbThreadPoolWork that the caller owns; enqueue writes its `entryTable` and
// `context`, the record the platform keeps, and the caller keeps the object
// alive until the pool has called it (below), then may reuse or destroy it.
//
// What the pool does:
//  - start(first, second, third): `first` threads (0 or more) start at once
//    and stay; more are started as work arrives, up to `second` (1 or more,
//    not below `first`); a thread above `first` ends after `third`
//    milliseconds without work (0: never). Invalid values: start fails.
//  - enqueue(work, flag): flag true queues the item at the front, false at
//    the back. An idle thread is woken at once; idle threads sleep (they
//    never spin).
//  - Every enqueued item gets exactly one of:
//      execute(false, callback) on a worker thread, followed by finish()
//      unless execute called callback->complete(true);
//      signal(true) when reset() dropped it before it started;
//      signal(false) when the pool was destroyed with it still queued.
//  - The callback, valid only during execute: complete(true) reports the
//    item complete (finish() then is not called; the result of execute is
//    the item's result); enqueue(work) queues follow-on work at the back
//    (true on success); status() is true while the pool is neither being
//    reset nor destroyed (long work polls it and stops early when false).
//  - wait() blocks until the queue is empty and no item runs, follow-on work
//    included. It fails when called from one of the pool's own items.
//  - reset() drops every queued item that has not started, calls each one's
//    signal(true) on the calling thread, and returns once all have been
//    called. Running items go on (status() is false meanwhile).
//  - quiesce(true, x) holds dispatch: queued items stay queued and enqueue
//    still accepts work; quiesce(false, x) resumes it. With x true the call
//    also blocks until no item runs (not from one of the pool's own items).
//    wait() while dispatch is held blocks until another thread resumes it.
//  - getStats(a..h): a items enqueued in all; b items completed in all (runs
//    that ended); c threads now; d idle threads now; e items queued now;
//    f items running now; g the most threads; h the peak number of threads.
//    The values are one snapshot: a == b + e + f + items dropped by reset.
//  - The destructor stops dispatch, waits for the running items, calls
//    signal(false) for every item still queued and stops the threads.
//
// Thread safety: enqueue, wait, reset, quiesce and getStats may be called
// from any thread, and enqueue from work items; start and the destructor
// must not race with any other call on the same object, and the destructor
// must not run inside one of the pool's items. The class keeps no lock of
// its own. Nothing throws.
#ifndef KXB_INCLUDE_KXBTHREADPOOL_H_
#define KXB_INCLUDE_KXBTHREADPOOL_H_

#include <cstdint>

struct kxTPPool;
struct kxTPEntries;
class KxbThreadPoolWork;

// Given to a running work item; lives on that run's stack.
class KxbThreadPoolCallback {
 public:
  // Reports the item's completion to the platform and returns its answer
  // (0). With `value` true the run counts as completed by the item itself,
  // so finish() is not called after execute; with false it still is.
  virtual int complete(bool value) = 0;
  // Queues `work` at the back of the pool; true on success.
  virtual bool enqueue(KxbThreadPoolWork* work) = 0;
  // True while the pool is neither being reset nor destroyed.
  virtual bool status() = 0;

 protected:
  ~KxbThreadPoolCallback() = default;
};

class KxbThreadPoolWork {
 public:
  // Runs the item; `flag` is false. The result goes back to the platform.
  virtual int execute(bool flag, KxbThreadPoolCallback* callback) = 0;
  // The item will never run: true when reset dropped it, false when the
  // pool was destroyed with it queued.
  virtual int signal(bool flag) = 0;
  // Called after execute when execute did not report completion itself.
  virtual int finish() = 0;

  // The record the platform receives, written by enqueue: the library's
  // entry table and this object. Do not change them while queued.
  const kxTPEntries* entryTable = nullptr;
  void* context = nullptr;

 protected:
  KxbThreadPoolWork() = default;
  KxbThreadPoolWork(const KxbThreadPoolWork&) = default;
  KxbThreadPoolWork& operator=(const KxbThreadPoolWork&) = default;
  ~KxbThreadPoolWork() = default;
};

class KxbThreadPool {
 public:
  KxbThreadPool() : handle(nullptr) {}
  // Destroys the platform pool when started (see above).
  ~KxbThreadPool();
  KxbThreadPool(const KxbThreadPool&) = delete;
  KxbThreadPool& operator=(const KxbThreadPool&) = delete;

  // False when already started (the first pool is kept), for invalid values
  // or when the threads cannot be started.
  bool start(int first, int second, unsigned third);
  // False when not started, for a null work, a full queue or no memory (the
  // item is then not queued and none of its operations will be called).
  bool enqueue(KxbThreadPoolWork* work, bool flag);
  // False when not started.
  bool wait();
  bool reset();
  // Nothing when not started.
  void quiesce(bool first, bool second);
  // False when not started. Null pointers are skipped.
  bool getStats(int64_t* a, int64_t* b, int* c, int* d, int* e, int* f,
                int* g, int* h);

 private:
  kxTPPool* handle;
};

#endif  // KXB_INCLUDE_KXBTHREADPOOL_H_
