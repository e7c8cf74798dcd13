// Runs a test scenario in a child process, for code that changes
// process-wide state for good (start-up, the library's boot level, the
// environment, safe-mode stamps):
//
//   KXB_IN_FRESH_PROCESS([&] {
//     ASSERT_EQ(0, kxbInitialize(...));
//     EXPECT_EQ(...);
//   });
//
// The child is made by fork (a GoogleTest death test): it starts with a copy
// of the test program as it stands, runs the block, and ends with exit code
// 0 when the block recorded no failure, 1 otherwise. Its failures are
// printed to its standard error, which the parent shows with the failed
// scenario (after the child's log records).
// Nothing the child changes reaches the parent or later tests.
#ifndef KXB_TESTS_SUPPORT_FRESH_PROCESS_H_
#define KXB_TESTS_SUPPORT_FRESH_PROCESS_H_

#include <gtest/gtest.h>

#include <functional>

namespace kxb_test {

// Runs `body`, prints every failure it recorded to standard error (which
// the parent shows when the scenario fails) and ends the process at once:
// exit code 1 after a failure, else 0.
[[noreturn]] void runInFreshProcess(const std::function<void()>& body);

// True inside runInFreshProcess once its block has recorded a failure
// (there ::testing::Test::HasFailure() does not see them); false elsewhere.
bool freshProcessHasFailure();

}  // namespace kxb_test

#define KXB_IN_FRESH_PROCESS(...)                                    \
  EXPECT_EXIT(::kxb_test::runInFreshProcess(__VA_ARGS__),            \
              ::testing::ExitedWithCode(0), "")

#endif  // KXB_TESTS_SUPPORT_FRESH_PROCESS_H_
