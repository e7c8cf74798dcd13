// Reading text files through the text IO library: line ends, byte-order
// marks, UTF-16, long lines, limits and read errors.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "kx_fault.h"
#include "kxbtxtfile.h"
#include "support/temp_dir.h"
#include "support/textio_env.h"

namespace {

const bool kTextIO = kxb_test::useTextIO();

struct Line {
  std::string text;
  bool sawLineEnd;
  bool operator==(const Line& other) const {
    return text == other.text && sawLineEnd == other.sawLineEnd;
  }
};

std::ostream& operator<<(std::ostream& out, const Line& line) {
  return out << "{\"" << line.text << "\", " << line.sawLineEnd << "}";
}

// Every line of `file` until the end (which must come without error).
std::vector<Line> readLines(KxbTxtFile* file, int maxChars = -1) {
  std::vector<Line> lines;
  while (true) {
    KxbString text;
    bool sawLineEnd = true;
    int result = file->readLine(maxChars, &text, &sawLineEnd);
    EXPECT_GE(result, 0) << file->getErrorMessage().asCstr();
    if (result < 0) break;
    if (result == 0 && !sawLineEnd) {
      EXPECT_TRUE(text.isNull());
      break;
    }
    EXPECT_EQ(result, text.length());
    lines.push_back({text.asCstr(), sawLineEnd});
  }
  return lines;
}

std::vector<Line> readFile(const std::string& path, int option1 = -1,
                           int option2 = 0, int maxChars = -1) {
  KxbString error;
  KxbTxtFile* file =
      kxbTxtFileOpen(path.c_str(), KXB_TXT_READ, option1, option2, &error);
  if (file == nullptr) {
    ADD_FAILURE() << "open failed: " << error.asCstr();
    return {};
  }
  std::vector<Line> lines = readLines(file, maxChars);
  EXPECT_TRUE(file->atEnd());
  EXPECT_TRUE(file->close());
  file->release();
  return lines;
}

std::string utf16(const std::u16string& text, bool littleEndian) {
  std::string bytes = littleEndian ? "\xFF\xFE" : "\xFE\xFF";
  for (char16_t unit : text) {
    char low = static_cast<char>(unit & 0xFF);
    char high = static_cast<char>(unit >> 8);
    bytes += littleEndian ? std::string{low, high} : std::string{high, low};
  }
  return bytes;
}

TEST(TextFileRead, EveryLineEndStyleEndsALineAndIsDropped) {
  kxb_test::TempDir dir;
  dir.write("mixed.txt", "lf\ncrlf\r\ncr\rlast");
  EXPECT_EQ((std::vector<Line>{{"lf", true}, {"crlf", true}, {"cr", true},
                               {"last", false}}),
            readFile(dir.path("mixed.txt")));

  // Empty lines of each style, and a "\r" that is the file's last byte.
  dir.write("empty.txt", "\n\r\n\r\r\n\r");
  EXPECT_EQ((std::vector<Line>{{"", true}, {"", true}, {"", true},
                               {"", true}, {"", true}}),
            readFile(dir.path("empty.txt")));

  dir.write("nothing.txt", "");
  EXPECT_TRUE(readFile(dir.path("nothing.txt")).empty());
}

TEST(TextFileRead, ReportsHowEachLineEnded) {
  kxb_test::TempDir dir;
  dir.write("ends.txt", "a\r\nb\rc\nd");
  KxbTxtFile* file =
      kxbTxtFileOpen(dir.path("ends.txt").c_str(), KXB_TXT_READ, -1, 0, nullptr);
  ASSERT_NE(nullptr, file);
  std::vector<int> ends;
  KxbString line;
  bool sawLineEnd;
  while (file->readLine(-1, &line, &sawLineEnd) > 0) {
    ends.push_back(file->lastLineEnd());
  }
  EXPECT_EQ((std::vector<int>{KXB_TXT_END_CRLF, KXB_TXT_END_CR, KXB_TXT_END_LF,
                              KXB_TXT_END_NONE}),
            ends);
  EXPECT_EQ(4, file->getLineCount());
  EXPECT_EQ(8, file->getByteCount());
  file->release();
}

TEST(TextFileRead, CrlfSplitAcrossReadBuffersIsOneLineEnd) {
  // The reader takes 64 KiB at a time: put the "\r" last in the first piece.
  kxb_test::TempDir dir;
  std::string first(64 * 1024 - 1, 'x');
  dir.write("split.txt", first + "\r\nnext\r\n");
  EXPECT_EQ((std::vector<Line>{{first, true}, {"next", true}}),
            readFile(dir.path("split.txt")));
}

TEST(TextFileRead, ByteOrderMarksAreHonouredOnlyAtTheStart) {
  kxb_test::TempDir dir;
  dir.write("bom.txt", "\xEF\xBB\xBFkey=value\n\xEF\xBB\xBFsecond\n");
  EXPECT_EQ((std::vector<Line>{{"key=value", true},
                               {"\xEF\xBB\xBFsecond", true}}),
            readFile(dir.path("bom.txt")));

  // "é€😀" and CRLF in both UTF-16 byte orders, with a surrogate pair.
  const std::u16string text = u"\u00E9\u20AC\U0001F600\r\nzwei";
  const std::string utf8 = "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80";
  for (bool little : {true, false}) {
    dir.write("utf16.txt", utf16(text, little));
    EXPECT_EQ((std::vector<Line>{{utf8, true}, {"zwei", false}}),
              readFile(dir.path("utf16.txt")))
        << (little ? "LE" : "BE");
    KxbTxtFile* file = kxbTxtFileOpen(dir.path("utf16.txt").c_str(),
                                      KXB_TXT_READ, -1, 0, nullptr);
    ASSERT_NE(nullptr, file);
    KxbString line;
    file->readLine(-1, &line, nullptr);
    EXPECT_EQ(little ? KXB_TXT_UTF16LE : KXB_TXT_UTF16BE, file->getEncoding());
    file->release();
  }
}

TEST(TextFileRead, BrokenUtf16BecomesReplacementCharacters) {
  kxb_test::TempDir dir;
  // An unpaired high surrogate before "A", a lone low surrogate, and an odd
  // last byte.
  std::string bytes = utf16(u"\xD800" u"A\xDC00", true) + "B";
  dir.write("broken.txt", bytes);
  const std::string fffd = "\xEF\xBF\xBD";
  EXPECT_EQ((std::vector<Line>{{fffd + "A" + fffd + fffd, false}}),
            readFile(dir.path("broken.txt")));
}

TEST(TextFileRead, ValidUtf8OptionRepairsInputOtherwiseKeptAsIs) {
  kxb_test::TempDir dir;
  // A stray continuation byte, a cut three-byte sequence and a good "é".
  const std::string raw = "a\x80" "b\xE2\x82" "c\xC3\xA9";
  dir.write("bad.txt", raw + "\n");
  EXPECT_EQ((std::vector<Line>{{raw, true}}), readFile(dir.path("bad.txt")));
  const std::string fffd = "\xEF\xBF\xBD";
  EXPECT_EQ((std::vector<Line>{{"a" + fffd + "b" + fffd + "c\xC3\xA9", true}}),
            readFile(dir.path("bad.txt"), -1, KXB_TXT_VALID_UTF8));
  // A sequence cut by the end of the file.
  dir.write("cut.txt", "x\xF0\x9F\x98");
  EXPECT_EQ((std::vector<Line>{{"x" + fffd, false}}),
            readFile(dir.path("cut.txt"), -1, KXB_TXT_VALID_UTF8));
  // NUL bytes, in UTF-8 and in UTF-16: a repaired line is one C string.
  dir.write("nul.txt", std::string("k\0=v\n", 5));
  EXPECT_EQ((std::vector<Line>{{"k" + fffd + "=v", true}}),
            readFile(dir.path("nul.txt"), -1, KXB_TXT_VALID_UTF8));
  dir.write("nul16.txt", utf16(std::u16string(u"a\0b", 3), true));
  EXPECT_EQ((std::vector<Line>{{"a" + fffd + "b", false}}),
            readFile(dir.path("nul16.txt"), -1, KXB_TXT_VALID_UTF8));
}

TEST(TextFileRead, LinesOfAnyLengthAreReadWhole) {
  kxb_test::TempDir dir;
  std::string longLine;
  for (int i = 0; longLine.size() < 3 * 1024 * 1024; ++i) {
    longLine += "\xC3\xA9" + std::to_string(i);
  }
  dir.write("long.txt", "short\n" + longLine + "\r\n" + longLine);
  std::vector<Line> lines = readFile(dir.path("long.txt"));
  ASSERT_EQ(3u, lines.size());
  EXPECT_EQ("short", lines[0].text);
  EXPECT_TRUE(lines[1] == (Line{longLine, true}));
  EXPECT_TRUE(lines[2] == (Line{longLine, false}));
}

TEST(TextFileRead, MaxCharsHandsOutWholeCharactersInPieces) {
  kxb_test::TempDir dir;
  // Eight characters, two of them two bytes long, then a short line.
  dir.write("pieces.txt", "ab\xC3\xA9" "cd\xC3\xA9" "ef\nxy\n");
  EXPECT_EQ((std::vector<Line>{{"ab\xC3\xA9", false},
                               {"cd\xC3\xA9", false},
                               {"ef", true},
                               {"xy", true}}),
            readFile(dir.path("pieces.txt"), -1, 0, 3));
  // A line of exactly maxChars characters comes whole with its end.
  EXPECT_EQ((std::vector<Line>{{"abc", true}}), [&] {
    dir.write("exact.txt", "abc\n");
    return readFile(dir.path("exact.txt"), -1, 0, 3);
  }());
}

TEST(TextFileRead, LineLongerThanOption1IsAnErrorNamingTheLine) {
  kxb_test::TempDir dir;
  dir.write("limit.txt", "12345\n1234567890\n");
  KxbTxtFile* file = kxbTxtFileOpen(dir.path("limit.txt").c_str(),
                                    KXB_TXT_READ, 8, 0, nullptr);
  ASSERT_NE(nullptr, file);
  KxbString line;
  bool sawLineEnd;
  EXPECT_EQ(5, file->readLine(-1, &line, &sawLineEnd));
  EXPECT_EQ(-1, file->readLine(-1, &line, &sawLineEnd));
  EXPECT_TRUE(line.isNull());
  std::string message = file->getErrorMessage().asCstr();
  EXPECT_NE(std::string::npos, message.find("Line 2"));
  EXPECT_NE(std::string::npos, message.find("limit.txt"));
  EXPECT_NE(std::string::npos, message.find("8 bytes"));
  // The file stays failed.
  EXPECT_EQ(-1, file->readLine(-1, &line, &sawLineEnd));
  file->release();
}

TEST(TextFileRead, CopiesOfEarlierLinesKeepTheirText) {
  kxb_test::TempDir dir;
  dir.write("copies.txt", "first line\nsecond\nthird, the longest one\n");
  KxbTxtFile* file = kxbTxtFileOpen(dir.path("copies.txt").c_str(),
                                    KXB_TXT_READ, -1, 0, nullptr);
  ASSERT_NE(nullptr, file);
  KxbString line;
  std::vector<KxbString> kept;
  while (file->readLine(-1, &line, nullptr) > 0) kept.push_back(line);
  file->release();
  ASSERT_EQ(3u, kept.size());
  EXPECT_STREQ("first line", kept[0].asCstr());
  EXPECT_STREQ("second", kept[1].asCstr());
  EXPECT_STREQ("third, the longest one", kept[2].asCstr());
  EXPECT_EQ(6, kept[1].length());
}

TEST(TextFileRead, ReadHandsOutDecodedBytesWithoutLineStructure) {
  kxb_test::TempDir dir;
  dir.write("raw.txt", utf16(u"ab\ncd", true));
  KxbTxtFile* file = kxbTxtFileOpen(dir.path("raw.txt").c_str(), KXB_TXT_READ,
                                    -1, 0, nullptr);
  ASSERT_NE(nullptr, file);
  KxbString first;
  file->readLine(-1, &first, nullptr);
  EXPECT_STREQ("ab", first.asCstr());
  char buffer[8];
  std::string rest;
  for (int n; (n = file->read(buffer, 1)) > 0;) rest.append(buffer, n);
  EXPECT_EQ("cd", rest);
  EXPECT_TRUE(file->atEnd());
  file->release();
}

TEST(TextFileRead, MissingUnreadableAndDirectoryPathsNameThePathAndReason) {
  kxb_test::TempDir dir;
  KxbString error;
  EXPECT_EQ(nullptr, kxbTxtFileOpen(dir.path("absent.txt").c_str(),
                                    KXB_TXT_READ, -1, 0, &error));
  EXPECT_NE(nullptr, std::strstr(error.asCstr(), "absent.txt"));
  EXPECT_NE(nullptr, std::strstr(error.asCstr(), "No such file or directory"))
      << error.asCstr();

  EXPECT_EQ(nullptr,
            kxbTxtFileOpen(dir.path().c_str(), KXB_TXT_READ, -1, 0, &error));
  EXPECT_NE(nullptr, std::strstr(error.asCstr(), "Is a directory"))
      << error.asCstr();

  dir.write("locked.txt", "secret\n");
  kxFaultArm(KX_FAULT_OPEN, 1);
  EXPECT_EQ(nullptr, kxbTxtFileOpen(dir.path("locked.txt").c_str(),
                                    KXB_TXT_READ, -1, 0, &error));
  EXPECT_NE(nullptr, std::strstr(error.asCstr(), "locked.txt"));
  EXPECT_NE(nullptr, std::strstr(error.asCstr(), "Permission denied"))
      << error.asCstr();
}

TEST(TextFileRead, FilePermissionsThatForbidReadingAreReported) {
  kxb_test::TempDir dir;
  if (kxb_test::ignoresPermissions(dir)) {
    GTEST_SKIP() << "running with privileges that ignore file permissions";
  }
  dir.write("private.txt", "x\n");
  std::filesystem::permissions(dir.path("private.txt"),
                               std::filesystem::perms::none);
  KxbString error;
  EXPECT_EQ(nullptr, kxbTxtFileOpen(dir.path("private.txt").c_str(),
                                    KXB_TXT_READ, -1, 0, &error));
  EXPECT_NE(nullptr, std::strstr(error.asCstr(), "Permission denied"));
}

TEST(TextFileRead, WrongModeOperationsFailWithoutHarm) {
  kxb_test::TempDir dir;
  dir.write("r.txt", "line\n");
  KxbTxtFile* file =
      kxbTxtFileOpen(dir.path("r.txt").c_str(), KXB_TXT_READ, -1, 0, nullptr);
  ASSERT_NE(nullptr, file);
  EXPECT_FALSE(file->writeln("x"));
  EXPECT_NE(nullptr, std::strstr(file->getErrorMessage().asCstr(), "not open for writing"));
  EXPECT_EQ((std::vector<Line>{{"line", true}}), readLines(file));
  EXPECT_TRUE(file->close());
  EXPECT_FALSE(file->isOpen());
  KxbString line;
  EXPECT_EQ(-1, file->readLine(-1, &line, nullptr));
  EXPECT_FALSE(file->close());
  file->release();
  EXPECT_EQ("line\n", dir.read("r.txt"));
}

}  // namespace
