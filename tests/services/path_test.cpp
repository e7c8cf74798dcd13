// Joining and splitting paths, and directory listings.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "kx_fault.h"
#include "kxbpath.h"
#include "np_fio.h"
#include "support/temp_dir.h"
#include "support/textio_env.h"

namespace {

const bool kTextIO = kxb_test::useTextIO();

std::string text(const KxbString& s) {
  return s.isNull() ? "<null>" : s.asCstr();
}

TEST(ConcatPath, JoinsWithExactlyOneSeparator) {
  EXPECT_EQ("/a/b", text(kxbConcatPath(KxbString("/a"), KxbString("b"))));
  EXPECT_EQ("/a/b", text(kxbConcatPath(KxbString("/a/"), KxbString("b"))));
  EXPECT_EQ("/b", text(kxbConcatPath(KxbString("/"), KxbString("b"))));
  EXPECT_EQ("a/b", text(kxbConcatPath(KxbString("a"), KxbString("/b"))));
  EXPECT_EQ("a", text(kxbConcatPath(KxbString("a"), KxbString(""))));
  EXPECT_EQ("b", text(kxbConcatPath(KxbString(), KxbString("b"))));
  EXPECT_EQ("", text(kxbConcatPath(KxbString(), KxbString())));
}

TEST(ConcatPath, LongPathsUseTheHeapAndJoinTheSame) {
  std::string directory(200, 'd');
  std::string name(100, 'n');
  EXPECT_EQ(directory + "/" + name,
            text(kxbConcatPath(KxbString(directory.c_str()),
                               KxbString(name.c_str()))));
  // The heap buffer comes through the allocation seam.
  kxFaultArm(KX_FAULT_HEAP_ALLOC, 1);
  EXPECT_EQ("<null>", text(kxbConcatPath(KxbString(directory.c_str()),
                                         KxbString(name.c_str()))));
  // Right at the border between the two buffers: 126 + 127 + 2 = 255 bytes.
  std::string a(125, 'a'), b(126, 'b');
  EXPECT_EQ(a + "/" + b,
            text(kxbConcatPath(KxbString(a.c_str()), KxbString(b.c_str()))));
}

TEST(ParsePath, SplitsAtTheLastSeparator) {
  struct Case {
    const char* path;
    const char* directory;
    const char* name;
  };
  for (Case c : {Case{"/a/b", "/a", "b"}, Case{"b", "", "b"},
                 Case{"/b", "/", "b"}, Case{"a/b/", "a/b", ""},
                 Case{"", "", ""}, Case{"//b", "/", "b"},
                 Case{"a//b", "a", "b"}, Case{"/", "/", ""}}) {
    KxbString name("stale");
    EXPECT_EQ(c.directory, text(kxbParsePath(KxbString(c.path), &name)))
        << c.path;
    EXPECT_EQ(c.name, text(name)) << c.path;
  }
  EXPECT_EQ("", text(kxbParsePath(KxbString(), nullptr)));
  std::string longPath = std::string(300, 'x') + "/" + std::string(300, 'y');
  KxbString name;
  EXPECT_EQ(std::string(300, 'x'),
            text(kxbParsePath(KxbString(longPath.c_str()), &name)));
  EXPECT_EQ(std::string(300, 'y'), text(name));
  kxFaultArm(KX_FAULT_HEAP_ALLOC, 1);
  name = KxbString("stale");
  EXPECT_EQ("<null>", text(kxbParsePath(KxbString(longPath.c_str()), &name)));
  EXPECT_TRUE(name.isNull());
}

TEST(PlatformPath, BufferLimitsAreExactAndOverflowIsRefused) {
  char out[8];
  // outSize bytes of text plus a terminator.
  EXPECT_EQ(0, np_fio_pcat("abc", "def", out, 7));
  EXPECT_STREQ("abc/def", out);
  EXPECT_EQ(ENAMETOOLONG, np_fio_pcat("abc", "defg", out, 7));
  EXPECT_EQ(EINVAL, np_fio_pcat(nullptr, "x", out, 7));
  char directory[3], name[3];
  EXPECT_EQ(0, np_fio_pparse("ab/cd", directory, 3, name, 3));
  EXPECT_EQ(ENAMETOOLONG, np_fio_pparse("abc/d", directory, 3, name, 3));
  EXPECT_EQ(ENAMETOOLONG, np_fio_pparse("a/bcd", directory, 3, name, 3));
}

std::vector<std::string> listing(KxbDirectoryListing* list) {
  std::vector<std::string> names;
  KxbString name;
  bool isDirectory = false;
  while (list->next(&name, &isDirectory)) {
    names.push_back(std::string(name.asCstr()) + (isDirectory ? "/" : ""));
  }
  return names;
}

TEST(DirectoryOpen, ListsSortedEntriesFilteredByKind) {
  kxb_test::TempDir dir;
  for (const char* name : {"b.cfg", "a.cfg", "C.cfg", "z.xml"}) {
    dir.write(name, "");
  }
  dir.mkdir("sub");
  KxbString error;
  KxbDirectoryListing* all =
      kxbDirectoryOpen(KxbString(dir.path().c_str()), 0, &error);
  ASSERT_NE(nullptr, all) << error.asCstr();
  EXPECT_EQ((std::vector<std::string>{"C.cfg", "a.cfg", "b.cfg", "sub/",
                                      "z.xml"}),
            listing(all));
  EXPECT_EQ(5, all->count());
  EXPECT_FALSE(all->next(nullptr, nullptr));
  all->rewind();
  KxbString first;
  EXPECT_TRUE(all->next(&first, nullptr));
  EXPECT_STREQ("C.cfg", first.asCstr());
  EXPECT_TRUE(all->getEntry(3, &first, nullptr));
  EXPECT_STREQ("sub", first.asCstr());
  EXPECT_FALSE(all->getEntry(5, &first, nullptr));
  EXPECT_TRUE(first.isNull());
  EXPECT_STREQ(dir.path().c_str(), all->getPath().asCstr());
  all->release();

  KxbDirectoryListing* files =
      kxbDirectoryOpen(KxbString(dir.path().c_str()), KXB_DIR_FILES, nullptr);
  ASSERT_NE(nullptr, files);
  EXPECT_EQ(4, files->count());
  files->release();
  KxbDirectoryListing* dirs = kxbDirectoryOpen(
      KxbString(dir.path().c_str()), KXB_DIR_DIRECTORIES, nullptr);
  ASSERT_NE(nullptr, dirs);
  EXPECT_EQ(std::vector<std::string>{"sub/"}, listing(dirs));
  dirs->release();
}

TEST(DirectoryOpen, MissingDirectoryNamesPathAndReason) {
  kxb_test::TempDir dir;
  KxbString error;
  EXPECT_EQ(nullptr, kxbDirectoryOpen(KxbString(dir.path("gone").c_str()),
                                      KXB_DIR_FILES, &error));
  EXPECT_NE(nullptr, std::strstr(error.asCstr(), "gone"));
  EXPECT_NE(nullptr, std::strstr(error.asCstr(), "No such file or directory"));
  dir.write("file", "");
  EXPECT_EQ(nullptr, kxbDirectoryOpen(KxbString(dir.path("file").c_str()), 0,
                                      &error));
  EXPECT_NE(nullptr, std::strstr(error.asCstr(), "Not a directory"));
}

}  // namespace
