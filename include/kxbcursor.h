// Cursors: the one way a table crosses the library's boundary.
//
// A cursor is a list of named columns and a sequence of rows that a consumer
// reads forward from a rewindable position. Two families exist:
//   string cursors        every cell is a KxbString (listings, options);
//   data-variant cursors  every cell is a KxbDatavar, every column has a
//                         kxbType.
// Each family has three layers: the reading cursor, the appender (adds
// rows) and the creater (also defines the columns and copies another
// cursor). The resident implementation keeps the rows in memory; the
// row-set cursors of kxbcursorwlp.h keep them in a row store.
//
// Producer protocol:
//   KxbStringCursorCreater* c = createStringResidentCursor();
//   c->addColumn("name"); c->addColumn("value"); c->endColumns();
//   c->beginRow(); c->setValue(0, "a"); c->setValue(1, "1"); c->endRow();
//   c->flush();
//   ... hand c to the consumer ...
// Consumer protocol:
//   for (int i = 0; i < c->getColumnCount(); ++i) c->getColumnName(i);
//   while (c->next() == 1) c->getValue(0);   // 0: no more rows, 2: error
//   c->rewind();                             // to read again
//   c->release();
//
// Reading out of range never fails loudly: it gives null names, Unknown
// types and null cells. A row being appended (after beginRow, before
// endRow) is invisible to readers: getRowCount and next exclude it.
//
// Ownership: every cursor is owned by the caller of the function that made
// it and ended with release(). Cursors come from the memory pool
// (kxbmempool.h), which must exist; creation gives null when memory runs out.
//
// Thread safety: a cursor takes no lock; one cursor is used by one thread at
// a time. Cells are shared variants and strings, so a value read from a
// cursor may be kept and used on other threads.
//
// Nothing here throws.
#ifndef KXB_INCLUDE_KXBCURSOR_H_
#define KXB_INCLUDE_KXBCURSOR_H_

#include <cstdint>

#include "kxbdatavar.h"
#include "kxbstring.h"

// Results of next().
enum {
  kxbCursorEnd = 0,    // no more rows; the position stays past the last row
  kxbCursorRow = 1,    // positioned on a row
  kxbCursorError = 2   // failed; getErrorMessage() says why
};

// ---------------------------------------------------------------------------
// The data-variant family. The order of the operations is part of the
// interface: components built apart call them by position.

class KxbDatavarCursor {
 public:
  // True when the cursor can be used (every implementation here: always).
  virtual bool isValid() = 0;
  // The name of `column`; null when out of range.
  virtual KxbString getColumnName(int column) = 0;
  // The type of `column`; Unknown when out of range.
  virtual kxbType getColumnType(int column) = 0;
  virtual int getColumnCount() = 0;
  // The cell of the current row (shares its value); null when there is no
  // current row, `column` is out of range, or the cell was never set.
  virtual KxbDatavar getValue(int column) = 0;
  // The last error; null while nothing failed.
  virtual KxbString getErrorMessage() = 0;
  // *count = the complete rows held. False (count untouched) only when the
  // implementation cannot tell.
  virtual bool getRowCount(int64_t* count) = 0;
  // Moves to the next row: kxbCursorRow, kxbCursorEnd (repeated calls keep
  // giving it) or kxbCursorError. The first call after creation or rewind
  // gives the first row. After kxbCursorEnd there is no current row; rows
  // ended afterwards are read by the next calls.
  virtual int next() = 0;
  // Destroys the cursor. Call it exactly once.
  virtual void release() = 0;
  // Makes the next call to next() give the first row again.
  virtual bool rewind() = 0;

 protected:
  // Not virtual here: the virtual destructor is the creater's last
  // operation, so that it follows every other one in order.
  ~KxbDatavarCursor() = default;
};

class KxbDatavarCursorAppender : public KxbDatavarCursor {
 public:
  // Starts a new row with every cell null. False when it cannot be added
  // (getErrorMessage says why); the cursor is then as before.
  virtual bool beginRow() = 0;
  // Stores `value` (shared, not copied) in cell `column` of the row being
  // appended. Ignored outside beginRow/endRow and for a negative column.
  virtual void setValue(int column, const KxbDatavar& value) = 0;
  // Ends the row; readers see it from now on. False when the row could not
  // be stored (getErrorMessage says why; the row is not added).
  virtual bool endRow() = 0;
  // Makes every row ended so far durable for the readers the cursor is
  // handed to.
  virtual bool flush() = 0;

 protected:
  ~KxbDatavarCursorAppender() = default;
};

class KxbDatavarCursorCreater : public KxbDatavarCursorAppender {
 public:
  // Empties this cursor (columns and rows) and copies every column and row
  // of `source` into it (see copyCursor). On failure getErrorMessage says
  // why and the cursor holds what was copied before the failure.
  virtual bool copyFrom(KxbDatavarCursor* source) = 0;
  // Adds a column after the last one and returns `type` (Unknown when
  // memory ran out; the column is then not added).
  virtual kxbType addColumn(const KxbString& name, kxbType type) = 0;
  // Ends the column definitions; rows may be added from now on.
  virtual bool endColumns() = 0;

 protected:
  virtual ~KxbDatavarCursorCreater() = default;
};

// ---------------------------------------------------------------------------
// The string family: the same operations without column types, with
// KxbString cells; every column is a String.

class KxbStringCursor {
 public:
  virtual bool isValid() = 0;
  virtual KxbString getColumnName(int column) = 0;
  virtual int getColumnCount() = 0;
  // The cell of the current row as text; null as for the data-variant
  // getValue.
  virtual KxbString getValue(int column) = 0;
  virtual KxbString getErrorMessage() = 0;
  virtual bool getRowCount(int64_t* count) = 0;
  virtual int next() = 0;
  virtual void release() = 0;
  virtual bool rewind() = 0;

 protected:
  ~KxbStringCursor() = default;
};

class KxbStringCursorAppender : public KxbStringCursor {
 public:
  virtual bool beginRow() = 0;
  // A null `value` stores a null cell (distinct from the empty text).
  virtual void setValue(int column, const KxbString& value) = 0;
  virtual bool endRow() = 0;
  virtual bool flush() = 0;

 protected:
  ~KxbStringCursorAppender() = default;
};

class KxbStringCursorCreater : public KxbStringCursorAppender {
 public:
  virtual bool copyFrom(KxbStringCursor* source) = 0;
  // Adds a String column; returns the new column count, or 0 when memory
  // ran out (the column is then not added).
  virtual int addColumn(const KxbString& name) = 0;
  virtual bool endColumns() = 0;

 protected:
  virtual ~KxbStringCursorCreater() = default;
};

// ---------------------------------------------------------------------------
// Resident cursors: rows held in memory.
//
// isValid, flush and endColumns always succeed; beginRow, setValue and
// endRow fail only when memory runs out (the message is then "Out of
// memory": a cell that could not be stored makes endRow drop the row and
// return false). getColumnCount counts the addColumn calls since creation
// or the last copyFrom. getErrorMessage is null unless copyFrom or an
// allocation failed.

// A new, empty data-variant cursor; null when memory ran out.
KxbDatavarCursorCreater* createDatavarResidentCursor();
// A new, empty string cursor (a data-variant cursor whose cells hold String
// values); null when memory ran out.
KxbStringCursorCreater* createStringResidentCursor();

// Copies `source` into `target`: rewinds the source; adds each source
// column to the target (name, and type for data-variant cursors); ends the
// columns; adds every source row (beginRow, setValue of every column,
// endRow); flushes the target. When a column cannot be added, endColumns,
// beginRow, endRow or flush of the target fails, or the source's next()
// gives an error, the copy
// stops with false and *error (when given) receives that cursor's message.
// A null source or target gives false and "Missing cursor". The target
// keeps the columns and rows copied before a failure.
bool copyCursor(KxbDatavarCursor* source, KxbDatavarCursorCreater* target,
                KxbString* error);
bool copyCursor(KxbStringCursor* source, KxbStringCursorCreater* target,
                KxbString* error);

// ---------------------------------------------------------------------------
// The workflow-cursor adapter.
//
// Workflow components read and hand out string tables through a plain C
// table of functions reached through an interface object, whose first word
// points to the table. KxbKXWFInterface is that object; a component embeds
// it as the first member of its own cursor object. The conventions:
//   - every function takes the interface object first;
//   - getColumnName and getValue return 0 on success and set *text to a
//     NUL-terminated UTF-8 text that stays valid until the next call on the
//     same object (getValue sets it to null for a null cell); non-zero is a
//     failure;
//   - next returns a positive number when positioned on a row, 0 at the
//     end, a negative number on error;
//   - rewind and getRowCount return 0 on success;
//   - getErrorMessage returns the last error text or null; the text stays
//     valid until the next call on the same object;
//   - release ends the object; nothing may be called on it afterwards.
struct KxbKXWFInterface;
extern "C" {
typedef struct KxbKXWFFunctions {
  void (*release)(KxbKXWFInterface* self);
  int (*getColumnCount)(KxbKXWFInterface* self);
  int (*getColumnName)(KxbKXWFInterface* self, int column, const char** text);
  int (*getValue)(KxbKXWFInterface* self, int column, const char** text);
  int (*getRowCount)(KxbKXWFInterface* self, int64_t* count);
  int (*next)(KxbKXWFInterface* self);
  int (*rewind)(KxbKXWFInterface* self);
  const char* (*getErrorMessage)(KxbKXWFInterface* self);
} KxbKXWFFunctions;
}
struct KxbKXWFInterface {
  const KxbKXWFFunctions* functions;
};

// A string cursor that reads either a resident string cursor it owns
// (owned mode, the state after creation) or an attached workflow cursor.
//
// In owned mode a producer fills getCreater() and workflow components read
// the same rows through getInterface(), which offers the library's own
// function table. attach() releases what the adapter holds (the owned
// resident cursor, or the workflow cursor attached before, through its own
// release function) and from then on forwards every KxbStringCursor
// operation to the attached cursor's functions: a column name that cannot
// be fetched is null, and next() maps a positive result to kxbCursorRow, 0
// to kxbCursorEnd and a negative one to kxbCursorError. release() releases
// what the adapter holds and then the adapter.
class KxbStringKXWFCursor : public KxbStringCursor {
 public:
  // Takes ownership of `external` (null leaves the adapter holding nothing:
  // it then reads as an empty cursor) and returns it.
  virtual KxbKXWFInterface* attach(KxbKXWFInterface* external) = 0;
  // Owned mode: the resident cursor to fill, still owned by the adapter
  // (do not release it). Null after attach.
  virtual KxbStringCursorCreater* getCreater() = 0;
  // Owned mode: the interface object offering the owned cursor to workflow
  // components; valid while the adapter is in owned mode. Its release
  // function ends the owned cursor (the adapter then reads as empty), so a
  // component that was handed it may end it. Null after attach.
  virtual KxbKXWFInterface* getInterface() = 0;

 protected:
  virtual ~KxbStringKXWFCursor() = default;
};

// A new adapter in owned mode; null when memory ran out.
KxbStringKXWFCursor* createStringKXWFCursor();

#endif  // KXB_INCLUDE_KXBCURSOR_H_
