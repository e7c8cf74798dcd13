// Stands in for the base layer's thread pools (kxTP*). See kx_tp.h.
//
// One mutex guards a pool's queue and counters. Each worker sleeps on its
// own condition variable; sleeping workers wait in a stack (the most recently
// idle on top, so a warm thread is reused first), and whoever queues work
// takes one off the stack and wakes exactly that one. Worker slots are kept
// in a list that never shrinks before the pool is destroyed, so a worker can
// be notified after the lock is released.
#include "kx_tp.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <list>
#include <mutex>
#include <new>
#include <thread>
#include <vector>

#include "kx_fault.h"
#include "np_mem.h"

namespace {

struct Worker {
  std::thread thread;
  std::condition_variable wake;
  bool woken = false;   // taken off the idle stack to run queued work
  bool exited = false;  // the thread has left its loop; the slot is free
};

// The callback handed to one run of one item.
struct RunCallback {
  kxTPCallback base;  // first: the item sees a pointer to it
  kxTPPool* pool;
};

thread_local kxTPPool* t_currentPool = nullptr;

}  // namespace

struct kxTPPool {
  kxTPConfig config{};
  std::mutex mutex;
  std::condition_variable changed;  // running reached 0, a thread ended, ...
  std::deque<kxTPWork*> queue;
  std::list<Worker> workers;
  std::vector<Worker*> idle;  // sleeping workers, most recent last
  int threads = 0;
  int peak = 0;
  int running = 0;
  int waiters = 0;  // threads blocked on `changed`
  bool held = false;
  bool destroying = false;
  std::atomic<int> stopping{0};  // resets and destruction under way
  int64_t enqueued = 0;
  int64_t completed = 0;
  int64_t dropped = 0;
  int64_t wakeups = 0;
};

namespace {

void workerMain(kxTPPool* pool, Worker* self);
int enqueueRecord(kxTPPool* pool, kxTPWork* record, bool front);

// --- the callback of a running item

int callbackEnqueue(kxTPCallback* self, kxTPWork* record) {
  return enqueueRecord(reinterpret_cast<RunCallback*>(self)->pool, record,
                       false);
}

int callbackStatus(kxTPCallback* self) {
  kxTPPool* pool = reinterpret_cast<RunCallback*>(self)->pool;
  return pool->stopping.load(std::memory_order_acquire) == 0 ? 1 : 0;
}

// A run is counted as completed when it ends, under the same lock as the
// running count, so that every statistics snapshot adds up; reporting it
// early (once or more) changes nothing.
int callbackComplete(kxTPCallback*) { return 0; }

const kxTPCallbackOps kCallbackOps = {callbackEnqueue, callbackStatus,
                                      callbackComplete};

// --- threads (all with the pool's lock held)

// Starts one worker, reusing the slot of one that ended. False when the
// thread cannot be started.
bool startWorkerLocked(kxTPPool* pool) {
  if (kxFaultArmedHit(KX_FAULT_THREAD_START)) return false;
  Worker* slot = nullptr;
  for (Worker& worker : pool->workers) {
    if (worker.exited) {
      // It set `exited` under this lock and touches nothing after; the join
      // only waits for its last return.
      if (worker.thread.joinable()) worker.thread.join();
      worker.exited = false;
      worker.woken = false;
      slot = &worker;
      break;
    }
  }
  try {
    if (slot == nullptr) slot = &pool->workers.emplace_back();
    slot->thread = std::thread(workerMain, pool, slot);
  } catch (...) {  // std::system_error, std::bad_alloc
    if (slot != nullptr) slot->exited = true;
    return false;
  }
  ++pool->threads;
  pool->peak = std::max(pool->peak, pool->threads);
  return true;
}

// Takes the most recently idle worker off the stack, or null.
Worker* claimIdleLocked(kxTPPool* pool) {
  if (pool->idle.empty()) return nullptr;
  Worker* worker = pool->idle.back();
  pool->idle.pop_back();
  worker->woken = true;
  ++pool->wakeups;
  return worker;
}

void leaveIdleLocked(kxTPPool* pool, Worker* self) {
  auto it = std::find(pool->idle.begin(), pool->idle.end(), self);
  if (it != pool->idle.end()) pool->idle.erase(it);
}

void runItem(kxTPPool* pool, kxTPWork* record) {
  RunCallback callback{{&kCallbackOps}, pool};
  record->entryTable->run(record, 0, &callback.base);
}

void workerMain(kxTPPool* pool, Worker* self) {
  t_currentPool = pool;
  const auto idleLimit = std::chrono::milliseconds(pool->config.idleMillis);
  std::unique_lock<std::mutex> lock(pool->mutex);
  for (;;) {
    if (!pool->queue.empty() && !pool->held && !pool->destroying) {
      kxTPWork* record = pool->queue.front();
      pool->queue.pop_front();
      ++pool->running;
      lock.unlock();
      runItem(pool, record);
      lock.lock();
      ++pool->completed;
      if (--pool->running == 0 && pool->waiters > 0) {
        pool->changed.notify_all();
      }
      continue;
    }
    if (pool->destroying) break;

    self->woken = false;
    pool->idle.push_back(self);
    auto claimed = [pool, self] { return self->woken || pool->destroying; };
    const bool mayEnd = pool->config.idleMillis > 0 &&
                        pool->threads > pool->config.initialThreads;
    if (mayEnd && !self->wake.wait_for(lock, idleLimit, claimed)) {
      leaveIdleLocked(pool, self);
      const bool workWaits = !pool->queue.empty() && !pool->held;
      if (pool->threads > pool->config.initialThreads && !workWaits) break;
      continue;
    }
    if (!mayEnd) self->wake.wait(lock, claimed);
    if (!self->woken) leaveIdleLocked(pool, self);
  }
  --pool->threads;
  self->exited = true;
  if (pool->waiters > 0) pool->changed.notify_all();
}

// --- queueing

int enqueueRecord(kxTPPool* pool, kxTPWork* record, bool front) {
  if (pool == nullptr || record == nullptr || record->entryTable == nullptr) {
    return 1;
  }
  Worker* wake = nullptr;
  {
    std::lock_guard<std::mutex> lock(pool->mutex);
    if (pool->queue.size() >= pool->config.queueLimit) return 1;
    try {
      if (front) {
        pool->queue.push_front(record);
      } else {
        pool->queue.push_back(record);
      }
    } catch (const std::bad_alloc&) {
      np_mem_note_failure();
      return 1;
    }
    if (!pool->held && !pool->destroying) {
      wake = claimIdleLocked(pool);
      if (wake == nullptr && pool->threads < pool->config.maxThreads &&
          !startWorkerLocked(pool) && pool->threads == 0) {
        // Nobody would ever run it: take it back.
        if (front) {
          pool->queue.pop_front();
        } else {
          pool->queue.pop_back();
        }
        return 1;
      }
    }
    ++pool->enqueued;
  }
  // The slot outlives the pool's lock (slots are only freed by destruction,
  // which no enqueue may race with).
  if (wake != nullptr) wake->wake.notify_one();
  return 0;
}

bool validConfig(const kxTPConfig* config) {
  return config != nullptr && config->initialThreads >= 0 &&
         config->maxThreads >= 1 &&
         config->maxThreads >= config->initialThreads &&
         config->reserved == 0 && config->queueLimit >= 1;
}

}  // namespace

extern "C" kxTPPool* kxTPCreate(const kxTPConfig* config) {
  if (!validConfig(config)) return nullptr;
  kxTPPool* pool = nullptr;
  try {
    pool = new kxTPPool;
  } catch (const std::bad_alloc&) {
    np_mem_note_failure();
    return nullptr;
  }
  pool->config = *config;
  bool started = true;
  {
    std::lock_guard<std::mutex> lock(pool->mutex);
    for (int i = 0; i < config->initialThreads && started; ++i) {
      started = startWorkerLocked(pool);
    }
  }
  if (!started) {
    kxTPDestroy(pool);
    return nullptr;
  }
  return pool;
}

extern "C" int kxTPEnqueue(kxTPPool* pool, kxTPWork* record, int front) {
  return enqueueRecord(pool, record, front != 0);
}

extern "C" int kxTPWait(kxTPPool* pool) {
  if (pool == nullptr || t_currentPool == pool) return 1;
  std::unique_lock<std::mutex> lock(pool->mutex);
  ++pool->waiters;
  pool->changed.wait(lock, [pool] {
    return pool->queue.empty() && pool->running == 0;
  });
  --pool->waiters;
  return 0;
}

extern "C" int kxTPReset(kxTPPool* pool) {
  if (pool == nullptr) return 1;
  std::deque<kxTPWork*> dropped;
  {
    std::lock_guard<std::mutex> lock(pool->mutex);
    ++pool->stopping;
    dropped.swap(pool->queue);
    pool->dropped += static_cast<int64_t>(dropped.size());
    if (pool->waiters > 0) pool->changed.notify_all();
  }
  for (kxTPWork* record : dropped) record->entryTable->signal(record, 1);
  --pool->stopping;
  return 0;
}

extern "C" void kxTPQuiesce(kxTPPool* pool, int hold, int waitRunning) {
  if (pool == nullptr) return;
  std::unique_lock<std::mutex> lock(pool->mutex);
  pool->held = hold != 0;
  if (!pool->held && !pool->destroying) {
    // Dispatch what queued up meanwhile: sleepers first, then new threads.
    size_t served = 0;
    while (served < pool->queue.size()) {
      Worker* worker = claimIdleLocked(pool);
      if (worker != nullptr) {
        worker->wake.notify_one();
      } else if (pool->threads >= pool->config.maxThreads ||
                 !startWorkerLocked(pool)) {
        break;
      }
      ++served;
    }
  }
  if (waitRunning != 0 && t_currentPool != pool) {
    ++pool->waiters;
    pool->changed.wait(lock, [pool] { return pool->running == 0; });
    --pool->waiters;
  }
}

extern "C" int kxTPStats(kxTPPool* pool, kxTPStatsRecord* stats) {
  if (pool == nullptr || stats == nullptr) return 1;
  std::lock_guard<std::mutex> lock(pool->mutex);
  stats->wakeups = pool->wakeups;
  stats->dropped = pool->dropped;
  stats->enqueued = pool->enqueued;
  stats->completed = pool->completed;
  stats->threads = pool->threads;
  stats->idleThreads = static_cast<int32_t>(pool->idle.size());
  stats->queued = static_cast<int32_t>(pool->queue.size());
  stats->running = pool->running;
  stats->maxThreads = pool->config.maxThreads;
  stats->peakThreads = pool->peak;
  return 0;
}

extern "C" void kxTPDestroy(kxTPPool* pool) {
  if (pool == nullptr) return;
  std::unique_lock<std::mutex> lock(pool->mutex);
  pool->destroying = true;
  ++pool->stopping;
  for (Worker* worker : pool->idle) worker->wake.notify_one();
  pool->idle.clear();
  ++pool->waiters;
  pool->changed.wait(lock, [pool] { return pool->running == 0; });
  --pool->waiters;
  // What is still queued never runs; signals may queue more, which is
  // signalled in turn.
  while (!pool->queue.empty()) {
    std::deque<kxTPWork*> left;
    left.swap(pool->queue);
    lock.unlock();
    for (kxTPWork* record : left) record->entryTable->signal(record, 0);
    lock.lock();
  }
  lock.unlock();
  // Every worker now sees `destroying` and leaves its loop.
  for (Worker& worker : pool->workers) {
    if (worker.thread.joinable()) worker.thread.join();
  }
  delete pool;
}
