// KxDataURI: the "kxd" and "kxf" splitters, builders and strings.
#include <string>

#include <gtest/gtest.h>

#include "kxburi.h"
#include "uri/uri_test_util.h"

namespace {

using kxb_test::kNull;
using kxb_test::show;
using kxb_test::text;

KxbString s(const char* t) { return KxbString(t, true); }

struct Members {
  std::string server, dataSource, sourceType, part1, part2, part3, objectName;
  bool operator==(const Members&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Members& m) {
  return out << "server=" << m.server << " dataSource=" << m.dataSource
             << " sourceType=" << m.sourceType << " part1=" << m.part1
             << " part2=" << m.part2 << " part3=" << m.part3
             << " objectName=" << m.objectName;
}

Members membersOf(KxDataURI* uri) {
  return {show(uri->getServer()),     show(uri->getDataSource()),
          show(uri->getSourceType()), show(uri->getPart1()),
          show(uri->getPart2()),      show(uri->getPart3()),
          show(uri->getObjectName())};
}

// The members as plain text, null and empty alike.
Members textOf(const Members& m) {
  auto t = [](const std::string& v) { return v == kNull ? std::string() : v; };
  return {t(m.server), t(m.dataSource), t(m.sourceType), t(m.part1), t(m.part2), t(m.part3),
          t(m.objectName)};
}

KxURIPtr<KxDataURI> parseData(const std::string& t) {
  KxURI* uri = getURIFromURIString(text(t));
  KxDataURI* data = uri != nullptr ? uri->asDataURI() : nullptr;
  if (data == nullptr && uri != nullptr) uri->release();
  return KxURIPtr<KxDataURI>(data);
}

KxURIPtr<KxDataURI> build(const char* scheme, const char* server,
                          const char* dataSource, const char* sourceType,
                          const char* part1, const char* part2,
                          const char* part3, const char* objectName) {
  return KxURIPtr<KxDataURI>(getDataURIFromComponents(
      s(scheme), s(server), s(dataSource), s(sourceType), s(part1), s(part2),
      s(part3), s(objectName)));
}

TEST(UriDataSplitter, KxdTakesSourceFromHostAndPartsFromPath) {
  const struct {
    const char* input;
    Members members;
  } cases[] = {
      {"kxd://Sales/dbo/main/Orders",
       {"", "Sales", "ODBC", "dbo", "main", kNull, "Orders"}},
      {"kxd://Sales.MYSQL/a/b/c/d/t",
       {"", "Sales", "MYSQL", "a", "b", "c/d", "t"}},
      // Paths of three bytes or fewer name nothing.
      {"kxd://Sales/abc", {"", "Sales", "ODBC", kNull, kNull, kNull, kNull}},
      {"kxd://Sales/abcd", {"", "Sales", "ODBC", kNull, kNull, kNull, "abcd"}},
      // A missing second "/" makes part3 run from the start.
      {"kxd://Sales/ab/t", {"", "Sales", "ODBC", "ab", kNull, "ab", "t"}},
      {"kxd://Sales/dbo///Orders",
       {"", "Sales", "ODBC", "dbo", kNull, kNull, "Orders"}},
      // A "." at the start of the host does not split it.
      {"kxd://.x/a/b/c", {"", ".x", "ODBC", "a", "b", kNull, "c"}},
      {"kxd://S.A.B/a/b/c", {"", "S", "A.B", "a", "b", kNull, "c"}},
      {"kxd:///a/b/c", {"", "", "ODBC", "a", "b", kNull, "c"}},
      // The host is unescaped once for the data source (the type never);
      // path members twice (as a path, then as a member).
      {"kxd://My%2520DB.T%20X/a/b/%2541bc",
       {"", "My%20DB", "T%20X", "a", "b", kNull, "Abc"}},
      {"kxf://srv.net/f1/f2/f3/f4/file",
       {"srv", "f1", "net", "f2", "f3", "f4", "file"}},
      {"kxf://srv/f1/f2/f3/f4/x/file",
       {"srv", "f1", "", "f2", "f3", "f4/x", "file"}},
      // Four bytes or fewer name nothing for "kxf".
      {"kxf://srv/abcd", {"srv", kNull, "", kNull, kNull, kNull, kNull}},
      {"kxf://srv/abcde", {"srv", kNull, "", kNull, kNull, kNull, "abcde"}},
      // With the second "/" missing, the third is looked for from index 2
      // and part2 runs from the start.
      {"kxf://srv/ab/cd", {"srv", "ab", "", kNull, "ab", kNull, "cd"}},
  };
  for (const auto& c : cases) {
    auto uri = parseData(c.input);
    ASSERT_TRUE(uri) << c.input;
    EXPECT_EQ(c.members, membersOf(uri.get())) << c.input;
    // The text comes back unchanged.
    EXPECT_EQ(c.input, show(uri->getURIString())) << c.input;

    KxbString scheme, members[7];
    ASSERT_TRUE(getDataURIComponentsFromString(
        s(c.input), &scheme, &members[1], &members[2], &members[3], &members[4],
        &members[5], &members[6], &members[0]))
        << c.input;
    EXPECT_EQ((Members{show(members[0]), show(members[1]), show(members[2]),
                       show(members[3]), show(members[4]), show(members[5]),
                       show(members[6])}),
              c.members)
        << c.input;
  }
}

TEST(UriDataSplitter, QueryAndFragmentAreDroppedAndHostAndPathRebuilt) {
  auto uri = parseData("kxd://Sales/dbo/main/Orders?x=1#f");
  ASSERT_TRUE(uri);
  EXPECT_EQ(kNull, show(uri->getQuery()));
  EXPECT_EQ(kNull, show(uri->getFragment()));
  EXPECT_EQ("kxd://Sales/dbo/main/Orders?x=1#f", show(uri->getURIString()));
  EXPECT_EQ("Orders", show(uri->getObjectName()));
  // Host and path are made from the members, the object name left out.
  EXPECT_EQ("Sales.ODBC", show(uri->getHost()));
  EXPECT_EQ("dbo/main//", show(uri->getPath()));
  EXPECT_EQ(nullptr, uri->asReposURI());
  EXPECT_EQ(uri.get(), uri->asDataURI());

  auto kxf = parseData("kxf://srv/f1/f2/f3/f4/file");
  ASSERT_TRUE(kxf);
  // "kxf" joins server and type whenever the server is set.
  EXPECT_EQ("srv.", show(kxf->getHost()));
  EXPECT_EQ("f1/f2/f3/f4/", show(kxf->getPath()));
  auto typed = parseData("kxd://Sales.MYSQL/a/b/c/d/t");
  EXPECT_EQ("Sales.MYSQL", show(typed->getHost()));
  EXPECT_EQ("a/b/c/d/", show(typed->getPath()));
}

TEST(UriDataSplitter, OtherSchemesSetOnlyTheScheme) {
  KxbString scheme, dataSource("keep"), objectName("keep");
  EXPECT_FALSE(getDataURIComponentsFromString(s("abc://h/a/b/c"), &scheme,
                                              &dataSource, nullptr, nullptr,
                                              nullptr, nullptr, &objectName,
                                              nullptr));
  EXPECT_EQ("abc", show(scheme));
  EXPECT_EQ("keep", show(dataSource));
  EXPECT_EQ("keep", show(objectName));
  EXPECT_FALSE(getDataURIComponentsFromString(s("KXD://h/a/b/c"), &scheme, nullptr,
                                              nullptr, nullptr, nullptr,
                                              nullptr, nullptr, nullptr));
  EXPECT_EQ("KXD", show(scheme));
  EXPECT_TRUE(getDataURIComponentsFromString(s("kxd://h/a/b/c"), nullptr,
                                             nullptr, nullptr, nullptr, nullptr,
                                             nullptr, nullptr, nullptr));
}

TEST(UriDataBuilder, TextFormIsChosenByTheLastNonEmptyMember) {
  const struct {
    const char* scheme;
    const char* server;
    const char* dataSource;
    const char* sourceType;
    const char* p1;
    const char* p2;
    const char* p3;
    const char* object;
    const char* expected;
  } cases[] = {
      {"kxd", "", "Sales", "", "", "", "", "", "kxd://Sales./"},
      {"kxd", "ignored", "Sales", "T", "a", "", "", "", "kxd://Sales.T/a/"},
      {"kxd", "", "Sales", "T", "", "b", "", "", "kxd://Sales.T//b/"},
      {"kxd", "", "Sales", "T", "a", "b", "c", "", "kxd://Sales.T/a/b/c/"},
      {"kxd", "", "Sales", "T", "", "", "", "o", "kxd://Sales.T////o"},
      {"kxd", "", "Sales", "T", "a", "b", "c", "o", "kxd://Sales.T/a/b/c/o"},
      {"kxd", "", "", "T", "", "", "", "", "kxd:///"},
      {"kxd", "", "", "", "a", "", "", "", "kxd:///a/"},
      {"kxd", "", "", "", "a", "b", "", "", "kxd:///a/b/"},
      {"kxd", "", "", "", "a", "b", "c", "", "kxd:///a/b/c/"},
      // The historical "%/" of this form: copied, the object name unused.
      {"kxd", "", "", "", "a", "b", "c", "o", "kxd:///a/%/b/c"},
      {"kxf", "srv", "f1", "net", "", "", "", "", "kxf://srv.net/f1/"},
      {"kxf", "srv", "", "", "", "", "", "", "kxf://srv./"},
      {"kxf", "srv", "f1", "", "f2", "", "", "", "kxf://srv./f1/f2/"},
      {"kxf", "srv", "", "net", "", "f3", "", "", "kxf://srv.net///f3/"},
      {"kxf", "srv", "f1", "net", "f2", "f3", "f4", "", "kxf://srv.net/f1/f2/f3/f4/"},
      {"kxf", "srv", "f1", "net", "f2", "f3", "f4", "x", "kxf://srv.net/f1/f2/f3/f4/x"},
      {"kxf", "", "f1", "net", "", "", "", "", "kxf:///f1/"},
      {"kxf", "", "", "", "", "", "", "", "kxf:////"},
      {"kxf", "", "f1", "", "f2", "", "", "", "kxf:///f1/f2/"},
      {"kxf", "", "f1", "", "f2", "f3", "", "", "kxf:///f1/f2/f3/"},
      {"kxf", "", "f1", "", "f2", "f3", "f4", "", "kxf:///f1/f2/f3/f4/"},
      {"kxf", "", "f1", "", "", "", "", "x", "kxf:///f1////x"},
      // Only "kxd" and "kxf", exactly, have a text.
      {"KXD", "", "Sales", "", "", "", "", "", ""},
      {"abc", "", "Sales", "", "", "", "", "", ""},
      {"", "", "Sales", "", "", "", "", "", ""},
  };
  for (const auto& c : cases) {
    auto uri = build(c.scheme, c.server, c.dataSource, c.sourceType, c.p1,
                     c.p2, c.p3, c.object);
    ASSERT_TRUE(uri);
    EXPECT_EQ(c.expected, show(uri->getURIString())) << c.expected;
  }
}

TEST(UriDataBuilder, MembersAreUnescapedAndEscapedStringsOnlyEscapeNonAscii) {
  auto uri = build("kxd", "", "My%20DB", "T%20X", "dbo", "a b", "",
                   "Caf%C3%A9 Orders");
  ASSERT_TRUE(uri);
  EXPECT_EQ("My DB", show(uri->getDataSource()));
  EXPECT_EQ("T X", show(uri->getSourceType()));
  EXPECT_EQ("Caf\xC3\xA9 Orders", show(uri->getObjectName()));
  // Host and path stay empty until a string is built.
  EXPECT_EQ(kNull, show(uri->getHost()));
  EXPECT_EQ(kNull, show(uri->getPath()));
  EXPECT_EQ("kxd://My DB.T X/dbo/a b//Caf%C3%A9 Orders",
            show(uri->getEscapedURIString()));
  EXPECT_EQ("My DB.T X", show(uri->getHost()));
  EXPECT_EQ("dbo/a b//", show(uri->getPath()));
  EXPECT_EQ("kxd://My DB.T X/dbo/a b//Caf\xC3\xA9 Orders",
            show(uri->getURIString()));
  // Without a type, "kxd" keeps the bare data source as host.
  auto plain = build("kxd", "", "Sales", "", "a", "b", "", "o");
  plain->getURIString();
  EXPECT_EQ("Sales", show(plain->getHost()));
}

TEST(UriDataBuilder, BuiltTextsParseBackToTheSameMembers) {
  const Members cases[] = {
      {"", "Sales", "MYSQL", "dbo", "main", "x/y", "Orders"},
      {"", "Sales", "", "dbo", "", "", "Orders"},
      {"", "Sales", "ODBC", "dbo", "main", "", "Orders"},
      {"", "Sales", "T", "dbo", "main", "", ""},
      {"", "Sal es", "T", "d\xC3\xB6", "m a", "", "Tabell\xC3\xA9"},
  };
  for (const Members& m : cases) {
    auto built = KxURIPtr<KxDataURI>(getDataURIFromComponents(
        s("kxd"), s(""), text(m.dataSource), text(m.sourceType), text(m.part1),
        text(m.part2), text(m.part3), text(m.objectName)));
    ASSERT_TRUE(built);
    for (const KxbString& form :
         {built->getURIString(), built->getEscapedURIString()}) {
      auto back = parseData(show(form));
      ASSERT_TRUE(back) << show(form);
      EXPECT_EQ(textOf(m), textOf(membersOf(back.get()))) << show(form);
    }
  }
  const Members kxf[] = {
      {"srv", "f1", "net", "f2", "f3", "f4", "file"},
      {"", "f1", "", "f2", "f3", "f4", "file"},
      {"srv", "f1", "", "f2", "", "", "file"},
  };
  for (const Members& m : kxf) {
    auto built = KxURIPtr<KxDataURI>(getDataURIFromComponents(
        s("kxf"), text(m.server), text(m.dataSource), text(m.sourceType),
        text(m.part1), text(m.part2), text(m.part3), text(m.objectName)));
    ASSERT_TRUE(built);
    auto back = parseData(show(built->getURIString()));
    ASSERT_TRUE(back) << show(built->getURIString());
    EXPECT_EQ(textOf(m), textOf(membersOf(back.get())))
        << show(built->getURIString());
  }
}

TEST(UriDataBuilder, AddedQueryValuesReplaceTheFirstOfTheirName) {
  auto uri = parseData("kxd://Sales/dbo/main/Orders");
  ASSERT_TRUE(uri);
  EXPECT_TRUE(uri->addQueryValue(s("a"), s("1"), nullptr));
  EXPECT_TRUE(uri->addQueryValue(s("a"), s("2"), nullptr));
  EXPECT_EQ("a=2", show(uri->getQuery()));
  // No string form of a data URI carries the query.
  EXPECT_EQ("kxd://Sales/dbo/main/Orders", show(uri->getURIString()));
  EXPECT_EQ("kxd://Sales.ODBC/dbo/main//Orders", show(uri->getEscapedURIString()));
}

}  // namespace
