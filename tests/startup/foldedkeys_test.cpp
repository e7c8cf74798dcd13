// The folded ASCII key index behind option-set lookups.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <string>
#include <vector>

#include "startup/kxbfoldedkeys.h"

namespace {

KxbFoldedKey key(const std::string& text) {
  return KxbFoldedKey(text.data(), text.size());
}

std::string upper(std::string text) {
  for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return text;
}

// Every length from 0 to 40 crosses the word and tail paths; bytes next to
// 'A', 'Z', 'a' and 'z' must not fold.
TEST(FoldedKey, SpellingsDifferingInCaseOnlyHashAndMatchAlike) {
  const std::string alphabet = "@AZ[`az{/0_-.Key";
  for (size_t length = 0; length <= 40; ++length) {
    std::string text;
    for (size_t i = 0; i < length; ++i) text += alphabet[(i * 7 + length) % alphabet.size()];
    std::string lowered = text;
    for (char& c : lowered) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    SCOPED_TRACE(text);
    EXPECT_TRUE(key(text).ascii());
    EXPECT_EQ(key(text).hash(), key(upper(text)).hash());
    EXPECT_TRUE(key(upper(text)).matches(lowered.data()));
    if (length > 0) {
      std::string other = lowered;
      other[length - 1] = other[length - 1] == '@' ? '`' : '@';  // '@' vs '`'
      EXPECT_FALSE(key(text).matches(other.data()));
    }
  }
  EXPECT_FALSE(key("Stra\xC3\x9F" "e").ascii());
  EXPECT_FALSE(key(std::string(20, 'a') + "\x80").ascii());
  EXPECT_NE(key("ab").hash(), key("ab ").hash());
}

TEST(FoldedKeyIndex, FindsEveryKeyAcrossGrowthRemovalAndCompaction) {
  KxbFoldedKeyIndex index;
  std::vector<std::string> keys;
  for (int i = 0; i < 3000; ++i) keys.push_back("Section" + std::to_string(i % 7) + "/Key" + std::to_string(i));
  for (size_t i = 0; i < keys.size(); ++i) index.insert(key(keys[i]), static_cast<uint32_t>(i));
  EXPECT_EQ(keys.size(), index.size());
  for (size_t i = 0; i < keys.size(); ++i) {
    ASSERT_EQ(static_cast<long>(i), index.find(key(upper(keys[i])))) << keys[i];
  }
  EXPECT_EQ(KxbFoldedKeyIndex::kAbsent, index.find(key("Section1/Key3000")));
  EXPECT_EQ(KxbFoldedKeyIndex::kAbsent, index.find(key("")));

  // Remove two thirds, always the key now at position 0 or in the middle:
  // later positions move down and the arena is compacted on the way.
  while (keys.size() > 1000) {
    size_t at = keys.size() % 2 == 0 ? 0 : keys.size() / 2;
    index.removePosition(static_cast<uint32_t>(at));
    EXPECT_EQ(KxbFoldedKeyIndex::kAbsent, index.find(key(keys[at])));
    keys.erase(keys.begin() + static_cast<long>(at));
  }
  index.removePosition(5000);  // no such position: nothing happens
  EXPECT_EQ(keys.size(), index.size());
  for (size_t i = 0; i < keys.size(); ++i) {
    ASSERT_EQ(static_cast<long>(i), index.find(key(keys[i]))) << keys[i];
  }
  index.insert(key(""), 1000);
  EXPECT_EQ(1000, index.find(key("")));
  index.clear();
  EXPECT_EQ(KxbFoldedKeyIndex::kAbsent, index.find(key(keys[0])));
  EXPECT_EQ(0u, index.size());
}

}  // namespace
