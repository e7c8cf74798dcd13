// Row-set cursors: data-variant cursors whose rows live in a row set.
//
// A row set is a table held by the platform's row-set library, outside
// memory: each one is a table in a private temporary SQLite database, so a
// table larger than memory spills to disk, and every value is stored in a
// form another component reads natively (Boolean and Integer as INTEGER,
// Date as a REAL day number, String as TEXT, Real as its exact 24-byte
// decimal192 form in a BLOB; never through a double).
//
// A row-set cursor is a KxbDatavarCursorCreater (kxbcursor.h) plus access
// to its row set, so that a table produced through the cursor protocol can
// be handed to components that read row sets, and a row set made elsewhere
// can be read through the cursor protocol:
//
//   KxbDatavarWlpCursor* out = createDatavarWlpCursor();
//   out->addColumn("id", Integer); out->endColumns();
//   ... beginRow / setValue / endRow ...
//   KxbDatavarWlpCursor* in = createDatavarWlpCursor();
//   in->setRowSet(out->getRowSet());   // shares the row set
//   out->release();                    // `in` still reads every row
//
// Row sets are reference counted: a cursor holds one reference to its row
// set and gives it back when it drops the row set or is released.
//
// The row buffer is one binding record per column; the cells a consumer
// reads are made from the record of the current row. Errors are kept as the
// cursor's error message and reported through false or kxbCursorError:
//   "Cannot create zero columns"  endColumns without columns
//   "Rowset error code: %d"       the row-set library failed with that code
//   "Failed to add input row"     endRow could not store the row; when
//                                 the row store ran out of memory in the
//                                 insert, the rows added since the cursor
//                                 was last read went with it, and
//                                 getRowCount tells how many remain
//   "Rowset missing"              next() before endColumns or setRowSet
//   "Data type not supported"     a Binary or Unknown column or value (its
//                                 cells are stored and read as null)
//   "Out of memory"               the row buffer could not be made
//
// Ownership and threads as for every cursor (kxbcursor.h): the caller owns
// a cursor and ends it with release(); one thread at a time. A row set
// shared by two cursors is used by one thread at a time as well.
#ifndef KXB_INCLUDE_KXBCURSORWLP_H_
#define KXB_INCLUDE_KXBCURSORWLP_H_

#include "kxbcursor.h"

// A row set of the platform's row-set library; opaque.
struct kxwlpRowSet;

class KxbDatavarWlpCursor : public KxbDatavarCursorCreater {
 public:
  // The cursor's row set, or null before endColumns or setRowSet. The
  // cursor keeps its reference: a caller that keeps the handle beyond the
  // cursor's life adopts it into another cursor with setRowSet.
  virtual kxwlpRowSet* getRowSet() = 0;
  // Drops the current row set, its columns and row buffer, and adopts
  // `rowSet` with a reference of its own (the caller keeps its own). The
  // columns' names and types come from the row set's description; the next
  // next() reads its first row. Null leaves the cursor without a row set.
  // Returns `rowSet`.
  virtual kxwlpRowSet* setRowSet(kxwlpRowSet* rowSet) = 0;

 protected:
  ~KxbDatavarWlpCursor() override = default;
};

// A new row-set cursor without columns or row set; null when memory ran
// out or the row-set library could not start (the latter also raises an
// assertion).
KxbDatavarWlpCursor* createDatavarWlpCursor();
// A string cursor over a row-set cursor of its own: cells are read with
// asString() and stored as String values; every column is a String column.
// Null when memory ran out.
KxbStringCursorCreater* createStringWlpCursor();

// The row-set type code of a column or value of `type`: Boolean 2, Date 3,
// Integer 7, Real 9, String 11; 12 (not supported) for every other type.
int kxbTypeToRowSetCode(kxbType type);
// The type a row-set code is read as: 2 Boolean, 3 Date, 4 Real (from a
// double), 5, 6 and 7 Integer (16, 32 and 64 bits), 9 Real, 11 String;
// Unknown for every other code.
kxbType kxbTypeFromRowSetCode(int code);

// A row-set cursor over the rows of `sql` on the SQLite database file
// `databasePath`, which is opened read-only and never changed (a statement
// that would change it is refused). Columns take their types from their
// declarations: BOOL... Boolean, DATE and TIME... Date (from a REAL or
// INTEGER day number, or parsed from text), INT... Integer, CHAR, CLOB and
// TEXT String, REAL, FLOAT and DOUBLE Real (from the double), DECIMAL and
// NUMERIC Real read exactly (from the 24-byte decimal192 form, or parsed
// from text; an INTEGER value stays exact too); columns without a
// declaration take the type of their first value. A value that does not fit
// its column's type is read as what it is (text in an INTEGER column gives
// a String cell). Null on failure with *error (when given) set: a missing or
// unreadable file ("cannot open database ..."), SQL that does not compile
// ("SQL error: " and SQLite's message), memory.
KxbDatavarWlpCursor* kxbCreateQueryCursor(const KxbString& databasePath,
                                          const KxbString& sql,
                                          KxbString* error);

// Writes every column and row of `cursor` (rewound first) as the new table
// `table` of the SQLite database file `databasePath`, made when missing,
// in one transaction: on any failure nothing of the table is left. Column
// types are declared BOOLEAN, INTEGER, DECIMAL (24-byte decimal192 BLOB),
// TEXT, DATE (REAL day number) and BLOB (always NULL: Binary and Unknown
// are not supported), so kxbCreateQueryCursor reads the table back with
// the same types. False with *error (when given) set when the file cannot
// be opened or written, the table already exists ("cannot create table
// ...: table ... already exists"), the cursor has no columns or fails while
// read, or memory ran out.
bool kxbSaveCursorAsTable(KxbDatavarCursor* cursor,
                          const KxbString& databasePath,
                          const KxbString& table, KxbString* error);

#endif  // KXB_INCLUDE_KXBCURSORWLP_H_
