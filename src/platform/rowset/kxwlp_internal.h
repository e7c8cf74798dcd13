// The row set's state and the cell conversions the row-set units share.
#ifndef KXB_PLATFORM_ROWSET_KXWLP_INTERNAL_H_
#define KXB_PLATFORM_ROWSET_KXWLP_INTERNAL_H_

#include <sqlite3.h>

#include <atomic>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "kxwlp.h"

struct kxwlpRowSet {
  enum Kind {
    kTemporary,  // a table of its own private temporary database
    kQuery,      // the rows of a query on a database file, read-only
    kFileTable   // a new table of a database file, in a transaction
  };

  explicit kxwlpRowSet(Kind k) : kind(k) {}
  ~kxwlpRowSet();

  std::atomic<int> refs{1};
  Kind kind;
  sqlite3* db = nullptr;
  std::vector<std::string> names;
  std::vector<int32_t> types;
  sqlite3_stmt* insert = nullptr;
  sqlite3_stmt* select = nullptr;
  bool selecting = false;     // `select` has been positioned
  bool exhausted = false;     // `select` ran out of rows
  int64_t position = 0;       // index of the row the next read gives
  bool inTransaction = false;
  int64_t rows = 0;           // rows added (temporary and file tables)
  int64_t committedRows = 0;  // of those, the rows committed
  std::string querySql;       // the query of a kQuery row set
  std::string error;

  // Keeps SQLite's message for the last failure; KXWLP_STORE_ERROR.
  int storeError(const char* what);
  int beginIfNeeded();
  int commitIfNeeded();
};

namespace kxwlp {

// Opens `path` (empty: a private temporary database) with `flags` and the
// row-set settings. Null with *error set on failure.
sqlite3* openDatabase(const char* path, int flags, std::string* error);
// Runs `sql` without results; SQLite's result code.
int exec(sqlite3* db, const char* sql);

// True for the type codes a description may hold.
bool validType(int32_t code);
// The declared SQL type of a column of `code`, and back: the code of a
// column declared `declared` (null: unknown, then `storageClass` of the
// first value decides).
const char* declaredType(int32_t code);
int32_t typeFromDeclared(const char* declared, int storageClass);

// Binds the records of `row` to the parameters 1.. of `statement`, which
// must be stepped before `row` changes (texts are not copied).
int bindRow(sqlite3_stmt* statement, const kxwlpBinding* row, int columns);
// Fills `row` from the current result row of `statement`: each record's
// code is its column's, or the code of what the value's storage class
// holds when it does not fit the column (text in a DATE column gives a
// STRING record, for example).
void readRow(sqlite3_stmt* statement, const int32_t* types, int columns,
             kxwlpBinding* row);

// The pieces joined (one allocation; also keeps g++ 12's false -Wrestrict
// reports about chained std::string additions away).
inline std::string join(std::initializer_list<std::string_view> pieces) {
  size_t size = 0;
  for (std::string_view piece : pieces) size += piece.size();
  std::string out;
  out.reserve(size);
  for (std::string_view piece : pieces) out.append(piece);
  return out;
}

// Copies `text` into `out` (size bytes, terminated) when given.
void copyError(const std::string& text, char* out, size_t size);
// `name` as a quoted SQL identifier.
std::string quoteIdentifier(const char* name);

}  // namespace kxwlp

#endif  // KXB_PLATFORM_ROWSET_KXWLP_INTERNAL_H_
