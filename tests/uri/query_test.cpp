// KxURIQueryHandler: parsing, the duplicates rule and the query text.
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "kx_fault.h"
#include "kxburi.h"
#include "uri/uri_test_util.h"

namespace {

using kxb_test::kNull;
using kxb_test::show;
using kxb_test::text;
using Pairs = std::vector<std::pair<std::string, std::string>>;
using Handler = KxURIPtr<KxURIQueryHandler>;

Pairs pairsOf(const KxURIQueryHandler& handler) {
  Pairs pairs;
  KxbString name;
  KxbString value;
  for (int i = 0; handler.getValueAt(i, &name, &value); ++i) {
    pairs.emplace_back(show(name), show(value));
  }
  EXPECT_EQ(static_cast<int>(pairs.size()), handler.getCount());
  return pairs;
}

Pairs parsed(const std::string& query, bool allowDuplicates = true) {
  Handler handler(getURIQueryHandler(text(query), allowDuplicates));
  if (!handler) {
    ADD_FAILURE() << "no handler for " << query;
    return {};
  }
  return pairsOf(*handler);
}

KxbString s(const char* t) { return KxbString(t, true); }

TEST(UriQueryHandler, ParseSkipsEmptyAndNamelessSegments) {
  EXPECT_EQ((Pairs{{"a", "1"}, {"b", "2"}}), parsed("a=1&&b=2"));
  EXPECT_EQ((Pairs{{"a", "1"}}), parsed("&a=1"));
  EXPECT_EQ((Pairs{{"a", "1"}}), parsed("=x&a=1"));
  EXPECT_EQ((Pairs{{"a", "1"}}), parsed("a=1&"));
  EXPECT_EQ((Pairs{}), parsed("a"));
  EXPECT_EQ((Pairs{}), parsed("&&&"));
  EXPECT_EQ((Pairs{}), parsed(""));
  EXPECT_EQ((Pairs{{"a", ""}}), parsed("a="));
  EXPECT_EQ((Pairs{{"a", "b=c"}}), parsed("a=b=c"));
  // The "=" of a later segment makes a name spanning the "&" with an empty
  // value; the later segment is read on its own as well.
  EXPECT_EQ((Pairs{{"a&b", ""}, {"b", "c"}}), parsed("a&b=c"));
  EXPECT_EQ((Pairs{{"x", "A b"}}), parsed("x=%41%20b"));
  EXPECT_EQ((Pairs{{"n m", "&="}}), parsed("n%20m=%26%3D"));
}

TEST(UriQueryHandler, ToStringEscapesNamesAndValuesAndReadsBack) {
  Handler handler(getURIQueryHandler(s("x=%41%20b"), false));
  ASSERT_TRUE(handler);
  EXPECT_EQ("x=A%20b", show(handler->toString()));

  Handler built(getURIQueryHandler(KxbString(), true));
  ASSERT_TRUE(built);
  EXPECT_EQ("", show(built->toString()));
  ASSERT_TRUE(built->addValue(s("k&="), s("v=1&w#2 %")));
  ASSERT_TRUE(built->addValue(s(""), s("v")));
  ASSERT_TRUE(built->addValue(s("n"), s("")));
  ASSERT_TRUE(built->addValue(s("\xC3\xA9"), s("\xFF")));
  const KxbString query = built->toString();
  EXPECT_EQ("k%26%3D=v%3D1%26w%232%20%&=v&n=&%C3%A9=\xFF", show(query));

  Handler back(getURIQueryHandler(query, true));
  ASSERT_TRUE(back);
  // The nameless pair is skipped on reading; "%" followed by "&" stays.
  EXPECT_EQ((Pairs{{"k&=", "v=1&w#2 %"}, {"n", ""}, {"\xC3\xA9", "\xFF"}}),
            pairsOf(*back));
}

TEST(UriQueryHandler, DuplicatesAreAppendedOrReplaceTheFirstMatch) {
  Handler unique(getURIQueryHandler(s("a=1&b=2&a=3"), false));
  ASSERT_TRUE(unique);
  // Already while parsing, the second "a" replaced the first's value.
  EXPECT_EQ((Pairs{{"a", "3"}, {"b", "2"}}), pairsOf(*unique));
  EXPECT_TRUE(unique->addValue(s("b"), s("4")));
  EXPECT_TRUE(unique->addValue(s("B"), s("5")));  // names are case-sensitive
  EXPECT_EQ((Pairs{{"a", "3"}, {"b", "4"}, {"B", "5"}}), pairsOf(*unique));

  Handler many(getURIQueryHandler(s("a=1"), true));
  ASSERT_TRUE(many);
  EXPECT_TRUE(many->addValue(s("a"), s("2")));
  EXPECT_EQ("a=1&a=2", show(many->toString()));
  EXPECT_EQ(2, many->getCount());
}

TEST(UriQueryHandler, GetValueAtOutOfRangeLeavesTheOutputsAlone) {
  Handler handler(getURIQueryHandler(s("a=1"), true));
  ASSERT_TRUE(handler);
  KxbString name("keep");
  KxbString value("keep");
  EXPECT_FALSE(handler->getValueAt(-1, &name, &value));
  EXPECT_FALSE(handler->getValueAt(1, &name, &value));
  EXPECT_EQ("keep", show(name));
  EXPECT_EQ("keep", show(value));
  EXPECT_TRUE(handler->getValueAt(0, nullptr, &value));
  EXPECT_EQ("1", show(value));

  Handler empty(getURIQueryHandler(KxbString(), true));
  EXPECT_FALSE(empty->getValueAt(0, &name, &value));
  EXPECT_EQ(0, empty->getCount());
}

TEST(UriQueryHandler, ParseOnAFilledHandlerAddsToIt) {
  Handler handler(getURIQueryHandler(s("a=1"), false));
  ASSERT_TRUE(handler);
  EXPECT_TRUE(handler->parse(s("b=2&a=9")));
  EXPECT_EQ((Pairs{{"a", "9"}, {"b", "2"}}), pairsOf(*handler));
  EXPECT_TRUE(handler->parse(s("nothing")));
  EXPECT_EQ(2, handler->getCount());
}

TEST(UriQueryHandler, RunningOutOfMemoryGivesNullOrFalseAndKeepsTheList) {
  kxFaultArm(KX_FAULT_POOL_ALLOC, 1);
  EXPECT_EQ(nullptr, getURIQueryHandler(s("a=1"), true));

  // Failing inside the parse: no half-read handler comes back.
  bool sawNull = false;
  for (int n = 2; n < 30; ++n) {
    kxFaultArm(KX_FAULT_POOL_ALLOC, n);
    Handler handler(getURIQueryHandler(s("a=%41&b=2&c=3"), true));
    kxFaultArm(KX_FAULT_POOL_ALLOC, 0);
    if (!handler) {
      sawNull = true;
      continue;
    }
    EXPECT_EQ((Pairs{{"a", "A"}, {"b", "2"}, {"c", "3"}}), pairsOf(*handler)) << n;
  }
  EXPECT_TRUE(sawNull);

  Handler handler(getURIQueryHandler(s("a=1"), true));
  ASSERT_TRUE(handler);
  kxFaultArm(KX_FAULT_POOL_ALLOC, 1);
  EXPECT_FALSE(handler->addValue(s("b"), s("2")));
  kxFaultArm(KX_FAULT_POOL_ALLOC, 0);
  EXPECT_EQ((Pairs{{"a", "1"}}), pairsOf(*handler));

  handler->addValue(s("long"), text(std::string(300, 'v') + " "));
  for (int n = 1; n < 20; ++n) {
    kxFaultArm(KX_FAULT_POOL_ALLOC, n);
    KxbString query = handler->toString();
    kxFaultArm(KX_FAULT_POOL_ALLOC, 0);
    if (!query.isNull()) {
      EXPECT_EQ("a=1&long=" + std::string(300, 'v') + "%20", show(query)) << n;
    }
  }
  EXPECT_NE(kNull, show(handler->toString()));
}

}  // namespace
