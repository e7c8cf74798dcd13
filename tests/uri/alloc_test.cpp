// Running out of memory at every allocation of every URI operation: each
// gives a null object, a null string or false, never a crash or an object
// with some components missing.
#include <functional>
#include <string>

#include <gtest/gtest.h>

#include "kx_fault.h"
#include "kxburi.h"
#include "uri/uri_test_util.h"

namespace {

using kxb_test::describe;
using kxb_test::show;
using kxb_test::text;

KxbString s(const char* t) { return KxbString(t, true); }

// Long enough for the unescaping work buffer to leave the stack.
const std::string kLongSegment(600, 'x');

// Every operation here needs fewer pool allocations than this, so the last
// run with a fault armed at this count must succeed.
constexpr int kRuns = 400;

// Runs `make` with the n-th pool allocation failing, for n = 1 .. kRuns.
// Each result must be null or describe as the result made with no fault
// does. Returns how many runs gave null.
int failEachAllocation(const std::function<KxURI*()>& make) {
  KxURIPtr<KxURI> reference(make());
  EXPECT_TRUE(reference);
  if (!reference) return 0;
  const std::string expected = describe(reference.get());
  int nulls = 0;
  bool lastMade = false;
  for (int n = 1; n <= kRuns; ++n) {
    kxFaultArm(KX_FAULT_POOL_ALLOC, n);
    KxURIPtr<KxURI> uri(make());
    kxFaultArm(KX_FAULT_POOL_ALLOC, 0);
    lastMade = static_cast<bool>(uri);
    if (!uri) {
      ++nulls;
    } else {
      EXPECT_EQ(expected, describe(uri.get())) << "allocation " << n;
    }
  }
  EXPECT_TRUE(lastMade);
  return nulls;
}

TEST(UriAllocationFailure, ParsingEveryKindGivesNullOrTheWholeObject) {
  const std::string texts[] = {
      "abc://host/a%20b?x=1#top",
      "abc://host/" + kLongSegment + "?q=" + kLongSegment,
      "kxd://Sales.MYSQL/a/b/c/d/t",
      "kxf://srv.net/f1/f2/f3/f4/file",
      "kxd://S/" + kLongSegment + "/b/c",
      "kxr://Main/Jobs/Load%20Orders(Job)?x=1#f",
      "rqsref://srv1/services/batch?ObjectType=job&ServiceType=batch#f",
      "hadoop://nn:8020/p?kxUser=u&kxPass=s%26t&kxBufSz=12",
      "kxwt://Orders?name=String'O%27Brien',x#start=1,count=2",
  };
  for (const std::string& t : texts) {
    int nulls = failEachAllocation([&t] { return getURIFromURIString(text(t)); });
    EXPECT_GT(nulls, 0) << t;
  }
}

TEST(UriAllocationFailure, BuildingEveryKindGivesNullOrTheWholeObject) {
  const std::function<KxURI*()> makers[] = {
      [] { return getFullURI(s("abc"), s("h"), s("a\\b c"), s("q"), s("f")); },
      [] {
        return getDataURIFromComponents(s("kxd"), s(""), s("Sales%20A"), s("T"),
                                        s("a"), s("b"), s("c"), s("o"));
      },
      [] {
        return getDataURIFromComponents(s("kxf"), s("srv"), s("f1"), s("net"),
                                        s("f2"), s(""), s(""), s("x"));
      },
      [] { return getReposURIFromComponents(s("Main"), s("Jobs\\Daily"), s("Job")); },
      [] { return getRQSRefURIFromComponents(s("srv"), s("a/b"), s("ObjectType=j")); },
      [] {
        return getHadoopURIFromComponents(s("nn"), 8020, s("a b"), s("c"), s("u"),
                                          s("p&w"), s("d"), 64, nullptr);
      },
      [] { return getWorkTableURIFromComponents(s("Orders"), 5, 10); },
  };
  for (const auto& make : makers) EXPECT_GT(failEachAllocation(make), 0);
}

// Runs `operation` with the n-th allocation failing for n = 1 .. kRuns;
// each result must be `failed` or equal to the undisturbed result.
void failEachAllocationOf(const std::function<std::string()>& operation,
                          const std::string& failed) {
  const std::string expected = operation();
  ASSERT_NE(failed, expected);
  int failures = 0;
  std::string result;
  for (int n = 1; n <= kRuns; ++n) {
    kxFaultArm(KX_FAULT_POOL_ALLOC, n);
    result = operation();
    kxFaultArm(KX_FAULT_POOL_ALLOC, 0);
    if (result == failed) {
      ++failures;
    } else {
      EXPECT_EQ(expected, result) << "allocation " << n;
    }
  }
  EXPECT_GT(failures, 0);
  EXPECT_EQ(expected, result);
}

TEST(UriAllocationFailure, StringsNavigationAndMaskingFailCleanly) {
  const char* kNullText = kxb_test::kNull;
  failEachAllocationOf(
      [] {
        KxURIPtr<KxURI> uri(getDataURIFromComponents(
            s("kxd"), s(""), s("Sales"), s("T"), s("a\xC3\xA9"), s("b"), s(""), s("o")));
        if (!uri) return std::string(kxb_test::kNull);
        const KxbString plain = uri->getURIString();
        const KxbString escaped = uri->getEscapedURIString();
        if (plain.isNull() || escaped.isNull()) return std::string(kxb_test::kNull);
        return show(plain) + " " + show(escaped);
      },
      kNullText);
  KxURIPtr<KxURI> data(getDataURIFromComponents(s("kxd"), s(""), s("Sales"), s("T"),
                                                s("a\xC3\xA9"), s("b"), s(""), s("o")));
  failEachAllocationOf([&] { return show(data->getEscapedURIString()); }, kNullText);

  KxURIPtr<KxURI> repos(getURIFromURIString(s("kxr://Main/a/b/c(Job)")));
  failEachAllocationOf(
      [&] {
        KxURIPtr<KxReposURI> parent(repos->asReposURI()->getParent());
        return parent ? show(parent->getURIString()) : std::string(kxb_test::kNull);
      },
      kNullText);
  failEachAllocationOf([&] { return show(repos->asReposURI()->getPathURIString()); },
                       kNullText);

  KxURIPtr<KxURI> rqs(getURIFromURIString(s("rqsref://s/a b/c?ObjectType=x y#f g")));
  failEachAllocationOf([&] { return show(rqs->getEscapedURIString()); }, kNullText);

  failEachAllocationOf(
      [] { return show(getMaskedHadoopURIString(s("hadoop://n/p?kxPass=x&a=b"))); },
      kNullText);

  KxbString native;
  KxURIPtr<KxURI> file(getURIFromURIString(s("file:///tmp/a%20b")));
  failEachAllocationOf(
      [&] {
        return getNativePath(file.get(), &native) ? show(native) : std::string(kNullText);
      },
      kNullText);
}

TEST(UriAllocationFailure, AddQueryValueFailsWithoutChangingTheQuery) {
  for (const char* t : {"abc://h/p?a=1", "kxd://S/a/b/c", "kxr://M/a(T)",
                        "rqsref://s/p?a=1", "hadoop://n/p?a=1"}) {
    int failures = 0;
    bool ok = false;
    for (int n = 1; n <= kRuns; ++n) {
      KxURIPtr<KxURI> uri(getURIFromURIString(s(t)));
      ASSERT_TRUE(uri) << t;
      const std::string before = show(uri->getQuery());
      KxbString error;
      kxFaultArm(KX_FAULT_POOL_ALLOC, n);
      ok = uri->addQueryValue(s("k"), s("v w"), &error);
      kxFaultArm(KX_FAULT_POOL_ALLOC, 0);
      if (ok) {
        EXPECT_NE(std::string::npos, show(uri->getQuery()).find("k=v")) << t << " " << n;
        EXPECT_EQ(kxb_test::kNull, show(error));
      } else {
        ++failures;
        EXPECT_EQ(before, show(uri->getQuery())) << t << " " << n;
        EXPECT_EQ("Error adding query value", show(error)) << t << " " << n;
      }
    }
    EXPECT_GT(failures, 0) << t;
    EXPECT_TRUE(ok) << t;
  }
}

}  // namespace
