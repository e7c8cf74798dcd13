// KxbConfigFile: the file format, duplicate keys, comments, deletions and
// round trips through files.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "kx_fault.h"
#include "kxbconfigfile.h"
#include "support/temp_dir.h"
#include "support/textio_env.h"

namespace {

const bool kTextIO = kxb_test::useTextIO();

std::string text(const KxbString& s) {
  return s.isNull() ? "<null>" : s.asCstr();
}

class ConfigFileTest : public ::testing::Test {
 protected:
  // Reads `content` (written to a file) into `config`.
  void readText(KxbConfigFile& config, const std::string& content,
                const std::string& name = "in.cfg") {
    dir_.write(name, content);
    ASSERT_TRUE(config.read(KxbString(dir_.path(name).c_str())))
        << text(config.getErrorMessage());
  }
  // Writes `config` to a file and returns the file's bytes.
  std::string writeText(KxbConfigFile& config) {
    EXPECT_TRUE(config.write(KxbString(dir_.path("out.cfg").c_str())))
        << text(config.getErrorMessage());
    return dir_.read("out.cfg");
  }

  kxb_test::TempDir dir_;
};

TEST_F(ConfigFileTest, CommentAboveAnEntryBelongsToItAndIsWrittenBackOnce) {
  KxbConfigFile config;
  readText(config, "# the port\nport = 80\n");
  EXPECT_EQ(1, config.getEntryCount());
  EXPECT_EQ("80", text(config.getEntry(KxbString("port"))));
  EXPECT_EQ(" the port", text(config.getEntryComment(KxbString("PORT"))));
  EXPECT_EQ("# the port\nport=80\n", writeText(config));
}

TEST_F(ConfigFileTest, ValuesKeepEqualsAndHashAndLinesAreTrimmed) {
  KxbConfigFile config;
  readText(config,
           "a=b=c\n  b = x # y  \r\n   # note\nx#y\n\t\nc=\n=orphan\n");
  EXPECT_EQ("b=c", text(config.getEntry(KxbString("a"))));
  EXPECT_EQ("x # y", text(config.getEntry(KxbString("b"))));
  EXPECT_EQ("", text(config.getEntry(KxbString("c"))));
  EXPECT_EQ("orphan", text(config.getEntry(KxbString(""))));
  EXPECT_EQ("<null>", text(config.getEntry(KxbString("x#y"))));
  EXPECT_EQ("<null>", text(config.getEntry(KxbString("missing"))));
  // " # note" is a comment, but the plain line below it drops it.
  EXPECT_EQ("<null>", text(config.getEntryComment(KxbString("c"))));
  EXPECT_EQ("a=b=c\nb=x # y\n# note\nx#y\n\nc=\n=orphan\n", writeText(config));
}

TEST_F(ConfigFileTest, OnlyTheLastOfSeveralCommentLinesIsTheEntrysComment) {
  KxbConfigFile config;
  readText(config, "#first\n#second\nk=v\n#gap\n\nj=w\n");
  EXPECT_EQ("second", text(config.getEntryComment(KxbString("k"))));
  EXPECT_EQ("<null>", text(config.getEntryComment(KxbString("j"))));
  config.setEntryComment(KxbString("k"), KxbString("changed"));
  EXPECT_EQ("#first\n#changed\nk=v\n#gap\n\nj=w\n", writeText(config));
}

TEST_F(ConfigFileTest, EscapedLineBreaksInCommentsRoundTrip) {
  KxbConfigFile config;
  readText(config, "#line1\\nline2\nkey=1\n");
  EXPECT_EQ("line1\nline2", text(config.getEntryComment(KxbString("key"))));
  EXPECT_EQ("#line1\\nline2\nkey=1\n", writeText(config));
  config.setEntryComment(KxbString("key"), KxbString("a\r\nb\nc"));
  EXPECT_EQ("#a\\nb\\nc\nkey=1\n", writeText(config));
}

TEST_F(ConfigFileTest, DuplicateKeysFreezeTheEarlierOccurrence) {
  KxbConfigFile config;
  readText(config, "Key=1\nKEY=2\n");
  EXPECT_EQ(1, config.getEntryCount());
  EXPECT_EQ("2", text(config.getEntry(KxbString("key"))));
  KxbString key;
  ASSERT_TRUE(config.getEntry(0, &key, nullptr));
  EXPECT_EQ("Key", text(key));  // the map keeps the first spelling
  EXPECT_EQ("KEY=1\nKEY=2\n", writeText(config));

  KxbConfigFile commented;
  readText(commented, "#old\na=1\nx=0\n#new\nA=2\n");
  EXPECT_EQ("new", text(commented.getEntryComment(KxbString("a"))));
  EXPECT_EQ("#old\nA=1\nx=0\n#new\nA=2\n", writeText(commented));
}

// A frozen or deleted entry's comment keeps its line breaks unescaped, so
// each line it spans is written as a comment line of its own: written back
// and read again, the file has exactly the entries it had, none gained.
TEST_F(ConfigFileTest, FrozenCommentsWithLineBreaksReadBackAsCommentsOnly) {
  KxbConfigFile config;
  readText(config, "#a\\nx=1\n=first\n=second\n");
  EXPECT_EQ("#a\n#x=1\n=first\n=second\n", writeText(config));

  KxbConfigFile edited;
  readText(edited, "k=1\nz=9\nk=2\nd=0\n");
  edited.setEntryComment(KxbString("k"), KxbString("one\r\ntwo\rthree=3"));
  edited.setEntryComment(KxbString("d"), KxbString("p=1\nq=2"));
  edited.deleteEntry(KxbString("d"));
  readText(edited, "K=3\n", "more.cfg");
  std::string written = writeText(edited);
  EXPECT_EQ(std::string::npos, written.find("\nthree")) << written;
  EXPECT_EQ(std::string::npos, written.find("\nq=2")) << written;

  // The input the configuration fuzz target found: a comment holding "\n"
  // above an empty key that occurs again later.
  const unsigned char found[] = {
      0x23, 0x01, 0x00, 0x00, 0x5c, 0x6e, 0x00, 0x0f, 0x61, 0x61, 0x3d,
      0x0a, 0x3d, 0x0a, 0x03, 0x0a, 0x08, 0x0a, 0x3d, 0x00, 0x4d, 0xc3};
  for (const std::string& input :
       {std::string(reinterpret_cast<const char*>(found), sizeof found),
        std::string(written)}) {
    KxbConfigFile first;
    readText(first, input);
    KxbConfigFile second;
    readText(second, writeText(first));
    ASSERT_EQ(first.getEntryCount(), second.getEntryCount()) << input;
    KxbString key, value;
    for (int i = 0; first.getEntry(i, &key, &value); ++i) {
      EXPECT_EQ(text(value), text(second.getEntry(key)));
      EXPECT_EQ(text(first.getEntryComment(key)),
                text(second.getEntryComment(key)));
    }
  }
}

// Reading skips U+FEFF at the start of a file as a byte-order mark, so a
// first key that begins with that character is written behind a mark of
// its own; a plain byte-order mark is not written back.
TEST_F(ConfigFileTest, AKeyStartingWithTheByteOrderMarkCharacterRoundTrips) {
  KxbConfigFile marked;
  readText(marked, "\xEF\xBB\xBF\xEF\xBB\xBFkey=1\n");
  EXPECT_EQ("1", text(marked.getEntry(KxbString("\xEF\xBB\xBFkey"))));
  EXPECT_EQ("\xEF\xBB\xBF\xEF\xBB\xBFkey=1\n", writeText(marked));

  KxbConfigFile plain;
  readText(plain, "\xEF\xBB\xBFkey=1\n");
  EXPECT_EQ("key=1\n", writeText(plain));

  // The input the fuzz target found: UTF-16 big-endian whose mark is
  // followed by a second U+FEFF, the first character of a key.
  const unsigned char found[] = {
      0xfe, 0xff, 0xfe, 0xff, 0xff, 0x7f, 0x00, 0x00, 0x00, 0x00,
      0x00, 0x3d, 0x50, 0x1d, 0xdb, 0xff, 0xdb, 0xff, 0x50, 0x3d,
      0xdb, 0xff, 0xab, 0xff, 0x79, 0x20, 0x3d, 0x20, 0x76};
  KxbConfigFile first;
  readText(first, std::string(reinterpret_cast<const char*>(found), sizeof found));
  KxbConfigFile second;
  readText(second, writeText(first));
  ASSERT_EQ(1, first.getEntryCount());
  ASSERT_EQ(1, second.getEntryCount());
  KxbString key, value, again;
  ASSERT_TRUE(first.getEntry(0, &key, &value));
  ASSERT_TRUE(second.getEntry(0, &again, nullptr));
  EXPECT_EQ(text(key), text(again));
  EXPECT_EQ(text(value), text(second.getEntry(key)));
}

// Entries of a first read are collected, checked for duplicates by hash and
// sorted once; a non-ASCII key hands the rest of the file to the ordered map.
// Both ways must give the same entries, order and duplicate handling,
// including an ASCII key meeting its non-ASCII spelling after the hand-over.
TEST_F(ConfigFileTest, KeysOrderAndDuplicatesAgreeAcrossTheBulkAndMapPaths) {
  const std::string lines =
      "b=1\nA=2\n_x=3\na_=4\nSTRASSE=5\nB=6\n[=7\n`=8\nab=9\nAB=10\n";
  KxbConfigFile plain;
  readText(plain, lines, "plain.cfg");
  KxbConfigFile mixed;
  readText(mixed, "\xC3\xA9t\xC3\xA9=0\n" + lines + "Stra\xC3\x9F" "e=11\n",
           "mixed.cfg");
  KxbConfigFile late;
  readText(late, lines + "Stra\xC3\x9F" "e=11\n", "late.cfg");
  const std::vector<std::string> expected = {
      "[=7", "_x=3", "`=8", "A=2", "a_=4", "ab=10", "b=6", "STRASSE=5"};
  auto entries = [](KxbConfigFile& config) {
    std::vector<std::string> all;
    KxbString key, value;
    for (int i = 0; config.getEntry(i, &key, &value); ++i) {
      all.push_back(text(key) + "=" + text(value));
    }
    return all;
  };
  EXPECT_EQ(expected, entries(plain));
  std::vector<std::string> withAccent = expected;
  withAccent.back() = "STRASSE=11";
  std::vector<std::string> mixedExpected = withAccent;
  mixedExpected.push_back("\xC3\xA9t\xC3\xA9=0");
  EXPECT_EQ(mixedExpected, entries(mixed));
  EXPECT_EQ(withAccent, entries(late));
  // The earlier spellings are frozen in place, under the later spelling.
  EXPECT_EQ("B=1\nA=2\n_x=3\na_=4\nStra\xC3\x9F" "e=5\nB=6\n[=7\n`=8\nAB=9\nAB=10\n"
            "Stra\xC3\x9F" "e=11\n",
            writeText(late));
}

// Running out of memory part way keeps the lines read so far.
TEST_F(ConfigFileTest, ReadThatRunsOutOfMemoryReportsItAndKeepsWhatItRead) {
  std::string content;
  for (int i = 0; i < 50; ++i) content += "key" + std::to_string(i) + "=v\n";
  dir_.write("big.cfg", content);
  for (int n : {5, 40, 90}) {
    KxbConfigFile config;
    kxFaultArm(KX_FAULT_POOL_ALLOC, n);
    EXPECT_FALSE(config.read(KxbString(dir_.path("big.cfg").c_str()))) << n;
    kxFaultArm(KX_FAULT_POOL_ALLOC, 0);
    EXPECT_FALSE(config.getErrorMessage().isNull());
    EXPECT_LT(config.getEntryCount(), 50);
    KxbString key, value;
    for (int i = 0; config.getEntry(i, &key, &value); ++i) {
      EXPECT_EQ("v", text(value)) << text(key);
    }
  }
}

TEST_F(ConfigFileTest, SecondReadAppendsLinesAndOverridesKeys) {
  KxbConfigFile config;
  readText(config, "a=1\nb=2\n", "one.cfg");
  readText(config, "#two\nB=3\nc=4\n", "two.cfg");
  EXPECT_EQ("3", text(config.getEntry(KxbString("b"))));
  EXPECT_EQ(3, config.getEntryCount());
  EXPECT_EQ("a=1\nB=2\n#two\nB=3\nc=4\n", writeText(config));
}

TEST_F(ConfigFileTest, SetEntryKeepsPlacesAndAddsNewKeysAtTheEnd) {
  KxbConfigFile config;
  readText(config, "#c\nold=1\nlast=2");
  config.setEntry(KxbString("OLD"), KxbString("9"));
  config.setEntry(KxbString("new"), KxbString("v"));
  config.setEntry(KxbString("Another"), KxbString("w"));
  config.setEntryComment(KxbString("new"), KxbString("added"));
  config.setEntryComment(KxbString("unknown"), KxbString("ignored"));
  EXPECT_EQ("c", text(config.getEntryComment(KxbString("old"))));
  EXPECT_EQ("#c\nold=9\nlast=2\n\nAnother=w\n\n#added\nnew=v\n",
            writeText(config));
}

TEST_F(ConfigFileTest, DeletedEntriesStayVisibleAndReadBackAsComments) {
  KxbConfigFile config;
  readText(config, "#c\na=1\nb=2\n");
  config.setEntry(KxbString("added"), KxbString("x"));
  config.deleteEntry(KxbString("A"));
  config.deleteEntry(KxbString("added"));
  config.deleteEntry(KxbString("unknown"));
  EXPECT_EQ("<null>", text(config.getEntry(KxbString("a"))));
  EXPECT_EQ(1, config.getEntryCount());
  std::string written = writeText(config);
  EXPECT_EQ("#c\n#-DELETED A=1\nb=2\n", written);

  // Read again, the deleted line is the pending comment of the next entry.
  KxbConfigFile again;
  readText(again, written);
  EXPECT_EQ("-DELETED A=1", text(again.getEntryComment(KxbString("b"))));
  EXPECT_EQ(written, writeText(again));
}

TEST_F(ConfigFileTest, DeletingAnEntryWhoseCommentWasAddedLosesNoLine) {
  KxbConfigFile config;
  readText(config, "a=1\nb=2\n");
  config.setEntryComment(KxbString("a"), KxbString("note"));
  config.deleteEntry(KxbString("a"));
  EXPECT_EQ("#note\n#-DELETED a=1\nb=2\n", writeText(config));
  EXPECT_EQ("2", text(config.getEntry(KxbString("b"))));
}

TEST_F(ConfigFileTest, IndexedAndWalkedEnumerationFollowKeyOrder) {
  KxbConfigFile config;
  readText(config, "b=2\nA=1\nc=3\n");
  std::vector<std::string> keys;
  KxbString key, value;
  for (int i = 0; config.getEntry(i, &key, &value); ++i) {
    keys.push_back(text(key) + "=" + text(value));
  }
  EXPECT_EQ((std::vector<std::string>{"A=1", "b=2", "c=3"}), keys);
  EXPECT_FALSE(config.getEntry(-1, &key, &value));
  EXPECT_TRUE(key.isNull() && value.isNull());
  key = KxbString("x");
  value = KxbString("y");
  EXPECT_FALSE(config.getEntry(config.getEntryCount(), &key, &value));
  EXPECT_TRUE(key.isNull() && value.isNull());

  KxbString walked("untouched");
  EXPECT_FALSE(config.getNextEntry(false, &walked, nullptr));  // not started
  EXPECT_EQ("untouched", text(walked));
  ASSERT_TRUE(config.getNextEntry(true, &walked, nullptr));
  EXPECT_EQ("A", text(walked));
  // An entry deleted during the walk does not derail it.
  config.deleteEntry(KxbString("b"));
  ASSERT_TRUE(config.getNextEntry(false, &walked, nullptr));
  EXPECT_EQ("c", text(walked));
  EXPECT_FALSE(config.getNextEntry(false, &walked, nullptr));
  EXPECT_EQ("c", text(walked));
  EXPECT_FALSE(config.getNextEntry(false, &walked, nullptr));
  ASSERT_TRUE(config.getNextEntry(true, &walked, nullptr));
  EXPECT_EQ("A", text(walked));
}

TEST_F(ConfigFileTest, LineNumbersAndAddedKeysSurviveClear) {
  KxbConfigFile config;
  readText(config, "a=1\n");
  config.setEntry(KxbString("kept"), KxbString("k"));
  config.clear();
  EXPECT_EQ(0, config.getEntryCount());
  EXPECT_TRUE(config.getErrorMessage().isNull());
  // The added key has no entry any more: it is not written.
  EXPECT_EQ("", writeText(config));
  readText(config, "b=2\n");
  config.setEntry(KxbString("KEPT"), KxbString("again"));
  EXPECT_EQ("b=2\n\nkept=again\n", writeText(config));
}

TEST_F(ConfigFileTest, RoundTripKeepsEntriesCommentsAndOtherLines) {
  const std::string original =
      "\xEF\xBB\xBF# settings\r\n"
      "[not a section]\r\n"
      "#the host\r\n"
      "host = example.org\r\n"
      "\r\n"
      "#-DELETED port=1\r\n"
      "timeout=30\r\n"
      "path=C:\\temp=x#y\r\n";
  KxbConfigFile config;
  readText(config, original);
  config.setEntry(KxbString("timeout"), KxbString("60"));
  config.setEntry(KxbString("retries"), KxbString("3"));
  config.deleteEntry(KxbString("path"));
  std::string written = writeText(config);
  EXPECT_EQ(
      "# settings\n[not a section]\n#the host\nhost=example.org\n\n"
      "#-DELETED port=1\ntimeout=60\n#-DELETED path=C:\\temp=x#y\n\n"
      "retries=3\n",
      written);

  KxbConfigFile again;
  readText(again, written);
  EXPECT_EQ(3, again.getEntryCount());
  for (const char* key : {"host", "timeout", "retries"}) {
    EXPECT_EQ(text(config.getEntry(KxbString(key))),
              text(again.getEntry(KxbString(key))));
    EXPECT_EQ(text(config.getEntryComment(KxbString(key))),
              text(again.getEntryComment(KxbString(key))));
  }
  EXPECT_EQ(written, writeText(again));
}

TEST_F(ConfigFileTest, FailuresKeepTheTextFileLayersMessage) {
  KxbConfigFile config;
  EXPECT_FALSE(config.read(KxbString(dir_.path("absent.cfg").c_str())));
  EXPECT_NE(nullptr,
            std::strstr(config.getErrorMessage().asCstr(), "absent.cfg"));

  readText(config, "a=1\n");
  dir_.write("target.cfg", "precious\n");
  kxFaultArm(KX_FAULT_RENAME, 1);
  EXPECT_FALSE(config.write(KxbString(dir_.path("target.cfg").c_str())));
  EXPECT_NE(nullptr,
            std::strstr(config.getErrorMessage().asCstr(), "target.cfg"));
  EXPECT_EQ("precious\n", dir_.read("target.cfg"));
  kxFaultArm(KX_FAULT_WRITE, 1);
  EXPECT_FALSE(config.write(KxbString(dir_.path("target.cfg").c_str())));
  EXPECT_EQ("precious\n", dir_.read("target.cfg"));
  EXPECT_EQ((std::vector<std::string>{"in.cfg", "target.cfg"}), dir_.names());
  // The model is intact: a later write succeeds.
  ASSERT_TRUE(config.write(KxbString(dir_.path("target.cfg").c_str())));
  EXPECT_EQ("a=1\n", dir_.read("target.cfg"));
}

}  // namespace
