// Writing text files: encodings and line ends, append mode, and the atomic
// replacement of a file written in write mode.
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
namespace fs = std::filesystem;

// Writes `lines` to `path` with writeln and closes; returns close's result.
bool writeLines(const std::string& path, KxbTxtFileOpenMode mode,
                const std::vector<std::string>& lines, int option2 = 0) {
  KxbString error;
  KxbTxtFile* file = kxbTxtFileOpen(path.c_str(), mode, -1, option2, &error);
  if (file == nullptr) {
    ADD_FAILURE() << error.asCstr();
    return false;
  }
  bool ok = true;
  for (const std::string& line : lines) ok = file->writeln(line.c_str()) && ok;
  ok = file->close() && ok;
  file->release();
  return ok;
}

TEST(TextFileWrite, WritesUtf8WithLfUnlessOptionsSayOtherwise) {
  kxb_test::TempDir dir;
  ASSERT_TRUE(writeLines(dir.path("plain.txt"), KXB_TXT_WRITE,
                         {"a=1", "", "\xC3\xA9"}));
  EXPECT_EQ("a=1\n\n\xC3\xA9\n", dir.read("plain.txt"));

  ASSERT_TRUE(writeLines(dir.path("dos.txt"), KXB_TXT_WRITE, {"x", "y"},
                         KXB_TXT_CRLF | KXB_TXT_WRITE_BOM));
  EXPECT_EQ("\xEF\xBB\xBFx\r\ny\r\n", dir.read("dos.txt"));

  ASSERT_TRUE(writeLines(dir.path("wide.txt"), KXB_TXT_WRITE,
                         {"A\xF0\x9F\x98\x80"}, KXB_TXT_WRITE_UTF16));
  EXPECT_EQ(std::string("\xFF\xFE" "A\0\x3D\xD8\x00\xDE\n\0", 10),
            dir.read("wide.txt"));
}

TEST(TextFileWrite, ExtraBitsFlushAndEndSingleLinesWithCrlf) {
  kxb_test::TempDir dir;
  KxbTxtFile* file = kxbTxtFileOpen(dir.path("extra.txt").c_str(),
                                    KXB_TXT_APPEND, -1, 0, nullptr);
  ASSERT_NE(nullptr, file);
  EXPECT_TRUE(file->writeln(KxbString("one"), KXB_TXT_EXTRA_CRLF));
  EXPECT_TRUE(file->write(KxbString("two"), KXB_TXT_EXTRA_FLUSH));
  // Flushed text is in the file before close.
  EXPECT_EQ("one\r\ntwo", dir.read("extra.txt"));
  EXPECT_EQ(1, file->getLineCount());
  EXPECT_TRUE(file->close());
  file->release();
}

TEST(TextFileWrite, WrittenLinesReadBackTheSame) {
  kxb_test::TempDir dir;
  std::vector<std::string> lines = {"first", "", "  padded  ", "tab\there",
                                    std::string(100000, 'z'), "\xE2\x82\xAC"};
  for (int options : std::vector<int>{0, KXB_TXT_CRLF, KXB_TXT_WRITE_UTF16,
                      KXB_TXT_WRITE_BOM | KXB_TXT_CRLF}) {
    ASSERT_TRUE(writeLines(dir.path("round.txt"), KXB_TXT_WRITE, lines, options));
    KxbTxtFile* file = kxbTxtFileOpen(dir.path("round.txt").c_str(),
                                      KXB_TXT_READ, -1, 0, nullptr);
    ASSERT_NE(nullptr, file);
    std::vector<std::string> back;
    KxbString line;
    bool sawLineEnd;
    while (file->readLine(-1, &line, &sawLineEnd) > 0 || sawLineEnd) {
      back.push_back(line.asCstr());
    }
    file->release();
    EXPECT_EQ(lines, back) << "options " << options;
  }
}

TEST(TextFileWrite, AppendAddsInTheExistingFilesEncoding) {
  kxb_test::TempDir dir;
  ASSERT_TRUE(writeLines(dir.path("log.txt"), KXB_TXT_APPEND, {"one"}));
  ASSERT_TRUE(writeLines(dir.path("log.txt"), KXB_TXT_APPEND, {"two"}));
  EXPECT_EQ("one\ntwo\n", dir.read("log.txt"));

  ASSERT_TRUE(writeLines(dir.path("wide.txt"), KXB_TXT_WRITE, {"a"},
                         KXB_TXT_WRITE_UTF16));
  ASSERT_TRUE(writeLines(dir.path("wide.txt"), KXB_TXT_APPEND, {"b"}));
  EXPECT_EQ(std::string("\xFF\xFE" "a\0\n\0b\0\n\0", 10), dir.read("wide.txt"));
}

TEST(TextFileWrite, CloseReplacesTheFileAndLeavesNoTemporaryFile) {
  kxb_test::TempDir dir;
  dir.write("app.cfg", "old\n");
  fs::permissions(dir.path("app.cfg"), fs::perms::owner_read |
                                           fs::perms::owner_write |
                                           fs::perms::group_read);
  KxbTxtFile* file = kxbTxtFileOpen(dir.path("app.cfg").c_str(),
                                    KXB_TXT_WRITE, -1, 0, nullptr);
  ASSERT_NE(nullptr, file);
  ASSERT_TRUE(file->writeln("new"));
  // Until close, the old text is in place and the new one elsewhere.
  EXPECT_EQ("old\n", dir.read("app.cfg"));
  EXPECT_EQ(2u, dir.names().size());
  ASSERT_TRUE(file->close());
  file->release();
  EXPECT_EQ("new\n", dir.read("app.cfg"));
  EXPECT_EQ(std::vector<std::string>{"app.cfg"}, dir.names());
  EXPECT_EQ(fs::perms::owner_read | fs::perms::owner_write |
                fs::perms::group_read,
            fs::status(dir.path("app.cfg")).permissions() & fs::perms::all);
}

TEST(TextFileWrite, ReleaseWithoutCloseKeepsTheOldFile) {
  kxb_test::TempDir dir;
  dir.write("app.cfg", "old\n");
  KxbTxtFile* file = kxbTxtFileOpen(dir.path("app.cfg").c_str(),
                                    KXB_TXT_WRITE, -1, 0, nullptr);
  ASSERT_NE(nullptr, file);
  ASSERT_TRUE(file->writeln(std::string(200000, 'n').c_str()));
  file->release();
  EXPECT_EQ("old\n", dir.read("app.cfg"));
  EXPECT_EQ(std::vector<std::string>{"app.cfg"}, dir.names());
}

TEST(TextFileWrite, FailedWriteOrRenameKeepsTheOldFileAndNamesTheReason) {
  kxb_test::TempDir dir;
  dir.write("app.cfg", "old\n");
  struct Case {
    kxFaultPoint point;
    const char* reason;
  };
  for (Case c : {Case{KX_FAULT_WRITE, "Cannot write"},
                 Case{KX_FAULT_RENAME, "Cannot replace"}}) {
    KxbTxtFile* file = kxbTxtFileOpen(dir.path("app.cfg").c_str(),
                                      KXB_TXT_WRITE, -1, 0, nullptr);
    ASSERT_NE(nullptr, file);
    ASSERT_TRUE(file->writeln("new"));
    kxFaultArm(c.point, 1);
    EXPECT_FALSE(file->close());
    std::string message = file->getErrorMessage().asCstr();
    EXPECT_NE(std::string::npos, message.find(c.reason)) << message;
    EXPECT_NE(std::string::npos, message.find("app.cfg")) << message;
    EXPECT_NE(std::string::npos, message.find("Input/output error")) << message;
    EXPECT_EQ(EIO, file->getSystemError());
    file->release();
    EXPECT_EQ("old\n", dir.read("app.cfg"));
    EXPECT_EQ(std::vector<std::string>{"app.cfg"}, dir.names());
  }
}

TEST(TextFileWrite, WriteFailureBeforeCloseMakesEveryLaterCallFail) {
  kxb_test::TempDir dir;
  dir.write("big.txt", "old\n");
  KxbTxtFile* file = kxbTxtFileOpen(dir.path("big.txt").c_str(), KXB_TXT_WRITE,
                                    -1, 0, nullptr);
  ASSERT_NE(nullptr, file);
  kxFaultArm(KX_FAULT_WRITE, 1);
  // More than the write buffer: the failure surfaces in writeln itself.
  std::string chunk(100000, 'x');
  EXPECT_FALSE(file->writeln(chunk.c_str()));
  EXPECT_FALSE(file->writeln("after"));
  EXPECT_FALSE(file->close());
  file->release();
  EXPECT_EQ("old\n", dir.read("big.txt"));
  EXPECT_EQ(std::vector<std::string>{"big.txt"}, dir.names());
}

TEST(TextFileWrite, OpenFailuresNameThePath) {
  kxb_test::TempDir dir;
  KxbString error;
  EXPECT_EQ(nullptr, kxbTxtFileOpen(dir.path("no/such/dir/x.txt").c_str(),
                                    KXB_TXT_WRITE, -1, 0, &error));
  EXPECT_NE(nullptr, std::strstr(error.asCstr(), "no/such/dir/x.txt"))
      << error.asCstr();
  EXPECT_NE(nullptr, std::strstr(error.asCstr(), "No such file or directory"));

  dir.mkdir("sub");
  EXPECT_EQ(nullptr, kxbTxtFileOpen(dir.path("sub").c_str(), KXB_TXT_WRITE,
                                    -1, 0, &error));
  EXPECT_NE(nullptr, std::strstr(error.asCstr(), "Is a directory"));

  EXPECT_EQ(nullptr, kxbTxtFileOpen(dir.path("gone/x.txt").c_str(),
                                    KXB_TXT_APPEND, -1, 0, &error));
  EXPECT_NE(nullptr, std::strstr(error.asCstr(), "for appending"));
  EXPECT_NE(nullptr, std::strstr(error.asCstr(), "gone/x.txt"));

  kxFaultArm(KX_FAULT_OPEN, 1);  // the temporary file
  EXPECT_EQ(nullptr, kxbTxtFileOpen(dir.path("y.txt").c_str(), KXB_TXT_WRITE,
                                    -1, 0, &error));
  EXPECT_NE(nullptr, std::strstr(error.asCstr(), "temporary file"));
  EXPECT_TRUE(dir.names() == std::vector<std::string>{"sub"});
}

TEST(TextFileWrite, ASymbolicLinkIsFollowedAndKept) {
  kxb_test::TempDir dir;
  dir.mkdir("real");
  dir.write("real/app.cfg", "old\n");
  fs::create_symlink(dir.path("real/app.cfg"), dir.path("link.cfg"));
  ASSERT_TRUE(writeLines(dir.path("link.cfg"), KXB_TXT_WRITE, {"new"}));
  EXPECT_TRUE(fs::is_symlink(dir.path("link.cfg")));
  EXPECT_EQ("new\n", dir.read("real/app.cfg"));
}

TEST(TextFileWrite, AFileInTheCurrentDirectoryIsReplacedInPlace) {
  kxb_test::TempDir dir;
  std::error_code error;
  fs::path before = fs::current_path();
  fs::current_path(dir.path());
  bool ok = writeLines("here.txt", KXB_TXT_WRITE, {"x"});
  fs::current_path(before, error);
  EXPECT_TRUE(ok);
  EXPECT_EQ("x\n", dir.read("here.txt"));
  EXPECT_EQ(std::vector<std::string>{"here.txt"}, dir.names());
}

}  // namespace
