// Row-set cursors over SQLite database files: reading a query's rows and
// saving a cursor as a table.
#include <cstdio>

#include "cursors/kxbcursorwlp_impl.h"

using kxb_cursor::kOutOfMemory;

namespace {

void setError(KxbString* error, const char* text) {
  if (error != nullptr) *error = KxbString(text);
}

// Releases a cursor at the end of a scope.
struct CursorHolder {
  KxbDatavarWlpCursor* cursor;
  ~CursorHolder() {
    if (cursor != nullptr) cursor->release();
  }
};

// Writes every row of `source` through `writer`, whose row set is the new
// table. False with *error set.
bool writeRows(KxbDatavarCursor* source, KxbDatavarWlpCursor* writer,
               int columns, KxbString* error) {
  source->rewind();
  for (;;) {
    const int step = source->next();
    if (step == kxbCursorEnd) return true;
    if (step != kxbCursorRow) {
      if (error != nullptr) *error = source->getErrorMessage();
      return false;
    }
    if (!writer->beginRow()) {
      if (error != nullptr) *error = writer->getErrorMessage();
      return false;
    }
    for (int column = 0; column < columns; ++column) {
      writer->setValue(column, source->getValue(column));
    }
    if (!writer->endRow()) {
      char text[600];
      std::snprintf(text, sizeof text, "%s: %s",
                    writer->getErrorMessage().asCstr(),
                    kxwlpRowSet_getError(writer->getRowSet()));
      setError(error, text);
      return false;
    }
  }
}

}  // namespace

KxbDatavarWlpCursor* kxbCreateQueryCursor(const KxbString& databasePath,
                                          const KxbString& sql,
                                          KxbString* error) {
  if (databasePath.length() == 0 || sql.length() == 0) {
    setError(error, "missing database path or SQL");
    return nullptr;
  }
  char message[1024];
  kxwlpRowSet* rowSet = nullptr;
  if (kxwlpRowSet_openQuery(&rowSet, databasePath.asCstr(), sql.asCstr(),
                            message, sizeof message) != KXWLP_OK) {
    setError(error, message);
    return nullptr;
  }
  KxbDatavarWlpCursor* cursor = createDatavarWlpCursor();
  if (cursor == nullptr) {
    kxwlpRowSet_destroy(rowSet);
    setError(error, kOutOfMemory);
    return nullptr;
  }
  cursor->setRowSet(rowSet);
  kxwlpRowSet_destroy(rowSet);  // the cursor holds its own reference
  if (cursor->getColumnCount() == 0) {  // the columns could not be taken
    cursor->release();
    setError(error, kOutOfMemory);
    return nullptr;
  }
  return cursor;
}

bool kxbSaveCursorAsTable(KxbDatavarCursor* cursor,
                          const KxbString& databasePath,
                          const KxbString& table, KxbString* error) {
  if (cursor == nullptr) {
    setError(error, "Missing cursor");
    return false;
  }
  if (databasePath.length() == 0 || table.length() == 0) {
    setError(error, "missing database path or table name");
    return false;
  }
  const int columns = cursor->getColumnCount();
  if (columns <= 0) {
    setError(error, "Cannot create zero columns");
    return false;
  }
  kxb_cursor::PoolArray<KxbString> names;
  kxb_cursor::PoolArray<kxwlpColumn> description;
  if (!names.reserve(columns) || !description.reserve(columns + 1)) {
    setError(error, kOutOfMemory);
    return false;
  }
  for (int i = 0; i < columns; ++i) {
    names.push(cursor->getColumnName(i));
    description.push(kxwlpColumn{names[i].asCstr(),
                                 kxbTypeToRowSetCode(cursor->getColumnType(i))});
  }
  description.push(kxwlpColumn{nullptr, 0});

  CursorHolder writer{createDatavarWlpCursor()};
  if (writer.cursor == nullptr) {
    setError(error, kOutOfMemory);
    return false;
  }
  char message[1024];
  kxwlpRowSet* rowSet = nullptr;
  if (kxwlpRowSet_createTable(&rowSet, databasePath.asCstr(), table.asCstr(),
                              &description[0], message,
                              sizeof message) != KXWLP_OK) {
    setError(error, message);
    return false;
  }
  writer.cursor->setRowSet(rowSet);
  kxwlpRowSet_destroy(rowSet);  // the writer holds its own reference
  if (writer.cursor->getColumnCount() != columns) {
    setError(error, kOutOfMemory);
    return false;
  }
  // Released uncommitted, the row set rolls the table back.
  if (!writeRows(cursor, writer.cursor, columns, error)) return false;
  if (kxwlpRowSet_commit(rowSet) != KXWLP_OK) {
    setError(error, kxwlpRowSet_getError(rowSet));
    return false;
  }
  return true;
}
