// Option sets: keys, order, macros, removal, kxbGetOption and the bulk
// loads.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kx_fault.h"
#include "kxbconfigfile.h"
#include "kxbconfigoptions.h"
#include "np_env.h"
#include "startup/kxbconfigstore.h"
#include "support/temp_dir.h"
#include "support/textio_env.h"

namespace {

const bool kTextIO = kxb_test::useTextIO();

std::string text(const KxbString& s) {
  return s.isNull() ? "<null>" : s.asCstr();
}

class OptionsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(kxbCreateConfigOptionStore());
    set_ = kxbGetConfigOptions(KxbString("test"));
    ASSERT_NE(nullptr, set_);
  }
  void TearDown() override { kxbDestroyConfigOptionStore(); }

  std::string get(const char* key, bool expand, bool* found = nullptr) {
    KxbString value("stale");
    bool ok = set_->getOption(KxbString(key), &value, expand);
    if (found != nullptr) *found = ok;
    return text(value);
  }
  std::vector<std::string> all() {
    std::vector<std::string> result;
    KxbString key, value;
    for (unsigned i = 0; set_->getOptionAt(i, &key, &value, false); ++i) {
      result.push_back(text(key) + "=" + text(value));
    }
    return result;
  }

  KxbConfigOptions* set_ = nullptr;
};

TEST_F(OptionsTest, KeysAreCaseInsensitiveAndKeepTheirFirstSpelling) {
  EXPECT_TRUE(set_->setOption(KxbString("Base/Temp"), KxbString("a")));
  EXPECT_TRUE(set_->setOption(KxbString("other"), KxbString("o")));
  EXPECT_TRUE(set_->setOption(KxbString("BASE/TEMP"), KxbString("b")));
  EXPECT_EQ((std::vector<std::string>{"Base/Temp=b", "other=o"}), all());
  EXPECT_EQ(2, set_->count());
  bool found = true;
  EXPECT_EQ("<null>", get("missing", false, &found));
  EXPECT_FALSE(found);
}

TEST_F(OptionsTest, AsciiAndNonAsciiSpellingsOfOneKeyMeet) {
  // Case folding makes "Straße" and "STRASSE" one key, whichever is stored.
  EXPECT_TRUE(set_->setOption(KxbString("Stra\xC3\x9F" "e"), KxbString("1")));
  EXPECT_EQ("1", get("STRASSE", false));
  EXPECT_TRUE(set_->setOption(KxbString("strasse"), KxbString("2")));
  EXPECT_EQ((std::vector<std::string>{"Stra\xC3\x9F" "e=2"}), all());
  set_->removeOption(KxbString("Stra\xC3\x9F" "e"));
  EXPECT_EQ("<null>", get("strasse", false));
  EXPECT_TRUE(set_->setOption(KxbString("STRASSE"), KxbString("3")));
  EXPECT_EQ("3", get("stra\xC3\x9F" "e", false));
}

TEST_F(OptionsTest, MacrosExpandRecursivelyAndUnknownOnesFail) {
  set_->setOption(KxbString("A"), KxbString("x%%B%%y"));
  set_->setOption(KxbString("B"), KxbString("1%%C%%"));
  set_->setOption(KxbString("C"), KxbString("c"));
  set_->setOption(KxbString("Pct"), KxbString("50%%"));
  set_->setOption(KxbString("Empty"), KxbString("[%%%%]"));
  bool found = false;
  EXPECT_EQ("x1cy", get("a", true, &found));
  EXPECT_TRUE(found);
  EXPECT_EQ("x%%B%%y", get("a", false));
  EXPECT_EQ("50%%", get("pct", true, &found));
  EXPECT_TRUE(found);
  // "%%%%" names the empty key, which is unknown.
  EXPECT_EQ("[%%%%]", get("Empty", true, &found));
  EXPECT_FALSE(found);

  set_->removeOption(KxbString("c"));
  EXPECT_EQ("x1%%C%%y", get("A", true, &found));
  EXPECT_FALSE(found);
  // getOptionAt does not report the unknown macro.
  KxbString key, value;
  EXPECT_TRUE(set_->getOptionAt(0, &key, &value, true));
  EXPECT_EQ("x1%%C%%y", text(value));
  // A macro whose value is null expands to nothing.
  set_->setOption(KxbString("C"), KxbString());
  EXPECT_EQ("x1y", get("A", true, &found));
  EXPECT_TRUE(found);
}

TEST_F(OptionsTest, RemovalClosesTheGapAndKeepsLookupsRight) {
  for (const char* key : {"one", "two", "three"}) {
    set_->setOption(KxbString(key), KxbString(key));
  }
  set_->removeOption(KxbString("ONE"));
  set_->removeOption(KxbString("absent"));
  KxbString key("k"), value("v");
  ASSERT_TRUE(set_->getOptionAt(0, &key, &value, false));
  EXPECT_EQ("two", text(key));
  EXPECT_EQ("three", get("three", false));
  set_->setOption(KxbString("THREE"), KxbString("3"));
  EXPECT_EQ((std::vector<std::string>{"two=two", "three=3"}), all());
  key = KxbString("k");
  EXPECT_FALSE(set_->getOptionAt(2, &key, &value, false));
  EXPECT_EQ("k", text(key));  // out of range touches nothing
  EXPECT_TRUE(set_->getOptionAt(1, nullptr, nullptr, true));
}

TEST_F(OptionsTest, SetsAreFoundByCaseSensitiveNameAndCleared) {
  KxbConfigOptions* lower = kxbGetConfigOptions(KxbString("x"));
  KxbConfigOptions* upper = kxbGetConfigOptions(KxbString("X"));
  ASSERT_NE(nullptr, lower);
  EXPECT_NE(lower, upper);
  EXPECT_EQ(lower, kxbGetConfigOptions(KxbString("x")));
  lower->setOption(KxbString("k"), KxbString("v"));
  kxbClearConfigOptions(KxbString("x"));
  kxbClearConfigOptions(KxbString("never made"));
  KxbConfigOptions* fresh = kxbGetConfigOptions(KxbString("x"));
  ASSERT_NE(nullptr, fresh);
  EXPECT_EQ(0, fresh->count());
}

TEST_F(OptionsTest, GetOptionReportsEveryOutcome) {
  KxbConfigOptions* effective = kxbGetConfigOptions(KxbString(""));
  ASSERT_NE(nullptr, effective);
  effective->setOption(KxbString("key"), KxbString("abc"));
  effective->setOption(KxbString("empty"), KxbString(""));
  effective->setOption(KxbString("macro"), KxbString("%%key%%"));
  EXPECT_EQ(-4, kxbGetOption(nullptr, "key", nullptr, 0));
  char buffer[8] = "zzzzzzz";
  EXPECT_EQ(-4, kxbGetOption("", "KEY", buffer, 3));
  EXPECT_STREQ("zzzzzzz", buffer);
  EXPECT_EQ(0, kxbGetOption(nullptr, "key", buffer, 4));
  EXPECT_STREQ("abc", buffer);
  EXPECT_EQ(0, kxbGetOption(nullptr, "macro", buffer, 8));
  EXPECT_STREQ("%%key%%", buffer);  // never expanded
  EXPECT_EQ(0, kxbGetOption(nullptr, "empty", nullptr, 0));
  EXPECT_EQ(0, kxbGetOption(nullptr, "empty", buffer, 8));
  EXPECT_STREQ("", buffer);
  EXPECT_EQ(2, kxbGetOption(nullptr, "missing", buffer, 8));
  EXPECT_EQ(2, kxbGetOption("test", "key", buffer, 8));
  set_->setOption(KxbString("key"), KxbString("t"));
  EXPECT_EQ(0, kxbGetOption("test", "key", buffer, 8));
  EXPECT_STREQ("t", buffer);

  kxbDestroyConfigOptionStore();
  EXPECT_EQ(1, kxbGetOption(nullptr, "key", buffer, 8));
  EXPECT_EQ(nullptr, kxbGetConfigOptions(KxbString("")));
  ASSERT_TRUE(kxbCreateConfigOptionStore());
  kxFaultArm(KX_FAULT_POOL_ALLOC, 1);
  EXPECT_EQ(1, kxbGetOption("a name long enough to need a new body", "k",
                            buffer, 8));
}

// kxbGetOption builds the set's internal name on the stack unless it is
// long; both kinds of name reach the same set as kxbGetConfigOptions.
TEST_F(OptionsTest, GetOptionFindsSetsOfShortAndLongNames) {
  const std::string longName(300, 'n');
  for (const std::string& name : {std::string("short"), longName}) {
    char buffer[8] = "";
    EXPECT_EQ(2, kxbGetOption(name.c_str(), "k", buffer, sizeof buffer));
    KxbConfigOptions* set = kxbGetConfigOptions(KxbString(name.c_str()));
    ASSERT_NE(nullptr, set);
    EXPECT_EQ(0, set->count());  // made by kxbGetOption, empty
    set->setOption(KxbString("K"), KxbString(name.substr(0, 5).c_str()));
    EXPECT_EQ(0, kxbGetOption(name.c_str(), "k", buffer, sizeof buffer));
    EXPECT_STREQ(name.substr(0, 5).c_str(), buffer);
    kxbClearConfigOptions(KxbString(name.c_str()));
  }
}

// Many removals rebuild the hashed index; every key left must still be
// found, in every spelling, at its new place.
TEST_F(OptionsTest, ManyRemovalsKeepEveryOtherKeyReachable) {
  for (int i = 0; i < 500; ++i) {
    std::string name = "Group/Key" + std::to_string(i);
    set_->setOption(KxbString(name.c_str()), KxbString(std::to_string(i).c_str()));
  }
  for (int i = 0; i < 500; i += 2) {
    set_->removeOption(KxbString(("GROUP/KEY" + std::to_string(i)).c_str()));
  }
  ASSERT_EQ(250, set_->count());
  for (int i = 0; i < 500; ++i) {
    std::string name = "group/key" + std::to_string(i);
    EXPECT_EQ(i % 2 == 0 ? "<null>" : std::to_string(i), get(name.c_str(), false))
        << name;
  }
  KxbString key, value;
  ASSERT_TRUE(set_->getOptionAt(10, &key, &value, false));
  EXPECT_EQ("Group/Key21", text(key));
}

TEST_F(OptionsTest, StoreCreationFailsCleanlyWithoutALock) {
  kxbDestroyConfigOptionStore();
  kxFaultArm(KX_FAULT_LOCK_CREATE, 1);
  EXPECT_FALSE(kxbCreateConfigOptionStore());
  EXPECT_EQ(nullptr, kxbConfigOptionLock());
  EXPECT_EQ(nullptr, kxbGetConfigOptions(KxbString("")));
  ASSERT_TRUE(kxbCreateConfigOptionStore());
  EXPECT_TRUE(kxbCreateConfigOptionStore());  // already there
}

TEST_F(OptionsTest, LoadsAConfigFileInKeyOrder) {
  kxb_test::TempDir dir;
  dir.write("app.cfg", "zeta=1\nAlpha=2\nmid=%%alpha%%\n");
  KxbConfigFile file;
  ASSERT_TRUE(file.read(KxbString(dir.path("app.cfg").c_str())));
  set_->setOption(KxbString("ALPHA"), KxbString("old"));
  EXPECT_TRUE(set_->loadConfigFile(&file));
  EXPECT_EQ((std::vector<std::string>{"ALPHA=2", "mid=%%alpha%%", "zeta=1"}),
            all());
  EXPECT_EQ("2", get("mid", true));
  EXPECT_FALSE(set_->loadConfigFile(nullptr));
}

TEST_F(OptionsTest, LoadsADirectoryInNameOrderLaterFilesWinning) {
  kxb_test::TempDir dir;
  dir.write("20-second.CFG", "shared=second\nb=2\n");
  dir.write("10-first.cfg", "shared=first\na=1\n");
  dir.write("30-other.xml", "shared=xml\n");
  dir.write("notcfg", "shared=none\n");
  dir.mkdir("sub.cfg");
  EXPECT_TRUE(set_->loadDirectory(KxbString(dir.path().c_str()),
                                  KxbString("cfg")));
  EXPECT_EQ("second", get("shared", false));
  EXPECT_EQ("1", get("a", false));
  EXPECT_EQ("2", get("b", false));
  EXPECT_EQ("", text(set_->lastError()));

  KxbConfigOptions* every = kxbGetConfigOptions(KxbString("every"));
  EXPECT_TRUE(every->loadDirectory(KxbString(dir.path().c_str()), KxbString()));
  KxbString value;
  ASSERT_TRUE(every->getOption(KxbString("shared"), &value, false));
  EXPECT_EQ("none", text(value));  // "notcfg" sorts last

  EXPECT_FALSE(set_->loadDirectory(KxbString(dir.path("gone").c_str()),
                                   KxbString("cfg")));
  EXPECT_NE(std::string::npos, text(set_->lastError()).find("gone"));
}

TEST_F(OptionsTest, LoadsTheEnvironment) {
  ASSERT_EQ(0, np_env_set("KXB_OPTIONS_TEST", "v=\xC3\xA9"));
  set_->loadEnvironment();
  EXPECT_EQ("v=\xC3\xA9", get("kxb_options_test", false));
  np_env_set("KXB_OPTIONS_TEST", nullptr);
  EXPECT_GT(set_->count(), 1);
}

}  // namespace
