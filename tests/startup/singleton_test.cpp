#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "kx_atomic.h"
#include "kx_fault.h"
#include "kxbsingleton.h"
#include "kxbstartup.h"
#include "support/assertions.h"

namespace {

class SingletonTest : public ::testing::Test {
 protected:
  std::vector<std::string> assertions() const { return raised_.messages(); }

  kxb_test::AssertionRecorder raised_{"kxbsingleton"};
  kxb_test::SingletonRegistryScope registry_;
};

TEST_F(SingletonTest, TableReusesFreedRecordsAndEmptiesItself) {
  KxbSingleton table;
  int a = 1, b = 2, c = 3;
  table.createRef("a", &a);
  table.createRef("a", &b);
  ASSERT_EQ(1u, assertions().size());
  EXPECT_EQ("id already exists", assertions()[0]);
  EXPECT_EQ(&a, table.getRef("a"));  // refcount now 2
  EXPECT_FALSE(table.decRef("a"));
  table.createRef("b", &b);
  EXPECT_TRUE(table.decRef("a"));
  EXPECT_EQ(nullptr, table.getRef("a"));
  table.createRef("c", &c);  // takes the record "a" left
  EXPECT_EQ(&c, table.getRef("c"));
  EXPECT_FALSE(table.decRef("c"));
  EXPECT_TRUE(table.decRef("c"));
  EXPECT_TRUE(table.decRef("b"));  // the last record: the table is freed
  EXPECT_EQ(nullptr, table.getRef("b"));
  EXPECT_EQ(1u, assertions().size());

  EXPECT_FALSE(table.decRef("x"));
  ASSERT_EQ(2u, assertions().size());
  EXPECT_EQ("bad id", assertions()[1]);
}

TEST_F(SingletonTest, LongNamesAreCutAndNoLongerMatch) {
  KxbSingleton table;
  int v = 0;
  std::string longName(300, 'q');
  table.createRef(longName.c_str(), &v);
  EXPECT_EQ(nullptr, table.getRef(longName.c_str()));
  EXPECT_EQ(&v, table.getRef(longName.substr(0, 255).c_str()));
  EXPECT_FALSE(table.decRef(longName.substr(0, 255).c_str()));
  EXPECT_TRUE(table.decRef(longName.substr(0, 255).c_str()));
  EXPECT_TRUE(assertions().empty());
}

TEST_F(SingletonTest, TableGrowthWithoutMemoryRegistersNothing) {
  KxbSingleton table;
  int v = 0;
  kxFaultArm(KX_FAULT_HEAP_ALLOC, 1);
  table.createRef("m", &v);
  EXPECT_EQ(nullptr, table.getRef("m"));
}

class Counter : public KxbAutoSingleton {
 public:
  explicit Counter(const char* name = "TEST.COUNTER") : name_(name) {}
  const char* singletonName() override { return name_; }
  void* createInstance() override {
    creations.fetch_add(1);
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    return new int(42);
  }
  void destroyInstance(void* instance) override {
    destructions.fetch_add(1);
    delete static_cast<int*>(instance);
  }
  int* value() const { return static_cast<int*>(instance()); }

  static std::atomic<int> creations;
  static std::atomic<int> destructions;

 private:
  const char* name_;
};
std::atomic<int> Counter::creations{0};
std::atomic<int> Counter::destructions{0};

TEST_F(SingletonTest, AutoSingletonCreatedOnceSharedAndDestroyedByTheLast) {
  Counter::creations = 0;
  Counter::destructions = 0;
  Counter first, second;
  bool created = false;
  std::thread other([&] {
    bool otherCreated = true;
    EXPECT_TRUE(second.initialize(&otherCreated));
    (void)otherCreated;
  });
  EXPECT_TRUE(first.initialize(&created));
  other.join();
  EXPECT_EQ(1, Counter::creations.load());
  ASSERT_NE(nullptr, first.value());
  EXPECT_EQ(first.value(), second.value());  // the latecomer saw the instance
  EXPECT_EQ(42, *second.value());

  EXPECT_FALSE(first.initialize(&created));  // already holds an entry
  EXPECT_FALSE(created);

  first.terminate();
  EXPECT_EQ(0, Counter::destructions.load());
  second.terminate();
  EXPECT_EQ(1, Counter::destructions.load());

  Counter third;
  EXPECT_TRUE(third.initialize(&created));
  EXPECT_TRUE(created);
  EXPECT_EQ(2, Counter::creations.load());
  third.terminate();
}

TEST_F(SingletonTest, CleanupOnlyDropsAReferenceForAnOutsider) {
  Counter::destructions = 0;
  Counter holder, outsider;
  EXPECT_TRUE(outsider.cleanupOnly());  // nothing registered: nothing to do
  ASSERT_TRUE(holder.initialize(nullptr));
  Counter second;
  ASSERT_TRUE(second.initialize(nullptr));
  EXPECT_TRUE(outsider.cleanupOnly());  // 2 -> 1
  EXPECT_EQ(0, Counter::destructions.load());
  EXPECT_TRUE(outsider.cleanupOnly());  // the last reference
  EXPECT_EQ(1, Counter::destructions.load());
  EXPECT_FALSE(holder.cleanupOnly());  // holds an entry
}

TEST_F(SingletonTest, NamelessOrLocklessInitialisationFails) {
  Counter nameless("");
  EXPECT_FALSE(nameless.initialize(nullptr));
  Counter null(nullptr);
  EXPECT_FALSE(null.cleanupOnly());

  Counter::creations = 0;
  Counter lockless("TEST.LOCKLESS");
  kxFaultArm(KX_FAULT_LOCK_CREATE, 1);
  EXPECT_FALSE(lockless.initialize(nullptr));
  EXPECT_EQ(0, Counter::creations.load());
  // No entry was left behind: a new attempt creates the instance.
  bool created = false;
  EXPECT_TRUE(lockless.initialize(&created));
  EXPECT_TRUE(created);
  lockless.terminate();
}

}  // namespace
