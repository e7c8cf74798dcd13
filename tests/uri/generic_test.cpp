// The generic URI kind, kind dispatch and native paths.
#include <string>

#include <gtest/gtest.h>

#include "kxburi.h"
#include "uri/uri_test_util.h"

namespace {

using kxb_test::kNull;
using kxb_test::show;
using kxb_test::text;

KxURIPtr<KxURI> parse(const std::string& t) {
  return KxURIPtr<KxURI>(getURIFromURIString(text(t)));
}

KxbString s(const char* t) { return KxbString(t, true); }

TEST(UriDispatch, TextsWithoutASchemeBeforeSeparatorGiveNull) {
  EXPECT_EQ(nullptr, getURIFromURIString(KxbString()));
  for (const char* bad : {"", "kxr:/x", "://x", "abc", "//host/path", "abc:/x"}) {
    EXPECT_FALSE(parse(bad)) << bad;
  }
}

TEST(UriDispatch, PrefixTestsAreCaseSensitiveAndPickTheKind) {
  auto generic = parse("KXR://h/p(T)");
  ASSERT_TRUE(generic);
  EXPECT_EQ(nullptr, generic->asReposURI());
  EXPECT_EQ(nullptr, dynamic_cast<KxReposURI*>(generic.get()));
  EXPECT_EQ("KXR", show(generic->getScheme()));
  EXPECT_EQ("p(T)", show(generic->getPath()));

  auto repos = parse("kxr://h/p(T)");
  ASSERT_TRUE(repos);
  EXPECT_EQ(dynamic_cast<KxReposURI*>(repos.get()), repos->asReposURI());
  EXPECT_NE(nullptr, repos->asReposURI());

  for (const char* data : {"kxd://s/a/b/c", "kxf://s/a/b/c/d"}) {
    auto uri = parse(data);
    ASSERT_TRUE(uri) << data;
    EXPECT_NE(nullptr, uri->asDataURI()) << data;
    EXPECT_EQ(nullptr, uri->asReposURI()) << data;
  }
  EXPECT_FALSE(parse("KXD://s/a/b/c")->asDataURI());

  auto rqs = parse("rqsref://srv/p");
  ASSERT_TRUE(rqs);
  EXPECT_NE(nullptr, dynamic_cast<KxRQSRefURI*>(rqs.get()));
  EXPECT_EQ(nullptr, rqs->asReposURI());
  EXPECT_EQ(nullptr, rqs->asDataURI());

  auto hadoop = parse("hadoop://nn/p");
  ASSERT_TRUE(hadoop);
  EXPECT_NE(nullptr, dynamic_cast<KxHadoopURI*>(hadoop.get()));
  EXPECT_EQ(nullptr, hadoop->asReposURI());
  EXPECT_EQ(nullptr, hadoop->asDataURI());
  EXPECT_EQ(nullptr, dynamic_cast<KxHadoopURI*>(parse("Hadoop://nn/p").get()));

  auto table = parse("kxwt://Orders");
  ASSERT_TRUE(table);
  EXPECT_NE(nullptr, dynamic_cast<KxWorkTableURI*>(table.get()));
  EXPECT_EQ(nullptr, table->asReposURI());
  EXPECT_EQ(nullptr, table->asDataURI());
  auto notTable = parse("KXWT://Orders");
  ASSERT_TRUE(notTable);
  EXPECT_EQ(nullptr, dynamic_cast<KxWorkTableURI*>(notTable.get()));
}

TEST(UriGenericParser, ComponentsFollowTheSearchOrder) {
  const struct {
    const char* input;
    const char* scheme;
    const char* host;
    const char* path;
    const char* query;
    const char* fragment;
  } cases[] = {
      {"abc://host/a%20b?x=1#top", "abc", "host", "a b", "x=1", "top"},
      // No "/" after the authority: nothing but the scheme.
      {"abc://host", "abc", kNull, kNull, kNull, kNull},
      {"abc://host?x#y", "abc", kNull, kNull, kNull, kNull},
      // A "#" before the first "?" stays in the path.
      {"abc://h/a#b?c", "abc", "h", "a#b", "c", kNull},
      {"abc://h/a#b", "abc", "h", "a", kNull, "b"},
      // "?" right before "#" leaves the query null; at the end it is empty.
      {"abc://h/p?#f", "abc", "h", "p", kNull, "f"},
      {"abc://h/p?", "abc", "h", "p", "", kNull},
      {"abc://h/p#", "abc", "h", "p", kNull, ""},
      {"abc://h/p?a?b#c#d", "abc", "h", "p", "a?b", "c#d"},
      {"abc:///p", "abc", kNull, "p", kNull, kNull},
      {"abc://h/", "abc", "h", "", kNull, kNull},
      // The host is never unescaped; the others are, bad escapes kept.
      {"abc://h%20x/p%zz?q=%41#%42", "abc", "h%20x", "p%zz", "q=A", "B"},
      // The scheme ends at the first ":".
      {"a:b://h/p", "a", "h", "p", kNull, kNull},
      {"abc://h/\xC3\xA9%C3%A9", "abc", "h", "\xC3\xA9\xC3\xA9", kNull, kNull},
  };
  for (const auto& c : cases) {
    auto uri = parse(c.input);
    ASSERT_TRUE(uri) << c.input;
    EXPECT_EQ(c.scheme, show(uri->getScheme())) << c.input;
    EXPECT_EQ(c.host, show(uri->getHost())) << c.input;
    EXPECT_EQ(c.path, show(uri->getPath())) << c.input;
    EXPECT_EQ(c.query, show(uri->getQuery())) << c.input;
    EXPECT_EQ(c.fragment, show(uri->getFragment())) << c.input;
    // The plain string is the text as given, however odd.
    EXPECT_EQ(c.input, show(uri->getURIString())) << c.input;
  }
}

TEST(UriGenericStrings, EscapedStringIsRebuiltFromTheComponents) {
  EXPECT_EQ("abc://host/a%20b?x=1#top",
            show(parse("abc://host/a%20b?x=1#top")->getEscapedURIString()));
  EXPECT_EQ("abc://h/a%20b", show(parse("abc://h/a b")->getEscapedURIString()));
  // Query escapes space and "?", the fragment space and "#"; "%" decoded
  // by the parser is not escaped again.
  EXPECT_EQ("abc://h/p?a%20b%3Fc#x%20y%23z",
            show(parse("abc://h/p?a b%3Fc#x y%23z")->getEscapedURIString()));
  EXPECT_EQ("abc://h/%41", show(parse("abc://h/%2541")->getEscapedURIString()));
  // Non-ASCII bytes in any component.
  EXPECT_EQ("abc://h/%C3%A9?%C3%A9#%C3%A9",
            show(parse("abc://h/\xC3\xA9?\xC3\xA9#\xC3\xA9")->getEscapedURIString()));
  // Components that are not UTF-8 are written raw.
  EXPECT_EQ("abc://h/\xFF", show(parse("abc://h/%FF")->getEscapedURIString()));
}

TEST(UriGenericStrings, BuiltObjectsWriteTheFormOfTheirSchemeAndHost) {
  auto uri = KxURIPtr<KxURI>(getURI(s("abc"), s(""), s("a b")));
  ASSERT_TRUE(uri);
  EXPECT_EQ("abc:///a b", show(uri->getURIString()));
  EXPECT_EQ("abc:///a%20b", show(uri->getEscapedURIString()));

  EXPECT_EQ("abc://h/p", show(KxURIPtr<KxURI>(getURI(s("abc"), s("h"), s("p")))->getURIString()));
  EXPECT_EQ("//h/p", show(KxURIPtr<KxURI>(getURI(s(""), s("h"), s("p")))->getURIString()));
  EXPECT_EQ("/p", show(KxURIPtr<KxURI>(getURI(KxbString(), KxbString(), s("p")))->getURIString()));
  EXPECT_EQ("/", show(KxURIPtr<KxURI>(getURI(s(""), s(""), s("")))->getURIString()));

  // The plain form leaves query and fragment out; the escaped one has them.
  auto full = KxURIPtr<KxURI>(getFullURI(s("abc"), s("h"), s("a?b#c d"), s("q 1"), s("f 2")));
  ASSERT_TRUE(full);
  EXPECT_EQ("abc://h/a?b#c d", show(full->getURIString()));
  EXPECT_EQ("abc://h/a%3Fb%23c%20d?q%201#f%202", show(full->getEscapedURIString()));

  // Backslashes become slashes; an empty path is null.
  auto back = KxURIPtr<KxURI>(getURI(s("abc"), s("h"), s("a\\b\\c")));
  EXPECT_EQ("a/b/c", show(back->getPath()));
  EXPECT_EQ(kNull, show(KxURIPtr<KxURI>(getURI(s("abc"), s("h"), s("")))->getPath()));

  // The first built text is stored: later changes do not show in it.
  auto stored = KxURIPtr<KxURI>(getURI(s("abc"), s("h"), s("p")));
  EXPECT_EQ("abc://h/p", show(stored->getURIString()));
  ASSERT_TRUE(stored->addQueryValue(s("k"), s("v"), nullptr));
  EXPECT_EQ("abc://h/p", show(stored->getURIString()));
  EXPECT_EQ("abc://h/p?k=v", show(stored->getEscapedURIString()));
}

TEST(UriGenericStrings, GetFullURIComparesSchemeWordsWithTheirOwnCaseRules) {
  auto repos = KxURIPtr<KxURI>(getFullURI(s("KxR"), s("Main"), s("a\\b"), s(""), s("")));
  ASSERT_TRUE(repos);
  ASSERT_NE(nullptr, repos->asReposURI());
  EXPECT_EQ("kxr://Main/a/b()", show(repos->getURIString()));

  auto data = KxURIPtr<KxURI>(getFullURI(s("kxd"), s("srv"), s("Sales"), s("q"), s("f")));
  ASSERT_TRUE(data);
  ASSERT_NE(nullptr, data->asDataURI());
  EXPECT_EQ("srv", show(data->asDataURI()->getServer()));
  EXPECT_EQ("Sales", show(data->asDataURI()->getDataSource()));
  EXPECT_EQ("kxd://Sales./", show(data->getURIString()));

  auto notData = KxURIPtr<KxURI>(getFullURI(s("KXD"), s("srv"), s("Sales"), s(""), s("")));
  ASSERT_TRUE(notData);
  EXPECT_EQ(nullptr, notData->asDataURI());
  EXPECT_EQ("KXD://srv/Sales", show(notData->getURIString()));

  auto rqs = KxURIPtr<KxURI>(getFullURI(s("RQSref"), s("srv"), s("a/b"), s("x=1"), s("f")));
  auto* rqsKind = dynamic_cast<KxRQSRefURI*>(rqs.get());
  ASSERT_NE(nullptr, rqsKind);
  EXPECT_EQ("rqsref", show(rqs->getScheme()));
  EXPECT_EQ("x=1", show(rqs->getQuery()));
  EXPECT_EQ(kNull, show(rqs->getFragment()));

  // "hadoop" is not built here: a generic object.
  auto hadoop = KxURIPtr<KxURI>(getFullURI(s("hadoop"), s("nn"), s("p"), s(""), s("")));
  ASSERT_TRUE(hadoop);
  EXPECT_EQ(nullptr, dynamic_cast<KxHadoopURI*>(hadoop.get()));
  EXPECT_EQ("hadoop://nn/p", show(hadoop->getURIString()));

  // "kxwt" in any case: a work table named by the path.
  auto table = KxURIPtr<KxURI>(getURI(s("KxWt"), s("host"), s("Orders")));
  auto* tableKind = dynamic_cast<KxWorkTableURI*>(table.get());
  ASSERT_NE(nullptr, tableKind);
  EXPECT_EQ("Orders", show(tableKind->getTableName()));
  EXPECT_EQ(kNull, show(table->getHost()));
  EXPECT_EQ("kxwt://Orders", show(table->getURIString()));
}

TEST(UriNativePath, HostsBecomeDoubleSlashPathsAndDrivePathsStayAsTheyAre) {
  const struct {
    const char* input;
    const char* native;
  } cases[] = {
      {"abc://srv/share/a.txt", "//srv/share/a.txt"},
      {"abc://srv/", "//srv/"},
      {"file:///tmp/x", "/tmp/x"},
      {"file:////tmp/x", "/tmp/x"},
      {"file:///", "/"},
      {"file://localhost/tmp/x", "/tmp/x"},
      {"FILE://LocalHost/tmp", "/tmp"},
      {"abc://localhost/tmp", "//localhost/tmp"},
      {"file:///C:/tmp/x", "C:/tmp/x"},
      {"file:///C:\\tmp\\x", "C:/tmp/x"},
      {"file:///c:", "c:"},
      {"file:///C:x", "/C:x"},
      {"file:///a%20b/c", "/a b/c"},
  };
  for (const auto& c : cases) {
    auto uri = parse(c.input);
    ASSERT_TRUE(uri) << c.input;
    KxbString native("stale");
    EXPECT_TRUE(getNativePath(uri.get(), &native)) << c.input;
    EXPECT_EQ(c.native, show(native)) << c.input;
  }
  auto drive = KxURIPtr<KxURI>(getURI(s("abc"), s(""), s("C:/tmp/x")));
  KxbString native;
  EXPECT_TRUE(getNativePath(drive.get(), &native));
  EXPECT_EQ("C:/tmp/x", show(native));

  EXPECT_FALSE(getNativePath(nullptr, &native));
  EXPECT_FALSE(getNativePath(drive.get(), nullptr));
}

TEST(UriGenericQuery, AddedValuesAreAppendedEvenWhenTheNameRepeats) {
  auto uri = parse("abc://h/p?a=1");
  ASSERT_TRUE(uri);
  KxbString error;
  EXPECT_TRUE(uri->addQueryValue(s("a"), s("2"), &error));
  EXPECT_TRUE(uri->addQueryValue(s("b"), s("x y&z"), &error));
  EXPECT_EQ(kNull, show(error));
  EXPECT_EQ("a=1&a=2&b=x%20y%26z", show(uri->getQuery()));
  EXPECT_EQ("abc://h/p?a=1", show(uri->getURIString()));
  EXPECT_EQ("abc://h/p?a=1&a=2&b=x%20y%26z", show(uri->getEscapedURIString()));

  auto empty = parse("abc://h/p");
  EXPECT_TRUE(empty->addQueryValue(s("k"), s(""), nullptr));
  EXPECT_EQ("k=", show(empty->getQuery()));
}

}  // namespace
