// Changing the effective options through string cursors after start-up.
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "kx_fault.h"
#include "kxbcursor.h"
#include "kxbstartup.h"
#include "support/fresh_process.h"
#include "support/startup_home.h"

namespace {

using kxb_test::effectiveOption;
using kxb_test::originOf;

KxbStringCursorCreater* pairs(
    std::initializer_list<std::pair<const char*, const char*>> rows,
    int columns = 2) {
  KxbStringCursorCreater* cursor = createStringResidentCursor();
  cursor->addColumn(KxbString("key"));
  if (columns == 2) cursor->addColumn(KxbString("value"));
  cursor->endColumns();
  for (const auto& [key, value] : rows) {
    cursor->beginRow();
    cursor->setValue(0, KxbString(key));
    if (columns == 2) cursor->setValue(1, KxbString(value));
    cursor->endRow();
  }
  cursor->flush();
  return cursor;
}

TEST(StartupCursors, SetAndDeleteOptionsFromCursors) {
  kxb_test::StartupHome home;
  home.write("home/etc/app.cfg", "a=1\nb=2\nc=3\n");
  KXB_IN_FRESH_PROCESS([&] {
    ASSERT_TRUE(home.initialise());
    const char* error = nullptr;
    ASSERT_EQ(0, kxbStartup(&error, 0)) << error;

    KxbStringCursorCreater* set = pairs({{"a", "one"}, {"new", "x"}});
    set->next();  // the whole cursor is applied, whatever its position
    ASSERT_EQ(0, kxbStartupSetOptions(set, &error)) << error;
    EXPECT_EQ(nullptr, error);
    EXPECT_EQ("one", effectiveOption("a"));
    EXPECT_EQ("x", effectiveOption("new"));
    EXPECT_EQ("set after start-up", originOf("a"));
    set->release();

    KxbStringCursorCreater* drop = pairs({{"b", ""}, {"absent", ""}}, 1);
    ASSERT_EQ(0, kxbStartupDeleteOptions(drop, &error)) << error;
    EXPECT_EQ("<absent>", effectiveOption("b"));
    EXPECT_EQ("3", effectiveOption("c"));

    EXPECT_EQ(1, kxbStartupSetOptions(drop, &error));
    EXPECT_STREQ("The cursor needs a key and a value column.", error);
    drop->release();
    EXPECT_EQ(1, kxbStartupSetOptions(nullptr, &error));
    EXPECT_STREQ("No cursor was given.", error);
    EXPECT_EQ(1, kxbStartupDeleteOptions(nullptr, &error));
    kxbShutdown();
  });
}

TEST(StartupCursors, ParsedOptionsAreAppliedAndListed) {
  kxb_test::StartupHome home;
  KXB_IN_FRESH_PROCESS([&] {
    ASSERT_TRUE(home.initialise());
    const char* error = nullptr;
    ASSERT_EQ(0, kxbStartup(&error, 0)) << error;
    KxbStringCursor* listed = nullptr;
    ASSERT_EQ(0, kxbStartupSetParsedOptions("a=1; quiet; b = two words ;",
                                            &listed, &error))
        << error;
    ASSERT_NE(nullptr, listed);
    ASSERT_EQ(2, listed->getColumnCount());
    EXPECT_STREQ("name", listed->getColumnName(0).asCstr());
    EXPECT_STREQ("value", listed->getColumnName(1).asCstr());
    std::string rows;
    while (listed->next() == kxbCursorRow) {
      KxbString value = listed->getValue(1);
      rows += std::string(listed->getValue(0).asCstr()) + "=" +
              (value.isNull() ? "<null>" : value.asCstr()) + ";";
    }
    // Values keep their blanks, as the attribute parser gives them.
    EXPECT_EQ("a=1;quiet=<null>;b= two words;", rows);
    listed->release();
    EXPECT_EQ("1", effectiveOption("a"));
    EXPECT_EQ("<null>", effectiveOption("quiet"));
    EXPECT_EQ(" two words", effectiveOption("b"));
    EXPECT_EQ("set after start-up", originOf("b"));
    // Without a place for the cursor the options are still applied.
    ASSERT_EQ(0, kxbStartupSetParsedOptions("c=3", nullptr, &error));
    EXPECT_EQ("3", effectiveOption("c"));
    kxbShutdown();
  });
}

TEST(StartupCursors, AllocationFailuresGiveAListedTextAndNoCursor) {
  kxb_test::StartupHome home;
  KXB_IN_FRESH_PROCESS([&] {
    ASSERT_TRUE(home.initialise());
    const char* error = nullptr;
    ASSERT_EQ(0, kxbStartup(&error, 0)) << error;
    const std::set<std::string> texts = {
        "Failed to parse options string.",   "Failed to create options cursors.",
        "Failed to create columns.",         "Failed to initialize row.",
        "Failed to finalize row.",           "Failed to retrieve parsed option.",
        "Failed to finalize rows.",
        "Out of memory while reaching the options."};
    int failures = 0;
    for (int n = 1; n <= 200; ++n) {
      KxbStringCursor* listed = reinterpret_cast<KxbStringCursor*>(1);
      kxFaultArm(KX_FAULT_POOL_ALLOC, n);
      int result = kxbStartupSetParsedOptions("k1=v1;k2=v2;k3", &listed, &error);
      kxFaultReset();
      if (result == 0) {
        ASSERT_NE(nullptr, listed);
        listed->release();
        continue;
      }
      ++failures;
      EXPECT_EQ(nullptr, listed) << n;
      ASSERT_NE(nullptr, error);
      EXPECT_EQ(1u, texts.count(error)) << n << ": " << error;
    }
    EXPECT_GT(failures, 0);
    kxbShutdown();
  });
}

TEST(StartupCursors, NothingChangesBeforeInitialisation) {
  const char* error = nullptr;
  KxbStringCursor* listed = nullptr;
  EXPECT_EQ(1, kxbStartupSetParsedOptions("a=1", &listed, &error));
  EXPECT_EQ(nullptr, listed);
  ASSERT_NE(nullptr, error);
  EXPECT_EQ(1, kxbStartupSetOptions(nullptr, &error));
  EXPECT_EQ(1, kxbStartupDeleteOptions(nullptr, &error));
}

}  // namespace
