// KxbDatavar: raw transfer, building from text, truncation and comparison.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "kxbdatavar.h"
#include "support/assertions.h"

namespace {

std::string str(const KxbString& s) { return s.isNull() ? "<null>" : s.asCstr(); }

KxbDatavar real(const char* text) {
  KxbReal number;
  number.assign(text);
  KxbDatavar v;
  v.assign(number);
  return v;
}
KxbDatavar text(const char* s) {
  KxbDatavar v;
  v.assign(s);
  return v;
}

TEST(DatavarRaw, RawSizesOfTheFixedTypes) {
  EXPECT_EQ(1u, KxbDatavar::getRawSizeReq(Boolean));
  EXPECT_EQ(8u, KxbDatavar::getRawSizeReq(Integer));
  EXPECT_EQ(24u, KxbDatavar::getRawSizeReq(Real));
  EXPECT_EQ(8u, KxbDatavar::getRawSizeReq(Date));
  EXPECT_EQ(0u, KxbDatavar::getRawSizeReq(String));
  EXPECT_EQ(0u, KxbDatavar::getRawSizeReq(Binary));
  EXPECT_EQ(0u, KxbDatavar::getRawSizeReq(Unknown));
}

TEST(DatavarRaw, EveryRawTypeRoundTrips) {
  std::vector<KxbDatavar> sources(5);
  sources[0].assign(true);
  sources[1].assign(int64_t{-1234567890123});
  sources[2] = real("-12.345");
  sources[3].assign(KxbDate(2024, 3, 7, 9, 5, 0));
  sources[4].assign("h\xC3\xA9llo");
  for (const KxbDatavar& source : sources) {
    unsigned size = 0;
    const void* raw = source.getRaw(&size);
    ASSERT_NE(nullptr, raw);
    if (source.type() != String) {
      EXPECT_EQ(KxbDatavar::getRawSizeReq(source.type()), size);
    }
    // Through an unaligned copy, as row buffers hand them over.
    std::vector<char> buffer(size + 1);
    std::memcpy(buffer.data() + 1, raw, size);
    KxbDatavar copy;
    copy.assign(source.type(), buffer.data() + 1, size);
    EXPECT_EQ(source.type(), copy.type());
    EXPECT_EQ(0, copy.compare(source)) << str(source.asString());
    EXPECT_EQ(str(source.asString()), str(copy.asString()));
    EXPECT_EQ(source.length(), copy.length());
  }
  unsigned size = 1;
  EXPECT_EQ(nullptr, KxbDatavar().getRaw(&size));
  EXPECT_EQ(0u, size);
}

TEST(DatavarRaw, RealRawFormIsNormalAndMayBeByteSwapped) {
  const KxbDatavar a = real("100");
  const KxbDatavar b = real("1E+2");
  unsigned size = 0;
  const void* rawA = a.getRaw(&size);
  ASSERT_EQ(24u, size);
  EXPECT_EQ(0, std::memcmp(rawA, b.getRaw(&size), 24));

  // The other byte order reverses all 24 bytes.
  uint64_t swapped[3];
  std::memcpy(swapped, rawA, sizeof swapped);
  auto* bytes = reinterpret_cast<unsigned char*>(swapped);
  std::reverse(bytes, bytes + sizeof swapped);
  KxbDatavar c;
  c.assign(Real, swapped, sizeof swapped, true);
  EXPECT_EQ(0, c.compare(a));
  EXPECT_EQ("100", str(c.asString()));
}

TEST(DatavarRaw, WrongSizesLeaveZeroValues) {
  const uint64_t word = 0x0102030405060708ull;
  KxbDatavar v;
  v.assign(Integer, &word, 4);
  EXPECT_EQ(Integer, v.type());
  EXPECT_EQ(0, v.asInt64());
  v.assign(Boolean, &word, 2);
  EXPECT_EQ(Boolean, v.type());
  EXPECT_FALSE(v.asBool());
  v.assign(Date, &word, 7);
  EXPECT_EQ(Date, v.type());
  EXPECT_EQ(0.0, v.asDouble());

  // A fresh Real of the wrong size is a Real whose number is null...
  KxbDatavar r;
  r.assign(Real, &word, 8);
  EXPECT_EQ(Real, r.type());
  EXPECT_TRUE(r.isNull());
  // ...and one that held a number keeps it.
  r = real("2.5");
  r.assign(Real, &word, 8);
  EXPECT_EQ(2.5, r.asDouble());

  // Binary values are not transferred raw.
  KxbDatavar b;
  b.assign(Binary, &word, sizeof word);
  EXPECT_EQ(Binary, b.type());
  EXPECT_TRUE(b.isNull());
  unsigned size = 1;
  EXPECT_NE(nullptr, b.getRaw(&size));
  EXPECT_EQ(0u, size);

  // Nothing to store, or no such type: null.
  for (int i = 0; i < 3; ++i) {
    KxbDatavar n;
    n.assign(int64_t{3});
    if (i == 0) n.assign(Integer, nullptr, 8);
    if (i == 1) n.assign(Integer, &word, 0);
    if (i == 2) n.assign(static_cast<kxbType>(9), &word, 8);
    EXPECT_TRUE(n.isNull()) << i;
  }
}

TEST(DatavarRaw, RawStringsEndWithTheirTerminator) {
  KxbDatavar v;
  v.assign(String, "abc", 4);
  EXPECT_EQ("abc", str(v.asString()));
  EXPECT_EQ(3, v.length());
  v.assign(String, "abcd", 4);  // the last byte is the terminator
  EXPECT_EQ("abc", str(v.asString()));
  unsigned size = 0;
  EXPECT_EQ('\0', static_cast<const char*>(v.getRaw(&size))[size - 1]);
  // From its own bytes.
  v.assign("self");
  const void* raw = v.getRaw(&size);
  v.assign(String, raw, size);
  EXPECT_EQ("self", str(v.asString()));

  // Unknown keeps the bytes as they are: a value, but of no type.
  KxbDatavar u;
  u.assign(Unknown, "xyz", 3);
  EXPECT_EQ(Unknown, u.type());
  EXPECT_FALSE(u.isNull());
  EXPECT_EQ(0, std::memcmp("xyz", u.getRaw(&size), 3));
  EXPECT_EQ(3u, size);
}

TEST(DatavarRaw, BuildParsesTextIntoTheType) {
  KxbDatavar v;
  EXPECT_TRUE(v.build(Integer, "123456", 3));  // only the bytes given
  EXPECT_EQ(Integer, v.type());
  EXPECT_EQ(123, v.asInt64());
  EXPECT_FALSE(v.build(Integer, "4x", 2));
  EXPECT_EQ(Integer, v.type());
  EXPECT_EQ(0, v.asInt64());
  EXPECT_TRUE(v.build(Real, "1.5", 3));
  EXPECT_EQ(1.5, v.asDouble());
  EXPECT_TRUE(v.build(Boolean, "yes", 3));
  EXPECT_TRUE(v.asBool());
  EXPECT_TRUE(v.build(Date, "2024-03-07", 10));
  EXPECT_EQ(0, v.asDate().compare(KxbDate(2024, 3, 7, 0, 0, 0)));
  EXPECT_TRUE(v.build(Date, "abc", 3));
  EXPECT_TRUE(v.isNull());
  EXPECT_TRUE(v.build(String, "h\xC3\xA9", 3));
  EXPECT_EQ(2, v.length());
  // Unknown cannot be converted to: the text stays a String.
  EXPECT_FALSE(v.build(Unknown, "abc", 3));
  EXPECT_EQ(String, v.type());
  EXPECT_FALSE(v.build(Integer, nullptr, 3));
  EXPECT_TRUE(v.isNull());
  v.assign(1);
  EXPECT_FALSE(v.build(Integer, "1", 0));
  EXPECT_TRUE(v.isNull());
}

TEST(DatavarRaw, TruncateCutsWholeCharactersAndKeepsTheLimitAsCount) {
  const char* hello = "h\xC3\xA9llo";
  KxbDatavar v;
  v.assign(hello);
  EXPECT_TRUE(v.truncate(3, -1));
  EXPECT_EQ("h\xC3\xA9l", str(v.asString()));
  EXPECT_EQ(3, v.length());
  unsigned size = 0;
  v.getRaw(&size);
  EXPECT_EQ(5u, size);  // four bytes and the terminator

  v.assign(hello);
  EXPECT_TRUE(v.truncate(10, 2));  // "h" and half of the "é": only "h"
  EXPECT_EQ("h", str(v.asString()));
  EXPECT_EQ(10, v.length());

  // Within both limits nothing changes, and a shared record stays shared.
  v.assign(hello);
  KxbDatavar copy(v);
  const void* before = v.getRaw(&size);
  EXPECT_TRUE(copy.truncate(5, 6));
  EXPECT_EQ(before, copy.getRaw(&size));
  // Cutting a copy leaves the other holder whole.
  EXPECT_TRUE(copy.truncate(1, -1));
  EXPECT_EQ("h", str(copy.asString()));
  EXPECT_EQ(hello, str(v.asString()));
  EXPECT_EQ(5, v.length());

  KxbDatavar n;
  n.assign(int64_t{123456});
  EXPECT_TRUE(n.truncate(1, 1));  // only strings are cut
  EXPECT_EQ(123456, n.asInt64());
}

TEST(DatavarRaw, CompareOrdersValuesOfOneType) {
  kxb_test::AssertionRecorder assertions("kxbdatavar");
  const KxbDatavar none;
  EXPECT_EQ(0, none.compare(KxbDatavar()));
  EXPECT_LT(none.compare(text("")), 0);
  EXPECT_GT(text("").compare(none), 0);

  KxbDatavar f, t;
  f.assign(false);
  t.assign(true);
  EXPECT_LT(f.compare(t), 0);
  EXPECT_EQ(0, t.compare(t));

  KxbDatavar small, large;
  small.assign(int64_t{-5});
  large.assign(int64_t{1} << 40);
  EXPECT_LT(small.compare(large), 0);
  EXPECT_GT(large.compare(small), 0);

  EXPECT_LT(real("1.05").compare(real("1.5")), 0);
  EXPECT_EQ(0, real("1.50").compare(real("1.5")));

  // Strings by their bytes: no locale, no case folding.
  EXPECT_LT(text("B").compare(text("a")), 0);
  EXPECT_GT(text("\xC3\xA9").compare(text("z")), 0);
  EXPECT_LT(text("ab").compare(text("abc")), 0);

  KxbDatavar early, late;
  early.assign(KxbDate(2024, 3, 7, 9, 5, 0));
  late.assign(KxbDate(2024, 3, 7, 9, 5, 1));
  EXPECT_EQ(-1, early.compare(late));
  EXPECT_EQ(1, late.compare(early));
  EXPECT_TRUE(assertions.messages().empty());

  // Different types: an assertion, and -1 both ways.
  EXPECT_EQ(-1, text("1").compare(small));
  EXPECT_EQ(-1, small.compare(text("1")));
  ASSERT_EQ(2u, assertions.messages().size());
  EXPECT_EQ("compare type mismatch", assertions.messages()[0]);
}

TEST(DatavarRaw, LessOrdersContainers) {
  std::vector<KxbDatavar> values;
  for (const char* s : {"pear", "apple", "fig"}) values.push_back(text(s));
  values.emplace_back();  // null sorts first
  std::sort(values.begin(), values.end(), KxbDatavarLess());
  EXPECT_TRUE(values[0].isNull());
  EXPECT_EQ("apple", str(values[1].asString()));
  EXPECT_EQ("pear", str(values[3].asString()));

  std::map<KxbDatavar, int, KxbDatavarLess> counts;
  for (int64_t n : {3, 1, 3, 2, 1, 3}) {
    KxbDatavar key;
    key.assign(n);
    ++counts[key];
  }
  ASSERT_EQ(3u, counts.size());
  EXPECT_EQ(1, counts.begin()->first.asInt64());
  EXPECT_EQ(3, counts.rbegin()->second);
}

}  // namespace
