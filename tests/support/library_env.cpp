#include "support/library_env.h"

#include <gtest/gtest.h>

#include "kx_fault.h"
#include "kxbmempool.h"
#include "kxlog.h"

namespace kxb_test {
namespace {

class LibraryEnvironment : public ::testing::Environment {
 public:
  void SetUp() override {
    ASSERT_EQ(0, kxlogInitialize());
    ASSERT_TRUE(KxbMemPool::initialize());
  }
  void TearDown() override {
    KxbMemPool::terminate();
    kxlogTerminate();
  }
};

// Disarms every fault point after each test, so that one test's armed fault
// cannot hit the next.
class FaultReset : public ::testing::EmptyTestEventListener {
  void OnTestEnd(const ::testing::TestInfo&) override { kxFaultReset(); }
};

const bool g_registered = [] {
  ::testing::AddGlobalTestEnvironment(new LibraryEnvironment);
  ::testing::UnitTest::GetInstance()->listeners().Append(new FaultReset);
  return true;
}();

}  // namespace

PoolRestart::PoolRestart() : savedUsers_(0) {
  // Count the users down to zero so that the pool is really destroyed.
  while (true) {
    void* probe = nullptr;
    if (!KxbMemPool::getBytes(1, &probe)) break;
    KxbMemPool::freeBytes(probe);
    KxbMemPool::terminate();
    ++savedUsers_;
  }
  EXPECT_TRUE(KxbMemPool::initialize());
}

PoolRestart::~PoolRestart() {
  KxbMemPool::terminate();
  for (int i = 0; i < savedUsers_; ++i) EXPECT_TRUE(KxbMemPool::initialize());
}

}  // namespace kxb_test
