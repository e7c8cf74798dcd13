#include <clocale>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/kxbstring_internal.h"
#include "kxbstring.h"
#include "np_uchar.h"
#include "support/comma_locale.h"

namespace {

int refsOf(const KxbString& s) {
  const InternalString* body = KxbStringAccess::body(s);
  return body == nullptr ? 0 : kxAtomGet(&body->refs);
}

TEST(StringStates, NullEmptyAndStaticAreDistinct) {
  KxbString null;
  EXPECT_TRUE(null.isNull());
  EXPECT_EQ(0, null.length());
  EXPECT_EQ(1, null.cStrSize());
  EXPECT_STREQ("", null.asCstr());
  EXPECT_EQ(0, null.trim(true, true));
  EXPECT_TRUE(null.isNull());
  EXPECT_TRUE(null.lowercase());
  EXPECT_TRUE(null.isNull());
  EXPECT_TRUE(null.mid(0, 3).isNull());
  EXPECT_TRUE(null.right(2).isNull());
  EXPECT_TRUE(KxbString(nullptr, true).isNull());
  EXPECT_TRUE(KxbString(nullptr, false).isNull());

  KxbString empty("", false);
  EXPECT_FALSE(empty.isNull());
  EXPECT_EQ(0, empty.length());

  const char* text = "h\xC3\xA9llo";  // "héllo"
  KxbString borrowed(text, true);
  EXPECT_EQ(text, borrowed.asCstr());  // no copy
  EXPECT_EQ(5, borrowed.length());
  EXPECT_EQ(7, borrowed.cStrSize());
  KxbString copy(borrowed);
  EXPECT_EQ(text, copy.asCstr());  // a copy borrows too
  copy.append("!");
  EXPECT_STREQ("h\xC3\xA9llo!", copy.asCstr());
  EXPECT_STREQ("h\xC3\xA9llo", text);  // the borrowed text is untouched
  EXPECT_EQ(text, borrowed.asCstr());
}

TEST(StringSharing, CopiesShareUntilWritten) {
  KxbString a("shared text", false);
  KxbString b = a;
  EXPECT_EQ(a.asCstr(), b.asCstr());
  EXPECT_EQ(2, refsOf(a));
  b.append(" more");
  EXPECT_STREQ("shared text", a.asCstr());
  EXPECT_STREQ("shared text more", b.asCstr());
  EXPECT_EQ(1, refsOf(a));

  KxbString c = a;
  c.truncate(2);
  EXPECT_STREQ("sh", c.asCstr());
  EXPECT_STREQ("shared text", a.asCstr());

  KxbString d = a;
  d.uppercase();
  EXPECT_STREQ("SHARED TEXT", d.asCstr());
  EXPECT_STREQ("shared text", a.asCstr());

  // Appending to a null string shares the appended body.
  KxbString e;
  e.append(a);
  EXPECT_EQ(a.asCstr(), e.asCstr());
  // Self-assignment and assignment of a sharer change nothing.
  e = a;
  a = a;
  EXPECT_EQ(2, refsOf(a));  // a and e; the others wrote their own copies
}

TEST(StringAppend, NullAndNoneRules) {
  KxbString s;
  s.append(static_cast<const char*>(nullptr));
  EXPECT_FALSE(s.isNull());
  EXPECT_STREQ("", s.asCstr());

  KxbString abc("abc", false);
  abc.append(static_cast<const char*>(nullptr));
  EXPECT_STREQ("abc", abc.asCstr());

  KxbString zero;
  zero.append("xyz", 0);
  EXPECT_FALSE(zero.isNull());
  EXPECT_STREQ("", zero.asCstr());
  abc.append("xyz", 0);
  EXPECT_STREQ("abc", abc.asCstr());

  abc.append("\xC3\xA9\xC3\xA9z", 2);  // two characters, four bytes
  EXPECT_STREQ("abc\xC3\xA9\xC3\xA9", abc.asCstr());
  EXPECT_EQ(5, abc.length());
  abc.append("yz", 10);  // count beyond the text takes all of it
  EXPECT_STREQ("abc\xC3\xA9\xC3\xA9yz", abc.asCstr());
  EXPECT_EQ(7, abc.length());

  bool failed = true;
  abc.append(KxbString(), &failed);
  EXPECT_FALSE(failed);
  EXPECT_EQ(7, abc.length());
}

TEST(StringAppend, SelfAppendAndGrowthKeepText) {
  KxbString s("ab", false);
  for (int i = 0; i < 12; ++i) s.append(s);  // grows through every size class
  EXPECT_EQ(2 << 12, s.length());
  EXPECT_EQ(0, std::strncmp(s.asCstr(), "abababab", 8));
  EXPECT_EQ(static_cast<int>(std::strlen(s.asCstr())), s.length());
}

TEST(StringAppend, CharacterCountSurvivesSplitSequences) {
  // "€" is E2 82 AC; appended one byte at a time the count must end at 1.
  KxbString s("", false);
  s.append("\xE2", -1);
  s.append("\x82", -1);
  EXPECT_EQ(2, s.length());  // two invalid bytes so far
  s.append("\xAC", -1);
  EXPECT_EQ(1, s.length());
  s.append("x");
  EXPECT_EQ(2, s.length());
  // Also when the appended string brings its own count: "\xBA" alone is one
  // invalid character, but completes "\xDE" into U+07BA.
  KxbString lead("I\xDE", false);
  lead.append(KxbString("\xBA", false));
  EXPECT_EQ(2, lead.length());
}

TEST(StringCompare, NullOrderingAndCase) {
  KxbString null;
  KxbString empty("", false);
  EXPECT_EQ(0, null.compare(KxbString()));
  EXPECT_EQ(-1, null.compare(empty));
  EXPECT_EQ(1, empty.compare(null));
  EXPECT_EQ(1, empty.compare(static_cast<const char*>(nullptr)));
  EXPECT_EQ(0, null.compare(static_cast<const char*>(nullptr)));
  EXPECT_EQ(-1, KxbString("B", true).compare("a", true));
  EXPECT_LT(KxbString("a", true).compare("B", false), 0);
  EXPECT_EQ(0, KxbString("Stra\xC3\x9F" "e", true).compare("STRASSE", false));
  EXPECT_EQ(1, KxbString("\xC3\xA9", true).compare("z", true));  // unsigned
  EXPECT_EQ(-1, KxbString("ab", true).compare("abc", true));

  EXPECT_TRUE(null < empty);
  EXPECT_FALSE(empty < null);
  EXPECT_FALSE(null < null);
  EXPECT_TRUE(KxbString("B", true) < KxbString("a", true));
  EXPECT_TRUE(KxbStringLessInsensitive()(KxbString("a", true),
                                         KxbString("B", true)));
}

// Case-insensitive comparison decides ASCII texts itself, eight bytes at a
// time; it must order every pair exactly as the character library's
// comparison does, also where a non-ASCII character meets an ASCII one
// ("\xE2\x84\xAA", the Kelvin sign, folds to "k") and across word edges.
TEST(StringCompare, InsensitiveOrderAgreesWithTheCharacterLibrary) {
  const std::vector<std::string> pieces = {
      "a", "A", "k", "K", "z", "Z", "@", "[", "`", "{", "_", "/", "0", "9",
      "\xE2\x84\xAA", "\xC3\x9F", "ss", "\xC3\xA9", "\xC3\x89", "\x80"};
  std::mt19937 random(7);
  std::vector<std::string> texts = {"", "Section1/Key1", "SECTION1/KEY10",
                                    "section12345678/a", "SECTION12345678/B"};
  for (int n = 0; n < 400; ++n) {
    std::string text;
    const size_t parts = random() % 24;
    for (size_t i = 0; i < parts; ++i) text += pieces[random() % pieces.size()];
    texts.push_back(text);
  }
  // Pairs that share long prefixes, as neighbours in a sorted map do.
  for (size_t i = 0; i + 1 < texts.size(); i += 2) texts.push_back(texts[i] + texts[i + 1]);
  for (const std::string& a : texts) {
    for (size_t j = 0; j < texts.size(); j += 3) {
      const std::string& b = texts[j];
      int expected = np_uchar_icomp(a.c_str(), b.c_str());
      KxbString ka(a.c_str(), false), kb(b.c_str(), false);
      ASSERT_EQ(expected, ka.compare(kb, false)) << a << " | " << b;
      ASSERT_EQ(expected, ka.compare(b.c_str(), false)) << a << " | " << b;
    }
  }
  // A NUL byte ends the text for the comparison.
  KxbString withNul;
  const char bytes[] = {'a', 'B', '\0', 'z'};
  ASSERT_TRUE(KxbStringAccess::appendBytes(withNul, bytes, sizeof bytes));
  EXPECT_EQ(0, withNul.compare(KxbString("AB", true), false));
}

TEST(StringSearch, FindAndRfindInCharacters) {
  KxbString abc("abc", true);
  EXPECT_EQ(-1, abc.find(KxbString("b", true), 5));
  EXPECT_EQ(-1, abc.find(KxbString("", true), 0));
  EXPECT_EQ(-1, abc.find(KxbString(), 0));
  EXPECT_EQ(1, abc.find(KxbString("b", true), -4));
  EXPECT_EQ(-1, KxbString().find(KxbString("a", true)));
  EXPECT_EQ(2, KxbString("aaaa", true).rfind(KxbString("aa", true)));
  EXPECT_EQ(1, KxbString("aaa", true).rfind(KxbString("aa", true)));

  // Positions count characters, not bytes.
  KxbString mixed("\xC3\xA9t\xC3\xA9 \xC3\xA9t\xC3\xA9", true);  // "été été"
  KxbString t("t", true);
  EXPECT_EQ(1, mixed.find(t));
  EXPECT_EQ(5, mixed.find(t, 2));
  EXPECT_EQ(5, mixed.rfind(t));
  // A needle starting with a continuation byte never matches inside a
  // character.
  EXPECT_EQ(-1, mixed.find(KxbString("\xA9", true)));
  EXPECT_EQ(1, KxbString("a\xA9", true).find(KxbString("\xA9", true)));
  // Nor does one ending in a cut sequence match the start of a character:
  // "\xCC" alone is an invalid character, "\xCC\xB3" is U+0333.
  KxbString combining("\xF5\xA6\xCC\xB3O", true);
  EXPECT_EQ(-1, combining.find(KxbString("\xCC", true)));
  EXPECT_EQ(-1, combining.rfind(KxbString("\xCC", true)));
  EXPECT_EQ(2, combining.find(KxbString("\xCC\xB3", true)));
}

TEST(StringPieces, MidRightReplace) {
  KxbString abc("abc", true);
  KxbString m = abc.mid(10, 2);
  EXPECT_FALSE(m.isNull());
  EXPECT_STREQ("", m.asCstr());
  EXPECT_STREQ("abc", abc.right(5).asCstr());
  EXPECT_STREQ("", abc.right(-1).asCstr());
  EXPECT_STREQ("bc", abc.right(2).asCstr());
  EXPECT_STREQ("b", abc.mid(1, 1).asCstr());
  EXPECT_STREQ("bc", abc.mid(1).asCstr());
  EXPECT_STREQ("\xC3\xA9t", KxbString("\xC3\xA9t\xC3\xA9", true).mid(0, 2).asCstr());

  KxbString banana("banana", true);
  KxbString a("a", true), xy("xy", true);
  EXPECT_STREQ("bxynxynxy", banana.replace(a, xy, 0, -1).asCstr());
  EXPECT_STREQ("bxynana", banana.replace(a, xy, 0, 1).asCstr());
  EXPECT_STREQ("banxynxy", banana.replace(a, xy, 2, -1).asCstr());
  EXPECT_STREQ("banana", banana.replace(a, xy, 0, 0).asCstr());
  EXPECT_STREQ("banana", banana.replace(KxbString(), xy).asCstr());
  EXPECT_TRUE(KxbString().replace(a, xy).isNull());
  EXPECT_STREQ("bnn", banana.replace(a, KxbString()).asCstr());
}

TEST(StringEdits, TrimTruncateAndCase) {
  KxbString s("  a b  ", false);
  EXPECT_EQ(4, s.trim(true, true));
  EXPECT_STREQ("a b", s.asCstr());
  EXPECT_EQ(3, s.length());

  KxbString x("axbxx", false);
  EXPECT_EQ(2, x.trimChar('x', false, true));
  EXPECT_STREQ("axb", x.asCstr());
  EXPECT_EQ(0, x.trimChar('x', false, false));

  // Unicode white space (no-break space, ideographic space) is trimmed.
  KxbString u("\xC2\xA0\xE3\x80\x80z\xE3\x80\x80", false);
  EXPECT_EQ(3, u.trim());
  EXPECT_STREQ("z", u.asCstr());

  // Trailing ASCII white space after a non-ASCII character; a text that is
  // all white space; a byte that starts no character before the blanks.
  KxbString after("\xC3\xA9 \t", false);
  EXPECT_EQ(2, after.trim());
  EXPECT_STREQ("\xC3\xA9", after.asCstr());
  KxbString blank(" \t\r\n", false);
  EXPECT_EQ(4, blank.trim());
  EXPECT_STREQ("", blank.asCstr());
  KxbString stray("x\xC3  ", false);
  EXPECT_EQ(2, stray.trim(false, true));
  EXPECT_EQ(2, stray.length());

  // Nothing to remove leaves a static string static.
  KxbString borrowed("keep", true);
  EXPECT_EQ(0, borrowed.trim());
  EXPECT_TRUE(KxbStringAccess::isStatic(borrowed));

  KxbString t("h\xC3\xA9llo", false);
  t.truncate(2);
  EXPECT_STREQ("h\xC3\xA9", t.asCstr());
  EXPECT_EQ(2, t.length());
  t.truncate(10);
  EXPECT_STREQ("h\xC3\xA9", t.asCstr());

  KxbString c("Stra\xC3\x9F" "e", false);
  ASSERT_TRUE(c.uppercase());
  EXPECT_STREQ("STRASSE", c.asCstr());
  EXPECT_EQ(7, c.length());
  ASSERT_TRUE(c.lowercase());
  EXPECT_STREQ("strasse", c.asCstr());
  KxbString empty("", false);
  EXPECT_TRUE(empty.uppercase());
  EXPECT_STREQ("", empty.asCstr());
}

TEST(StringAssign, NumbersBytesAndWide) {
  KxbString s;
  EXPECT_STREQ("0.1", s.assign(0.1).asCstr());
  EXPECT_STREQ("1e+20", s.assign(1e20).asCstr());
  EXPECT_STREQ("-42", s.assign(-42).asCstr());
  EXPECT_STREQ("-9223372036854775808",
               s.assign(static_cast<int64_t>(INT64_MIN)).asCstr());
  EXPECT_STREQ("18446744073709551615",
               s.assign(static_cast<uint64_t>(UINT64_MAX)).asCstr());
  EXPECT_STREQ("ab", s.assign("abc", 2).asCstr());
  EXPECT_STREQ("abc", s.assign("abc", -1).asCstr());

  EXPECT_STREQ("", s.assignBytes("\xC3\xA9" "1", 1).asCstr());
  EXPECT_FALSE(s.isNull());
  EXPECT_STREQ("\xC3\xA9", s.assignBytes("\xC3\xA9" "1", 2).asCstr());
  EXPECT_STREQ("a", s.assignBytes("a\xFF" "b", 10).asCstr());  // stops at invalid
  EXPECT_STREQ("", s.assignBytes("\xFF", 10).asCstr());

  // Assigning a piece of the string's own text is safe.
  s.assign("hello world");
  s.assign(s.asCstr() + 6);
  EXPECT_STREQ("world", s.asCstr());

  const unsigned short wide[] = {'a', 0x20AC, 0xD834, 0xDD1E, 0};
  s.fromUCS2(wide);
  EXPECT_STREQ("a\xE2\x82\xAC\xF0\x9D\x84\x9E", s.asCstr());
  EXPECT_EQ(3, s.length());
}

TEST(StringAssign, DoubleIgnoresCommaLocale) {
  kxb_test::CommaLocale locale;
  if (!kxb_test::CommaLocale::IsComma()) {
    GTEST_SKIP() << "no locale with a decimal comma could be had";
  }
  KxbString s;
  EXPECT_STREQ("0.5", s.assign(0.5).asCstr());
  EXPECT_STREQ("0.5", kxbStringFormat("%g", 0.5).asCstr());
  bool failed = true;
  EXPECT_DOUBLE_EQ(2.5, KxbString("2.5", true).asDouble(&failed));
  EXPECT_FALSE(failed);
}

TEST(StringNumbers, ParseRangesAndFailures) {
  bool failed = false;
  EXPECT_EQ(0, KxbString("4294967296", true).asInt(&failed));
  EXPECT_TRUE(failed);
  EXPECT_EQ(-2147483647 - 1, KxbString("-2147483648", true).asInt(&failed));
  EXPECT_FALSE(failed);
  EXPECT_EQ(0u, KxbString("-1", true).asSize(&failed));
  EXPECT_TRUE(failed);
  EXPECT_EQ(4294967295u, KxbString(" 4294967295 ", true).asSize(&failed));
  EXPECT_FALSE(failed);
  EXPECT_EQ(0, KxbString("abc", true).asInt64(&failed));
  EXPECT_TRUE(failed);
  EXPECT_EQ(INT64_MAX, KxbString("9223372036854775807", true).asInt64(&failed));
  EXPECT_FALSE(failed);
  EXPECT_EQ(0, KxbString().asInt64(&failed));
  EXPECT_TRUE(failed);
  EXPECT_DOUBLE_EQ(0, KxbString("1.5x", true).asDouble(&failed));
  EXPECT_TRUE(failed);
  EXPECT_EQ(7, KxbString("7", true).asInt());  // no flag asked for
}

TEST(StringNull, SetNullWipesOnlyTheLastReference) {
  KxbString secret("password", false);
  const char* bytes = secret.asCstr();
  KxbString other = secret;
  secret.setNull(true);
  EXPECT_TRUE(secret.isNull());
  EXPECT_STREQ("password", other.asCstr());  // shared body only dropped
  EXPECT_EQ(bytes, other.asCstr());

  KxbString borrowed("text", true);
  borrowed.setNull(true);
  EXPECT_TRUE(borrowed.isNull());
}

TEST(StringWide, HoldersConvertBothWays) {
  KxUtf8ToUC* wide = KxbString("a\xE2\x82\xAC", true).asUCS2();
  ASSERT_NE(nullptr, wide);
  EXPECT_EQ(3, wide->bufLength());  // two units and the terminator
  EXPECT_EQ(6, wide->bufLengthBytes());
  EXPECT_EQ(0x20AC, wide->ucString()[1]);
  EXPECT_EQ(0, wide->ucString()[2]);
  wide->release();

  KxUtf8ToUC* empty = KxbString().asUCS2();
  ASSERT_NE(nullptr, empty);
  EXPECT_EQ(1, empty->bufLength());
  empty->release();

  KxUCToUtf8 back;
  ASSERT_TRUE(back.set(3));
  back.getUCBuffer()[0] = 'o';
  back.getUCBuffer()[1] = 0xD83D;  // surrogate pair of U+1F600
  back.getUCBuffer()[2] = 0xDE00;
  EXPECT_STREQ("o\xF0\x9F\x98\x80", back.utf8String());
  EXPECT_EQ(back.utf8String(), back.utf8String());  // cached
  EXPECT_TRUE(back.set(0));
  EXPECT_EQ(nullptr, back.getUCBuffer());

  char out[4];
  unsigned short text[] = {'a', 'b', 'c', 'd', 0};
  // Five bytes are needed; four given: the platform call refuses.
  EXPECT_EQ(0, convertUCToUtf8(text, out, 4));
  unsigned short three[] = {'a', 'b', 'c', 0};
  EXPECT_EQ(4, convertUCToUtf8(three, out, 4));
  EXPECT_STREQ("abc", out);
  unsigned short units[8];
  char utf8[] = "\xF0\x9D\x84\x9E";
  EXPECT_EQ(3, convertUtf8ToUC(utf8, units, 8));
  EXPECT_EQ(0xD834, units[0]);
}

TEST(StringUuid, FreshCanonicalIdentifiers) {
  KxbString a = kxbGetUUID();
  KxbString b = kxbGetUUID();
  ASSERT_EQ(36, a.length());
  EXPECT_NE(0, a.compare(b));
  EXPECT_EQ('-', a.asCstr()[8]);
  EXPECT_EQ('4', a.asCstr()[14]);
}

}  // namespace

namespace {

// Text read from files may hold NUL bytes among invalid ones; every piece
// operation stays inside the text.
TEST(StringBytes, EmbeddedNulAndInvalidBytesStayInBounds) {
  KxbString s;
  const char bytes[] = {'a', '\0', '\xAD', '=', 'b', 'c'};
  ASSERT_TRUE(KxbStringAccess::appendBytes(s, bytes, sizeof bytes));
  ASSERT_EQ(6, s.length());
  ASSERT_EQ(7, s.cStrSize());
  KxbString tail = s.mid(4);
  EXPECT_STREQ("bc", tail.asCstr());
  EXPECT_EQ(2, tail.length());
  EXPECT_STREQ("c", s.right(1).asCstr());
  EXPECT_EQ(3, s.find(KxbString("=", true)));
  EXPECT_EQ(3, s.rfind(KxbString("=", true)));
  KxbString cut = s;
  cut.truncate(4);
  EXPECT_EQ(4, cut.length());
  EXPECT_EQ(5, cut.cStrSize());
  EXPECT_EQ('=', cut.asCstr()[3]);

  // Trimming stops at a NUL byte: the blanks after it stay.
  KxbString padded;
  const char blanks[] = {' ', 'a', '\0', 'b', ' ', ' '};
  ASSERT_TRUE(KxbStringAccess::appendBytes(padded, blanks, sizeof blanks));
  EXPECT_EQ(1, padded.trim(true, true));
  EXPECT_EQ(5, padded.length());
}

}  // namespace
