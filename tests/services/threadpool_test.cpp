// KxbThreadPool: work objects, their callback and the bridge to kxTP*.
#include "kxbthreadpool.h"

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "kx_tp.h"
#include "services/kxbthreadpool_cb.h"

namespace {

// Counts its calls; `body` runs inside execute.
class CountingWork : public KxbThreadPoolWork {
 public:
  int execute(bool flag, KxbThreadPoolCallback* callback) override {
    EXPECT_FALSE(flag);
    ++executes;
    if (body) body(this, callback);
    return 7;
  }
  int signal(bool flag) override {
    ++(flag ? resets : destroys);
    return 0;
  }
  int finish() override {
    ++finishes;
    if (onFinish) onFinish();
    return 9;
  }
  int calls() const { return executes + resets + destroys; }

  std::atomic<int> executes{0};
  std::atomic<int> finishes{0};
  std::atomic<int> resets{0};
  std::atomic<int> destroys{0};
  std::function<void(CountingWork*, KxbThreadPoolCallback*)> body;
  std::function<void()> onFinish;
  int id = 0;
};

// A platform callback that records the operations made on it, in order.
struct FakePlatform {
  kxTPCallback base{&kOps};
  std::vector<std::string> log;
  std::vector<kxTPWork*> queued;
  int statusAnswer = 1;
  int enqueueAnswer = 0;

  static FakePlatform* of(kxTPCallback* c) {
    return reinterpret_cast<FakePlatform*>(c);
  }
  static int enqueue(kxTPCallback* c, kxTPWork* record) {
    of(c)->log.push_back("enqueue");
    of(c)->queued.push_back(record);
    return of(c)->enqueueAnswer;
  }
  static int status(kxTPCallback* c) {
    of(c)->log.push_back("status");
    return of(c)->statusAnswer;
  }
  static int complete(kxTPCallback* c) {
    of(c)->log.push_back("complete");
    return 0;
  }
  static constexpr kxTPCallbackOps kOps = {enqueue, status, complete};
};

using Log = std::vector<std::string>;

TEST(KxbThreadPool, APoolNeverStartedRefusesEverything) {
  KxbThreadPool pool;
  CountingWork work;
  EXPECT_FALSE(pool.enqueue(&work, false));
  EXPECT_FALSE(pool.wait());
  EXPECT_FALSE(pool.reset());
  pool.quiesce(true, true);  // nothing to hold, nothing to wait for
  int64_t a = -1;
  EXPECT_FALSE(pool.getStats(&a, nullptr, nullptr, nullptr, nullptr, nullptr,
                             nullptr, nullptr));
  EXPECT_EQ(-1, a);
  EXPECT_EQ(0, work.calls());

  // Invalid sizes do not start it.
  EXPECT_FALSE(pool.start(-1, 2, 0));
  EXPECT_FALSE(pool.start(0, 0, 0));
  EXPECT_FALSE(pool.start(3, 2, 0));
  EXPECT_FALSE(pool.wait());

  // A second start keeps the first pool.
  ASSERT_TRUE(pool.start(1, 3, 0));
  EXPECT_FALSE(pool.start(2, 5, 0));
  int most = 0;
  int threads = 0;
  EXPECT_TRUE(pool.getStats(nullptr, nullptr, &threads, nullptr, nullptr,
                            nullptr, &most, nullptr));
  EXPECT_EQ(3, most);
  EXPECT_EQ(1, threads);
  EXPECT_TRUE(pool.getStats(nullptr, nullptr, nullptr, nullptr, nullptr,
                            nullptr, nullptr, nullptr));
  EXPECT_FALSE(pool.enqueue(nullptr, false));
}

TEST(KxbThreadPool, EnqueueWritesTheRecordThePlatformReceives) {
  KxbThreadPool pool;
  ASSERT_TRUE(pool.start(0, 1, 0));
  pool.quiesce(true, false);
  CountingWork work;
  ASSERT_TRUE(pool.enqueue(&work, false));
  EXPECT_EQ(kxbThreadPoolEntryTable(), work.entryTable);
  EXPECT_EQ(&work, work.context);
  // The two fields lie side by side, as the platform's record.
  EXPECT_EQ(reinterpret_cast<char*>(&work.entryTable) + sizeof(void*),
            reinterpret_cast<char*>(&work.context));
  EXPECT_TRUE(pool.reset());
  EXPECT_EQ(1, work.resets);
  EXPECT_EQ(0, work.executes);
}

TEST(KxbThreadPool, TheCompletionIsMadeOnceByTheItemOrAfterExecute) {
  FakePlatform platform;
  CountingWork work;
  kxTPWork* record = kxbThreadPoolRecord(&work);
  const kxTPEntries* entries = kxbThreadPoolEntryTable();

  // No complete: the bridge completes, then finish gives the result.
  work.body = [&](CountingWork*, KxbThreadPoolCallback*) {
    platform.log.push_back("execute");
  };
  work.onFinish = [&] { platform.log.push_back("finish"); };
  EXPECT_EQ(9, entries->run(record, 0, &platform.base));
  EXPECT_EQ((Log{"execute", "complete", "finish"}), platform.log);
  EXPECT_EQ(1, work.finishes);

  // complete(true): exactly one completion, no finish, execute's result.
  platform.log.clear();
  work.onFinish = nullptr;
  work.body = [](CountingWork*, KxbThreadPoolCallback* callback) {
    EXPECT_EQ(0, callback->complete(true));
  };
  EXPECT_EQ(7, entries->run(record, 0, &platform.base));
  EXPECT_EQ((Log{"complete"}), platform.log);
  EXPECT_EQ(1, work.finishes);

  // complete(false) does not count as done: a second completion and finish.
  platform.log.clear();
  work.body = [](CountingWork*, KxbThreadPoolCallback* callback) {
    callback->complete(false);
  };
  EXPECT_EQ(9, entries->run(record, 0, &platform.base));
  EXPECT_EQ((Log{"complete", "complete"}), platform.log);
  EXPECT_EQ(2, work.finishes);

  // The callback forwards enqueue and status and passes their answers on.
  platform.log.clear();
  CountingWork followOn;
  bool enqueued = false, refused = true, running = false, stopping = true;
  work.body = [&](CountingWork*, KxbThreadPoolCallback* callback) {
    enqueued = callback->enqueue(&followOn);
    platform.enqueueAnswer = 1;
    refused = callback->enqueue(&followOn);
    running = callback->status();
    platform.statusAnswer = 0;
    stopping = callback->status();
    EXPECT_FALSE(callback->enqueue(nullptr));
    callback->complete(true);
  };
  entries->run(record, 0, &platform.base);
  EXPECT_TRUE(enqueued);
  EXPECT_FALSE(refused);
  EXPECT_TRUE(running);
  EXPECT_FALSE(stopping);
  ASSERT_EQ(2u, platform.queued.size());
  EXPECT_EQ(reinterpret_cast<kxTPWork*>(&followOn.entryTable), platform.queued[0]);
  EXPECT_EQ(entries, followOn.entryTable);
  EXPECT_EQ(&followOn, followOn.context);

  // Entry 0 only signals.
  const int before = work.calls();
  EXPECT_EQ(0, entries->signal(record, 1));
  EXPECT_EQ(0, entries->signal(record, 0));
  EXPECT_EQ(1, work.resets);
  EXPECT_EQ(1, work.destroys);
  EXPECT_EQ(before + 2, work.calls());
}

TEST(KxbThreadPool, ManyItemsOnFourThreadsEachRunOnce) {
  constexpr int kItems = 100000;
  KxbThreadPool pool;
  ASSERT_TRUE(pool.start(4, 4, 0));
  std::vector<CountingWork> items(kItems);
  for (int i = 0; i < kItems; ++i) {
    if (i % 2 == 0) {
      items[i].body = [](CountingWork*, KxbThreadPoolCallback* callback) {
        callback->complete(true);
      };
    }
    ASSERT_TRUE(pool.enqueue(&items[i], false));
  }
  ASSERT_TRUE(pool.wait());
  int wrong = 0;
  for (int i = 0; i < kItems; ++i) {
    wrong += items[i].executes != 1 || items[i].calls() != 1 ||
             items[i].finishes != (i % 2 == 0 ? 0 : 1);
  }
  EXPECT_EQ(0, wrong);
  int64_t enqueued = 0, completed = 0;
  int threads = 0, idle = 0, queued = -1, running = -1, most = 0, peak = 0;
  ASSERT_TRUE(pool.getStats(&enqueued, &completed, &threads, &idle, &queued,
                            &running, &most, &peak));
  EXPECT_EQ(kItems, enqueued);
  EXPECT_EQ(kItems, completed);
  EXPECT_EQ(4, threads);
  EXPECT_EQ(0, queued);
  EXPECT_EQ(0, running);
  EXPECT_EQ(4, most);
  EXPECT_EQ(4, peak);
  EXPECT_LE(idle, threads);
}

TEST(KxbThreadPool, FollowOnWorkResetAndDestructionReachTheWorkObjects) {
  constexpr int kCount = (1 << 11) - 1;  // a binary tree of depth 10
  std::vector<CountingWork> tree(kCount);
  {
    KxbThreadPool pool;
    ASSERT_TRUE(pool.start(2, 4, 0));
    for (int i = 0; i < kCount; ++i) {
      tree[i].id = i;
      tree[i].body = [&tree](CountingWork* self, KxbThreadPoolCallback* cb) {
        EXPECT_TRUE(cb->status());
        for (int child : {2 * self->id + 1, 2 * self->id + 2}) {
          if (child < kCount) {
            EXPECT_TRUE(cb->enqueue(&tree[child]));
          }
        }
      };
    }
    ASSERT_TRUE(pool.enqueue(&tree[0], false));
    ASSERT_TRUE(pool.wait());
    for (const CountingWork& w : tree) ASSERT_EQ(1, w.executes);

    // Held work is dropped by reset (signal true) ...
    pool.quiesce(true, true);
    CountingWork dropped[3];
    for (CountingWork& w : dropped) ASSERT_TRUE(pool.enqueue(&w, true));
    ASSERT_TRUE(pool.reset());
    for (const CountingWork& w : dropped) {
      EXPECT_EQ(1, w.resets);
      EXPECT_EQ(1, w.calls());
    }
    // ... and by destruction (signal false).
    for (CountingWork& w : tree) w.body = nullptr;
    for (int i = 0; i < 5; ++i) ASSERT_TRUE(pool.enqueue(&tree[i], false));
  }
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(1, tree[i].destroys);
    EXPECT_EQ(1, tree[i].executes);
  }
}

TEST(KxbThreadPool, AnItemWaitsWhileAnotherThreadEnqueues) {
  KxbThreadPool pool;
  ASSERT_TRUE(pool.start(1, 2, 0));
  std::mutex mutex;
  std::condition_variable cv;
  bool started = false, released = false;
  CountingWork blocker, helper;
  blocker.body = [&](CountingWork*, KxbThreadPoolCallback*) {
    std::unique_lock<std::mutex> lock(mutex);
    started = true;
    cv.notify_all();
    cv.wait(lock, [&] { return released; });
  };
  helper.body = [&](CountingWork*, KxbThreadPoolCallback*) {
    std::lock_guard<std::mutex> lock(mutex);
    released = true;
    cv.notify_all();
  };
  ASSERT_TRUE(pool.enqueue(&blocker, false));
  {
    std::unique_lock<std::mutex> lock(mutex);
    cv.wait(lock, [&] { return started; });
  }
  std::thread other([&] { EXPECT_TRUE(pool.enqueue(&helper, true)); });
  other.join();
  ASSERT_TRUE(pool.wait());
  EXPECT_EQ(1, blocker.executes);
  EXPECT_EQ(1, helper.executes);
}

}  // namespace
