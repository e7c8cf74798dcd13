#include "support/fresh_process.h"

#include <cstdio>
#include <cstdlib>

#include <gtest/gtest-spi.h>

namespace kxb_test {

namespace {
// The failures of the running block, while there is one.
const ::testing::TestPartResultArray* g_results = nullptr;
}  // namespace

bool freshProcessHasFailure() {
  if (g_results == nullptr) return false;
  for (int i = 0; i < g_results->size(); ++i) {
    if (g_results->GetTestPartResult(i).failed()) return true;
  }
  return false;
}

void runInFreshProcess(const std::function<void()>& body) {
  ::testing::TestPartResultArray results;
  {
    ::testing::ScopedFakeTestPartResultReporter reporter(
        ::testing::ScopedFakeTestPartResultReporter::INTERCEPT_ALL_THREADS,
        &results);
    g_results = &results;
    body();
    g_results = nullptr;
  }
  bool failed = false;
  for (int i = 0; i < results.size(); ++i) {
    const ::testing::TestPartResult& result = results.GetTestPartResult(i);
    if (!result.failed()) continue;
    failed = true;
    std::fprintf(stderr, "\n%s:%d: Failure\n%s\n",
                 result.file_name() != nullptr ? result.file_name() : "?",
                 result.line_number(), result.message());
  }
  std::fflush(nullptr);
  std::_Exit(failed ? 1 : 0);
}

}  // namespace kxb_test
