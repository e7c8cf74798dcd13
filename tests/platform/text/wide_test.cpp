// Tests of the UTF-8 <-> UTF-16 converters (np_mb_to_wide, np_wide_to_mb).
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "np_uchar.h"

namespace {

using Units = std::vector<unsigned short>;

constexpr unsigned kUtf8 = NP_CP_UTF8;
constexpr unsigned short kSentinel = 0xAAAA;

// "aé€😀" and its UTF-16 form.
const char kMixed[] = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80";
const Units kMixedWide = {0x61, 0xE9, 0x20AC, 0xD83D, 0xDE00};

// Converts all of `s` (no terminator) through a size query and an exact-fit
// buffer.
Units ToWide(const std::string& s) {
  const int n = np_mb_to_wide(kUtf8, 0, s.data(), static_cast<int>(s.size()), nullptr, 0);
  Units out(static_cast<size_t>(n));
  if (n > 0) {
    EXPECT_EQ(np_mb_to_wide(kUtf8, 0, s.data(), static_cast<int>(s.size()), out.data(), n), n);
  }
  return out;
}

std::string ToUtf8(const Units& w) {
  const int n = np_wide_to_mb(kUtf8, 0, w.data(), static_cast<int>(w.size()), nullptr, 0);
  std::string out(static_cast<size_t>(n), '\0');
  if (n > 0) {
    EXPECT_EQ(np_wide_to_mb(kUtf8, 0, w.data(), static_cast<int>(w.size()), out.data(), n), n);
  }
  return out;
}

TEST(Wide, SizeQueriesCountTheTerminatorOnlyForMinusOne) {
  EXPECT_EQ(np_mb_to_wide(kUtf8, 0, kMixed, -1, nullptr, 0), 6);
  EXPECT_EQ(np_mb_to_wide(kUtf8, 0, kMixed, 10, nullptr, 0), 5);
  unsigned short buf[8];
  EXPECT_EQ(np_mb_to_wide(kUtf8, 0, kMixed, -1, buf, 0), 6);  // dstLen 0 asks too
  EXPECT_EQ(np_mb_to_wide(kUtf8, 0, "", -1, nullptr, 0), 1);
  // An explicit length converts embedded NULs like any other byte.
  EXPECT_EQ(np_mb_to_wide(kUtf8, 0, "a\0b", 3, nullptr, 0), 3);

  const unsigned short wide[] = {0x61, 0xE9, 0x20AC, 0xD83D, 0xDE00, 0};
  EXPECT_EQ(np_wide_to_mb(kUtf8, 0, wide, -1, nullptr, 0), 11);
  EXPECT_EQ(np_wide_to_mb(kUtf8, 0, wide, 5, nullptr, 0), 10);
  char out[4];
  EXPECT_EQ(np_wide_to_mb(kUtf8, 0, wide, 5, out, 0), 10);
}

TEST(Wide, ExactFitSucceedsAndOneShortFails) {
  Units buf(8, kSentinel);
  ASSERT_EQ(np_mb_to_wide(kUtf8, 0, kMixed, -1, buf.data(), 6), 6);
  EXPECT_EQ(Units(buf.begin(), buf.begin() + 5), kMixedWide);
  EXPECT_EQ(buf[5], 0);
  EXPECT_EQ(buf[6], kSentinel);
  EXPECT_EQ(np_mb_to_wide(kUtf8, 0, kMixed, -1, buf.data(), 5), 0);
  // Room for one unit of a surrogate pair is not enough.
  EXPECT_EQ(np_mb_to_wide(kUtf8, 0, kMixed, 10, buf.data(), 4), 0);
  EXPECT_EQ(np_mb_to_wide(kUtf8, 0, kMixed, 10, buf.data(), 5), 5);

  const unsigned short wide[] = {0x61, 0xE9, 0x20AC, 0xD83D, 0xDE00, 0};
  char out[16];
  memset(out, '#', sizeof out);
  ASSERT_EQ(np_wide_to_mb(kUtf8, 0, wide, -1, out, 11), 11);
  EXPECT_STREQ(out, kMixed);
  EXPECT_EQ(out[11], '#');
  EXPECT_EQ(np_wide_to_mb(kUtf8, 0, wide, -1, out, 10), 0);
  // Three bytes left for a four-byte character.
  EXPECT_EQ(np_wide_to_mb(kUtf8, 0, wide, 5, out, 9), 0);
  EXPECT_EQ(np_wide_to_mb(kUtf8, 0, wide, 3, out, 5), 0);
  EXPECT_EQ(np_wide_to_mb(kUtf8, 0, wide, 3, out, 6), 6);
}

TEST(Wide, NothingIsWrittenPastTheResult) {
  // Long ASCII runs go through the block paths; the buffers are larger than
  // needed and must keep their contents behind the converted text.
  std::string text;
  for (int i = 0; i < 5; ++i) text += "0123456789abcdefghij\xC3\xA9\xE4\xB8\xAD";
  Units wide(text.size() + 16, kSentinel);
  const int n = np_mb_to_wide(kUtf8, 0, text.data(), static_cast<int>(text.size()),
                              wide.data(), static_cast<int>(wide.size()));
  ASSERT_EQ(n, 5 * 22);
  for (size_t i = static_cast<size_t>(n); i < wide.size(); ++i) EXPECT_EQ(wide[i], kSentinel);

  std::string back(text.size() + 16, '#');
  const int m = np_wide_to_mb(kUtf8, 0, wide.data(), n, back.data(),
                              static_cast<int>(back.size()));
  ASSERT_EQ(m, static_cast<int>(text.size()));
  EXPECT_EQ(back.substr(0, text.size()), text);
  EXPECT_EQ(back.substr(text.size()), std::string(16, '#'));

  // A short ASCII prefix before characters that take three bytes per unit:
  // the converted text ends within the first block of output.
  for (int ascii = 0; ascii < 16; ++ascii) {
    for (int cjk = 1; cjk < 16; ++cjk) {
      std::string s(static_cast<size_t>(ascii), 'a');
      for (int i = 0; i < cjk; ++i) s += "\xE4\xB8\xAD";
      Units out(64, kSentinel);
      const int units = np_mb_to_wide(kUtf8, 0, s.data(), static_cast<int>(s.size()),
                                      out.data(), static_cast<int>(out.size()));
      ASSERT_EQ(units, ascii + cjk);
      for (size_t i = static_cast<size_t>(units); i < out.size(); ++i) {
        ASSERT_EQ(out[i], kSentinel) << ascii << " " << cjk;
      }
    }
  }
}

TEST(Wide, IllFormedUtf8BecomesOneReplacementPerMaximalSubpart) {
  constexpr unsigned short R = 0xFFFD;
  struct Case {
    std::string utf8;
    Units wide;
  };
  const Case cases[] = {
      // The example of the Unicode standard (3.9, "U+FFFD Substitution of
      // Maximal Subparts").
      {"\x61\xF1\x80\x80\xE1\x80\xC2\x62\x80\x63\x80\xBF\x64",
       {0x61, R, R, R, 0x62, R, 0x63, R, R, 0x64}},
      {"\xC0\xAF", {R, R}},                      // overlong: no valid prefix
      {"\xE0\x80\x80", {R, R, R}},               // E0 needs A0..BF next
      {"\xE0\xA0", {R}},                         // truncated at the end
      {"\xE2\x82" "A", {R, 'A'}},
      {"\xED\xA0\x80", {R, R, R}},               // surrogate
      {"\xF0\x9F\x98", {R}},
      {"\xF4\x90\x80\x80", {R, R, R, R}},        // above U+10FFFF
      {"\xF5\xFF", {R, R}},
      {"\xF4\x8F\xBF\xBF", {0xDBFF, 0xDFFF}},    // U+10FFFF is fine
      {"\xEF\xBF\xBD", {R}},                     // a real U+FFFD
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.utf8));
    EXPECT_EQ(ToWide(c.utf8), c.wide);
  }
}

TEST(Wide, UnpairedSurrogatesBecomeReplacementCharacters) {
  const std::string R = "\xEF\xBF\xBD";
  EXPECT_EQ(ToUtf8({0xD83D, 0xDE00}), "\xF0\x9F\x98\x80");
  EXPECT_EQ(ToUtf8({0xD800, 0xDC00}), "\xF0\x90\x80\x80");
  EXPECT_EQ(ToUtf8({0xDBFF, 0xDFFF}), "\xF4\x8F\xBF\xBF");
  EXPECT_EQ(ToUtf8({0xD83D}), R);                     // high at the end
  EXPECT_EQ(ToUtf8({0xD83D, 'x'}), R + "x");          // high, then no low
  EXPECT_EQ(ToUtf8({0xDE00, 'x'}), R + "x");          // lone low
  EXPECT_EQ(ToUtf8({0xDE00, 0xD83D}), R + R);         // reversed pair
  EXPECT_EQ(ToUtf8({0xD83D, 0xD83D, 0xDE00}), R + "\xF0\x9F\x98\x80");
  EXPECT_EQ(ToUtf8({0x7F, 0x80, 0x7FF, 0x800, 0xFFFF}),
            "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF");
  // An explicit length stops inside a pair: the high half is unpaired.
  const unsigned short pair[] = {0xD83D, 0xDE00, 0};
  char out[8];
  EXPECT_EQ(np_wide_to_mb(kUtf8, 0, pair, 1, nullptr, 0), 3);
  EXPECT_EQ(np_wide_to_mb(kUtf8, 0, pair, 1, out, sizeof out), 3);
  EXPECT_EQ(std::string(out, 3), R);
}

TEST(Wide, BadArgumentsReturnZero) {
  unsigned short w[8];
  char b[8];
  const unsigned short wide[] = {'a', 0};
  EXPECT_EQ(np_mb_to_wide(1252, 0, "a", -1, w, 8), 0);
  EXPECT_EQ(np_mb_to_wide(kUtf8, 8, "a", -1, w, 8), 0);
  EXPECT_EQ(np_mb_to_wide(kUtf8, 0, "a", 0, w, 8), 0);
  EXPECT_EQ(np_mb_to_wide(kUtf8, 0, "a", -2, w, 8), 0);
  EXPECT_EQ(np_mb_to_wide(kUtf8, 0, nullptr, -1, w, 8), 0);
  EXPECT_EQ(np_mb_to_wide(kUtf8, 0, "a", -1, w, -1), 0);
  EXPECT_EQ(np_wide_to_mb(1252, 0, wide, -1, b, 8), 0);
  EXPECT_EQ(np_wide_to_mb(kUtf8, 1, wide, -1, b, 8), 0);
  EXPECT_EQ(np_wide_to_mb(kUtf8, 0, wide, 0, b, 8), 0);
  EXPECT_EQ(np_wide_to_mb(kUtf8, 0, wide, -3, b, 8), 0);
  EXPECT_EQ(np_wide_to_mb(kUtf8, 0, nullptr, -1, b, 8), 0);
  EXPECT_EQ(np_wide_to_mb(kUtf8, 0, wide, -1, b, -1), 0);
}

TEST(Wide, RandomValidTextRoundTrips) {
  std::mt19937 rng(7);
  std::uniform_int_distribution<int> kind(0, 9);
  for (int round = 0; round < 400; ++round) {
    // Build the code points, then both encodings of them independently.
    const size_t count = std::uniform_int_distribution<size_t>(0, 300)(rng);
    std::string utf8;
    Units utf16;
    for (size_t i = 0; i < count; ++i) {
      uint32_t c;
      switch (kind(rng)) {
        case 0: c = std::uniform_int_distribution<uint32_t>(0x80, 0x7FF)(rng); break;
        case 1: c = std::uniform_int_distribution<uint32_t>(0x800, 0xFFFF)(rng); break;
        case 2: c = std::uniform_int_distribution<uint32_t>(0x10000, 0x10FFFF)(rng); break;
        default: c = std::uniform_int_distribution<uint32_t>(1, 0x7F)(rng); break;
      }
      if (c >= 0xD800 && c <= 0xDFFF) c -= 0x1000;
      if (c < 0x80) {
        utf8 += static_cast<char>(c);
      } else if (c < 0x800) {
        utf8 += static_cast<char>(0xC0 | (c >> 6));
        utf8 += static_cast<char>(0x80 | (c & 0x3F));
      } else if (c < 0x10000) {
        utf8 += static_cast<char>(0xE0 | (c >> 12));
        utf8 += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        utf8 += static_cast<char>(0x80 | (c & 0x3F));
      } else {
        utf8 += static_cast<char>(0xF0 | (c >> 18));
        utf8 += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        utf8 += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        utf8 += static_cast<char>(0x80 | (c & 0x3F));
      }
      if (c < 0x10000) {
        utf16.push_back(static_cast<unsigned short>(c));
      } else {
        utf16.push_back(static_cast<unsigned short>(0xD800 + ((c - 0x10000) >> 10)));
        utf16.push_back(static_cast<unsigned short>(0xDC00 + ((c - 0x10000) & 0x3FF)));
      }
    }
    SCOPED_TRACE(testing::PrintToString(utf8));
    ASSERT_EQ(ToWide(utf8), utf16);
    ASSERT_EQ(ToUtf8(utf16), utf8);

    // With terminator, one unit short fails.
    const int n = np_mb_to_wide(kUtf8, 0, utf8.c_str(), -1, nullptr, 0);
    ASSERT_EQ(n, static_cast<int>(utf16.size()) + 1);
    Units buf(static_cast<size_t>(n));
    if (n > 1) {
      EXPECT_EQ(np_mb_to_wide(kUtf8, 0, utf8.c_str(), -1, buf.data(), n - 1), 0);
    }
    ASSERT_EQ(np_mb_to_wide(kUtf8, 0, utf8.c_str(), -1, buf.data(), n), n);
    EXPECT_EQ(buf.back(), 0);
    const int m = np_wide_to_mb(kUtf8, 0, buf.data(), -1, nullptr, 0);
    ASSERT_EQ(m, static_cast<int>(utf8.size()) + 1);
    std::string back(static_cast<size_t>(m), '#');
    if (m > 1) {
      EXPECT_EQ(np_wide_to_mb(kUtf8, 0, buf.data(), -1, back.data(), m - 1), 0);
    }
    ASSERT_EQ(np_wide_to_mb(kUtf8, 0, buf.data(), -1, back.data(), m), m);
    EXPECT_STREQ(back.c_str(), utf8.c_str());
  }
}

}  // namespace
