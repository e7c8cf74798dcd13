// The workflow-cursor adapter: the owned cursor offered through the
// library's table, and workflow cursors attached through their own.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "kx_fault.h"
#include "support/cursor_rows.h"

namespace {

using kxb_test::readRows;

// A workflow component's cursor: two columns, `rows` rows, next() fails
// with -3 after row `failAt` (never when negative). Counts its releases.
struct FakeWorkflowCursor {
  KxbKXWFInterface base;
  int rows;
  int failAt;
  int position = 0;
  int* released;
  std::string text;

  static FakeWorkflowCursor* of(KxbKXWFInterface* self) {
    return reinterpret_cast<FakeWorkflowCursor*>(self);
  }
};

extern "C" {
void fakeRelease(KxbKXWFInterface* self) { ++*FakeWorkflowCursor::of(self)->released; }
int fakeColumnCount(KxbKXWFInterface*) { return 2; }
int fakeColumnName(KxbKXWFInterface* self, int column, const char** text) {
  if (column < 0 || column > 1) return 5;
  FakeWorkflowCursor* f = FakeWorkflowCursor::of(self);
  f->text = column == 0 ? "id" : "name";
  *text = f->text.c_str();
  return 0;
}
int fakeValue(KxbKXWFInterface* self, int column, const char** text) {
  FakeWorkflowCursor* f = FakeWorkflowCursor::of(self);
  if (column == 1) {  // null in every second row
    *text = f->position % 2 == 0 ? nullptr : "x";
    return 0;
  }
  f->text = std::to_string(f->position);
  *text = f->text.c_str();
  return 0;
}
int fakeRowCount(KxbKXWFInterface* self, int64_t* count) {
  *count = FakeWorkflowCursor::of(self)->rows;
  return 0;
}
int fakeNext(KxbKXWFInterface* self) {
  FakeWorkflowCursor* f = FakeWorkflowCursor::of(self);
  if (f->position == f->failAt) return -3;
  if (f->position >= f->rows) return 0;
  return ++f->position;
}
int fakeRewind(KxbKXWFInterface* self) {
  FakeWorkflowCursor::of(self)->position = 0;
  return 0;
}
const char* fakeError(KxbKXWFInterface*) { return "source gone"; }
}

const KxbKXWFFunctions kFake = {fakeRelease, fakeColumnCount, fakeColumnName,
                                fakeValue,   fakeRowCount,    fakeNext,
                                fakeRewind,  fakeError};

TEST(KXWFCursor, OwnedCursorIsReadThroughBothInterfaces) {
  KxbStringKXWFCursor* cursor = createStringKXWFCursor();
  ASSERT_NE(nullptr, cursor);
  KxbStringCursorCreater* creater = cursor->getCreater();
  ASSERT_NE(nullptr, creater);
  kxb_test::fillThreeColumns(creater, 2);
  EXPECT_EQ(3, cursor->getColumnCount());
  EXPECT_EQ("S:0|S:row 0|S:0.500000\nS:1|S:row 1|S:1.500000\n",
            readRows(cursor));

  KxbKXWFInterface* offered = cursor->getInterface();
  ASSERT_NE(nullptr, offered);
  const KxbKXWFFunctions* f = offered->functions;
  EXPECT_EQ(3, f->getColumnCount(offered));
  const char* text = nullptr;
  ASSERT_EQ(0, f->getColumnName(offered, 1, &text));
  EXPECT_STREQ("b", text);
  EXPECT_NE(0, f->getColumnName(offered, 3, &text));
  int64_t rows = 0;
  ASSERT_EQ(0, f->getRowCount(offered, &rows));
  EXPECT_EQ(2, rows);
  ASSERT_EQ(0, f->rewind(offered));
  ASSERT_EQ(1, f->next(offered));
  ASSERT_EQ(0, f->getValue(offered, 1, &text));
  EXPECT_STREQ("row 0", text);
  ASSERT_EQ(0, f->getValue(offered, 7, &text));
  EXPECT_EQ(nullptr, text);  // a null cell
  EXPECT_EQ(1, f->next(offered));
  EXPECT_EQ(0, f->next(offered));
  EXPECT_EQ(nullptr, f->getErrorMessage(offered));

  // The component ends the owned cursor: the adapter reads as empty.
  f->release(offered);
  EXPECT_EQ(nullptr, cursor->getCreater());
  EXPECT_FALSE(cursor->isValid());
  EXPECT_EQ(0, cursor->getColumnCount());
  EXPECT_EQ(kxbCursorEnd, cursor->next());
  cursor->release();
}

TEST(KXWFCursor, AttachedCursorIsForwardedAndReleasedOnce) {
  int releasedA = 0;
  int releasedB = 0;
  FakeWorkflowCursor a{{&kFake}, 3, -1, 0, &releasedA, {}};
  FakeWorkflowCursor b{{&kFake}, 4, 2, 0, &releasedB, {}};

  KxbStringKXWFCursor* cursor = createStringKXWFCursor();
  ASSERT_NE(nullptr, cursor);
  EXPECT_EQ(&a.base, cursor->attach(&a.base));
  EXPECT_EQ(nullptr, cursor->getCreater());
  EXPECT_EQ(nullptr, cursor->getInterface());
  EXPECT_TRUE(cursor->isValid());
  EXPECT_EQ(2, cursor->getColumnCount());
  EXPECT_STREQ("name", cursor->getColumnName(1).asCstr());
  EXPECT_TRUE(cursor->getColumnName(2).isNull());
  int64_t rows = 0;
  EXPECT_TRUE(cursor->getRowCount(&rows));
  EXPECT_EQ(3, rows);
  EXPECT_EQ("S:1|S:x\nS:2|<null>\nS:3|S:x\n", readRows(cursor));
  EXPECT_EQ(kxbCursorEnd, cursor->next());
  EXPECT_TRUE(cursor->rewind());
  EXPECT_EQ(kxbCursorRow, cursor->next());

  // Attaching another releases the first through its own table.
  cursor->attach(&b.base);
  EXPECT_EQ(1, releasedA);
  EXPECT_EQ("S:1|S:x\nS:2|<null>\nERROR: source gone", readRows(cursor));
  cursor->release();
  EXPECT_EQ(1, releasedA);
  EXPECT_EQ(1, releasedB);
}

}  // namespace
