#include <cstdint>

#include <gtest/gtest.h>

#include "kxbstring.h"

namespace {

TEST(Format, EmptyFormatIsNullAndLiteralsAreNot) {
  EXPECT_TRUE(kxbStringFormat("").isNull());
  EXPECT_TRUE(kxbStringFormat(nullptr).isNull());
  EXPECT_STREQ("a", kxbStringFormat("a").asCstr());
  KxbString empty = kxbStringFormat("%s", static_cast<const char*>(nullptr));
  EXPECT_FALSE(empty.isNull());
  EXPECT_STREQ("", empty.asCstr());
}

TEST(Format, Conversions) {
  EXPECT_STREQ("a.b", kxbStringFormat("%s.%s", "a", "b").asCstr());
  EXPECT_STREQ("a.", kxbStringFormat("%s.%s", "a",
                                     static_cast<const char*>(nullptr)).asCstr());
  EXPECT_STREQ("-5", kxbStringFormat("%d", -5).asCstr());
  EXPECT_STREQ("-5 -6", kxbStringFormat("%ld %li", -5, -6).asCstr());
  EXPECT_STREQ("4294967295", kxbStringFormat("%lu", 4294967295u).asCstr());
  EXPECT_STREQ("18446744073709551615",
               kxbStringFormat("%llu", UINT64_MAX).asCstr());
  EXPECT_STREQ("-9223372036854775808",
               kxbStringFormat("%I64i", INT64_MIN).asCstr());
  EXPECT_STREQ("-7 8", kxbStringFormat("%lld %I64u", int64_t{-7},
                                       uint64_t{8}).asCstr());
  EXPECT_STREQ("0.5 1e+20", kxbStringFormat("%g %g", 0.5, 1e20).asCstr());
  EXPECT_STREQ("100%", kxbStringFormat("100%%").asCstr());

  KxbString name("n\xC3\xA4me", false);
  KxbString result = kxbStringFormat("%S=%d", &name, 3);
  EXPECT_STREQ("n\xC3\xA4me=3", result.asCstr());
  EXPECT_EQ(6, result.length());
  KxbString null;
  EXPECT_TRUE(kxbStringFormat("%S", &null).isNull());
  EXPECT_STREQ("x", kxbStringFormat("%Sx", &null).asCstr());
  // A lone "%S" of a string shares its body.
  EXPECT_EQ(name.asCstr(), kxbStringFormat("%S", &name).asCstr());
}

TEST(Format, UnknownConversionsAreLiteralAndTakeNoArgument) {
  EXPECT_STREQ("%5d7", kxbStringFormat("%5d%d", 7).asCstr());
  EXPECT_STREQ("%x", kxbStringFormat("%x").asCstr());
  EXPECT_STREQ("%u", kxbStringFormat("%u").asCstr());
  EXPECT_STREQ("%z", kxbStringFormat("%Iz").asCstr());
  EXPECT_STREQ("%6", kxbStringFormat("%I6").asCstr());
  EXPECT_STREQ("%lx", kxbStringFormat("%lx").asCstr());
  EXPECT_STREQ("%lx", kxbStringFormat("%llx").asCstr());
  EXPECT_STREQ("a%", kxbStringFormat("a%").asCstr());
  EXPECT_STREQ("%l", kxbStringFormat("%l").asCstr());
  EXPECT_STREQ("%c3", kxbStringFormat("%c%d", 3).asCstr());
}

}  // namespace
