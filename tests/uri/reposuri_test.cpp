// KxReposURI and KxRQSRefURI: splitting, building, strings, navigation.
#include <string>

#include <gtest/gtest.h>

#include "kxburi.h"
#include "uri/uri_test_util.h"

namespace {

using kxb_test::kNull;
using kxb_test::show;
using kxb_test::text;

KxbString s(const char* t) { return KxbString(t, true); }

KxURIPtr<KxReposURI> parseRepos(const std::string& t) {
  KxURI* uri = getURIFromURIString(text(t));
  KxReposURI* repos = uri != nullptr ? uri->asReposURI() : nullptr;
  if (repos == nullptr && uri != nullptr) uri->release();
  return KxURIPtr<KxReposURI>(repos);
}

KxURIPtr<KxRQSRefURI> parseRQSRef(const std::string& t) {
  KxURI* uri = getURIFromURIString(text(t));
  auto* rqs = dynamic_cast<KxRQSRefURI*>(uri);
  if (rqs == nullptr && uri != nullptr) uri->release();
  return KxURIPtr<KxRQSRefURI>(rqs);
}

TEST(UriRepository, SplitsRepositoryPathAndTypeInParentheses) {
  const struct {
    const char* input;
    const char* repository;
    const char* path;
    const char* type;
    const char* name;
    bool root;
  } cases[] = {
      {"kxr://Main/Jobs/Load%20Orders(Job)", "Main", "Jobs/Load Orders", "Job",
       "Load Orders", false},
      // Without a type in parentheses the text names the root folder.
      {"kxr://Main/Jobs", "Main", "", "Folder", "", true},
      {"kxr://Main/", "Main", "", "Folder", "", true},
      // No "/" after the repository: no host at all, hence the root.
      {"kxr://Main", "", "", "Folder", "", true},
      {"kxr://Main/(Job)", "Main", "", "Job", "", false},
      {"kxr://Main/(Folder)", "Main", "", "Folder", "", true},
      {"kxr://Main/a()", "Main", "a", "", "a", false},
      // The last "(" and ")" delimit the type.
      {"kxr://Main/f(x)(Job)", "Main", "f(x)", "Job", "f(x)", false},
      {"kxr://Main/a)b(c", "Main", "a)b", "", "a)b", false},
      // The repository is unescaped once, the name twice, the type not.
      {"kxr://My%20Repo/a%2520b(J%2520b)", "My Repo", "a b", "J%20b", "a b",
       false},
      {"kxr://Main/a/b/c(T)", "Main", "a/b/c", "T", "c", false},
  };
  for (const auto& c : cases) {
    auto uri = parseRepos(c.input);
    ASSERT_TRUE(uri) << c.input;
    EXPECT_EQ(c.repository, show(uri->getRepository())) << c.input;
    EXPECT_EQ(c.repository, show(uri->getHost())) << c.input;
    EXPECT_EQ(c.path, show(uri->getPath())) << c.input;
    EXPECT_EQ(c.type, show(uri->getObjectType())) << c.input;
    EXPECT_EQ(c.name, show(uri->getName())) << c.input;
    EXPECT_EQ(c.root, uri->isRootFolder()) << c.input;
    EXPECT_EQ(c.input, show(uri->getURIString())) << c.input;
    EXPECT_EQ(uri.get(), uri->asReposURI());
    EXPECT_EQ(nullptr, uri->asDataURI());
  }

  KxbString scheme, repository, path, type;
  EXPECT_FALSE(getPathURLComponentsFromString(s("abc://M/x(T)"), &scheme,
                                              &repository, &path, &type));
  EXPECT_EQ("abc", show(scheme));
  EXPECT_EQ(kNull, show(repository));
  EXPECT_FALSE(getPathURLComponentsFromString(s("KXR://M/x(T)"), &scheme,
                                              nullptr, nullptr, nullptr));
  EXPECT_TRUE(getPathURLComponentsFromString(s("kxr://M/x%20y(T)"), &scheme,
                                             &repository, &path, &type));
  EXPECT_EQ("kxr", show(scheme));
  EXPECT_EQ("M", show(repository));
  EXPECT_EQ("x y", show(path));
  EXPECT_EQ("T", show(type));
}

TEST(UriRepository, QueryAndFragmentAreKeptButNeverWritten) {
  auto uri = parseRepos("kxr://Main/a(Job)?x=1#f");
  ASSERT_TRUE(uri);
  EXPECT_EQ("x=1", show(uri->getQuery()));
  EXPECT_EQ("f", show(uri->getFragment()));
  EXPECT_EQ("a", show(uri->getPath()));
  EXPECT_EQ("kxr://Main/a(Job)", show(uri->getEscapedURIString()));
  EXPECT_EQ("kxr:///a(Job)", show(uri->getPathURIString()));
  EXPECT_TRUE(uri->addQueryValue(s("x"), s("2"), nullptr));
  EXPECT_EQ("x=2", show(uri->getQuery()));
  EXPECT_EQ("kxr://Main/a(Job)?x=1#f", show(uri->getURIString()));
}

TEST(UriRepository, BuilderUnescapesConvertsBackslashesAndKeepsTheType) {
  auto uri = KxURIPtr<KxReposURI>(
      getReposURIFromComponents(s("Main"), s("Jobs\\Daily"), s("")));
  ASSERT_TRUE(uri);
  EXPECT_EQ("kxr://Main/Jobs/Daily()", show(uri->getURIString()));
  EXPECT_EQ("kxr", show(uri->getScheme()));
  EXPECT_FALSE(uri->isRootFolder());

  auto escaped = KxURIPtr<KxReposURI>(getReposURIFromComponents(
      s("My%20Repo"), s("Caf%C3%A9/Load Orders"), s("Job")));
  ASSERT_TRUE(escaped);
  EXPECT_EQ("My Repo", show(escaped->getRepository()));
  EXPECT_EQ("kxr://My Repo/Caf\xC3\xA9/Load Orders(Job)",
            show(escaped->getURIString()));
  // Only non-ASCII bytes are escaped.
  EXPECT_EQ("kxr://My Repo/Caf%C3%A9/Load Orders(Job)",
            show(escaped->getEscapedURIString()));
  EXPECT_EQ("kxr:///Caf\xC3\xA9/Load Orders(Job)",
            show(escaped->getPathURIString()));

  auto root = KxURIPtr<KxReposURI>(getReposURIFromComponents(s("M"), s(""), s("Folder")));
  EXPECT_EQ(kNull, show(root->getPath()));
  EXPECT_TRUE(root->isRootFolder());
  EXPECT_EQ("", show(root->getUnusedComponent()));
}

TEST(UriRepository, BuiltTextsParseBackToTheSameComponents) {
  const struct {
    const char* repository;
    const char* path;
    const char* type;
  } cases[] = {
      {"Main", "Jobs/Daily Load", "Job"},
      {"Main", "a", "Folder"},
      {"R", "x/y/z", "Data Set"},
      {"R\xC3\xA9", "d\xC3\xB6/f", "T"},
  };
  for (const auto& c : cases) {
    auto built = KxURIPtr<KxReposURI>(
        getReposURIFromComponents(s(c.repository), s(c.path), s(c.type)));
    ASSERT_TRUE(built);
    for (const KxbString& form :
         {built->getURIString(), built->getEscapedURIString()}) {
      auto back = parseRepos(show(form));
      ASSERT_TRUE(back) << show(form);
      EXPECT_EQ(c.repository, show(back->getRepository())) << show(form);
      EXPECT_EQ(c.path, show(back->getPath())) << show(form);
      EXPECT_EQ(c.type, show(back->getObjectType())) << show(form);
    }
  }
}

TEST(UriRepository, NavigationWalksUpToTheRootFolder) {
  auto uri = parseRepos("kxr://Main/Jobs/Load%20Orders(Job)");
  ASSERT_TRUE(uri);
  KxURIPtr<KxReposURI> parent(uri->getParent());
  ASSERT_TRUE(parent);
  EXPECT_EQ("kxr://Main/Jobs(Folder)", show(parent->getURIString()));
  EXPECT_EQ("Jobs", show(parent->getName()));
  EXPECT_FALSE(parent->isRootFolder());

  // "Jobs" has no "/": its parent is the root.
  KxURIPtr<KxReposURI> top(parent->getParent());
  ASSERT_TRUE(top);
  EXPECT_EQ(kNull, show(top->getPath()));
  EXPECT_TRUE(top->isRootFolder());
  EXPECT_EQ("kxr://Main/(Folder)", show(top->getURIString()));
  EXPECT_EQ(nullptr, top->getParent());

  KxURIPtr<KxReposURI> root(uri->getRoot());
  ASSERT_TRUE(root);
  EXPECT_TRUE(root->isRootFolder());
  EXPECT_EQ("Main", show(root->getRepository()));
  EXPECT_EQ("kxr:///(Folder)", show(root->getPathURIString()));

  // A "/" at the very start does not split the path.
  auto slash = KxURIPtr<KxReposURI>(getReposURIFromComponents(s("M"), s("/abc"), s("T")));
  EXPECT_EQ("/abc", show(slash->getName()));
  KxURIPtr<KxReposURI> slashParent(slash->getParent());
  ASSERT_TRUE(slashParent);
  EXPECT_TRUE(slashParent->isRootFolder());
}

TEST(UriServerReference, QueryKeysNameAndPathString) {
  const char* text = "rqsref://srv1/services/batch?ObjectType=job&ServiceType=batch";
  auto uri = parseRQSRef(text);
  ASSERT_TRUE(uri);
  EXPECT_EQ("rqsref", show(uri->getScheme()));
  EXPECT_EQ("srv1", show(uri->getServer()));
  EXPECT_EQ("services/batch", show(uri->getPath()));
  EXPECT_EQ("job", show(uri->getObjectType()));
  EXPECT_EQ("batch", show(uri->getServiceType()));
  EXPECT_EQ("batch", show(uri->getName()));
  EXPECT_EQ("rqsref:///services/batch?ObjectType=job&ServiceType=batch",
            show(uri->getPathURIString()));
  EXPECT_EQ(text, show(uri->getURIString()));
  EXPECT_EQ(nullptr, uri->asReposURI());
  EXPECT_EQ(nullptr, uri->asDataURI());

  // Keys match exactly; a repeated key keeps its last value (the handler
  // holds one pair per name); absent keys give null.
  auto other = parseRQSRef("rqsref://s/p?objecttype=a&ObjectType=b&ObjectType=c%20d");
  EXPECT_EQ("c d", show(other->getObjectType()));
  EXPECT_EQ(kNull, show(other->getServiceType()));
  auto none = parseRQSRef("rqsref://s/p");
  EXPECT_EQ(kNull, show(none->getObjectType()));
  EXPECT_EQ(kNull, show(none->getServiceType()));
  EXPECT_EQ("rqsref:///p", show(none->getPathURIString()));
}

TEST(UriServerReference, BuiltObjectsWriteTheQueryOnlyInTheEscapedForm) {
  auto uri = KxURIPtr<KxRQSRefURI>(getRQSRefURIFromComponents(s("srv1"), s("a/b"), s("x=1")));
  ASSERT_TRUE(uri);
  EXPECT_EQ("rqsref://srv1/a/b", show(uri->getURIString()));
  EXPECT_EQ("rqsref://srv1/a/b?x=1", show(uri->getEscapedURIString()));

  auto escaped = KxURIPtr<KxRQSRefURI>(getRQSRefURIFromComponents(
      s("s%201"), s("a b?c%23"), s("n=a%20b&m=c d")));
  ASSERT_TRUE(escaped);
  EXPECT_EQ("s 1", show(escaped->getServer()));
  EXPECT_EQ("a b?c#", show(escaped->getPath()));
  EXPECT_EQ("n=a%20b&m=c d", show(escaped->getQuery()));
  // Pairs are re-escaped one by one; the path escapes space, "?" and "#".
  EXPECT_EQ("rqsref://s 1/a%20b%3Fc%23?n=a%20b&m=c%20d",
            show(escaped->getEscapedURIString()));

  auto fragment = parseRQSRef("rqsref://s/p#x y");
  EXPECT_EQ("rqsref://s/p#x%20y", show(fragment->getEscapedURIString()));

  auto noQuery = KxURIPtr<KxRQSRefURI>(getRQSRefURIFromComponents(s("s"), s("p"), s("")));
  EXPECT_EQ(kNull, show(noQuery->getQuery()));
}

TEST(UriServerReference, EscapedStringsParseBackToTheSameComponents) {
  auto built = KxURIPtr<KxRQSRefURI>(getRQSRefURIFromComponents(
      s("srv1"), s("a b/c"), s("ObjectType=job&x=1")));
  ASSERT_TRUE(built);
  auto back = parseRQSRef(show(built->getEscapedURIString()));
  ASSERT_TRUE(back);
  EXPECT_EQ("srv1", show(back->getServer()));
  EXPECT_EQ("a b/c", show(back->getPath()));
  EXPECT_EQ("ObjectType=job&x=1", show(back->getQuery()));
  EXPECT_EQ("job", show(back->getObjectType()));
}

TEST(UriServerReference, ParentAndSplitterAndAddedValues) {
  auto uri = parseRQSRef("rqsref://s/a/b/c?x=1#f");
  ASSERT_TRUE(uri);
  KxURIPtr<KxRQSRefURI> parent(uri->getParent());
  ASSERT_TRUE(parent);
  EXPECT_EQ("rqsref://s/a/b", show(parent->getURIString()));
  EXPECT_EQ(kNull, show(parent->getQuery()));
  EXPECT_EQ(kNull, show(parent->getFragment()));
  KxURIPtr<KxRQSRefURI> top(KxURIPtr<KxRQSRefURI>(parent->getParent())->getParent());
  ASSERT_TRUE(top);
  EXPECT_EQ(kNull, show(top->getPath()));
  EXPECT_EQ(nullptr, top->getParent());

  // The splitter takes any scheme.
  KxbString server, path, query, fragment;
  EXPECT_TRUE(getRQSRefURIComponentsFromString(s("abc://h/p%20q?a=1#z"), &server,
                                               &path, &query, &fragment));
  EXPECT_EQ("h", show(server));
  EXPECT_EQ("p q", show(path));
  EXPECT_EQ("a=1", show(query));
  EXPECT_EQ("z", show(fragment));
  EXPECT_TRUE(getRQSRefURIComponentsFromString(s("x"), nullptr, nullptr,
                                               nullptr, nullptr));
  // The generic parser looks for the "//" anywhere after the ":".
  EXPECT_TRUE(getRQSRefURIComponentsFromString(s("abc:x//h/p"), &server, &path,
                                               &query, &fragment));
  EXPECT_EQ("h", show(server));
  EXPECT_EQ("p", show(path));
  EXPECT_EQ(kNull, show(query));

  auto keyed = parseRQSRef("rqsref://s/p?ObjectType=a");
  KxbString error;
  EXPECT_TRUE(keyed->addQueryValue(s("ObjectType"), s("b"), &error));
  EXPECT_TRUE(keyed->addQueryValue(s("ServiceType"), s("c"), &error));
  EXPECT_EQ("b", show(keyed->getObjectType()));
  EXPECT_EQ("c", show(keyed->getServiceType()));
  EXPECT_EQ("rqsref://s/p?ObjectType=a", show(keyed->getURIString()));
}

}  // namespace
