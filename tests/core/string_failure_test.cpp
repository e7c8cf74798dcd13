// Every string operation under allocation failure leaves the state its
// failure rule names. Each case arms the pool to fail its n-th allocation
// for n = 1, 2, ... until the operation runs through without a failure.
#include <gtest/gtest.h>

#include "core/kxbstring_internal.h"
#include "kx_fault.h"
#include "kxbstring.h"

namespace {

// The failing allocation of the current attempt; each attempt arms it with
// failNth() once its setup is done, right before the operation under test.
int g_nth = 0;
void failNth() { kxFaultArm(KX_FAULT_POOL_ALLOC, g_nth); }

// Runs `attempt` with its n-th pool allocation failing, for n from 1 until
// an attempt sees no failure; returns how many attempts failed.
template <typename Attempt>
int forEachFailure(Attempt attempt) {
  int failures = 0;
  for (int n = 1; n < 64; ++n) {
    g_nth = n;
    bool sawFailure = attempt();
    kxFaultArm(KX_FAULT_POOL_ALLOC, 0);
    if (!sawFailure) return failures;
    ++failures;
  }
  ADD_FAILURE() << "operation kept failing";
  return failures;
}

TEST(StringFailure, AssignmentLeavesNull) {
  int failures = forEachFailure([] {
    KxbString s("old value", false);
    failNth();
    s.assign("new value");
    if (s.isNull()) return true;
    EXPECT_STREQ("new value", s.asCstr());
    return false;
  });
  EXPECT_EQ(2, failures);  // the body, then its buffer

  forEachFailure([] {
    KxbString s("x", false);
    failNth();
    s.assign(12345);
    if (s.isNull()) return true;
    EXPECT_STREQ("12345", s.asCstr());
    return false;
  });
}

TEST(StringFailure, AppendLeavesStringUnchanged) {
  KxbString source("a fairly long text that must be copied on write", false);
  int failures = forEachFailure([&] {
    KxbString s = source;  // shared: the append must copy
    bool failed = false;
    failNth();
    s.append(" and more", &failed);
    if (failed) {
      EXPECT_STREQ(source.asCstr(), s.asCstr());
      EXPECT_EQ(source.asCstr(), s.asCstr());  // still sharing
      return true;
    }
    EXPECT_STREQ("a fairly long text that must be copied on write and more",
                 s.asCstr());
    return false;
  });
  EXPECT_EQ(2, failures);

  // Growing a sole-owned body in place needs one new buffer.
  failures = forEachFailure([] {
    KxbString s("0123456789abcd", false);  // 15 bytes with terminator
    bool failed = false;
    failNth();
    s.append("this does not fit in the first block", &failed);
    if (failed) {
      EXPECT_STREQ("0123456789abcd", s.asCstr());
      EXPECT_EQ(14, s.length());
      return true;
    }
    return false;
  });
  EXPECT_EQ(1, failures);

  // A static string that cannot be converted keeps its borrowed text.
  const char* text = "borrowed";
  forEachFailure([&] {
    KxbString s(text, true);
    bool failed = false;
    failNth();
    s.append("!", &failed);
    if (failed) {
      EXPECT_EQ(text, s.asCstr());
      EXPECT_TRUE(KxbStringAccess::isStatic(s));
      return true;
    }
    EXPECT_STREQ("borrowed!", s.asCstr());
    return false;
  });

  // A null string appended to is assigned; failure leaves it null.
  forEachFailure([] {
    KxbString s;
    bool failed = false;
    failNth();
    s.append("abc", -1, &failed);
    if (failed) {
      EXPECT_TRUE(s.isNull());
      return true;
    }
    EXPECT_STREQ("abc", s.asCstr());
    return false;
  });
}

// replace builds its result from pieces: a piece or an append that fails
// gives null, never a text with a piece missing.
TEST(StringFailure, ReplaceGivesNullOrTheWholeText) {
  const KxbString source("path of the logs\\nkept a week\\nand more", false);
  const KxbString what("\\n", true), with("\n", true);
  int failures = forEachFailure([&] {
    failNth();
    KxbString result = source.replace(what, with);
    kxFaultArm(KX_FAULT_POOL_ALLOC, 0);
    if (result.isNull()) return true;
    EXPECT_STREQ("path of the logs\nkept a week\nand more", result.asCstr());
    return false;
  });
  EXPECT_GT(failures, 2);
}

TEST(StringFailure, EditsReportTheirOwnWay) {
  KxbString source("  padded  ", false);
  int failures = forEachFailure([&] {
    KxbString s = source;
    failNth();
    int removed = s.trim();
    if (removed == 0) {
      EXPECT_STREQ("  padded  ", s.asCstr());
      return true;
    }
    EXPECT_STREQ("padded", s.asCstr());
    return false;
  });
  EXPECT_EQ(2, failures);

  forEachFailure([&] {
    KxbString s = source;
    failNth();
    s.truncate(3);
    if (s.isNull()) return true;  // truncate nulls the string on failure
    EXPECT_STREQ("  p", s.asCstr());
    return false;
  });

  forEachFailure([&] {
    KxbString s = source;
    failNth();
    if (!s.uppercase()) {
      EXPECT_STREQ("  padded  ", s.asCstr());
      return true;
    }
    EXPECT_STREQ("  PADDED  ", s.asCstr());
    return false;
  });

  forEachFailure([&] {
    failNth();
    KxUtf8ToUC* wide = source.asUCS2();
    if (wide == nullptr) return true;
    EXPECT_EQ(11, wide->bufLength());
    wide->release();
    return false;
  });

  const unsigned short wide[] = {'w', 'i', 'd', 'e', 0};
  forEachFailure([&] {
    KxbString s("before", false);
    failNth();
    s.fromUCS2(wide);
    if (s.compare("before") == 0) return true;  // unchanged on failure
    // Failing the final assignment leaves it null, as assignments do.
    if (s.isNull()) return true;
    EXPECT_STREQ("wide", s.asCstr());
    return false;
  });
}

TEST(StringFailure, FormatLosesOnlyThePiece) {
  // The first piece becomes the result's body; losing a later piece keeps
  // the rest of the text.
  int failures = forEachFailure([] {
    failNth();
    KxbString s = kxbStringFormat("%s/%s", "abcdefghijklmnop", "q");
    if (s.compare("abcdefghijklmnop/q") == 0) return false;
    EXPECT_LT(s.length(), 18);
    return true;
  });
  EXPECT_GE(failures, 2);
}

TEST(StringFailure, NoPoolFailsCleanly) {
  // Without a pool every allocation fails: strings stay null, nothing
  // crashes.
  kxFaultArm(KX_FAULT_POOL_ALLOC, 1);
  KxbString s("abc", false);
  EXPECT_TRUE(s.isNull());
}

}  // namespace
