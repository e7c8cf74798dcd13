// Test helpers around the library's process-wide registries.
//
// AssertionRecorder collects the assertions raised while it lives, for one
// source unit (or all when `unit` is null):
//
//   kxb_test::AssertionRecorder raised("kxbsingleton");
//   ... code under test ...
//   EXPECT_EQ((std::vector<std::string>{"bad id"}), raised.messages());
//
// SingletonRegistryScope makes the singleton registry's mutex for its
// lifetime when library initialisation has not (tests that use singletons
// without initialising the whole library).
#ifndef KXB_TESTS_SUPPORT_ASSERTIONS_H_
#define KXB_TESTS_SUPPORT_ASSERTIONS_H_

#include <mutex>
#include <string>
#include <vector>

namespace kxb_test {

class AssertionRecorder {
 public:
  explicit AssertionRecorder(const char* unit = nullptr);
  ~AssertionRecorder();
  AssertionRecorder(const AssertionRecorder&) = delete;
  AssertionRecorder& operator=(const AssertionRecorder&) = delete;

  std::vector<std::string> messages() const;

 private:
  static void onAssertion(const char* message, const char* file, int line,
                          void* userData);

  std::string unit_;
  bool allUnits_;
  mutable std::mutex mutex_;
  std::vector<std::string> messages_;
  AssertionRecorder* outer_;
};

class SingletonRegistryScope {
 public:
  SingletonRegistryScope();
  ~SingletonRegistryScope();
  SingletonRegistryScope(const SingletonRegistryScope&) = delete;
  SingletonRegistryScope& operator=(const SingletonRegistryScope&) = delete;

 private:
  bool owns_;
};

}  // namespace kxb_test

#endif  // KXB_TESTS_SUPPORT_ASSERTIONS_H_
