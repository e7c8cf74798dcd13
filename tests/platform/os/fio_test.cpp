// The platform's file, environment and character-set functions as the text
// IO library and the option sets use them.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "kx_fault.h"
#include "np_encode.h"
#include "np_env.h"
#include "np_fio.h"
#include "np_mem.h"
#include "support/temp_dir.h"

namespace {

TEST(PlatformFiles, BytesLinesSeekAndTruncate) {
  kxb_test::TempDir dir;
  std::string path = dir.path("f.bin");
  np_fio_file* file = nullptr;
  ASSERT_EQ(0, np_fio_open(path.c_str(),
                           NP_FIO_READWRITE | NP_FIO_CREATE | NP_FIO_EXCLUSIVE,
                           0644, &file));
  ASSERT_EQ(0, np_fio_puts(file, "first"));
  ASSERT_EQ(0, np_fio_write(file, "second\nthird", 12));
  int32_t position = -1;
  ASSERT_EQ(0, np_fio_seek(file, 0, NP_FIO_SET, &position));
  EXPECT_EQ(0, position);
  char line[8];
  size_t length = 0;
  ASSERT_EQ(0, np_fio_gets(file, line, sizeof line, &length));
  EXPECT_STREQ("first\n", line);
  ASSERT_EQ(0, np_fio_gets(file, line, 4, &length));  // cut: 3 bytes
  EXPECT_STREQ("sec", line);
  // Plain reads continue where the line reads stopped.
  char bytes[16];
  size_t got = 0;
  ASSERT_EQ(0, np_fio_read(file, bytes, 4, &got));
  EXPECT_EQ("ond\n", std::string(bytes, got));
  int64_t position64 = -1;
  ASSERT_EQ(0, np_fio_seek64(file, 0, NP_FIO_CUR, &position64));
  EXPECT_EQ(13, position64);
  ASSERT_EQ(0, np_fio_gets(file, line, sizeof line, &length));
  EXPECT_STREQ("third", line);
  ASSERT_EQ(0, np_fio_gets(file, line, sizeof line, &length));
  EXPECT_EQ(0u, length);
  EXPECT_EQ(EOVERFLOW, np_fio_seek(file, INT32_MAX, NP_FIO_END, &position));
  ASSERT_EQ(0, np_fio_seek64(file, 0, NP_FIO_CUR, &position64));
  EXPECT_EQ(18, position64);  // unchanged by the refused seek
  ASSERT_EQ(0, np_fio_truncate(file, 5));
  np_fio_info info;
  ASSERT_EQ(0, np_fio_fstat(file, &info));
  EXPECT_EQ(5, info.size);
  EXPECT_EQ(NP_FIO_TYPE_FILE, info.type);
  EXPECT_EQ(0, np_fio_sync(file));
  EXPECT_EQ(0, np_fio_close(file));
  EXPECT_EQ("first", dir.read("f.bin"));

  EXPECT_EQ(EEXIST, np_fio_open(path.c_str(),
                                NP_FIO_WRITE | NP_FIO_CREATE | NP_FIO_EXCLUSIVE,
                                0644, &file));
  EXPECT_EQ(nullptr, file);
  EXPECT_EQ(0, np_fio_stat(path.c_str()));
  EXPECT_EQ(0, np_fio_unlink(path.c_str()));
  EXPECT_EQ(ENOENT, np_fio_stat(path.c_str()));
  EXPECT_EQ(ENOENT, np_fio_unlink(path.c_str()));
}

// Positional transfers leave the position to the sequential calls, and the
// whole-file read gives every byte or nothing.
TEST(PlatformFiles, PositionalTransfersAndWholeFileReads) {
  kxb_test::TempDir dir;
  const std::string path = dir.path("p.bin");
  np_fio_file* file = nullptr;
  ASSERT_EQ(0, np_fio_open(path.c_str(), NP_FIO_READWRITE | NP_FIO_CREATE,
                           0644, &file));
  ASSERT_EQ(0, np_fio_write(file, "abc", 3));
  ASSERT_EQ(0, np_fio_pwrite(file, "XY", 2, 6));  // past the end: a hole
  ASSERT_EQ(0, np_fio_pwrite(file, "B", 1, 1));
  ASSERT_EQ(0, np_fio_write(file, "d", 1));  // still at 3
  char buffer[16];
  size_t got = 0;
  ASSERT_EQ(0, np_fio_pread(file, buffer, sizeof buffer, 0, &got));
  EXPECT_EQ(std::string("aBcd\0\0XY", 8), std::string(buffer, got));
  ASSERT_EQ(0, np_fio_pread(file, buffer, 4, 7, &got));
  EXPECT_EQ("Y", std::string(buffer, got));
  ASSERT_EQ(0, np_fio_pread(file, buffer, 4, 100, &got));
  EXPECT_EQ(0u, got);
  int64_t position = -1;
  ASSERT_EQ(0, np_fio_seek64(file, 0, NP_FIO_CUR, &position));
  EXPECT_EQ(4, position);
  EXPECT_EQ(EINVAL, np_fio_pread(file, buffer, 1, -1, &got));
  kxFaultArm(KX_FAULT_WRITE, 1);
  EXPECT_EQ(EIO, np_fio_pwrite(file, "zz", 2, 0));
  kxFaultReset();
  ASSERT_EQ(0, np_fio_close(file));

  char* data = nullptr;
  size_t size = 99;
  ASSERT_EQ(0, np_fio_read_file(path.c_str(), 8, &data, &size));
  EXPECT_EQ(std::string("aBcd\0\0XY", 8), std::string(data, size));
  EXPECT_EQ('\0', data[size]);
  np_mem_free(data);
  // A file that grows past what its size said, and one that reports none.
  const std::string big(100000, 'b');
  dir.write("big", big);
  ASSERT_EQ(0, np_fio_read_file(dir.path("big").c_str(), big.size(), &data, &size));
  EXPECT_EQ(big, std::string(data, size));
  np_mem_free(data);
  ASSERT_EQ(0, np_fio_read_file("/proc/self/status", 1 << 20, &data, &size));
  EXPECT_NE(nullptr, std::strstr(data, "Name:"));
  np_mem_free(data);
  dir.write("empty", "");
  ASSERT_EQ(0, np_fio_read_file(dir.path("empty").c_str(), 0, &data, &size));
  EXPECT_EQ(0u, size);
  EXPECT_STREQ("", data);
  np_mem_free(data);

  EXPECT_EQ(EFBIG, np_fio_read_file(path.c_str(), 7, &data, &size));
  EXPECT_EQ(nullptr, data);
  EXPECT_EQ(0u, size);
  EXPECT_EQ(ENOENT, np_fio_read_file(dir.path("none").c_str(), 8, &data, &size));
  EXPECT_EQ(EISDIR, np_fio_read_file(dir.path().c_str(), 8, &data, &size));
  kxFaultArm(KX_FAULT_HEAP_ALLOC, 2);  // the handle is the first block
  EXPECT_EQ(ENOMEM, np_fio_read_file(path.c_str(), 8, &data, &size));
  kxFaultReset();
  EXPECT_EQ(nullptr, data);
}

TEST(PlatformFiles, FaultPointsFailLikeTheSystem) {
  kxb_test::TempDir dir;
  std::string path = dir.path("f.txt");
  np_fio_file* file = nullptr;
  kxFaultArm(KX_FAULT_OPEN, 1);
  EXPECT_EQ(EACCES, np_fio_open(path.c_str(), NP_FIO_WRITE | NP_FIO_CREATE,
                                0644, &file));
  EXPECT_FALSE(dir.exists("f.txt"));
  ASSERT_EQ(0, np_fio_open(path.c_str(), NP_FIO_WRITE | NP_FIO_CREATE, 0644,
                           &file));
  kxFaultArm(KX_FAULT_WRITE, 1);
  EXPECT_EQ(EIO, np_fio_write(file, "abc", 3));
  EXPECT_EQ(0, np_fio_write(file, "abc", 3));
  np_fio_close(file);
  EXPECT_EQ("abc", dir.read("f.txt"));
  kxFaultArm(KX_FAULT_RENAME, 1);
  EXPECT_EQ(EIO, np_fio_rename(path.c_str(), dir.path("g.txt").c_str()));
  EXPECT_TRUE(dir.exists("f.txt"));
  EXPECT_EQ(0, np_fio_rename(path.c_str(), dir.path("g.txt").c_str()));
  EXPECT_TRUE(dir.exists("g.txt"));

  char text[128];
  EXPECT_STREQ("No such file or directory", np_fio_errdesc(ENOENT, text, sizeof text));
  char tiny[3];
  EXPECT_STREQ("No", np_fio_errdesc(ENOENT, tiny, sizeof tiny));
}

TEST(PlatformFiles, TemporaryFilesAreUniqueAndRemovedOnRequest) {
  kxb_test::TempDir dir;
  char first[256], second[256];
  np_fio_file* a = nullptr;
  np_fio_file* b = nullptr;
  ASSERT_EQ(0, np_fio_tmpfile(dir.path().c_str(), "pre", first, sizeof first, &a));
  ASSERT_EQ(0, np_fio_tmpfile(dir.path().c_str(), "pre", second, sizeof second, &b));
  EXPECT_STRNE(first, second);
  EXPECT_EQ(0, std::strncmp(first, dir.path("pre").c_str(), dir.path("pre").size()));
  np_fio_info info;
  ASSERT_EQ(0, np_fio_fstat(a, &info));
  EXPECT_EQ(0600u, info.permissions);
  EXPECT_EQ(0, np_fio_remove_on_close(b, second));
  np_fio_close(a);
  np_fio_close(b);
  EXPECT_EQ(0, np_fio_stat(first));
  EXPECT_EQ(ENOENT, np_fio_stat(second));

  char path[256];
  ASSERT_EQ(0, np_fio_tmpfile(nullptr, "kxbtest", path, sizeof path, &a));
  EXPECT_EQ(0, np_fio_remove_on_close(a, path));
  np_fio_close(a);
  EXPECT_EQ(ENOENT, np_fio_stat(path));

  char small[8];
  EXPECT_EQ(ENAMETOOLONG, np_fio_tmpfile(dir.path().c_str(), "p", small, sizeof small, &a));
  EXPECT_EQ(nullptr, a);
  kxFaultArm(KX_FAULT_OPEN, 1);
  EXPECT_EQ(EACCES, np_fio_tmpfile(dir.path().c_str(), "p", path, sizeof path, &a));
  EXPECT_EQ(nullptr, a);
}

TEST(PlatformEnvironment, GetSetAndTheBlock) {
  ASSERT_EQ(0, np_env_set("KXB_TEST_VARIABLE", "v\xC3\xA9"));
  char buffer[8];
  EXPECT_EQ(NP_ENV_FOUND, np_env_get("KXB_TEST_VARIABLE", buffer, sizeof buffer));
  EXPECT_STREQ("v\xC3\xA9", buffer);
  char small[3] = "xx";
  EXPECT_EQ(NP_ENV_TOO_SMALL, np_env_get("KXB_TEST_VARIABLE", small, sizeof small));
  EXPECT_STREQ("", small);
  char* block = np_env_block();
  ASSERT_NE(nullptr, block);
  bool seen = false;
  for (const char* entry = block; *entry != '\0'; entry += std::strlen(entry) + 1) {
    seen = seen || std::strcmp(entry, "KXB_TEST_VARIABLE=v\xC3\xA9") == 0;
  }
  np_env_block_free(block);
  EXPECT_TRUE(seen);
  EXPECT_EQ(0, np_env_set("KXB_TEST_VARIABLE", nullptr));
  EXPECT_EQ(NP_ENV_ABSENT, np_env_get("KXB_TEST_VARIABLE", buffer, sizeof buffer));
  EXPECT_STREQ("", buffer);
  EXPECT_EQ(EINVAL, np_env_set("A=B", "x"));
  EXPECT_EQ(EINVAL, np_env_set("", "x"));
}

TEST(PlatformEncoding, LocaleCharsetAndConversion) {
  char saved[256] = "";
  bool hadAll = np_env_get("LC_ALL", saved, sizeof saved) == NP_ENV_FOUND;
  char charset[32];
  np_env_set("LC_ALL", "de_DE.ISO-8859-15@euro");
  EXPECT_STREQ("ISO-8859-15", np_lcinfo_charset(charset, sizeof charset));
  EXPECT_EQ(NP_UCHAR_ENC_LATIN9, np_uchar_getenc(charset));
  np_env_set("LC_ALL", "C");
  EXPECT_STREQ("UTF-8", np_lcinfo_charset(charset, sizeof charset));
  np_env_set("LC_ALL", hadAll ? saved : nullptr);

  EXPECT_EQ(NP_UCHAR_ENC_UTF8, np_uchar_getenc("utf8"));
  EXPECT_EQ(NP_UCHAR_ENC_ASCII, np_uchar_getenc("ANSI_X3.4-1968"));
  EXPECT_EQ(NP_UCHAR_ENC_LATIN1, np_uchar_getenc("iso_8859-1"));
  EXPECT_EQ(NP_UCHAR_ENC_UNKNOWN, np_uchar_getenc("EBCDIC"));

  char out[16];
  EXPECT_EQ(5, np_uchar_encode(NP_UCHAR_ENC_LATIN1, "\xE9t\xE9", 3, out, sizeof out));
  EXPECT_STREQ("\xC3\xA9t\xC3\xA9", out);
  EXPECT_EQ(3, np_uchar_encode(NP_UCHAR_ENC_LATIN9, "\xA4", 1, out, sizeof out));
  EXPECT_STREQ("\xE2\x82\xAC", out);
  EXPECT_EQ(3, np_uchar_encode(NP_UCHAR_ENC_ASCII, "\x80", 1, out, sizeof out));
  EXPECT_STREQ("\xEF\xBF\xBD", out);
  // UTF-8 is copied byte for byte, cut only between characters.
  EXPECT_EQ(5, np_uchar_encode(NP_UCHAR_ENC_UTF8, "ab\xE2\x82\xAC", 5, out, 5));
  EXPECT_STREQ("ab", out);
  EXPECT_EQ(-1, np_uchar_encode(NP_UCHAR_ENC_UNKNOWN, "x", 1, out, sizeof out));
}

}  // namespace
