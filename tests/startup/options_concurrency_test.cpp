// Option sets used from many threads at once: readers always see whole
// values, and writers, removals and set clearing interleave safely.
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "kxbconfigoptions.h"
#include "startup/kxbconfigstore.h"

namespace {

constexpr int kRounds = 2000;

TEST(OptionsConcurrency, ReadersSeeWholeValuesWhileWritersChangeThem) {
  ASSERT_TRUE(kxbCreateConfigOptionStore());
  KxbConfigOptions* set = kxbGetConfigOptions(KxbString(""));
  ASSERT_NE(nullptr, set);
  set->setOption(KxbString("stable"), KxbString("s"));
  set->setOption(KxbString("value"), KxbString("v0-%%stable%%"));

  std::atomic<int> badReads{0};
  std::atomic<bool> done{false};
  std::vector<std::thread> threads;
  for (int w = 0; w < 2; ++w) {
    threads.emplace_back([&, w] {
      for (int i = 0; i < kRounds; ++i) {
        std::string value = "v" + std::to_string(i % 10) + "-%%stable%%";
        set->setOption(KxbString("VALUE"), KxbString(value.c_str()));
        std::string scratch = "w" + std::to_string(w) + "-" + std::to_string(i % 5);
        set->setOption(KxbString(scratch.c_str()), KxbString("x"));
        if (i % 3 == 0) set->removeOption(KxbString(scratch.c_str()));
        // Other sets come and go under the same lock.
        std::string name = "temp" + std::to_string(w);
        kxbGetConfigOptions(KxbString(name.c_str()))
            ->setOption(KxbString("k"), KxbString("v"));
        if (i % 7 == 0) kxbClearConfigOptions(KxbString(name.c_str()));
      }
    });
  }
  for (int r = 0; r < 3; ++r) {
    threads.emplace_back([&] {
      char buffer[64];
      while (!done.load()) {
        KxbString value;
        if (!set->getOption(KxbString("value"), &value, true)) ++badReads;
        std::string text = value.asCstr();
        if (text.size() != 4 || text[0] != 'v' || text.substr(2) != "-s") {
          ++badReads;
        }
        if (kxbGetOption(nullptr, "stable", buffer, sizeof buffer) != 0 ||
            std::string(buffer) != "s") {
          ++badReads;
        }
        int count = set->count();
        if (count < 2 || count > 12) ++badReads;
        KxbString key;
        for (unsigned i = 0; set->getOptionAt(i, &key, &value, true); ++i) {
          if (key.isNull()) ++badReads;
        }
      }
    });
  }
  for (int w = 0; w < 2; ++w) threads[static_cast<size_t>(w)].join();
  done.store(true);
  for (size_t i = 2; i < threads.size(); ++i) threads[i].join();

  EXPECT_EQ(0, badReads.load());
  KxbString key;
  ASSERT_TRUE(set->getOptionAt(1, &key, nullptr, false));
  EXPECT_STREQ("value", key.asCstr());  // first spelling, first place
  kxbDestroyConfigOptionStore();
}

}  // namespace
