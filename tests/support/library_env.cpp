#include "support/library_env.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

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

namespace fs = std::filesystem;

// The process's open descriptors and what each one is open on.
std::map<int, std::string> openDescriptors() {
  std::map<int, std::string> fds;
  std::error_code code;
  const fs::path self = fs::read_symlink("/proc/self", code);  // our pid
  for (fs::directory_iterator it("/proc/self/fd", code), end; !code && it != end;
       it.increment(code)) {
    std::error_code linkCode;
    std::string target = fs::read_symlink(it->path(), linkCode).string();
    // The listing's own descriptor.
    if (target == "/proc/" + self.string() + "/fd") continue;
    fds[std::stoi(it->path().filename().string())] = target;
  }
  return fds;
}

// The processes whose parent is this process (running or not yet
// collected), as "pid name".
std::vector<std::string> childProcesses() {
  std::vector<std::string> children;
  std::error_code code;
  const std::string self = fs::read_symlink("/proc/self", code).string();
  for (fs::directory_iterator it("/proc", code), end; !code && it != end;
       it.increment(code)) {
    const std::string pid = it->path().filename().string();
    if (pid.empty() || pid.find_first_not_of("0123456789") != std::string::npos) continue;
    std::ifstream in(it->path() / "stat");
    std::string stat;
    if (!std::getline(in, stat)) continue;
    // "pid (name) state ppid ...": the name may hold spaces and ")".
    const size_t close = stat.rfind(')');
    if (close == std::string::npos) continue;
    std::istringstream rest(stat.substr(close + 1));
    std::string state, ppid;
    rest >> state >> ppid;
    if (ppid == self) {
      const size_t open = stat.find('(');
      children.push_back(pid + " " + stat.substr(open, close + 1 - open) + " " + state);
    }
  }
  return children;
}

// After the whole program (its environments torn down), the process holds
// no descriptor it did not hold at the start and has no child left: every
// file, pipe and process a test made was closed or collected. A child that
// is still ending is given a few seconds (background reaping).
class ProcessResourcesCheck : public ::testing::EmptyTestEventListener {
  void OnEnvironmentsSetUpStart(const ::testing::UnitTest&) override {
    atStart_ = openDescriptors();
  }
  void OnEnvironmentsTearDownEnd(const ::testing::UnitTest&) override {
    std::vector<std::string> children = childProcesses();
    for (int i = 0; i < 50 && !children.empty(); ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
      children = childProcesses();
    }
    for (const std::string& child : children) {
      ADD_FAILURE() << "child process left at the end: " << child;
    }
    for (const auto& [fd, target] : openDescriptors()) {
      auto was = atStart_.find(fd);
      if (was == atStart_.end() || was->second != target) {
        ADD_FAILURE() << "descriptor " << fd << " left open at the end: " << target;
      }
    }
  }

  std::map<int, std::string> atStart_;
};

const bool g_registered = [] {
  ::testing::AddGlobalTestEnvironment(new LibraryEnvironment);
  ::testing::UnitTest::GetInstance()->listeners().Append(new FaultReset);
  ::testing::UnitTest::GetInstance()->listeners().Append(new ProcessResourcesCheck);
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
