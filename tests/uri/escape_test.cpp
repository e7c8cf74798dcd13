// Percent-escaping, unescaping and slash conversion.
#include <cstdio>
#include <string>

#include <gtest/gtest.h>

#include "kx_fault.h"
#include "kxburi.h"
#include "uri/uri_test_util.h"

namespace {

using kxb_test::kNull;
using kxb_test::show;
using kxb_test::text;

// Escapes `t` with the first `count` bytes of `set` into an empty string;
// *ok receives the result.
std::string escape(const std::string& t, const char* set, int64_t count,
                   bool* ok = nullptr) {
  KxbString out("");
  bool result = getEscapeStringForURI(text(t), set, count, &out, nullptr);
  if (ok != nullptr) *ok = result;
  return show(out);
}

std::string escape(const std::string& t, const char* set) {
  return escape(t, set, static_cast<int64_t>(std::char_traits<char>::length(set)));
}

std::string unescape(const std::string& t) {
  KxbString out("stale");
  EXPECT_TRUE(getUnEscapeStringFromURI(text(t), &out)) << t;
  return show(out);
}

std::string hex(unsigned byte, bool upper) {
  char buffer[4];
  std::snprintf(buffer, sizeof buffer, upper ? "%%%02X" : "%%%02x", byte);
  return buffer;
}

TEST(UriEscape, EscapesListedBytesAndEveryByteOfMultiByteCharacters) {
  EXPECT_EQ("%C3%A9", escape("\xC3\xA9", ""));
  EXPECT_EQ("%C3%A9", escape("\xC3\xA9", " ?#"));
  EXPECT_EQ("a%3Fb#c", escape("a?b#c", " ?"));
  EXPECT_EQ("%E2%82%AC %F0%9F%98%80", escape("\xE2\x82\xAC \xF0\x9F\x98\x80", ""));
  // Only the first `count` bytes of the set count.
  EXPECT_EQ("a%20b?c", escape("a b?c", " ?#", 1));
  EXPECT_EQ("a b?c", escape("a b?c", " ?#", 0));
  EXPECT_EQ("a b?c", escape("a b?c", " ?#", -3));
  EXPECT_EQ("a b", escape("a b", nullptr, 4));
  // "%", "/" and control characters are not special unless listed.
  EXPECT_EQ("50%/\x01\x7F", escape("50%/\x01\x7F", " ?#"));
  EXPECT_EQ("%25%2F", escape("%/", "%/"));

  // The result is appended to what the output holds.
  KxbString out("pre:");
  EXPECT_TRUE(getEscapeStringForURI(KxbString("a b"), " ", 1, &out, nullptr));
  EXPECT_EQ("pre:a%20b", show(out));
}

TEST(UriEscape, InvalidUtf8StopsTheWalkAndKeepsWhatWasWritten) {
  const struct {
    const char* input;
    const char* written;
  } cases[] = {
      {"ab\xFF" "cd", "ab"},
      {"a b\xE2\x82", "a%20b"},        // truncated three-byte sequence
      {"\xC0\xAFx", ""},               // overlong "/"
      {"x\xED\xA0\x80", "x"},          // surrogate
      {"\xF4\x90\x80\x80", ""},        // above U+10FFFF
      {"\xC3\xA9\x80", "%C3%A9"},      // stray continuation byte
  };
  for (const auto& c : cases) {
    bool ok = true;
    EXPECT_EQ(c.written, escape(c.input, " ", 1, &ok)) << c.input;
    EXPECT_FALSE(ok) << c.input;
  }
}

TEST(UriEscape, NullOutputIsReportedAndEmptyTextIsAssigned) {
  KxbString error;
  EXPECT_FALSE(getEscapeStringForURI(KxbString("a"), " ", 1, nullptr, &error));
  EXPECT_EQ("The output variable is not allocated or defined to be used.",
            show(error));
  EXPECT_FALSE(getEscapeStringForURI(KxbString("a"), " ", 1, nullptr, nullptr));

  KxbString out("old");
  EXPECT_TRUE(getEscapeStringForURI(KxbString(""), " ", 1, &out, nullptr));
  EXPECT_EQ("", show(out));
  EXPECT_TRUE(getEscapeStringForURI(KxbString(), " ", 1, &out, nullptr));
  EXPECT_EQ(kNull, show(out));
}

TEST(UriEscape, EveryByteValueEscapesToUpperHexAndDecodesFromEitherCase) {
  for (unsigned b = 1; b < 256; ++b) {
    const std::string byte(1, static_cast<char>(b));
    if (b < 0x80) {
      // Escaped only when listed.
      const char set[2] = {static_cast<char>(b), '\0'};
      EXPECT_EQ(hex(b, true), escape(byte, set, 1)) << b;
      EXPECT_EQ(byte, escape(byte, "", 0)) << b;
    } else {
      // A lone byte of 0x80 or above is not UTF-8.
      bool ok = true;
      escape(byte, "", 0, &ok);
      EXPECT_FALSE(ok) << b;
    }
    EXPECT_EQ(byte, unescape(hex(b, true))) << b;
    EXPECT_EQ(byte, unescape(hex(b, false))) << b;
    EXPECT_EQ("x" + byte + "y", unescape("x" + hex(b, false) + "y")) << b;
  }
}

TEST(UriEscape, UnescapeOfEscapeGivesBackAnyValidTextWhenPercentIsListed) {
  std::string all;
  for (unsigned b = 1; b < 0x80; ++b) all += static_cast<char>(b);
  all += "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\xEF\xBF\xBF\xF4\x8F\xBF\xBF";
  all += "%41%zz%";
  bool ok = false;
  const std::string escaped = escape(all, "% ?#&=", 6, &ok);
  ASSERT_TRUE(ok);
  EXPECT_EQ(all, unescape(escaped));
  // Without "%" in the set, an escape already in the text is decoded.
  EXPECT_EQ("A", unescape(escape("%41", " ")));
}

TEST(UriEscape, UnescapeDecodesHexPairsAndCopiesEverythingElse) {
  EXPECT_EQ("JJ%zz%", unescape("%4a%4A%zz%"));
  EXPECT_EQ("x", unescape("%00x"));
  EXPECT_EQ("ab", unescape("a%00b%00"));
  // A bad pair is copied with its "%", which then swallows a following one.
  EXPECT_EQ("%G%41", unescape("%G%41"));
  EXPECT_EQ("%%41", unescape("%%41"));
  EXPECT_EQ("a+b", unescape("a+b"));
  // A "%" among the last two bytes is copied.
  EXPECT_EQ("%", unescape("%"));
  EXPECT_EQ("%4", unescape("%4"));
  EXPECT_EQ("ab%4", unescape("ab%4"));
  EXPECT_EQ("a%", unescape("%61%"));
  EXPECT_EQ("\xC3\xA9", unescape("%C3%a9"));

  EXPECT_EQ("", unescape(""));
  KxbString out("stale");
  EXPECT_TRUE(getUnEscapeStringFromURI(KxbString(), &out));
  EXPECT_EQ("", show(out));
  EXPECT_FALSE(getUnEscapeStringFromURI(KxbString("a"), nullptr));

  // The output may be the input.
  KxbString same("a%20b");
  EXPECT_TRUE(getUnEscapeStringFromURI(same, &same));
  EXPECT_EQ("a b", show(same));
}

TEST(UriEscape, UnescapeWorksOnBothSidesOfTheStackBufferSize) {
  for (size_t length : {510u, 511u, 512u, 513u, 514u, 4096u}) {
    // Ends in "%41" so that the last escape sits at the very end.
    std::string input(length - 3, 'x');
    input += "%41";
    std::string expected(length - 3, 'x');
    expected += "A";
    EXPECT_EQ(expected, unescape(input)) << length;
    // A "%" right at the end of a long text is copied.
    EXPECT_EQ(std::string(length - 1, 'y') + "%",
              unescape(std::string(length - 1, 'y') + "%"))
        << length;
  }
}

TEST(UriEscape, UnescapeFailsCleanlyWhenMemoryRunsOut) {
  // Long text: the work buffer is the first allocation.
  const KxbString longText = text(std::string(600, 'a'));
  KxbString out("stale");
  kxFaultArm(KX_FAULT_POOL_ALLOC, 1);
  EXPECT_FALSE(getUnEscapeStringFromURI(longText, &out));
  EXPECT_EQ(kNull, show(out));
  // Short text: the result is the first allocation.
  kxFaultArm(KX_FAULT_POOL_ALLOC, 1);
  EXPECT_FALSE(getUnEscapeStringFromURI(KxbString("a%20b", true), &out));
  EXPECT_EQ(kNull, show(out));
  // Escaping reports it as well.
  kxFaultArm(KX_FAULT_POOL_ALLOC, 1);
  KxbString escaped;
  EXPECT_FALSE(getEscapeStringForURI(KxbString("a b", true), " ", 1, &escaped,
                                     nullptr));
  kxFaultArm(KX_FAULT_POOL_ALLOC, 0);
}

TEST(UriEscape, SlashConversionsTurnEverySeparatorAndRefuseEmptyInput) {
  KxbString out;
  EXPECT_TRUE(convertBackSlashesToSlashes(KxbString("\\a\\b\\\\c"), &out));
  EXPECT_EQ("/a/b//c", show(out));
  EXPECT_TRUE(convertSlashesToBackSlashes(KxbString("/a/b//c"), &out));
  EXPECT_EQ("\\a\\b\\\\c", show(out));
  EXPECT_TRUE(convertSlashesToBackSlashes(KxbString("\xC3\xA9/x"), &out));
  EXPECT_EQ("\xC3\xA9\\x", show(out));

  out = KxbString("stale");
  EXPECT_FALSE(convertBackSlashesToSlashes(KxbString(""), &out));
  EXPECT_EQ(kNull, show(out));
  out = KxbString("stale");
  EXPECT_FALSE(convertSlashesToBackSlashes(KxbString(), &out));
  EXPECT_EQ(kNull, show(out));
  EXPECT_FALSE(convertSlashesToBackSlashes(KxbString("a"), nullptr));

  KxbString same("a\\b");
  EXPECT_TRUE(convertBackSlashesToSlashes(same, &same));
  EXPECT_EQ("a/b", show(same));

  kxFaultArm(KX_FAULT_POOL_ALLOC, 1);
  EXPECT_FALSE(convertBackSlashesToSlashes(KxbString("a\\b", true), &out));
  EXPECT_EQ(kNull, show(out));
  kxFaultArm(KX_FAULT_POOL_ALLOC, 0);
}

}  // namespace
