// KxbConfigOverlay: a base file and an overlay of local changes.
#include <gtest/gtest.h>

#include <string>

#include "kxbconfigfile.h"
#include "support/temp_dir.h"
#include "support/textio_env.h"

namespace {

const bool kTextIO = kxb_test::useTextIO();

std::string text(const KxbString& s) {
  return s.isNull() ? "<null>" : s.asCstr();
}

class OverlayTest : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_.write("base.cfg", "#base comment\na=1\nonly=b\n");
    dir_.write("local.cfg", "a=2\nb=3\n");
  }
  KxbString path(const char* name) { return KxbString(dir_.path(name).c_str()); }
  void readBoth(KxbConfigOverlay& overlay) {
    ASSERT_TRUE(overlay.readBase(path("base.cfg")));
    ASSERT_TRUE(overlay.readOverlay(path("local.cfg")));
  }
  // "key: base / overlay" for entry `index`, with outputs preset to "-".
  std::string entry(KxbConfigOverlay& overlay, int index) {
    KxbString key("-"), base("-"), local("-");
    if (!overlay.getEntry(index, &key, &base, &local)) return "none";
    return text(key) + ": " + text(base) + " / " + text(local);
  }

  kxb_test::TempDir dir_;
};

TEST_F(OverlayTest, ListsEveryKeyOnceWithBothValues) {
  KxbConfigOverlay overlay;
  readBoth(overlay);
  EXPECT_EQ(3, overlay.getEntryCount());
  EXPECT_EQ("a: 1 / 2", entry(overlay, 0));
  EXPECT_EQ("b: - / 3", entry(overlay, 1));  // base output left untouched
  EXPECT_EQ("only: b / -", entry(overlay, 2));
  KxbString key("k"), base("b"), local("l");
  EXPECT_FALSE(overlay.getEntry(3, &key, &base, &local));
  EXPECT_TRUE(key.isNull() && base.isNull() && local.isNull());
  EXPECT_EQ("base comment", text(overlay.getEntryComment(KxbString("A"))));
  EXPECT_EQ("<null>", text(overlay.getEntryComment(KxbString("zzz"))));
}

TEST_F(OverlayTest, RemovingAnOverrideLeavesADeletedLineAndANullValue) {
  KxbConfigOverlay overlay;
  readBoth(overlay);
  overlay.setOverlayEntry(KxbString("a"), KxbString(""));
  EXPECT_EQ("a: 1 / <null>", entry(overlay, 0));
  overlay.setOverlayEntry(KxbString("b"), KxbString());
  EXPECT_EQ(2, overlay.getEntryCount());  // b was only in the overlay
  overlay.setOverlayEntry(KxbString("c"), KxbString(""));  // unknown: nothing
  overlay.setOverlayEntry(KxbString("only"), KxbString(""));  // not overlaid
  EXPECT_EQ(2, overlay.getEntryCount());
  ASSERT_TRUE(overlay.writeOverlay(path("out.cfg")));
  EXPECT_EQ("#-DELETED a=2\n#-DELETED b=3\n", dir_.read("out.cfg"));
  EXPECT_EQ("#base comment\na=1\nonly=b\n", dir_.read("base.cfg"));
}

TEST_F(OverlayTest, OverridingABaseKeyCarriesItsComment) {
  KxbConfigOverlay overlay;
  dir_.write("base2.cfg", "#about only\nonly=b\n");
  ASSERT_TRUE(overlay.readBase(path("base2.cfg")));
  ASSERT_TRUE(overlay.readOverlay(path("local.cfg")));
  overlay.setOverlayEntry(KxbString("only"), KxbString("local"));
  overlay.setOverlayEntry(KxbString("new"), KxbString("n"));
  EXPECT_EQ("about only", text(overlay.getEntryComment(KxbString("only"))));
  ASSERT_TRUE(overlay.writeOverlay(path("out.cfg")));
  EXPECT_EQ("a=2\nb=3\n\nnew=n\n\n#about only\nonly=local\n",
            dir_.read("out.cfg"));
}

TEST_F(OverlayTest, CommentOnABaseOnlyKeyCopiesItsValueIntoTheOverlay) {
  KxbConfigOverlay overlay;
  ASSERT_TRUE(overlay.readBase(path("base.cfg")));
  dir_.write("empty.cfg", "");
  ASSERT_TRUE(overlay.readOverlay(path("empty.cfg")));
  overlay.setEntryComment(KxbString("a"), KxbString("x"));
  overlay.setEntryComment(KxbString("unknown"), KxbString("y"));
  EXPECT_EQ("a: 1 / 1", entry(overlay, 0));
  EXPECT_EQ("x", text(overlay.getEntryComment(KxbString("a"))));
  ASSERT_TRUE(overlay.writeOverlay(path("out.cfg")));
  EXPECT_EQ("\n#x\na=1\n", dir_.read("out.cfg"));
}

TEST_F(OverlayTest, ReadingTheOverlayFirstLosesItsFlags) {
  KxbConfigOverlay overlay;
  ASSERT_TRUE(overlay.readOverlay(path("local.cfg")));
  ASSERT_TRUE(overlay.readBase(path("base.cfg")));
  EXPECT_EQ(2, overlay.getEntryCount());
  EXPECT_EQ("a: 1 / -", entry(overlay, 0));
}

TEST_F(OverlayTest, ReadFailuresKeepTheFilesMessage) {
  KxbConfigOverlay overlay;
  EXPECT_FALSE(overlay.readBase(path("nope.cfg")));
  EXPECT_NE(std::string::npos,
            text(overlay.getErrorMessage()).find("nope.cfg"));
  ASSERT_TRUE(overlay.readBase(path("base.cfg")));
  EXPECT_FALSE(overlay.readOverlay(path("gone.cfg")));
  EXPECT_NE(std::string::npos,
            text(overlay.getErrorMessage()).find("gone.cfg"));
  EXPECT_EQ(2, overlay.getEntryCount());
  EXPECT_FALSE(overlay.writeOverlay(path("no/dir/out.cfg")));
  EXPECT_NE(std::string::npos,
            text(overlay.getErrorMessage()).find("no/dir/out.cfg"));
}

}  // namespace
