// Thread pools: 1,000,000 trivial items queued from one thread and run on
// two workers, and a fan-out in which every item queues two follow-ons down
// to depth 16 (131,071 items), with KxbThreadPool, GLib's GThreadPool and
// oneTBB's task_group. Each reports items per second.
//
// The trivial item adds one to a counter. GThreadPool and KxbThreadPool run
// items on two pool threads while the queueing thread only queues and then
// waits; oneTBB runs them in an arena of two worker slots plus one for the
// queueing thread, which takes part while it waits (that is how task_group
// works).
#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <vector>

#include <benchmark/benchmark.h>

#include "kxbthreadpool.h"

#if KXB_HAVE_GLIB
#include <glib.h>
#endif
#if KXB_HAVE_TBB
#include <oneapi/tbb/task_arena.h>
#include <oneapi/tbb/task_group.h>
#endif

namespace {

constexpr int kTrivialItems = 1000000;
constexpr int kDepth = 16;
constexpr int kTreeItems = (1 << (kDepth + 1)) - 1;
constexpr int kWorkers = 2;

std::atomic<int64_t> g_counter{0};

void trivial() { g_counter.fetch_add(1, std::memory_order_relaxed); }

// Counts down to zero and wakes the waiter then (for pools without a wait).
class Countdown {
 public:
  void reset(int n) { left_.store(n); }
  void done() {
    if (left_.fetch_sub(1, std::memory_order_acq_rel) == 1) {
      std::lock_guard<std::mutex> lock(mutex_);
      cv_.notify_all();
    }
  }
  void wait() {
    std::unique_lock<std::mutex> lock(mutex_);
    cv_.wait(lock, [this] { return left_.load() == 0; });
  }

 private:
  std::atomic<int> left_{0};
  std::mutex mutex_;
  std::condition_variable cv_;
};

// --- KxbThreadPool

class TrivialWork : public KxbThreadPoolWork {
 public:
  int execute(bool, KxbThreadPoolCallback*) override {
    trivial();
    return 0;
  }
  int signal(bool) override { return 0; }
  int finish() override { return 0; }
};

class TreeWork : public KxbThreadPoolWork {
 public:
  int execute(bool, KxbThreadPoolCallback* callback) override {
    trivial();
    if (2 * id + 2 < kTreeItems) {
      callback->enqueue(&(*tree)[2 * id + 1]);
      callback->enqueue(&(*tree)[2 * id + 2]);
    }
    return 0;
  }
  int signal(bool) override { return 0; }
  int finish() override { return 0; }

  int id = 0;
  std::vector<TreeWork>* tree = nullptr;
};

void BM_KxbThreadPool_Trivial(benchmark::State& state) {
  std::vector<TrivialWork> items(kTrivialItems);
  KxbThreadPool pool;
  if (!pool.start(kWorkers, kWorkers, 0)) state.SkipWithError("no pool");
  for (auto _ : state) {
    for (TrivialWork& item : items) pool.enqueue(&item, false);
    pool.wait();
  }
  state.SetItemsProcessed(state.iterations() * kTrivialItems);
}
BENCHMARK(BM_KxbThreadPool_Trivial)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_KxbThreadPool_FanOut(benchmark::State& state) {
  std::vector<TreeWork> tree(kTreeItems);
  for (int i = 0; i < kTreeItems; ++i) {
    tree[i].id = i;
    tree[i].tree = &tree;
  }
  KxbThreadPool pool;
  if (!pool.start(kWorkers, kWorkers, 0)) state.SkipWithError("no pool");
  for (auto _ : state) {
    pool.enqueue(&tree[0], false);
    pool.wait();
  }
  state.SetItemsProcessed(state.iterations() * kTreeItems);
}
BENCHMARK(BM_KxbThreadPool_FanOut)->Unit(benchmark::kMillisecond)->UseRealTime();

// --- GThreadPool

#if KXB_HAVE_GLIB
struct GlibRun {
  Countdown countdown;
  GThreadPool* pool = nullptr;
};
GlibRun g_glib;

// Tree nodes are passed as 1-based indexes (GThreadPool refuses null data).
void glibTrivial(gpointer, gpointer) {
  trivial();
  g_glib.countdown.done();
}

void glibTree(gpointer data, gpointer) {
  const int id = static_cast<int>(reinterpret_cast<intptr_t>(data)) - 1;
  trivial();
  if (2 * id + 2 < kTreeItems) {
    g_thread_pool_push(g_glib.pool, reinterpret_cast<gpointer>(intptr_t{2 * id + 2}),
                       nullptr);
    g_thread_pool_push(g_glib.pool, reinterpret_cast<gpointer>(intptr_t{2 * id + 3}),
                       nullptr);
  }
  g_glib.countdown.done();
}

void BM_GThreadPool_Trivial(benchmark::State& state) {
  g_glib.pool = g_thread_pool_new(glibTrivial, nullptr, kWorkers, TRUE, nullptr);
  for (auto _ : state) {
    g_glib.countdown.reset(kTrivialItems);
    for (int i = 0; i < kTrivialItems; ++i) {
      g_thread_pool_push(g_glib.pool, GINT_TO_POINTER(1), nullptr);
    }
    g_glib.countdown.wait();
  }
  g_thread_pool_free(g_glib.pool, FALSE, TRUE);
  state.SetItemsProcessed(state.iterations() * kTrivialItems);
}
BENCHMARK(BM_GThreadPool_Trivial)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_GThreadPool_FanOut(benchmark::State& state) {
  g_glib.pool = g_thread_pool_new(glibTree, nullptr, kWorkers, TRUE, nullptr);
  for (auto _ : state) {
    g_glib.countdown.reset(kTreeItems);
    g_thread_pool_push(g_glib.pool, GINT_TO_POINTER(1), nullptr);
    g_glib.countdown.wait();
  }
  g_thread_pool_free(g_glib.pool, FALSE, TRUE);
  state.SetItemsProcessed(state.iterations() * kTreeItems);
}
BENCHMARK(BM_GThreadPool_FanOut)->Unit(benchmark::kMillisecond)->UseRealTime();
#endif

// --- oneTBB

#if KXB_HAVE_TBB
void tbbTree(tbb::task_group& group, int id) {
  trivial();
  if (2 * id + 2 < kTreeItems) {
    group.run([&group, id] { tbbTree(group, 2 * id + 1); });
    group.run([&group, id] { tbbTree(group, 2 * id + 2); });
  }
}

void BM_TbbTaskGroup_Trivial(benchmark::State& state) {
  tbb::task_arena arena(kWorkers + 1, 1);
  for (auto _ : state) {
    arena.execute([] {
      tbb::task_group group;
      for (int i = 0; i < kTrivialItems; ++i) group.run(trivial);
      group.wait();
    });
  }
  state.SetItemsProcessed(state.iterations() * kTrivialItems);
}
BENCHMARK(BM_TbbTaskGroup_Trivial)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_TbbTaskGroup_FanOut(benchmark::State& state) {
  tbb::task_arena arena(kWorkers + 1, 1);
  for (auto _ : state) {
    arena.execute([] {
      tbb::task_group group;
      group.run([&group] { tbbTree(group, 0); });
      group.wait();
    });
  }
  state.SetItemsProcessed(state.iterations() * kTreeItems);
}
BENCHMARK(BM_TbbTaskGroup_FanOut)->Unit(benchmark::kMillisecond)->UseRealTime();
#endif

}  // namespace

BENCHMARK_MAIN();
