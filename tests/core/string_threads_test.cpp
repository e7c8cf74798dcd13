// Strings sharing one body are copied, written and destroyed on several
// threads at once; the reference count keeps every body alive exactly as
// long as it is used. Run under the thread sanitizer preset.
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "kxbstring.h"

namespace {

TEST(StringThreads, SharedBodiesCopiedAndDroppedConcurrently) {
  KxbString original("a body shared by every thread", false);
  constexpr int kThreads = 4;
  std::vector<std::thread> threads;
  std::vector<int> mismatches(kThreads, 0);
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&original, &mismatches, t] {
      for (int i = 0; i < 2000; ++i) {
        KxbString copy = original;  // shares
        KxbString second(copy);
        if (i % 3 == 0) {
          second.append("!");  // copies before writing
          if (second.compare("a body shared by every thread!") != 0) {
            ++mismatches[t];
          }
        }
        if (i % 5 == 0) second.uppercase();
        if (copy.compare("a body shared by every thread") != 0) ++mismatches[t];
        KxbString piece = copy.mid(2, 4);
        if (piece.compare("body") != 0) ++mismatches[t];
      }
    });
  }
  for (auto& thread : threads) thread.join();
  for (int t = 0; t < kThreads; ++t) EXPECT_EQ(0, mismatches[t]) << t;
  EXPECT_STREQ("a body shared by every thread", original.asCstr());
}

TEST(StringThreads, LastOwnerOnAnotherThreadFreesTheBody) {
  std::vector<KxbString> handed;
  for (int i = 0; i < 100; ++i) {
    handed.push_back(kxbStringFormat("item %d", i));
  }
  std::vector<KxbString> copies = handed;
  std::thread other([moved = std::move(copies)]() mutable {
    for (auto& s : moved) s.append(" (other)");
    moved.clear();
  });
  handed.clear();
  other.join();
}

}  // namespace
