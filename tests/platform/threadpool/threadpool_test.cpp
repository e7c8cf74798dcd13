// kxTP*: the platform's thread pools, driven through raw work records.
#include "kx_tp.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <ctime>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "kx_fault.h"

namespace {

using std::chrono::milliseconds;

// A one-shot gate threads wait on.
class Gate {
 public:
  void open() {
    std::lock_guard<std::mutex> lock(mutex_);
    open_ = true;
    cv_.notify_all();
  }
  void wait() {
    std::unique_lock<std::mutex> lock(mutex_);
    cv_.wait(lock, [this] { return open_; });
  }
  bool isOpen() {
    std::lock_guard<std::mutex> lock(mutex_);
    return open_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable cv_;
  bool open_ = false;
};

// A work record whose run and signal calls are counted. `action` runs
// inside the run entry.
struct Item {
  kxTPWork record;
  std::atomic<int> runs{0};
  std::atomic<int> resetSignals{0};
  std::atomic<int> destroySignals{0};
  std::function<void(Item*, kxTPCallback*)> action;
  std::function<void(Item*, int)> onSignal;
  int id = 0;

  Item();
  int calls() const { return runs + resetSignals + destroySignals; }
};

Item* itemOf(kxTPWork* record) { return static_cast<Item*>(record->context); }

int signalEntry(kxTPWork* record, int flag) {
  Item* item = itemOf(record);
  (flag != 0 ? item->resetSignals : item->destroySignals)++;
  if (item->onSignal) item->onSignal(item, flag);
  return 0;
}

int runEntry(kxTPWork* record, int flag, kxTPCallback* callback) {
  Item* item = itemOf(record);
  EXPECT_EQ(0, flag);
  item->runs++;
  if (item->action) item->action(item, callback);
  return 0;
}

const kxTPEntries kEntries = {signalEntry, runEntry};

Item::Item() : record{&kEntries, this} {}

kxTPConfig config(int initial, int most, unsigned idleMillis = 0,
                  unsigned limit = 0x40000000) {
  return kxTPConfig{initial, most, 0, idleMillis, limit};
}

struct PoolDeleter {
  void operator()(kxTPPool* pool) const { kxTPDestroy(pool); }
};
using Pool = std::unique_ptr<kxTPPool, PoolDeleter>;

Pool create(int initial, int most, unsigned idleMillis = 0,
            unsigned limit = 0x40000000) {
  const kxTPConfig c = config(initial, most, idleMillis, limit);
  return Pool(kxTPCreate(&c));
}

kxTPStatsRecord statsOf(kxTPPool* pool) {
  kxTPStatsRecord stats{};
  EXPECT_EQ(0, kxTPStats(pool, &stats));
  return stats;
}

// Polls `condition` for up to 10 s (for states reached asynchronously).
template <typename F>
bool eventually(F condition) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(milliseconds(1));
  }
  return true;
}

TEST(KxTP, InvalidConfigurationsAndNullArgumentsAreRefused) {
  EXPECT_EQ(nullptr, kxTPCreate(nullptr));
  for (kxTPConfig bad : {config(-1, 2), config(0, 0), config(3, 2),
                         config(1, 1, 0, 0), kxTPConfig{1, 1, 7, 0, 10}}) {
    EXPECT_EQ(nullptr, kxTPCreate(&bad));
  }
  EXPECT_NE(0, kxTPEnqueue(nullptr, nullptr, 0));
  EXPECT_NE(0, kxTPWait(nullptr));
  EXPECT_NE(0, kxTPReset(nullptr));
  EXPECT_NE(0, kxTPStats(nullptr, nullptr));
  kxTPQuiesce(nullptr, 1, 1);
  kxTPDestroy(nullptr);

  Pool pool = create(0, 1);
  ASSERT_NE(nullptr, pool);
  EXPECT_NE(0, kxTPEnqueue(pool.get(), nullptr, 0));
  EXPECT_NE(0, kxTPStats(pool.get(), nullptr));
  const kxTPStatsRecord stats = statsOf(pool.get());
  EXPECT_EQ(0, stats.threads);
  EXPECT_EQ(1, stats.maxThreads);
}

TEST(KxTP, EveryItemOfManyRunsExactlyOnce) {
  constexpr int kItems = 100000;
  Pool pool = create(4, 4);
  ASSERT_NE(nullptr, pool);
  std::vector<Item> items(kItems);
  for (Item& item : items) ASSERT_EQ(0, kxTPEnqueue(pool.get(), &item.record, 0));
  ASSERT_EQ(0, kxTPWait(pool.get()));
  int wrong = 0;
  for (const Item& item : items) wrong += item.runs != 1 || item.calls() != 1;
  EXPECT_EQ(0, wrong);
  const kxTPStatsRecord stats = statsOf(pool.get());
  EXPECT_EQ(kItems, stats.enqueued);
  EXPECT_EQ(kItems, stats.completed);
  EXPECT_EQ(0, stats.queued);
  EXPECT_EQ(0, stats.running);
  EXPECT_EQ(4, stats.threads);
  EXPECT_EQ(4, stats.peakThreads);
}

TEST(KxTP, FrontAndBackDecideTheOrder) {
  Pool pool = create(1, 1);
  std::mutex mutex;
  std::vector<int> order;
  Item items[4];
  for (int i = 0; i < 4; ++i) {
    items[i].id = i;
    items[i].action = [&](Item* item, kxTPCallback*) {
      std::lock_guard<std::mutex> lock(mutex);
      order.push_back(item->id);
    };
  }
  kxTPQuiesce(pool.get(), 1, 1);
  ASSERT_EQ(0, kxTPEnqueue(pool.get(), &items[0].record, 0));
  ASSERT_EQ(0, kxTPEnqueue(pool.get(), &items[1].record, 0));
  ASSERT_EQ(0, kxTPEnqueue(pool.get(), &items[2].record, 1));
  ASSERT_EQ(0, kxTPEnqueue(pool.get(), &items[3].record, 1));
  EXPECT_EQ(4, statsOf(pool.get()).queued);
  kxTPQuiesce(pool.get(), 0, 0);
  ASSERT_EQ(0, kxTPWait(pool.get()));
  EXPECT_EQ((std::vector<int>{3, 2, 0, 1}), order);
}

// Each item queues two follow-ons until `depth`; wait covers them all.
TEST(KxTP, FollowOnWorkIsQueuedAtTheBackAndWaitedFor) {
  constexpr int kDepth = 12;
  constexpr int kCount = (1 << (kDepth + 1)) - 1;
  Pool pool = create(2, 4);
  std::vector<Item> items(kCount);
  std::atomic<int> refused{0};
  for (int i = 0; i < kCount; ++i) {
    items[i].id = i;
    items[i].action = [&](Item* item, kxTPCallback* callback) {
      EXPECT_NE(0, callback->ops->status(callback));
      EXPECT_EQ(0, callback->ops->complete(callback));
      for (int child : {2 * item->id + 1, 2 * item->id + 2}) {
        if (child < kCount &&
            callback->ops->enqueue(callback, &items[child].record) != 0) {
          refused++;
        }
      }
    };
  }
  ASSERT_EQ(0, kxTPEnqueue(pool.get(), &items[0].record, 0));
  ASSERT_EQ(0, kxTPWait(pool.get()));
  EXPECT_EQ(0, refused);
  int wrong = 0;
  for (const Item& item : items) wrong += item.runs != 1 || item.calls() != 1;
  EXPECT_EQ(0, wrong);
  const kxTPStatsRecord stats = statsOf(pool.get());
  EXPECT_EQ(kCount, stats.enqueued);
  EXPECT_EQ(kCount, stats.completed);  // complete and the run's end count once
}

TEST(KxTP, ResetDropsQueuedItemsWithTheirSignalWhileRunningOnesGoOn) {
  Pool pool = create(1, 1);
  Gate started, sawStop, finish;
  Item running;
  running.action = [&](Item*, kxTPCallback* callback) {
    started.open();
    // status turns 0 while the reset is under way.
    while (callback->ops->status(callback) != 0) std::this_thread::yield();
    sawStop.open();
    finish.wait();
  };
  Item queued[5];
  // The first dropped item's signal runs during the reset, on this thread.
  const std::thread::id self = std::this_thread::get_id();
  queued[0].onSignal = [&](Item*, int flag) {
    EXPECT_EQ(1, flag);
    EXPECT_EQ(self, std::this_thread::get_id());
    sawStop.wait();
  };
  ASSERT_EQ(0, kxTPEnqueue(pool.get(), &running.record, 0));
  started.wait();
  for (Item& item : queued) ASSERT_EQ(0, kxTPEnqueue(pool.get(), &item.record, 0));
  ASSERT_EQ(0, kxTPReset(pool.get()));
  for (const Item& item : queued) {
    EXPECT_EQ(1, item.resetSignals);
    EXPECT_EQ(0, item.runs);
  }
  kxTPStatsRecord stats = statsOf(pool.get());
  EXPECT_EQ(5, stats.dropped);
  EXPECT_EQ(0, stats.queued);
  EXPECT_EQ(1, stats.running);
  finish.open();
  ASSERT_EQ(0, kxTPWait(pool.get()));
  EXPECT_EQ(1, running.runs);

  // Dropped items may be queued again and then run.
  for (Item& item : queued) ASSERT_EQ(0, kxTPEnqueue(pool.get(), &item.record, 0));
  ASSERT_EQ(0, kxTPWait(pool.get()));
  for (const Item& item : queued) EXPECT_EQ(1, item.runs);
  stats = statsOf(pool.get());
  EXPECT_EQ(stats.enqueued, stats.completed + stats.dropped);
}

TEST(KxTP, QuiesceHoldsDispatchAndWaitsForRunningItems) {
  Pool pool = create(2, 2);
  Gate started, finish;
  Item blocker;
  blocker.action = [&](Item*, kxTPCallback*) {
    started.open();
    finish.wait();
  };
  ASSERT_EQ(0, kxTPEnqueue(pool.get(), &blocker.record, 0));
  started.wait();
  // Held: queued work stays queued, and enqueue still accepts it.
  kxTPQuiesce(pool.get(), 1, 0);
  Item later[3];
  for (Item& item : later) ASSERT_EQ(0, kxTPEnqueue(pool.get(), &item.record, 0));
  std::atomic<bool> quiesced{false};
  std::thread holder([&] {
    kxTPQuiesce(pool.get(), 1, 1);
    quiesced = true;
  });
  std::this_thread::sleep_for(milliseconds(50));
  EXPECT_FALSE(quiesced);  // the blocker still runs
  finish.open();
  holder.join();
  EXPECT_TRUE(quiesced);
  kxTPStatsRecord stats = statsOf(pool.get());
  EXPECT_EQ(0, stats.running);
  EXPECT_EQ(3, stats.queued);
  for (const Item& item : later) EXPECT_EQ(0, item.runs);

  kxTPQuiesce(pool.get(), 0, 1);
  ASSERT_EQ(0, kxTPWait(pool.get()));
  for (const Item& item : later) EXPECT_EQ(1, item.runs);
}

TEST(KxTP, DestructionWaitsForRunningItemsAndSignalsQueuedOnes) {
  kxTPPool* pool = nullptr;
  {
    const kxTPConfig c = config(1, 1);
    pool = kxTPCreate(&c);
  }
  ASSERT_NE(nullptr, pool);
  Gate started;
  std::atomic<bool> finished{false};
  Item follow;
  Item running;
  running.action = [&](Item*, kxTPCallback* callback) {
    started.open();
    while (callback->ops->status(callback) != 0) std::this_thread::yield();
    // Work queued while the pool goes away is signalled too.
    EXPECT_EQ(0, callback->ops->enqueue(callback, &follow.record));
    std::this_thread::sleep_for(milliseconds(20));
    finished = true;
  };
  Item queued[4];
  ASSERT_EQ(0, kxTPEnqueue(pool, &running.record, 0));
  started.wait();
  for (Item& item : queued) ASSERT_EQ(0, kxTPEnqueue(pool, &item.record, 0));
  kxTPDestroy(pool);
  EXPECT_TRUE(finished);
  EXPECT_EQ(1, running.runs);
  for (const Item& item : queued) {
    EXPECT_EQ(1, item.destroySignals);
    EXPECT_EQ(1, item.calls());
  }
  EXPECT_EQ(1, follow.destroySignals);
  EXPECT_EQ(1, follow.calls());

  // Held and never run.
  Pool held = create(0, 2);
  kxTPQuiesce(held.get(), 1, 0);
  Item waiting[3];
  for (Item& item : waiting) ASSERT_EQ(0, kxTPEnqueue(held.get(), &item.record, 0));
  held.reset();
  for (const Item& item : waiting) EXPECT_EQ(1, item.destroySignals);
}

TEST(KxTP, StatisticsAddUpAtEverySnapshot) {
  Pool pool = create(1, 3, 5);
  constexpr int kItems = 20000;
  std::vector<Item> items(kItems);
  std::atomic<bool> done{false};
  std::thread producer([&] {
    for (int i = 0; i < kItems; ++i) {
      EXPECT_EQ(0, kxTPEnqueue(pool.get(), &items[i].record, i % 7 == 0));
      if (i == kItems / 2) {
        EXPECT_EQ(0, kxTPReset(pool.get()));
      }
    }
    done = true;
  });
  int snapshots = 0;
  while (!done || snapshots < 10) {
    const kxTPStatsRecord s = statsOf(pool.get());
    ASSERT_EQ(s.enqueued, s.completed + s.dropped + s.queued + s.running);
    ASSERT_LE(s.idleThreads, s.threads);
    ASSERT_LE(s.running, s.threads);
    ASSERT_LE(s.threads, s.peakThreads);
    ASSERT_LE(s.peakThreads, s.maxThreads);
    ++snapshots;
  }
  producer.join();
  ASSERT_EQ(0, kxTPWait(pool.get()));
  const kxTPStatsRecord s = statsOf(pool.get());
  EXPECT_EQ(kItems, s.enqueued);
  EXPECT_EQ(s.enqueued, s.completed + s.dropped);
  int runs = 0, drops = 0;
  for (const Item& item : items) {
    runs += item.runs;
    drops += item.resetSignals;
    EXPECT_EQ(1, item.calls());
  }
  EXPECT_EQ(s.completed, runs);
  EXPECT_EQ(s.dropped, drops);
}

TEST(KxTP, AnItemThatBlocksDoesNotStopOthersFromBeingQueuedAndRun) {
  Pool pool = create(1, 2);
  Gate started, released;
  Item blocker, helper;
  blocker.action = [&](Item*, kxTPCallback*) {
    started.open();
    released.wait();  // opened by the helper, which needs a second thread
  };
  helper.action = [&](Item*, kxTPCallback*) { released.open(); };
  ASSERT_EQ(0, kxTPEnqueue(pool.get(), &blocker.record, 0));
  started.wait();
  std::thread other([&] { EXPECT_EQ(0, kxTPEnqueue(pool.get(), &helper.record, 0)); });
  other.join();
  ASSERT_EQ(0, kxTPWait(pool.get()));
  EXPECT_EQ(1, blocker.runs);
  EXPECT_EQ(1, helper.runs);
  EXPECT_EQ(2, statsOf(pool.get()).peakThreads);
}

TEST(KxTP, SleepingWorkersAreWokenNotAddedAndExtraOnesEndWhenIdle) {
  Pool pool = create(2, 4, 20);
  ASSERT_TRUE(eventually([&] { return statsOf(pool.get()).idleThreads == 2; }));
  Item one;
  ASSERT_EQ(0, kxTPEnqueue(pool.get(), &one.record, 0));
  ASSERT_EQ(0, kxTPWait(pool.get()));
  kxTPStatsRecord stats = statsOf(pool.get());
  EXPECT_EQ(1, stats.wakeups);
  EXPECT_EQ(2, stats.threads);
  EXPECT_EQ(2, stats.peakThreads);

  // Four blocked items need four threads; the two extra end after 20 ms
  // idle, the first two stay.
  Gate go;
  std::atomic<int> started{0};
  Item blocked[4];
  for (Item& item : blocked) {
    item.action = [&](Item*, kxTPCallback*) {
      started++;
      go.wait();
    };
    ASSERT_EQ(0, kxTPEnqueue(pool.get(), &item.record, 0));
  }
  ASSERT_TRUE(eventually([&] { return started == 4; }));
  EXPECT_EQ(4, statsOf(pool.get()).threads);
  go.open();
  ASSERT_EQ(0, kxTPWait(pool.get()));
  ASSERT_TRUE(eventually([&] { return statsOf(pool.get()).threads == 2; }));
  std::this_thread::sleep_for(milliseconds(60));
  stats = statsOf(pool.get());
  EXPECT_EQ(2, stats.threads);
  EXPECT_EQ(4, stats.peakThreads);

  // Without an idle limit extra threads stay.
  Pool keep = create(0, 2, 0);
  Gate go2;
  std::atomic<int> started2{0};
  Item two[2];
  for (Item& item : two) {
    item.action = [&](Item*, kxTPCallback*) {
      started2++;
      go2.wait();
    };
    ASSERT_EQ(0, kxTPEnqueue(keep.get(), &item.record, 0));
  }
  ASSERT_TRUE(eventually([&] { return started2 == 2; }));
  go2.open();
  ASSERT_EQ(0, kxTPWait(keep.get()));
  std::this_thread::sleep_for(milliseconds(60));
  EXPECT_EQ(2, statsOf(keep.get()).threads);
}

TEST(KxTP, IdleWorkersDoNotSpin) {
  Pool pool = create(8, 8);
  ASSERT_TRUE(eventually([&] { return statsOf(pool.get()).idleThreads == 8; }));
  const std::clock_t before = std::clock();
  std::this_thread::sleep_for(milliseconds(300));
  const double cpuSeconds =
      static_cast<double>(std::clock() - before) / CLOCKS_PER_SEC;
  // One spinning thread alone would use about 0.3 s.
  EXPECT_LT(cpuSeconds, 0.1);
}

TEST(KxTP, WaitingFromInsideItsOwnItemIsRefused) {
  Pool pool = create(1, 1);
  std::atomic<int> waitResult{-1};
  Item item;
  item.action = [&](Item*, kxTPCallback*) {
    waitResult = kxTPWait(pool.get());
    kxTPQuiesce(pool.get(), 0, 1);  // would wait for itself: returns at once
  };
  ASSERT_EQ(0, kxTPEnqueue(pool.get(), &item.record, 0));
  ASSERT_EQ(0, kxTPWait(pool.get()));
  EXPECT_NE(0, waitResult);
}

TEST(KxTP, ThreadsThatCannotStartAndFullQueuesFailCleanly) {
  kxFaultArm(KX_FAULT_THREAD_START, 2);
  {
    const kxTPConfig c = config(3, 3);
    EXPECT_EQ(nullptr, kxTPCreate(&c));
  }
  kxFaultArm(KX_FAULT_THREAD_START, 0);

  // No thread at all: the item is not queued and nothing of it is called.
  Pool pool = create(0, 1, 0, 2);
  Item item;
  kxFaultArm(KX_FAULT_THREAD_START, 1);
  EXPECT_NE(0, kxTPEnqueue(pool.get(), &item.record, 0));
  kxFaultArm(KX_FAULT_THREAD_START, 0);
  EXPECT_EQ(0, item.calls());
  EXPECT_EQ(0, statsOf(pool.get()).enqueued);
  ASSERT_EQ(0, kxTPEnqueue(pool.get(), &item.record, 0));
  ASSERT_EQ(0, kxTPWait(pool.get()));
  EXPECT_EQ(1, item.runs);

  // The queue holds at most two.
  kxTPQuiesce(pool.get(), 1, 1);
  Item a, b, c;
  EXPECT_EQ(0, kxTPEnqueue(pool.get(), &a.record, 0));
  EXPECT_EQ(0, kxTPEnqueue(pool.get(), &b.record, 1));
  EXPECT_NE(0, kxTPEnqueue(pool.get(), &c.record, 0));
  kxTPQuiesce(pool.get(), 0, 0);
  ASSERT_EQ(0, kxTPWait(pool.get()));
  EXPECT_EQ(1, a.runs);
  EXPECT_EQ(1, b.runs);
  EXPECT_EQ(0, c.calls());
}

}  // namespace
