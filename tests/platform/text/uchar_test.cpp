// Tests of the UTF-8 character functions (np_uchar_*).
#include "np_uchar.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace {

// One character as the well-formedness table of UTF-8 defines it, decoded
// here independently of the library: the oracle of the walking tests.
struct RefChar {
  int32_t cp;   // -1 for an invalid byte
  size_t size;  // bytes
  size_t offset;
};

std::vector<RefChar> RefWalk(const std::string& s) {
  struct Row {
    unsigned leadLo, leadHi, secondLo, secondHi;
    size_t len;
  };
  static const Row kRows[] = {
      {0xC2, 0xDF, 0x80, 0xBF, 2}, {0xE0, 0xE0, 0xA0, 0xBF, 3},
      {0xE1, 0xEC, 0x80, 0xBF, 3}, {0xED, 0xED, 0x80, 0x9F, 3},
      {0xEE, 0xEF, 0x80, 0xBF, 3}, {0xF0, 0xF0, 0x90, 0xBF, 4},
      {0xF1, 0xF3, 0x80, 0xBF, 4}, {0xF4, 0xF4, 0x80, 0x8F, 4},
  };
  std::vector<RefChar> out;
  size_t i = 0;
  while (i < s.size()) {
    const unsigned b = static_cast<unsigned char>(s[i]);
    RefChar c{-1, 1, i};
    if (b < 0x80) {
      c.cp = static_cast<int32_t>(b);
    } else {
      for (const Row& r : kRows) {
        if (b < r.leadLo || b > r.leadHi) continue;
        if (i + r.len > s.size()) break;
        const unsigned b1 = static_cast<unsigned char>(s[i + 1]);
        if (b1 < r.secondLo || b1 > r.secondHi) break;
        int32_t cp = static_cast<int32_t>(b & (0x7F >> r.len));
        bool ok = true;
        for (size_t k = 1; k < r.len; ++k) {
          const unsigned bk = static_cast<unsigned char>(s[i + k]);
          if ((bk & 0xC0) != 0x80) ok = false;
          cp = (cp << 6) | static_cast<int32_t>(bk & 0x3F);
        }
        if (ok) {
          c.cp = cp;
          c.size = r.len;
        }
        break;
      }
    }
    out.push_back(c);
    i += c.size;
  }
  return out;
}

std::string Utf8(char32_t c) {
  std::string s;
  if (c < 0x80) {
    s += static_cast<char>(c);
  } else if (c < 0x800) {
    s += static_cast<char>(0xC0 | (c >> 6));
    s += static_cast<char>(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    s += static_cast<char>(0xE0 | (c >> 12));
    s += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    s += static_cast<char>(0x80 | (c & 0x3F));
  } else {
    s += static_cast<char>(0xF0 | (c >> 18));
    s += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
    s += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    s += static_cast<char>(0x80 | (c & 0x3F));
  }
  return s;
}

char32_t Between(std::mt19937& rng, uint32_t lo, uint32_t hi) {
  return static_cast<char32_t>(std::uniform_int_distribution<uint32_t>(lo, hi)(rng));
}

// Random text without NUL bytes: mostly ASCII runs (to cross the eight-byte
// blocks and the 256-byte windows of the walkers at every offset), valid
// characters of every length, stray bytes and cut sequences.
std::string RandomText(std::mt19937& rng, size_t maxBytes) {
  std::uniform_int_distribution<int> kind(0, 9);
  std::string s;
  const size_t target = std::uniform_int_distribution<size_t>(0, maxBytes)(rng);
  while (s.size() < target) {
    switch (kind(rng)) {
      case 0:
      case 1:
      case 2:
      case 3: {
        const int run = std::uniform_int_distribution<int>(1, 20)(rng);
        for (int k = 0; k < run; ++k)
          s += static_cast<char>(std::uniform_int_distribution<int>(1, 0x7F)(rng));
        break;
      }
      case 4:
        s += Utf8(Between(rng, 0x80, 0x7FF));
        break;
      case 5: {
        char32_t c = Between(rng, 0x800, 0xFFFF);
        if (c >= 0xD800 && c <= 0xDFFF) c = 0x20AC;
        s += Utf8(c);
        break;
      }
      case 6:
        s += Utf8(Between(rng, 0x10000, 0x10FFFF));
        break;
      case 7:
        s += static_cast<char>(std::uniform_int_distribution<int>(0x80, 0xFF)(rng));
        break;
      case 8: {  // a valid multi-byte character cut short
        const std::string full = Utf8(Between(rng, 0x10000, 0x10FFFF));
        s += full.substr(0, std::uniform_int_distribution<size_t>(1, 3)(rng));
        break;
      }
      default: {  // encodings the table forbids: overlong, surrogate, too big
        static const char* const kBad[] = {"\xC0\xAF", "\xE0\x80\xAF",
                                           "\xF0\x80\x80\xAF", "\xED\xA0\x80",
                                           "\xF4\x90\x80\x80", "\xF8\x88\x80\x80\x80"};
        s += kBad[std::uniform_int_distribution<int>(0, 5)(rng)];
        break;
      }
    }
  }
  return s;
}

// Expected result of np_uchar_bufncopy: the longest prefix of at most `n`
// whole characters within `room` bytes.
size_t RefCopyBytes(const std::vector<RefChar>& chars, int n, size_t room) {
  size_t bytes = 0;
  for (int i = 0; i < n && i < static_cast<int>(chars.size()); ++i) {
    if (bytes + chars[i].size > room) break;
    bytes += chars[i].size;
  }
  return bytes;
}

TEST(Uchar, InvalidSequencesAreOneByteCharactersForEveryWalker) {
  struct Case {
    const char* text;
    std::vector<int32_t> cps;  // -1 = invalid byte
  };
  const Case cases[] = {
      {"a\xC3\xA9", {'a', 0xE9}},
      {"\xC0\xAF", {-1, -1}},                      // overlong "/"
      {"\xC1\xBF", {-1, -1}},                      // overlong
      {"\xE0\x80\xAF", {-1, -1, -1}},              // overlong, three bytes
      {"\xE0\xA0\x80", {0x800}},                   // smallest three-byte
      {"\xF0\x80\x80\xAF", {-1, -1, -1, -1}},      // overlong, four bytes
      {"\xED\xA0\x80", {-1, -1, -1}},              // surrogate U+D800
      {"\xED\xBF\xBF", {-1, -1, -1}},              // surrogate U+DFFF
      {"\xED\x9F\xBF", {0xD7FF}},                  // just below the surrogates
      {"\xF4\x8F\xBF\xBF", {0x10FFFF}},            // largest code point
      {"\xF4\x90\x80\x80", {-1, -1, -1, -1}},      // U+110000
      {"\xF5\x80\x80\x80", {-1, -1, -1, -1}},
      {"\xE2\x82", {-1, -1}},                      // truncated at the end
      {"\xE2\x82x", {-1, -1, 'x'}},                // truncated before ASCII
      {"\xF0\x9F\x98", {-1, -1, -1}},
      {"\x80\xBFz", {-1, -1, 'z'}},                // lone continuation bytes
      {"\xF0\x9F\x98\x80!", {0x1F600, '!'}},
      {"\xFE\xFF", {-1, -1}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::PrintToString(std::string(c.text)));
    const char* s = c.text;
    const int n = static_cast<int>(c.cps.size());
    EXPECT_EQ(np_uchar_length(s), n);
    EXPECT_EQ(np_uchar_nlength(s, strlen(s)), n);
    const char* p = s;
    for (int i = 0; i < n; ++i) {
      EXPECT_EQ(np_uchar_seek(s, i), p);
      EXPECT_EQ(np_uchar_tell(s, p), i);
      int size = -7;
      EXPECT_EQ(np_uchar_toint(p, &size), c.cps[i] < 0 ? NP_UCHAR_INVALID : c.cps[i]);
      ASSERT_GE(size, 1);
      int spaceSize = -7;
      np_uchar_isspace(p, &spaceSize);
      EXPECT_EQ(spaceSize, size);
      p += size;
    }
    EXPECT_EQ(p, s + strlen(s));
    EXPECT_EQ(np_uchar_seek(s, n), p);
    EXPECT_EQ(np_uchar_seek(s, n + 1), nullptr);
  }
}

TEST(Uchar, WalkersAgreeWithTheWellFormednessTableOnRandomText) {
  std::mt19937 rng(20240611);
  for (int round = 0; round < 300; ++round) {
    const std::string s = RandomText(rng, round < 250 ? 120 : 900);
    SCOPED_TRACE(testing::PrintToString(s));
    const std::vector<RefChar> ref = RefWalk(s);
    const int n = static_cast<int>(ref.size());
    ASSERT_EQ(np_uchar_length(s.c_str()), n);

    // A heap copy without terminator: the bounded count must stay inside.
    std::vector<char> bare(s.begin(), s.end());
    EXPECT_EQ(np_uchar_nlength(bare.data(), bare.size()), n);
    const size_t cut = std::uniform_int_distribution<size_t>(0, s.size())(rng);
    EXPECT_EQ(np_uchar_nlength(bare.data(), cut),
              static_cast<int>(RefWalk(s.substr(0, cut)).size()));

    std::uniform_int_distribution<int> pick(0, n);
    for (int k = 0; k < 12; ++k) {
      const int i = pick(rng);
      const size_t off = i < n ? ref[i].offset : s.size();
      EXPECT_EQ(np_uchar_seek(s.c_str(), i), s.c_str() + off) << "i=" << i;
      EXPECT_EQ(np_uchar_tell(s.c_str(), s.c_str() + off), i);
      if (i < n) {
        int size = 0;
        EXPECT_EQ(np_uchar_toint(s.c_str() + off, &size),
                  ref[i].cp < 0 ? NP_UCHAR_INVALID : ref[i].cp);
        EXPECT_EQ(static_cast<size_t>(size), ref[i].size);
      }
    }
    EXPECT_EQ(np_uchar_seek(s.c_str(), n + 1), nullptr);

    const int want = std::uniform_int_distribution<int>(-1, n + 1)(rng);
    const int dstSize = std::uniform_int_distribution<int>(1, static_cast<int>(s.size()) + 2)(rng);
    std::vector<char> dst(dstSize + 1, '#');
    const size_t expect = RefCopyBytes(ref, want, static_cast<size_t>(dstSize) - 1);
    EXPECT_EQ(np_uchar_bufncopy(dst.data(), s.c_str(), dstSize, want),
              static_cast<int>(expect));
    EXPECT_EQ(std::string(dst.data()), s.substr(0, expect));
    EXPECT_EQ(dst[dstSize], '#');  // nothing written past dstSize
  }
}

TEST(Uchar, TellCountsCharactersStartingBeforeThePosition) {
  const char* s = "a\xE2\x82\xAC" "b";  // "a€b"
  EXPECT_EQ(np_uchar_tell(s, s), 0);
  EXPECT_EQ(np_uchar_tell(s, s + 1), 1);
  EXPECT_EQ(np_uchar_tell(s, s + 2), 2);  // inside "€": "€" has started
  EXPECT_EQ(np_uchar_tell(s, s + 4), 2);
  EXPECT_EQ(np_uchar_tell(s, s + 5), 3);
  EXPECT_EQ(np_uchar_tell(s + 3, s), 0);
}

TEST(Uchar, NlengthReadsOnlyTheGivenBytes) {
  // Heap blocks of exactly the given size, so that AddressSanitizer reports
  // any read past them.
  const std::vector<char> euro = {'\xE2', '\x82', '\xAC'};
  EXPECT_EQ(np_uchar_nlength(euro.data(), 3), 1);
  EXPECT_EQ(np_uchar_nlength(euro.data(), 2), 2);  // the cut sequence is two bytes
  EXPECT_EQ(np_uchar_nlength(euro.data(), 0), 0);
  const std::vector<char> withNul = {'a', '\0', 'b'};
  EXPECT_EQ(np_uchar_nlength(withNul.data(), 3), 3);
  EXPECT_EQ(np_uchar_length(withNul.data()), 1);
}

TEST(Uchar, SeekStopsAtTheTerminatorAndGivesNullBeyond) {
  const char* s = "ab\xC3\xA9";
  EXPECT_EQ(np_uchar_seek(s, 0), s);
  EXPECT_EQ(np_uchar_seek(s, -5), s);
  EXPECT_EQ(np_uchar_seek(s, 2), s + 2);
  EXPECT_EQ(np_uchar_seek(s, 3), s + 4);
  EXPECT_EQ(np_uchar_seek(s, 4), nullptr);
  EXPECT_EQ(np_uchar_seek("", 1), nullptr);
  EXPECT_EQ(np_uchar_seek(nullptr, 1), nullptr);

  // Longer than one measuring window, with four-byte characters straddling
  // every window edge.
  std::string longText;
  for (int i = 0; i < 300; ++i) longText += (i % 3 == 0) ? "\xF0\x9F\x98\x80" : "x";
  const int n = np_uchar_length(longText.c_str());
  EXPECT_EQ(n, 300);
  EXPECT_EQ(np_uchar_seek(longText.c_str(), n), longText.c_str() + longText.size());
  EXPECT_EQ(np_uchar_seek(longText.c_str(), n + 1), nullptr);
  EXPECT_EQ(np_uchar_seek(longText.c_str(), 64), longText.c_str() + 22 * 4 + 42);
}

TEST(Uchar, ToIntReportsTheTerminatorAsSizeZero) {
  int size = -1;
  EXPECT_EQ(np_uchar_toint("", &size), 0);
  EXPECT_EQ(size, 0);
  size = -1;
  EXPECT_EQ(np_uchar_toint(nullptr, &size), 0);
  EXPECT_EQ(size, 0);
  EXPECT_EQ(np_uchar_toint("\xC3\xA9", nullptr), 0xE9);
  EXPECT_EQ(np_uchar_length(nullptr), 0);
}

TEST(Uchar, WhiteSpaceIsTheUnicodeWhiteSpaceProperty) {
  const char32_t spaces[] = {0x09, 0x0A, 0x0B, 0x0C, 0x0D, 0x20, 0x85, 0xA0,
                             0x1680, 0x2000, 0x2005, 0x200A, 0x2028, 0x2029,
                             0x202F, 0x205F, 0x3000};
  for (char32_t c : spaces) {
    const std::string s = Utf8(c);
    int size = 0;
    EXPECT_NE(np_uchar_isspace(s.c_str(), &size), 0) << std::hex << uint32_t{c};
    EXPECT_EQ(static_cast<size_t>(size), s.size());
  }
  // Look-alikes that are not White_Space: zero-width space, the Mongolian
  // vowel separator, the byte-order mark, and lone bytes that would be the
  // second byte of U+0085 / U+00A0.
  const char32_t others[] = {'a', 0x08, 0x0E, 0x1F, 0x200B, 0x180E, 0xFEFF, 0x2060};
  for (char32_t c : others) {
    int size = 0;
    EXPECT_EQ(np_uchar_isspace(Utf8(c).c_str(), &size), 0) << std::hex << uint32_t{c};
  }
  int size = 0;
  EXPECT_EQ(np_uchar_isspace("\xA0", &size), 0);
  EXPECT_EQ(size, 1);
  EXPECT_EQ(np_uchar_isspace("\x85", &size), 0);
  EXPECT_EQ(np_uchar_isspace("", &size), 0);
  EXPECT_EQ(size, 0);
}

TEST(Uchar, IsAsciiGivesTheCharacterSize) {
  int size = 0;
  EXPECT_NE(np_uchar_isascii("a\xC3\xA9", &size), 0);
  EXPECT_EQ(size, 1);
  EXPECT_EQ(np_uchar_isascii("\xC3\xA9", &size), 0);
  EXPECT_EQ(size, 2);
  EXPECT_EQ(np_uchar_isascii("\xE2\x82\xAC", &size), 0);
  EXPECT_EQ(size, 3);
  EXPECT_EQ(np_uchar_isascii("\xFF", &size), 0);
  EXPECT_EQ(size, 1);
  np_uchar_isascii("", &size);
  EXPECT_EQ(size, 0);
}

std::string Lower(const std::string& s) {
  const int n = np_uchar_lower(s.c_str(), nullptr, 0);
  std::string out(static_cast<size_t>(n) + 1, '#');
  EXPECT_EQ(np_uchar_lower(s.c_str(), out.data(), n + 1), n);
  EXPECT_EQ(strlen(out.c_str()), static_cast<size_t>(n));
  out.resize(static_cast<size_t>(n));
  return out;
}

std::string Upper(const std::string& s) {
  const int n = np_uchar_upper(s.c_str(), nullptr, 0);
  std::string out(static_cast<size_t>(n) + 1, '#');
  EXPECT_EQ(np_uchar_upper(s.c_str(), out.data(), n + 1), n);
  EXPECT_EQ(strlen(out.c_str()), static_cast<size_t>(n));
  out.resize(static_cast<size_t>(n));
  return out;
}

TEST(Uchar, CaseMappingIsFullAndMayChangeTheByteLength) {
  EXPECT_EQ(Upper("stra\xC3\x9F" "e"), "STRASSE");             // ß -> SS
  EXPECT_EQ(Upper("\xEF\xAC\x81x"), "FIX");                     // ﬁ -> FI
  EXPECT_EQ(Upper("\xCE\x90"), "\xCE\x99\xCC\x88\xCC\x81");     // ΐ -> three
  EXPECT_EQ(Upper("\xC8\xBF"), "\xE2\xB1\xBE");                 // ȿ -> Ȿ, 2 -> 3 bytes
  EXPECT_EQ(Upper("\xE1\xBA\x9E"), "\xE1\xBA\x9E");             // ẞ stays
  EXPECT_EQ(Lower("\xE1\xBA\x9E"), "\xC3\x9F");                 // ẞ -> ß
  EXPECT_EQ(Lower("\xC4\xB0"), "i\xCC\x87");                    // İ -> i + U+0307
  EXPECT_EQ(Lower("\xE2\x84\xAA"), "k");                        // Kelvin sign
  EXPECT_EQ(Lower("\xC7\x85"), "\xC7\x86");                     // ǅ -> ǆ
  EXPECT_EQ(Upper("\xC7\x85"), "\xC7\x84");                     // ǅ -> Ǆ
  EXPECT_EQ(Lower("\xCE\xA3\xCE\x91\xCE\xA3"), "\xCF\x83\xCE\xB1\xCF\x83");  // no final sigma
  // Invalid bytes pass through unchanged, also inside eight-byte blocks.
  EXPECT_EQ(Upper("a\xFF" "b\xE2\x82" "cdefghij"), "A\xFF" "B\xE2\x82" "CDEFGHIJ");
  // The neighbours of the letters in ASCII stay as they are.
  EXPECT_EQ(Upper("@AZ[`az{ hello, World 0129 ~"), "@AZ[`AZ{ HELLO, WORLD 0129 ~");
  EXPECT_EQ(Lower("@AZ[`az{ hello, World 0129 ~"), "@az[`az{ hello, world 0129 ~");
  // Non-ASCII characters inside sixteen-byte blocks.
  EXPECT_EQ(Upper("hello world, stra\xC3\x9F" "e und gr\xC3\xBC\xC3\x9F"
                  "e aus k\xC3\xB6ln!"),
            "HELLO WORLD, STRASSE UND GR\xC3\x9CSSE AUS K\xC3\x96LN!");
  EXPECT_EQ(Lower("0123456789ABCDE\xC3\x84XYZ@[\xFF]ABCDEFGHIJKLMNOPQRSTUVWXYZ"),
            "0123456789abcde\xC3\xA4xyz@[\xFF]abcdefghijklmnopqrstuvwxyz");
  EXPECT_EQ(Lower(""), "");
  EXPECT_EQ(np_uchar_upper(nullptr, nullptr, 0), 0);
}

TEST(Uchar, CaseMappingCutsTooSmallOutputAtWholeCharacters) {
  const char* s = "a\xC3\x9F" "b";  // "aßb" -> "ASSB"
  char buf[20];
  struct Cut {
    int size;
    const char* want;
  };
  for (const Cut& c : {Cut{1, ""}, Cut{2, "A"}, Cut{3, "A"}, Cut{4, "ASS"},
                       Cut{5, "ASSB"}, Cut{16, "ASSB"}}) {
    memset(buf, '#', sizeof buf);
    EXPECT_EQ(np_uchar_upper(s, buf, c.size), 4) << c.size;
    EXPECT_STREQ(buf, c.want) << c.size;
    EXPECT_EQ(buf[c.size], '#') << c.size;  // nothing past dstSize
  }
  // After a character that does not fit, a later smaller one is not taken.
  memset(buf, '#', sizeof buf);
  EXPECT_EQ(np_uchar_upper("a\xCE\x90" "b", buf, 4), 8);
  EXPECT_STREQ(buf, "A");
  // Cuts inside ASCII blocks of eight and of sixteen bytes.
  EXPECT_EQ(np_uchar_lower("ABCDEFGHIJKL", buf, 6), 12);
  EXPECT_STREQ(buf, "abcde");
  memset(buf, '#', sizeof buf);
  EXPECT_EQ(np_uchar_lower("ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789", buf, 19), 36);
  EXPECT_STREQ(buf, "abcdefghijklmnopqr");
  EXPECT_EQ(buf[19], '#');
}

int Sign(int v) { return (v > 0) - (v < 0); }

TEST(Uchar, IcompOrdersByFullCaseFolding) {
  struct Case {
    const char* a;
    const char* b;
    int sign;
  };
  const Case cases[] = {
      {"Stra\xC3\x9F" "e", "STRASSE", 0},
      {"stra\xC3\x9F" "e", "strasse", 0},
      {"\xC3\x9F", "st", -1},            // "ss" < "st"
      {"a", "B", -1},
      {"B", "a", 1},
      {"abc", "ABC", 0},
      {"abc", "ABD", -1},
      {"ab", "ABC", -1},
      {"", "a", -1},
      {"", "", 0},
      {"\xE2\x84\xAA", "k", 0},          // Kelvin sign
      {"\xEF\xAC\x81", "FI", 0},         // ﬁ
      {"\xC7\x85", "\xC7\x84", 0},       // ǅ, Ǆ
      {"\xC3\x89t\xC3\xA9", "\xC3\xA9T\xC3\x89", 0},  // Été / éTÉ
      {"\xCE\xA3", "\xCF\x82", 0},       // Σ, ς
      {"\xFF", "\xF4\x8F\xBF\xBF", 1},   // invalid after every character
      {"\x80", "\x81", -1},              // invalid bytes by byte value
      {"\xC3", "\xC3\xA0", 1},           // a cut sequence is no character
      {"x\xE0", "X\xC3\xA0", 1},         // byte E0 is not U+00E0
  };
  for (const Case& c : cases) {
    EXPECT_EQ(Sign(np_uchar_icomp(c.a, c.b)), c.sign)
        << testing::PrintToString(std::string(c.a)) << " vs "
        << testing::PrintToString(std::string(c.b));
    EXPECT_EQ(Sign(np_uchar_icomp(c.b, c.a)), -c.sign);
  }
  EXPECT_EQ(np_uchar_icomp(nullptr, nullptr), 0);
  EXPECT_LT(np_uchar_icomp(nullptr, ""), 0);
  EXPECT_GT(np_uchar_icomp("", nullptr), 0);
}

// ASCII texts compare eight bytes at a time: the result must match the order
// of the lowered texts wherever the first difference or the end falls,
// including the characters between 'Z' and 'a' and texts ending at a page
// boundary.
TEST(Uchar, IcompOfAsciiTextsMatchesTheLoweredOrder) {
  std::mt19937 random(20261121);
  const std::string alphabet = "aAzZ09_[`{@ mM";
  auto lowered = [](std::string t) {
    for (char& c : t) {
      if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + 32);
    }
    return t;
  };
  auto sign = [](int v) { return (v > 0) - (v < 0); };
  // A page-aligned buffer, so that texts can end right at its last byte.
  std::vector<char> page(2 * 4096);
  char* pageEnd = reinterpret_cast<char*>(
      (reinterpret_cast<uintptr_t>(page.data()) + 4095) & ~uintptr_t{4095}) + 4096;
  for (int i = 0; i < 5000; ++i) {
    std::string a, b;
    size_t length = random() % 40;
    for (size_t k = 0; k < length; ++k) a += alphabet[random() % alphabet.size()];
    b = a;
    for (char& c : b) {
      if (random() % 3 == 0 && c >= 'a' && c <= 'z') c = static_cast<char>(c - 32);
    }
    if (!b.empty() && random() % 2 == 0) {
      b[random() % b.size()] = alphabet[random() % alphabet.size()];
    }
    if (random() % 4 == 0) b.resize(random() % (b.size() + 1));
    int expected = sign(lowered(a).compare(lowered(b)));
    ASSERT_EQ(expected, sign(np_uchar_icomp(a.c_str(), b.c_str())))
        << "'" << a << "' vs '" << b << "'";
    char* at = pageEnd - (b.size() + 1);
    std::memcpy(at, b.c_str(), b.size() + 1);
    ASSERT_EQ(expected, sign(np_uchar_icomp(a.c_str(), at)));
  }
}

TEST(Uchar, BufncopyTakesWholeCharactersAndWorksInPlace) {
  const char* s = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80";  // a é € 😀
  char buf[32];
  EXPECT_EQ(np_uchar_bufncopy(buf, s, sizeof buf, 3), 6);
  EXPECT_STREQ(buf, "a\xC3\xA9\xE2\x82\xAC");
  EXPECT_EQ(np_uchar_bufncopy(buf, s, 6, 10), 3);  // "€" would need 6 + 1
  EXPECT_STREQ(buf, "a\xC3\xA9");
  EXPECT_EQ(np_uchar_bufncopy(buf, s, sizeof buf, 0), 0);
  EXPECT_STREQ(buf, "");
  EXPECT_EQ(np_uchar_bufncopy(buf, nullptr, sizeof buf, 3), 0);
  EXPECT_STREQ(buf, "");
  buf[0] = 'z';
  EXPECT_EQ(np_uchar_bufncopy(buf, s, 0, 3), 0);
  EXPECT_EQ(buf[0], 'z');

  char text[] = "h\xC3\xA9llo w\xC3\xB6rld";
  EXPECT_EQ(np_uchar_bufncopy(text, text, sizeof text, 4), 5);
  EXPECT_STREQ(text, "h\xC3\xA9ll");

  // In place, past the first measuring window.
  std::string big;
  for (int i = 0; i < 200; ++i) big += "\xC3\xA9x";
  std::vector<char> inPlace(big.begin(), big.end());
  inPlace.push_back('\0');
  const char* end = np_uchar_seek(big.c_str(), 301);
  ASSERT_NE(end, nullptr);
  EXPECT_EQ(np_uchar_bufncopy(inPlace.data(), inPlace.data(),
                              static_cast<int>(inPlace.size()), 301),
            end - big.c_str());
  EXPECT_EQ(std::string(inPlace.data()), big.substr(0, end - big.c_str()));
}

}  // namespace
