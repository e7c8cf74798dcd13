// The resident cursors: the order of the interface's operations, copying
// into a target that fails, and running out of memory at each step.
#include <string>

#include <gtest/gtest.h>

#include "cursors/kxbcursor_resident.h"
#include "kx_fault.h"
#include "support/cursor_rows.h"
#include "support/vtable_slot.h"

namespace {

using kxb_test::DatavarCursorPtr;
using kxb_test::readRows;
using kxb_test::StringCursorPtr;
using kxb_test::vtableSlot;

TEST(CursorInterface, OperationsStandInTheirFixedOrder) {
  using D = KxbDatavarCursorCreater;
  EXPECT_EQ(0, vtableSlot(&D::isValid));
  EXPECT_EQ(1, vtableSlot(&D::getColumnName));
  EXPECT_EQ(2, vtableSlot(&D::getColumnType));
  EXPECT_EQ(4, vtableSlot(&D::getValue));
  EXPECT_EQ(7, vtableSlot(&D::next));
  EXPECT_EQ(9, vtableSlot(&D::rewind));
  EXPECT_EQ(10, vtableSlot(&D::beginRow));
  EXPECT_EQ(13, vtableSlot(&D::flush));
  EXPECT_EQ(14, vtableSlot(&D::copyFrom));
  EXPECT_EQ(16, vtableSlot(&D::endColumns));
  using S = KxbStringCursorCreater;
  EXPECT_EQ(2, vtableSlot(&S::getColumnCount));
  EXPECT_EQ(3, vtableSlot(&S::getValue));
  EXPECT_EQ(8, vtableSlot(&S::rewind));
  EXPECT_EQ(9, vtableSlot(&S::beginRow));
  EXPECT_EQ(13, vtableSlot(&S::copyFrom));
  EXPECT_EQ(15, vtableSlot(&S::endColumns));
  EXPECT_EQ(9, vtableSlot(&KxbStringKXWFCursor::attach));
}

// A resident cursor whose n-th call of one step fails with a message.
enum class Step { kEndColumns, kBeginRow, kEndRow, kFlush };
class FailingTarget : public KxbDatavarResidentCursorImpl {
 public:
  FailingTarget(Step step, int at) : step_(step), at_(at) {}
  bool endColumns() override { return pass(Step::kEndColumns); }
  bool beginRow() override {
    return pass(Step::kBeginRow) && KxbDatavarResidentCursorImpl::beginRow();
  }
  bool endRow() override {
    return pass(Step::kEndRow) && KxbDatavarResidentCursorImpl::endRow();
  }
  bool flush() override { return pass(Step::kFlush); }
  KxbString getErrorMessage() override { return KxbString("target broke"); }
  void release() override { delete this; }

 private:
  bool pass(Step step) { return step != step_ || ++calls_ != at_; }
  Step step_;
  int at_;
  int calls_ = 0;
};

TEST(CopyCursor, FailingTargetStopsTheCopyWithItsMessage) {
  DatavarCursorPtr source(createDatavarResidentCursor());
  ASSERT_TRUE(source);
  kxb_test::fillThreeColumns(source.get(), 3);
  const struct {
    Step step;
    int at;
    int64_t rowsKept;
  } cases[] = {{Step::kEndColumns, 1, 0},
               {Step::kBeginRow, 2, 1},
               {Step::kEndRow, 3, 2},
               {Step::kFlush, 1, 3}};
  for (const auto& c : cases) {
    FailingTarget target(c.step, c.at);
    KxbString error;
    EXPECT_FALSE(copyCursor(source.get(), &target, &error));
    EXPECT_STREQ("target broke", error.asCstr());
    int64_t rows = -1;
    target.KxbDatavarResidentCursorImpl::getRowCount(&rows);
    EXPECT_EQ(c.rowsKept, rows) << static_cast<int>(c.step);
  }
  KxbString error;
  EXPECT_FALSE(copyCursor(source.get(), nullptr, &error));
  EXPECT_STREQ("Missing cursor", error.asCstr());
  StringCursorPtr strings(createStringResidentCursor());
  EXPECT_FALSE(copyCursor(nullptr, strings.get(), nullptr));
}

TEST(CopyCursor, CopyFromStoresTheFailureAsItsOwnMessage) {
  DatavarCursorPtr source(createDatavarResidentCursor());
  DatavarCursorPtr target(createDatavarResidentCursor());
  kxb_test::fillThreeColumns(source.get(), 2);
  EXPECT_TRUE(target->getErrorMessage().isNull());
  ASSERT_TRUE(target->copyFrom(source.get()));
  EXPECT_TRUE(target->copyFrom(target.get()));  // onto itself: unchanged
  EXPECT_EQ(3, target->getColumnCount());
  EXPECT_FALSE(target->copyFrom(nullptr));
  EXPECT_STREQ("Missing cursor", target->getErrorMessage().asCstr());
  EXPECT_EQ(0, target->getColumnCount());
}

TEST(ResidentAllocationFailure, EveryStepFailsCleanly) {
  kxFaultArm(KX_FAULT_POOL_ALLOC, 1);
  EXPECT_EQ(nullptr, createDatavarResidentCursor());
  kxFaultArm(KX_FAULT_POOL_ALLOC, 1);
  EXPECT_EQ(nullptr, createStringResidentCursor());
  kxFaultArm(KX_FAULT_POOL_ALLOC, 1);
  EXPECT_EQ(nullptr, createStringKXWFCursor());
  kxFaultArm(KX_FAULT_POOL_ALLOC, 2);
  EXPECT_EQ(nullptr, createStringKXWFCursor());

  DatavarCursorPtr cursor(createDatavarResidentCursor());
  ASSERT_TRUE(cursor);
  kxFaultArm(KX_FAULT_POOL_ALLOC, 1);
  EXPECT_EQ(Unknown, cursor->addColumn(KxbString("a", true), Integer));
  EXPECT_EQ(0, cursor->getColumnCount());
  EXPECT_STREQ("Out of memory", cursor->getErrorMessage().asCstr());
  kxb_test::fillThreeColumns(cursor.get(), 4);  // the rows' first capacity

  kxFaultArm(KX_FAULT_POOL_ALLOC, 1);  // growing the rows
  EXPECT_FALSE(cursor->beginRow());
  // Storing the first cell of a row needs the row's cells.
  ASSERT_TRUE(cursor->beginRow());
  KxbDatavar v;
  v.assign(7);
  kxFaultArm(KX_FAULT_POOL_ALLOC, 1);
  cursor->setValue(0, v);
  EXPECT_FALSE(cursor->endRow());
  kxFaultReset();
  int64_t rows = 0;
  cursor->getRowCount(&rows);
  EXPECT_EQ(4, rows);
  EXPECT_EQ("I:0|S:row 0|R:0.5\nI:1|S:row 1|R:1.5\nI:2|S:row 2|R:2.5\n"
            "I:3|S:row 3|R:3.5\n",
            readRows(cursor.get()));

  // A string cell whose variant cannot be made loses the row too.
  StringCursorPtr strings(createStringResidentCursor());
  strings->addColumn(KxbString("a"));
  strings->endColumns();
  ASSERT_TRUE(strings->beginRow());
  KxbString text("kept");
  kxFaultArm(KX_FAULT_POOL_ALLOC, 1);
  strings->setValue(0, text);
  kxFaultReset();
  EXPECT_FALSE(strings->endRow());
  EXPECT_STREQ("Out of memory", strings->getErrorMessage().asCstr());
  strings->getRowCount(&rows);
  EXPECT_EQ(0, rows);
}

TEST(ResidentAllocationFailure, CopyStopsWhereMemoryRanOut) {
  DatavarCursorPtr source(createDatavarResidentCursor());
  kxb_test::fillThreeColumns(source.get(), 40);
  const std::string all = readRows(source.get());
  int failures = 0;
  for (int n = 1; n <= 200; ++n) {
    DatavarCursorPtr target(createDatavarResidentCursor());
    ASSERT_TRUE(target);
    KxbString error;
    kxFaultArm(KX_FAULT_POOL_ALLOC, n);
    const bool copied = copyCursor(source.get(), target.get(), &error);
    kxFaultReset();
    target->rewind();
    const std::string read = readRows(target.get());
    if (copied) {
      EXPECT_EQ(all, read) << n;
    } else {
      ++failures;
      EXPECT_STREQ("Out of memory", error.asCstr()) << n;
      // What was copied is a prefix of the source, never a damaged row.
      EXPECT_EQ(0u, all.find(read)) << n;
    }
  }
  EXPECT_GT(failures, 0);
}

}  // namespace
