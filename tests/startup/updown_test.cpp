// Library initialisation and shutdown observed from outside: results, error
// texts, log lines, handlers, and what exists afterwards.
//
// Process-wide state: every test here starts from a library that is down
// (boot level 0, no pool: the fixture hands back the pool the test program
// keeps, and gives it back afterwards) and ends with it down again, so the
// tests run in any order within one program. What the library deliberately
// never resets is accounted for: handlers stay registered for the process
// (the ones registered here ignore calls once their test is over), and the
// dependency library's loaded flag survives shutdown (no test depends on a
// second load). Environment variables a test changes are put back.
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "kx_fault.h"
#include "kxbmempool.h"
#include "kxbstartup.h"
#include "kxlog.h"
#include "np_env.h"
#include "services/kxbtextio_loader.h"
#include "startup/kxbconfigstore.h"
#include "startup/kxbglobals.h"
#include "support/log_capture.h"
#include "support/temp_dir.h"
#include "support/textio_env.h"

namespace {

namespace fs = std::filesystem;

std::string binDirectory() { return kxb_test::companionDirectory(); }

std::string hostPath() { return binDirectory() + "/kxb_startup_tests"; }

bool poolExists() {
  void* block = nullptr;
  if (!KxbMemPool::getBytes(8, &block)) return false;
  KxbMemPool::freeBytes(block);
  return true;
}

// The test program keeps a pool and logging up for every test; these tests
// need the library's own counts, so they hand the program's pool back for
// their duration.
class UpDownTest : public ::testing::Test {
 protected:
  void SetUp() override {
    while (poolExists()) {
      KxbMemPool::terminate();
      ++poolUsers_;
    }
    ASSERT_EQ(0u, kxbGetBootLevel());
  }
  void TearDown() override {
    while (kxbGetBootLevel() != 0) kxbShutdown();
    for (int i = 0; i < poolUsers_; ++i) KxbMemPool::initialize();
  }

  int poolUsers_ = 0;
};

std::vector<std::string> shutdownSteps(const kxb_test::LogCapture& capture) {
  std::vector<std::string> steps;
  for (const auto& record : capture.find("kxbShutdown", KXLOG_TRACE, "KX.Base")) {
    steps.push_back(record.text);
  }
  return steps;
}

TEST_F(UpDownTest, NestedInitialisationIsCountedAndShutdownRunsInOrder) {
  const char* error = nullptr;
  ASSERT_EQ(0, kxbInitialize(hostPath().c_str(), &error)) << error;
  EXPECT_EQ(1u, kxbGetBootLevel());
  EXPECT_TRUE(poolExists());
  EXPECT_NE(nullptr, kxbTextIO());
  EXPECT_NE(nullptr, kxbConfigOptionLock());
  EXPECT_NE(nullptr, kxbGlobals().globalMutex);
  EXPECT_NE(nullptr, kxbGlobals().singletonMutex);
  EXPECT_STREQ("", kxbStartupGetUserPath());
  // Arguments of a nested initialisation are ignored.
  EXPECT_EQ(0, kxbInitialize("bare-name", &error));

  kxb_test::LogCapture capture("KX.Base", 1);
  kxbShutdown();
  EXPECT_EQ(1u, kxbGetBootLevel());
  EXPECT_TRUE(capture.hasRecord("kxbShutdown more references"));
  EXPECT_TRUE(poolExists());

  static std::vector<std::string>* order = nullptr;
  std::vector<std::string> seen;
  order = &seen;
  // Handlers stay registered for the process: later shutdowns run them too.
  auto handler = [](void* name) {
    if (order == nullptr) return;
    order->push_back(static_cast<const char*>(name));
    // The option store still exists while handlers run; text IO too.
    order->push_back(kxbConfigOptionLock() != nullptr ? "store" : "no store");
  };
  kxbRegisterShutdownHandler(handler, const_cast<char*>("A"));
  kxbRegisterShutdownHandler(handler, const_cast<char*>("B"));

  capture.clear();
  kxbShutdown();
  EXPECT_EQ((std::vector<std::string>{
                "Entered kxbShutdown", "kxbShutdown calling depsShutdown",
                "kxbShutdown calling shutdown handlers",
                "kxbShutdown destroying config opts",
                "kxbShutdown tossing text file support",
                "kxbShutdown freeing memory pool",
                "kxbShutdown terminating message file support",
                "kxbShutdown destroying global mutex",
                "kxbShutdown destroying global singleton mutex",
                "kxbShutdown terminating kxbb"}),
            shutdownSteps(capture))
      << capture.dump();
  EXPECT_EQ((std::vector<std::string>{"B", "store", "A", "store"}), seen);
  order = nullptr;
  EXPECT_EQ(0u, kxbGetBootLevel());
  EXPECT_FALSE(poolExists());
  EXPECT_EQ(nullptr, kxbTextIO());
  EXPECT_EQ(nullptr, kxbConfigOptionLock());
  EXPECT_EQ(nullptr, kxbGlobals().globalMutex);
  EXPECT_EQ(nullptr, kxbGlobals().singletonMutex);

  // A shutdown too many does nothing and logs nothing.
  capture.clear();
  kxbShutdown();
  EXPECT_TRUE(capture.records().empty());

  // And the library comes up again.
  ASSERT_EQ(0, kxbInitialize(hostPath().c_str(), &error)) << error;
  EXPECT_TRUE(poolExists());
  EXPECT_NE(nullptr, kxbTextIO());
  kxbShutdown();
}

TEST_F(UpDownTest, ExecutablePathChecks) {
  const char* error = nullptr;
  std::string dir = binDirectory() + "/";
  std::string tooLong = dir + std::string(261 - dir.size(), 'x');
  ASSERT_EQ(261u, tooLong.size());
  EXPECT_EQ(1, kxbInitialize(tooLong.c_str(), &error));
  EXPECT_STREQ("Executable path exceeds maximum path length.", error);
  EXPECT_EQ(0u, kxbGetBootLevel());

  std::string longest = tooLong.substr(0, 260);
  EXPECT_EQ(0, kxbInitialize(longest.c_str(), &error)) << error;
  kxbShutdown();

  EXPECT_EQ(1, kxbInitialize("host", &error));
  EXPECT_STREQ("Path to executable could not be determined.", error);
  EXPECT_EQ(0u, kxbGetBootLevel());
  EXPECT_FALSE(poolExists());
  EXPECT_EQ(nullptr, kxbGlobals().globalMutex);
  EXPECT_EQ(1, kxbInitialize(nullptr, &error));
  EXPECT_EQ(0, kxbInitialize(hostPath().c_str(), &error)) << error;
  kxbShutdown();
}

// Expects initialisation from `host` to fail with `reason` (a prefix of the
// message, or the whole of it) and to leave nothing behind.
void expectCleanFailure(const std::string& host, const std::string& reason) {
  const char* error = nullptr;
  ASSERT_EQ(1, kxbInitialize(host.c_str(), &error));
  ASSERT_NE(nullptr, error);
  EXPECT_EQ(0u, std::string(error).rfind(reason, 0)) << error;
  EXPECT_EQ(0u, kxbGetBootLevel());
  EXPECT_FALSE(poolExists());
  EXPECT_EQ(nullptr, kxbTextIO());
  EXPECT_EQ(nullptr, kxbConfigOptionLock());
  EXPECT_EQ(nullptr, kxbGlobals().globalMutex);
  EXPECT_EQ(nullptr, kxbGlobals().singletonMutex);
}

TEST_F(UpDownTest, BrokenCompanionLibrariesFailCleanly) {
  kxb_test::TempDir dir;
  // No library at all: the loader's own text names the file.
  expectCleanFailure(dir.path("host"), dir.path("libkxbio311.so"));

  // A file that is not a library.
  dir.write("libkxbio311.so", "not an ELF file\n");
  expectCleanFailure(dir.path("host"), dir.path("libkxbio311.so"));

  // A library without the entry point.
  fs::copy_file(binDirectory() + "/libkxbdeps311.so", dir.path("libkxbio311.so"),
                fs::copy_options::overwrite_existing);
  expectCleanFailure(dir.path("host"),
                     "Failed to find Text IO initialize function.");

  // The text IO library without the dependency library initialises: start-up
  // reports the missing dependency later.
  fs::copy_file(binDirectory() + "/libkxbio311.so", dir.path("libkxbio311.so"),
                fs::copy_options::overwrite_existing);
  const char* error = nullptr;
  EXPECT_EQ(0, kxbInitialize(dir.path("host").c_str(), &error)) << error;
  kxbShutdown();
}

TEST_F(UpDownTest, ResourceFailuresNameTheirStep) {
  kxFaultArm(KX_FAULT_LOCK_CREATE, 1);
  expectCleanFailure(hostPath(), "Failed to create global mutex");
  kxFaultArm(KX_FAULT_LOCK_CREATE, 2);
  expectCleanFailure(hostPath(), "Failed to create singleton mutex");
  kxFaultArm(KX_FAULT_HEAP_ALLOC, 1);
  expectCleanFailure(hostPath(), "Failed to initialize KX mem pool");
  kxFaultArm(KX_FAULT_DSO_LOAD, 1);
  expectCleanFailure(hostPath(), "");
  // The option store's lock is the fourth lock made (global, singleton,
  // pool growth, store).
  kxFaultArm(KX_FAULT_LOCK_CREATE, 4);
  expectCleanFailure(hostPath(), "Failed to create config options");
  const char* error = nullptr;
  EXPECT_EQ(0, kxbInitialize(hostPath().c_str(), &error)) << error;
  kxbShutdown();
}

TEST_F(UpDownTest, MessageLocationDefaultsFromTheHome) {
  kxb_test::TempDir home;
  home.mkdir("share");
  std::string saved;
  if (const char* old = std::getenv("KAXEL_ERROR_LOCATION")) saved = old;
  const char* oldHome = std::getenv("KXEXEC_HOME");
  std::string savedHome = oldHome != nullptr ? oldHome : "";

  np_env_set("KAXEL_ERROR_LOCATION", "/already/set");
  np_env_set("KXEXEC_HOME", home.path().c_str());
  const char* error = nullptr;
  ASSERT_EQ(0, kxbInitialize(hostPath().c_str(), &error)) << error;
  EXPECT_STREQ("/already/set", std::getenv("KAXEL_ERROR_LOCATION"));
  EXPECT_FALSE(kxbErrorLocationWasSet());
  kxbShutdown();

  np_env_set("KAXEL_ERROR_LOCATION", nullptr);
  ASSERT_EQ(0, kxbInitialize(hostPath().c_str(), &error)) << error;
  EXPECT_EQ(home.path("share") + "/msg",
            std::string(std::getenv("KAXEL_ERROR_LOCATION")));
  EXPECT_TRUE(kxbErrorLocationWasSet());
  kxbShutdown();

  if (saved.empty()) {
    np_env_set("KAXEL_ERROR_LOCATION", nullptr);
  } else {
    np_env_set("KAXEL_ERROR_LOCATION", saved.c_str());
  }
  if (savedHome.empty()) {
    np_env_set("KXEXEC_HOME", nullptr);
  } else {
    np_env_set("KXEXEC_HOME", savedHome.c_str());
  }
}

TEST_F(UpDownTest, AssertionsReachEveryHandlerNewestFirst) {
  const char* error = nullptr;
  ASSERT_EQ(0, kxbInitialize(hostPath().c_str(), &error)) << error;
  static std::vector<std::string>* calls = nullptr;
  std::vector<std::string> seen;
  calls = &seen;
  auto handler = [](const char* message, const char* file, int line,
                    void* user) {
    if (calls == nullptr) return;
    calls->push_back(std::string(static_cast<const char*>(user)) + ":" +
                     message + ":" + file + ":" + std::to_string(line));
  };
  kxbRegisterAssertionHandler(handler, const_cast<char*>("first"));
  kxbRegisterAssertionHandler(handler, const_cast<char*>("second"));
  kxb_test::LogCapture capture;
  kxbAssertFailure(nullptr, "f", 3);
  EXPECT_EQ((std::vector<std::string>{"second:FAILURE:f:3", "first:FAILURE:f:3"}),
            seen);
  EXPECT_TRUE(capture.hasRecord("ASSERT f 3: FAILURE", KXLOG_ERROR, "KX.Base"));
  calls = nullptr;
  kxbShutdown();
}

}  // namespace
