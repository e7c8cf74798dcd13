// KxbParse: cutting attribute texts and splitting attributes.
#include "kxbparse.h"

#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "kx_fault.h"
#include "kxbmessage.h"
#include "kxmsg.h"
#include "np_env.h"
#include "support/source_tree.h"

namespace {

const char* const kNull = "(null)";

std::string show(const KxbString& s) {
  if (s.isNull()) return kNull;
  return std::string(s.asCstr(), static_cast<size_t>(s.cStrSize() - 1));
}

KxbString s(const char* t) { return KxbString(t, true); }

std::vector<std::string> attributesOf(KxbParse& parse) {
  std::vector<std::string> all;
  KxbString attribute;
  for (int i = 0; i < parse.getAttributeCount(); ++i) {
    EXPECT_TRUE(parse.getAttributeRaw(i, &attribute));
    all.push_back(show(attribute));
  }
  return all;
}

std::vector<std::string> parsed(const char* text, char separator = ';') {
  KxbParse parse;
  EXPECT_TRUE(parse.parse(s(text), separator));
  return attributesOf(parse);
}

// Name and value of the only attribute of `text`.
std::pair<std::string, std::string> split(const char* text) {
  KxbParse parse;
  parse.parse(s(text));
  EXPECT_EQ(1, parse.getAttributeCount()) << text;
  KxbString name("stale");
  KxbString value("stale");
  EXPECT_TRUE(parse.getAttribute(0, &name, &value)) << text;
  return {show(name), show(value)};
}

using Names = std::pair<std::string, std::string>;
using List = std::vector<std::string>;

// Messages come from the repository's catalogue.
class KxbParseMessages : public ::testing::Test {
 protected:
  void SetUp() override { kxb_test::useSourceCatalogue(); }
  void TearDown() override { kxmsg112_terminate(); }
};

TEST(KxbParse, PiecesAreCutTrimmedAndEmptyOnesSkipped) {
  EXPECT_EQ((List{"a = 1", "b=2", "c"}), parsed(" a = 1 ; b=2;;c "));
  EXPECT_EQ((List{"x=1;y=2"}), parsed("x=1;y=2", ','));
  EXPECT_EQ((List{"x=1", "y=2"}), parsed("x=1,y=2", ','));
  EXPECT_EQ((List{"a", "b"}), parsed("a;b", '\0'));
  EXPECT_EQ((List{}), parsed(""));
  EXPECT_EQ((List{}), parsed(";;;"));
  // A piece of white space only is kept, empty.
  EXPECT_EQ((List{"", ""}), parsed(" ; \t"));
  // Unicode white space is trimmed too.
  EXPECT_EQ((List{"a"}), parsed("\xC2\xA0" "a\xE3\x80\x80"));
  // Unescaping comes after trimming, so escaped blanks stay.
  EXPECT_EQ((List{" x ", "a;b", "a=b"}), parsed("%20x%20 ; a%3Bb;a%3Db"));
  // Bytes that are not UTF-8 pass through.
  EXPECT_EQ((List{"k=\xFF"}), parsed("k=\xFF"));
}

TEST(KxbParse, AttributesSplitAtTheFirstTopLevelEquals) {
  EXPECT_EQ((Names{"a", " 1"}), split(" a = 1 "));
  EXPECT_EQ((Names{"f(a=b)", "c"}), split("f(a=b)=c"));
  EXPECT_EQ((Names{"a", "=b"}), split("a==b"));
  EXPECT_EQ((Names{"a", "b="}), split("a%3Db%3D"));
  // "{" stops all splitting, and "}" does not undo it.
  EXPECT_EQ((Names{kNull, "{a}=b"}), split("{a}=b"));
  EXPECT_EQ((Names{kNull, "a{=b"}), split("a{=b"));
  EXPECT_EQ((Names{"a", "{b}=c"}), split("a={b}=c"));
  // Unbalanced parentheses: only depth 0 counts.
  EXPECT_EQ((Names{kNull, "(a=b"}), split("(a=b"));
  EXPECT_EQ((Names{kNull, "a)=b"}), split("a)=b"));
  EXPECT_EQ((Names{")(", "x"}), split(")(=x"));
  // Empty halves stay null.
  EXPECT_EQ((Names{"k", kNull}), split("k="));
  EXPECT_EQ((Names{kNull, "v"}), split("=v"));
  EXPECT_EQ((Names{kNull, "v"}), split(" =v"));
  EXPECT_EQ((Names{kNull, "plain"}), split("plain"));

  KxbParse parse;
  parse.parse(s("a=1"));
  KxbString value;
  EXPECT_TRUE(parse.getAttribute(0, nullptr, &value));
  EXPECT_EQ("1", show(value));
  KxbString name;
  EXPECT_TRUE(parse.getAttribute(0, &name, nullptr));
  EXPECT_EQ("a", show(name));
}

TEST_F(KxbParseMessages, OutOfRangeAccessesFailWithMessage1516) {
  KxbParse parse;
  EXPECT_EQ(kNull, show(parse.getErrorMessage()));
  parse.parse(s("a=1;b"));
  const std::string expected =
      show(kxb_get_message("Base Services", 1516, "parse_test", __LINE__));
  ASSERT_EQ(std::string::npos, expected.find("message 1516")) << expected;

  for (int index : {-1, 2, 1000}) {
    KxbString name("stale");
    KxbString value("stale");
    KxbString raw("stale");
    EXPECT_FALSE(parse.getAttribute(index, &name, &value)) << index;
    EXPECT_EQ(kNull, show(name));
    EXPECT_EQ(kNull, show(value));
    EXPECT_FALSE(parse.getAttributeRaw(index, &raw)) << index;
    EXPECT_EQ(kNull, show(raw));
    EXPECT_EQ(expected, show(parse.getErrorMessage()));
  }
  // A new parse clears the message.
  parse.parse(s("x"));
  EXPECT_EQ(kNull, show(parse.getErrorMessage()));
}

TEST(KxbParse, ReparsingReplacesAndCopiesAreIndependent) {
  KxbParse first;
  first.parse(s("a;b;c"));
  KxbParse copy(first);
  KxbParse assigned;
  assigned.parse(s("old"));
  assigned = first;
  first.parse(s("x"));
  EXPECT_EQ((List{"x"}), attributesOf(first));
  EXPECT_EQ((List{"a", "b", "c"}), attributesOf(copy));
  EXPECT_EQ((List{"a", "b", "c"}), attributesOf(assigned));
  const KxbParse& alias = assigned;
  assigned = alias;
  EXPECT_EQ((List{"a", "b", "c"}), attributesOf(assigned));

  // Many attributes: the array grows.
  std::string many;
  List expected;
  for (int i = 0; i < 1000; ++i) {
    many += "k" + std::to_string(i) + "=v;";
    expected.push_back("k" + std::to_string(i) + "=v");
  }
  KxbParse big;
  EXPECT_TRUE(big.parse(KxbString(many.c_str())));
  EXPECT_EQ(expected, attributesOf(big));
  KxbParse bigCopy(big);
  EXPECT_EQ(expected, attributesOf(bigCopy));
}

TEST_F(KxbParseMessages, RunningOutOfMemoryKeepsWhatWasReadAndSaysSo) {
  const List expected{"alpha", "beta", "gamma=A"};
  int failures = 0;
  for (int n = 1; n <= 40; ++n) {
    KxbParse parse;
    const KxbString text("alpha;beta;gamma=%41");
    kxFaultArm(KX_FAULT_POOL_ALLOC, n);
    const bool ok = parse.parse(text);
    kxFaultArm(KX_FAULT_POOL_ALLOC, 0);
    const List got = attributesOf(parse);
    if (ok) {
      EXPECT_EQ(expected, got) << n;
      EXPECT_EQ(kNull, show(parse.getErrorMessage())) << n;
    } else {
      ++failures;
      ASSERT_LT(got.size(), expected.size()) << n;
      EXPECT_EQ(List(expected.begin(), expected.begin() + got.size()), got) << n;
      EXPECT_NE(kNull, show(parse.getErrorMessage())) << n;
    }
  }
  EXPECT_GT(failures, 0);

  KxbParse source;
  source.parse(s("a;b"));
  kxFaultArm(KX_FAULT_POOL_ALLOC, 1);
  KxbParse copy(source);
  kxFaultArm(KX_FAULT_POOL_ALLOC, 0);
  EXPECT_EQ(0, copy.getAttributeCount());
  EXPECT_NE(kNull, show(copy.getErrorMessage()));
}

}  // namespace
