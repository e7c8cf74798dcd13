// The row-set cursors: their own rules, values through resident, row-set
// and SQLite file without loss, hand-over, spill to disk, running out of
// memory.
#include <sqlite3.h>

#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "kx_fault.h"
#include "kxbcursorwlp.h"
#include "kxwlp.h"
#include "support/assertions.h"
#include "support/cursor_rows.h"
#include "support/temp_dir.h"

namespace {

using kxb_test::DatavarCursorPtr;
using kxb_test::readRows;
using kxb_test::showCell;

using WlpPtr = std::unique_ptr<KxbDatavarWlpCursor, kxb_test::CursorReleaser>;

const char k52Digits[] = "1234567890123456789012345678901.234567890123456789012";

// One row of every type, a row of nulls against empty text, a second row.
void fillEveryType(KxbDatavarCursorCreater* cursor) {
  const char* names[] = {"b", "i", "r", "s", "d"};
  const kxbType types[] = {Boolean, Integer, Real, String, Date};
  for (int c = 0; c < 5; ++c) cursor->addColumn(KxbString(names[c]), types[c]);
  ASSERT_TRUE(cursor->endColumns());
  KxbDatavar v;
  cursor->beginRow();
  cursor->setValue(0, v.assign(true));
  cursor->setValue(1, v.assign(static_cast<int64_t>(-9007199254740993LL)));
  KxbReal real;
  real.assign(k52Digits);
  cursor->setValue(2, v.assign(real));
  cursor->setValue(3, v.assign("Grüße, 世界 😀"));
  cursor->setValue(4, v.assign(KxbDate(2024, 2, 29, 23, 59, 58)));
  ASSERT_TRUE(cursor->endRow());
  cursor->beginRow();
  cursor->setValue(3, v.assign(""));  // empty, not null; the rest null
  ASSERT_TRUE(cursor->endRow());
  cursor->beginRow();
  cursor->setValue(0, v.assign(false));
  cursor->setValue(1, v.assign(0));
  cursor->setValue(2, v.assign(-0.5));
  cursor->setValue(4, v.assign(KxbDate(1, 1, 1, 0, 0, 0)));
  ASSERT_TRUE(cursor->endRow());
  ASSERT_TRUE(cursor->flush());
}

std::string everyTypeRows() {
  return std::string("B:true|I:-9007199254740993|R:") + k52Digits +
         "|S:Grüße, 世界 😀|D:2024-02-29 23:59:58\n"
         "<null>|<null>|<null>|S:|<null>\n"
         "B:false|I:0|R:-0.5|<null>|D:0001-01-01 00:00:00\n";
}

std::string columnsOf(KxbDatavarCursor* cursor) {
  std::string out;
  for (int c = 0; c < cursor->getColumnCount(); ++c) {
    out += cursor->getColumnName(c).asCstr();
    out += ":";
    out += kxbTypeToString(cursor->getColumnType(c));
    out += " ";
  }
  return out;
}

TEST(RowSetCursor, TypeCodesBothWays) {
  EXPECT_EQ(2, kxbTypeToRowSetCode(Boolean));
  EXPECT_EQ(3, kxbTypeToRowSetCode(Date));
  EXPECT_EQ(7, kxbTypeToRowSetCode(Integer));
  EXPECT_EQ(9, kxbTypeToRowSetCode(Real));
  EXPECT_EQ(11, kxbTypeToRowSetCode(String));
  EXPECT_EQ(12, kxbTypeToRowSetCode(Binary));
  EXPECT_EQ(12, kxbTypeToRowSetCode(Unknown));
  const kxbType read[] = {Unknown, Unknown, Boolean, Date,    Real,
                          Integer, Integer, Integer, Unknown, Real,
                          Unknown, String,  Unknown};
  for (int code = 0; code <= 12; ++code) {
    EXPECT_EQ(read[code], kxbTypeFromRowSetCode(code)) << code;
  }
}

TEST(RowSetCursor, ZeroColumnsMissingRowSetAndUnsupportedTypes) {
  WlpPtr cursor(createDatavarWlpCursor());
  ASSERT_TRUE(cursor);
  EXPECT_EQ(kxbCursorError, cursor->next());
  EXPECT_STREQ("Rowset missing", cursor->getErrorMessage().asCstr());
  int64_t rows = -1;
  EXPECT_TRUE(cursor->getRowCount(&rows));
  EXPECT_EQ(0, rows);
  EXPECT_FALSE(cursor->endColumns());
  EXPECT_STREQ("Cannot create zero columns", cursor->getErrorMessage().asCstr());
  EXPECT_EQ(nullptr, cursor->getRowSet());
  // No row set: the row cannot be added.
  ASSERT_TRUE(cursor->beginRow());
  EXPECT_FALSE(cursor->endRow());
  EXPECT_STREQ("Failed to add input row", cursor->getErrorMessage().asCstr());
  cursor->addColumn(KxbString("blob"), Binary);
  cursor->addColumn(KxbString("n"), Integer);
  ASSERT_TRUE(cursor->endColumns());
  EXPECT_STREQ("Data type not supported", cursor->getErrorMessage().asCstr());
  ASSERT_NE(nullptr, cursor->getRowSet());
  const char* name = nullptr;
  int32_t code = 0;
  ASSERT_EQ(KXWLP_OK, kxwlpRowSet_getColumn(cursor->getRowSet(), 0, &name, &code));
  EXPECT_STREQ("blob", name);
  EXPECT_EQ(12, code);
  KxbDatavar blob;
  blob.assign("bytes");
  ASSERT_TRUE(blob.setType(Binary));
  KxbDatavar n;
  ASSERT_TRUE(cursor->beginRow());
  cursor->setValue(0, blob);
  cursor->setValue(1, n.assign(5));
  ASSERT_TRUE(cursor->endRow());
  EXPECT_EQ("<null>|I:5\n", readRows(cursor.get()));
}

TEST(RowSetCursor, EveryValueSurvivesResidentRowSetResident) {
  DatavarCursorPtr source(createDatavarResidentCursor());
  fillEveryType(source.get());
  ASSERT_EQ(everyTypeRows(), readRows(source.get()));
  WlpPtr rows(createDatavarWlpCursor());
  KxbString error;
  ASSERT_TRUE(copyCursor(source.get(), rows.get(), &error)) << error.asCstr();
  EXPECT_EQ("b:Boolean i:Integer r:Real s:String d:Date ", columnsOf(rows.get()));
  DatavarCursorPtr back(createDatavarResidentCursor());
  ASSERT_TRUE(copyCursor(rows.get(), back.get(), &error)) << error.asCstr();
  EXPECT_EQ(everyTypeRows(), readRows(back.get()));
  // The exact decimal, not a double near it.
  back->rewind();
  ASSERT_EQ(kxbCursorRow, back->next());
  KxbReal expected;
  expected.assign(k52Digits);
  EXPECT_EQ(0, back->getValue(2).asReal().compare(expected));

  // And the row set stores it natively: the decimal as its 24 bytes.
  KxbDatavar real;
  real.assign(expected);
  unsigned size = 0;
  const void* raw = real.getRaw(&size);
  ASSERT_EQ(KXWLP_OK, kxwlpRowSet_commit(rows->getRowSet()));
  kxwlpBinding row[5];
  ASSERT_EQ(KXWLP_OK, kxwlpRowSet_seekRow(rows->getRowSet(), 0, row));
  EXPECT_EQ(9, row[2].type);
  EXPECT_EQ(24, row[2].length);
  EXPECT_EQ(0, std::memcmp(raw, row[2].value.decimal, 24));
  EXPECT_EQ(KXWLP_NO_MORE_ROWS, kxwlpRowSet_seekRow(rows->getRowSet(), 3, row));
}

TEST(RowSetCursor, EveryValueSurvivesAnSqliteFile) {
  kxb_test::TempDir dir;
  const KxbString path(dir.path("data.db").c_str());
  DatavarCursorPtr source(createDatavarResidentCursor());
  fillEveryType(source.get());
  KxbString error;
  ASSERT_TRUE(kxbSaveCursorAsTable(source.get(), path, KxbString("t 1"), &error))
      << error.asCstr();
  EXPECT_FALSE(kxbSaveCursorAsTable(source.get(), path, KxbString("t 1"), &error));
  EXPECT_NE(nullptr, std::strstr(error.asCstr(), "already exists")) << error.asCstr();

  WlpPtr query(kxbCreateQueryCursor(path, KxbString("SELECT * FROM \"t 1\""), &error));
  ASSERT_TRUE(query) << error.asCstr();
  EXPECT_EQ("b:Boolean i:Integer r:Real s:String d:Date ", columnsOf(query.get()));
  int64_t rows = 0;
  query->getRowCount(&rows);
  EXPECT_EQ(3, rows);
  EXPECT_EQ(everyTypeRows(), readRows(query.get()));
  EXPECT_EQ(kxbCursorEnd, query->next());
  query->rewind();
  EXPECT_EQ(everyTypeRows(), readRows(query.get()));

  // Another reader sees native values.
  WlpPtr native(kxbCreateQueryCursor(
      path,
      KxbString("SELECT typeof(b), typeof(i), length(r), typeof(s), typeof(d) "
                "FROM \"t 1\" LIMIT 1"),
      &error));
  ASSERT_TRUE(native) << error.asCstr();
  EXPECT_EQ("S:integer|S:integer|I:24|S:text|S:real\n", readRows(native.get()));
}

TEST(RowSetCursor, QueryCursorsDeclaredTypesAndErrors) {
  kxb_test::TempDir dir;
  const std::string file = dir.path("src.db");
  sqlite3* db = nullptr;
  ASSERT_EQ(SQLITE_OK, sqlite3_open(file.c_str(), &db));
  ASSERT_EQ(SQLITE_OK,
            sqlite3_exec(db,
                         "CREATE TABLE p(id INTEGER, price NUMERIC(30,10), "
                         "at DATETIME, ok BOOL, name VARCHAR(20), f FLOAT);"
                         "INSERT INTO p VALUES(1, '0.1000000000000000000000000001',"
                         " '2024-03-07 09:05:00', 1, 'a', 0.25);"
                         "INSERT INTO p VALUES(2, 7, NULL, 0, NULL, NULL);",
                         nullptr, nullptr, nullptr));
  sqlite3_close(db);
  const KxbString path(file.c_str());
  KxbString error;
  WlpPtr cursor(kxbCreateQueryCursor(path, KxbString("SELECT * FROM p ORDER BY id;"),
                                     &error));
  ASSERT_TRUE(cursor) << error.asCstr();
  EXPECT_EQ("id:Integer price:Real at:Date ok:Boolean name:String f:Real ",
            columnsOf(cursor.get()));
  // SQLite's NUMERIC affinity already made the long text a double.
  EXPECT_EQ("I:1|R:0.1|D:2024-03-07 09:05:00|B:true|"
            "S:a|R:0.25\n"
            "I:2|R:7|<null>|B:false|<null>|<null>\n",
            readRows(cursor.get()));
  // Rows cannot be added to a query.
  ASSERT_TRUE(cursor->beginRow());
  EXPECT_FALSE(cursor->endRow());
  EXPECT_STREQ("Failed to add input row", cursor->getErrorMessage().asCstr());

  EXPECT_FALSE(kxbCreateQueryCursor(KxbString(dir.path("none.db").c_str()),
                                    KxbString("SELECT 1"), &error));
  EXPECT_NE(nullptr, std::strstr(error.asCstr(), "cannot open database"))
      << error.asCstr();
  EXPECT_FALSE(dir.exists("none.db"));
  EXPECT_FALSE(kxbCreateQueryCursor(path, KxbString("SELEC * FROM p"), &error));
  EXPECT_NE(nullptr, std::strstr(error.asCstr(), "SQL error: near \"SELEC\""))
      << error.asCstr();
  EXPECT_FALSE(kxbCreateQueryCursor(path, KxbString("SELECT * FROM q"), &error));
  EXPECT_STREQ("SQL error: no such table: q", error.asCstr());
  EXPECT_FALSE(kxbCreateQueryCursor(path, KxbString("DELETE FROM p"), &error));
  EXPECT_FALSE(kxbCreateQueryCursor(path, KxbString(""), &error));
  dir.write("junk.db", "this is not a database file, not at all..........");
  EXPECT_FALSE(kxbCreateQueryCursor(KxbString(dir.path("junk.db").c_str()),
                                    KxbString("SELECT * FROM sqlite_master"),
                                    &error));
  EXPECT_NE(nullptr, std::strstr(error.asCstr(), "not a database")) << error.asCstr();
}

TEST(RowSetCursor, SavingIsAllOrNothing) {
  kxb_test::TempDir dir;
  const KxbString path(dir.path("out.db").c_str());
  WlpPtr source(createDatavarWlpCursor());
  kxb_test::fillThreeColumns(source.get(), 5);
  // A source whose row set went away fails while read.
  WlpPtr broken(createDatavarWlpCursor());
  broken->addColumn(KxbString("a"), Integer);
  KxbString error;
  EXPECT_FALSE(kxbSaveCursorAsTable(broken.get(), path, KxbString("t"), &error));
  EXPECT_STREQ("Rowset missing", error.asCstr());
  WlpPtr check(kxbCreateQueryCursor(
      path, KxbString("SELECT count(*) FROM sqlite_master"), &error));
  ASSERT_TRUE(check) << error.asCstr();
  EXPECT_EQ("I:0\n", readRows(check.get()));
  ASSERT_TRUE(kxbSaveCursorAsTable(source.get(), path, KxbString("t"), &error));
  WlpPtr back(kxbCreateQueryCursor(path, KxbString("SELECT * FROM t"), &error));
  ASSERT_TRUE(back);
  source->rewind();
  EXPECT_EQ(readRows(source.get()), readRows(back.get()));
  EXPECT_FALSE(kxbSaveCursorAsTable(nullptr, path, KxbString("u"), &error));
  EXPECT_FALSE(kxbSaveCursorAsTable(source.get(), KxbString(dir.path("no/such/dir.db").c_str()),
                                    KxbString("u"), &error));
  EXPECT_NE(nullptr, std::strstr(error.asCstr(), "cannot open database"));
}

TEST(RowSetCursor, HandedOverRowSetOutlivesItsFirstCursor) {
  KxbDatavarWlpCursor* first = createDatavarWlpCursor();
  ASSERT_NE(nullptr, first);
  kxb_test::fillThreeColumns(first, 3);
  const std::string all = readRows(first);
  WlpPtr second(createDatavarWlpCursor());
  second->addColumn(KxbString("gone"), Boolean);
  kxwlpRowSet* rowSet = first->getRowSet();
  EXPECT_EQ(rowSet, second->setRowSet(rowSet));
  first->release();
  EXPECT_EQ("a:Integer b:String c:Real ", columnsOf(second.get()));
  EXPECT_EQ(all, readRows(second.get()));
  // The string twin reads the same machinery.
  std::unique_ptr<KxbStringCursorCreater, kxb_test::CursorReleaser> strings(
      createStringWlpCursor());
  kxb_test::fillThreeColumns(strings.get(), 2);
  EXPECT_EQ("S:0|S:row 0|S:0.500000\nS:1|S:row 1|S:1.500000\n",
            readRows(strings.get()));
}

TEST(RowSetCursor, RowSetLargerThanItsCacheSpillsAndReadsBackExactly) {
  kxwlpSetCacheSizeForTesting(256);
  WlpPtr cursor(createDatavarWlpCursor());
  kxwlpSetCacheSizeForTesting(0);
  ASSERT_TRUE(cursor);
  cursor->addColumn(KxbString("n"), Integer);
  cursor->addColumn(KxbString("text"), String);
  cursor->endColumns();
  constexpr int kRows = 60000;  // about 8 MB against a 256 KiB cache
  const std::string pad(100, 'x');
  KxbDatavar n;
  KxbDatavar text;
  for (int r = 0; r < kRows; ++r) {
    cursor->beginRow();
    cursor->setValue(0, n.assign(r));
    cursor->setValue(1, text.assign((std::to_string(r) + pad).c_str()));
    ASSERT_TRUE(cursor->endRow()) << r;
  }
  int64_t spilled = 0;
  ASSERT_EQ(KXWLP_OK, kxwlpRowSet_getSpilledPages(cursor->getRowSet(), &spilled));
  EXPECT_GT(spilled, 1000);
  int r = 0;
  for (; cursor->next() == kxbCursorRow; ++r) {
    ASSERT_EQ(r, cursor->getValue(0).asInt()) << r;
    ASSERT_STREQ((std::to_string(r) + pad).c_str(),
                 cursor->getValue(1).asString().asCstr());
  }
  EXPECT_EQ(kRows, r);
}

TEST(RowSetAllocationFailure, CreationAndEachStepFailCleanly) {
  kxFaultArm(KX_FAULT_POOL_ALLOC, 1);
  EXPECT_EQ(nullptr, createDatavarWlpCursor());
  kxFaultArm(KX_FAULT_POOL_ALLOC, 1);
  EXPECT_EQ(nullptr, createStringWlpCursor());
  {
    kxb_test::AssertionRecorder raised("kxbcursorwlp_impl");
    kxFaultArm(KX_FAULT_HEAP_ALLOC, 1);  // the row-set library's instance
    EXPECT_EQ(nullptr, createDatavarWlpCursor());
    EXPECT_EQ(1u, raised.messages().size());
  }
  WlpPtr cursor(createDatavarWlpCursor());
  ASSERT_TRUE(cursor);
  cursor->addColumn(KxbString("a"), Integer);
  kxFaultArm(KX_FAULT_HEAP_ALLOC, 1);  // the row set
  EXPECT_FALSE(cursor->endColumns());
  EXPECT_STREQ("Rowset error code: 7", cursor->getErrorMessage().asCstr());
  ASSERT_TRUE(cursor->endColumns());
  kxFaultArm(KX_FAULT_POOL_ALLOC, 1);  // the row buffer
  EXPECT_FALSE(cursor->beginRow());
  EXPECT_STREQ("Out of memory", cursor->getErrorMessage().asCstr());
  kxFaultArm(KX_FAULT_POOL_ALLOC, 1);  // the reading buffer
  EXPECT_EQ(kxbCursorError, cursor->next());
  kxFaultReset();

  // Copying into a row-set cursor with the n-th pool allocation failing
  // gives the whole table or false with a message; never a damaged row.
  DatavarCursorPtr source(createDatavarResidentCursor());
  kxb_test::fillThreeColumns(source.get(), 20);
  const std::string all = readRows(source.get());
  int failures = 0;
  for (int n = 1; n <= 120; ++n) {
    WlpPtr target(createDatavarWlpCursor());
    ASSERT_TRUE(target);
    KxbString error;
    kxFaultArm(KX_FAULT_POOL_ALLOC, n);
    const bool copied = copyCursor(source.get(), target.get(), &error);
    kxFaultReset();
    const std::string read = target->getRowSet() ? readRows(target.get()) : "";
    if (copied) {
      EXPECT_EQ(all, read) << n;
    } else {
      ++failures;
      EXPECT_FALSE(error.isNull()) << n;
      EXPECT_EQ(0u, all.find(read)) << n;
    }
  }
  EXPECT_GT(failures, 0);
}

}  // namespace
