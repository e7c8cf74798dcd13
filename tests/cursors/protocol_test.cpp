// The cursor protocol, on every implementation of each family: fresh
// cursors, out-of-range reads, rows being appended, the end and rewind,
// copying.
#include <string>

#include <gtest/gtest.h>

#include "support/cursor_rows.h"

namespace {

using kxb_test::DatavarCursorPtr;
using kxb_test::DatavarFactory;
using kxb_test::readRows;
using kxb_test::showCell;
using kxb_test::StringCursorPtr;
using kxb_test::StringFactory;

class DatavarProtocol : public ::testing::TestWithParam<DatavarFactory> {
 protected:
  DatavarCursorPtr make() { return DatavarCursorPtr(GetParam().make()); }
};

class StringProtocol : public ::testing::TestWithParam<StringFactory> {
 protected:
  StringCursorPtr make() { return StringCursorPtr(GetParam().make()); }
};

TEST_P(DatavarProtocol, OutOfRangeReadsGiveNullNamesUnknownTypesNullCells) {
  DatavarCursorPtr cursor = make();
  ASSERT_TRUE(cursor);
  EXPECT_TRUE(cursor->isValid());
  EXPECT_EQ(0, cursor->getColumnCount());
  EXPECT_TRUE(cursor->getColumnName(0).isNull());
  EXPECT_EQ(Unknown, cursor->getColumnType(0));
  EXPECT_TRUE(cursor->getValue(0).isNull());

  kxb_test::fillThreeColumns(cursor.get(), 1);
  EXPECT_EQ(3, cursor->getColumnCount());
  EXPECT_STREQ("c", cursor->getColumnName(2).asCstr());
  EXPECT_EQ(Real, cursor->getColumnType(2));
  for (int column : {-1, 3, 1000}) {
    EXPECT_TRUE(cursor->getColumnName(column).isNull()) << column;
    EXPECT_EQ(Unknown, cursor->getColumnType(column)) << column;
  }
  // Before the first next(): no current row.
  EXPECT_TRUE(cursor->getValue(0).isNull());
  ASSERT_EQ(kxbCursorRow, cursor->next());
  EXPECT_EQ("I:0", showCell(cursor->getValue(0)));
  EXPECT_TRUE(cursor->getValue(-1).isNull());
  EXPECT_TRUE(cursor->getValue(3).isNull());
}

TEST_P(DatavarProtocol, RowBeingAppendedIsInvisibleUntilEndRow) {
  DatavarCursorPtr cursor = make();
  ASSERT_TRUE(cursor);
  kxb_test::fillThreeColumns(cursor.get(), 2);
  ASSERT_TRUE(cursor->beginRow());
  KxbDatavar v;
  cursor->setValue(0, v.assign(99));
  int64_t rows = -1;
  ASSERT_TRUE(cursor->getRowCount(&rows));
  EXPECT_EQ(2, rows);
  EXPECT_EQ("I:0|S:row 0|R:0.5\nI:1|S:row 1|R:1.5\n", readRows(cursor.get()));
  ASSERT_TRUE(cursor->endRow());
  ASSERT_TRUE(cursor->getRowCount(&rows));
  EXPECT_EQ(3, rows);
  ASSERT_TRUE(cursor->rewind());
  // Cells never set in a row are null.
  EXPECT_EQ("I:0|S:row 0|R:0.5\nI:1|S:row 1|R:1.5\nI:99|<null>|<null>\n",
            readRows(cursor.get()));
}

TEST_P(DatavarProtocol, NextPastTheEndKeepsEndingAndRewindStartsAgain) {
  DatavarCursorPtr cursor = make();
  ASSERT_TRUE(cursor);
  kxb_test::fillThreeColumns(cursor.get(), 2);
  EXPECT_EQ("I:0|S:row 0|R:0.5\nI:1|S:row 1|R:1.5\n", readRows(cursor.get()));
  EXPECT_EQ(kxbCursorEnd, cursor->next());
  EXPECT_EQ(kxbCursorEnd, cursor->next());
  ASSERT_TRUE(cursor->rewind());
  ASSERT_EQ(kxbCursorRow, cursor->next());
  EXPECT_EQ("S:row 0", showCell(cursor->getValue(1)));
}

TEST_P(DatavarProtocol, CopyFromReplacesEverythingWithTheSource) {
  DatavarCursorPtr source(createDatavarResidentCursor());
  DatavarCursorPtr target = make();
  ASSERT_TRUE(source && target);
  kxb_test::fillThreeColumns(source.get(), 2);
  target->addColumn(KxbString("old"), Boolean);
  target->addColumn(KxbString("older"), Date);
  target->endColumns();
  KxbDatavar t;
  for (int r = 0; r < 4; ++r) {
    target->beginRow();
    target->setValue(0, t.assign(true));
    target->endRow();
  }
  ASSERT_TRUE(target->copyFrom(source.get()));
  EXPECT_EQ(3, target->getColumnCount());
  EXPECT_STREQ("a", target->getColumnName(0).asCstr());
  EXPECT_EQ(String, target->getColumnType(1));
  int64_t rows = 0;
  target->getRowCount(&rows);
  EXPECT_EQ(2, rows);
  EXPECT_EQ("I:0|S:row 0|R:0.5\nI:1|S:row 1|R:1.5\n", readRows(target.get()));
  // And back: the copy is as good a source as the original.
  DatavarCursorPtr again(createDatavarResidentCursor());
  KxbString error;
  ASSERT_TRUE(copyCursor(target.get(), again.get(), &error));
  EXPECT_EQ("I:0|S:row 0|R:0.5\nI:1|S:row 1|R:1.5\n", readRows(again.get()));
}

TEST_P(StringProtocol, ReadsWritesAndHidesRowsAsTheVariantCursorDoes) {
  StringCursorPtr cursor = make();
  ASSERT_TRUE(cursor);
  EXPECT_EQ(0, cursor->getColumnCount());
  // Nothing to read yet (the row-set cursor says its row set is missing).
  EXPECT_NE(kxbCursorRow, cursor->next());
  EXPECT_EQ(1, cursor->addColumn(KxbString("k")));
  EXPECT_EQ(2, cursor->addColumn(KxbString("v")));
  ASSERT_TRUE(cursor->endColumns());
  EXPECT_TRUE(cursor->getColumnName(2).isNull());

  cursor->beginRow();
  cursor->setValue(0, KxbString("é€😀"));
  cursor->setValue(1, KxbString(""));
  cursor->endRow();
  cursor->beginRow();
  cursor->setValue(0, KxbString());  // null, not empty
  cursor->endRow();
  cursor->beginRow();
  int64_t rows = 0;
  cursor->getRowCount(&rows);
  EXPECT_EQ(2, rows);
  EXPECT_EQ("S:é€😀|S:\n<null>|<null>\n", readRows(cursor.get()));
  EXPECT_EQ(kxbCursorEnd, cursor->next());
  cursor->endRow();
  cursor->rewind();
  EXPECT_EQ("S:é€😀|S:\n<null>|<null>\n<null>|<null>\n",
            readRows(cursor.get()));
  EXPECT_TRUE(cursor->getValue(0).isNull());
}

TEST_P(StringProtocol, CopyFromLeavesExactlyTheSourceColumnsAndRows) {
  StringCursorPtr source(createStringResidentCursor());
  StringCursorPtr target = make();
  ASSERT_TRUE(source && target);
  kxb_test::fillThreeColumns(source.get(), 2);
  kxb_test::fillThreeColumns(target.get(), 5);
  target->addColumn(KxbString("extra"));
  ASSERT_TRUE(target->copyFrom(source.get()));
  EXPECT_EQ(3, target->getColumnCount());
  int64_t rows = 0;
  target->getRowCount(&rows);
  EXPECT_EQ(2, rows);
  EXPECT_EQ("S:0|S:row 0|S:0.500000\nS:1|S:row 1|S:1.500000\n",
            readRows(target.get()));
}

std::string factoryName(const auto& info) { return info.param.name; }

INSTANTIATE_TEST_SUITE_P(All, DatavarProtocol,
                         ::testing::ValuesIn(kxb_test::datavarFactories()),
                         [](const auto& info) { return factoryName(info); });
INSTANTIATE_TEST_SUITE_P(All, StringProtocol,
                         ::testing::ValuesIn(kxb_test::stringFactories()),
                         [](const auto& info) { return factoryName(info); });

}  // namespace
