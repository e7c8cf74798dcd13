// kxwlp: the row-set library, standing in for the suite's row-set library
// over SQLite. A row set is a table of typed columns, read and written one
// row at a time through a row buffer of binding records.
//
// Each row set made with kxwlpRowSet_create is a table in a private
// temporary SQLite database of its own: it lives in SQLite's page cache and
// spills to a temporary file when it outgrows it. Values are stored
// natively so that any SQLite reader understands them: Boolean and integers
// as INTEGER, dates as REAL day numbers, text as TEXT, decimals as their
// exact 24-byte decimal192 form in a BLOB.
//
// Row sets are reference counted: kxwlpRowSet_create gives one reference,
// kxwlpRowSet_addRef adds one and kxwlpRowSet_destroy gives one back; the
// last one frees the row set. A row set is used by one thread at a time;
// the counts may be changed from any thread.
//
// Every call returns a result code: KXWLP_OK, KXWLP_NO_MORE_ROWS, or a
// failure (kxwlpRowSet_getError then has the text).
#ifndef KXB_PLATFORM_ROWSET_KXWLP_H_
#define KXB_PLATFORM_ROWSET_KXWLP_H_

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

enum {
  KXWLP_OK = 0,
  KXWLP_BAD_ARGUMENT = 1,  // null handle, bad description, wrong version
  KXWLP_STORE_ERROR = 2,   // the row store failed (see kxwlpRowSet_getError)
  KXWLP_READ_ONLY = 3,     // rows cannot be added to a query's row set
  KXWLP_NO_MEMORY = 7,
  KXWLP_NO_MORE_ROWS = 9
};

// Type codes of columns and binding records.
enum {
  KXWLP_TYPE_BOOLEAN = 2,  // 1 byte, non-zero true
  KXWLP_TYPE_DATE = 3,     // double day number
  KXWLP_TYPE_DOUBLE = 4,   // double
  KXWLP_TYPE_INT16 = 5,
  KXWLP_TYPE_INT32 = 6,
  KXWLP_TYPE_INT64 = 7,
  KXWLP_TYPE_DECIMAL = 9,  // 24 bytes of decimal192
  KXWLP_TYPE_STRING = 11,  // pointer to UTF-8 text and its byte length
  KXWLP_TYPE_UNSUPPORTED = 12  // never has a value
};

// One column of a row-set description; a description is an array of them
// ended by an entry with a null name.
typedef struct kxwlpColumn {
  const char* name;
  int32_t type;  // a KXWLP_TYPE_ code
} kxwlpColumn;

// The binding record of one cell: 80 bytes, the same layout on every
// platform (a text pointer takes 8 of the 64 value bytes on 64-bit).
typedef struct kxwlpBinding {
  int32_t type;        // 0: a KXWLP_TYPE_ code
  uint8_t present;     // 4: 1 with a value, 0 for null
  uint8_t unused5;     // 5
  uint8_t reserved;    // 6: written 0
  uint8_t unused7;     // 7
  union {              // 8
    uint8_t boolean;
    int16_t int16;
    int32_t int32;
    int64_t int64;
    double real;       // dates and doubles
    uint8_t decimal[24];
    const char* text;  // not terminated necessarily: see length
    uint8_t bytes[64];
  } value;
  int32_t length;      // 72: value bytes (decimal 24, text without NUL)
  int32_t unused76;    // 76
} kxwlpBinding;

typedef struct kxwlpInstance kxwlpInstance;
typedef struct kxwlpRowSet kxwlpRowSet;

// An instance of the library, for the user's lifetime. Row sets outlive
// the instance they were made under.
int kxwlp_initialize(kxwlpInstance** instance);
int kxwlp_terminate(kxwlpInstance* instance);

// A new, empty row set with the columns of `description` (version 1);
// *handle is null on failure. KXWLP_BAD_ARGUMENT for an empty description
// or an unknown type code.
int kxwlpRowSet_create(kxwlpRowSet** handle, int version,
                       const kxwlpColumn* description);
// A row set over the rows of `sql` on the SQLite database file `path`,
// opened read-only. Column types come from the declared types (DECIMAL
// and NUMERIC read exactly, see kxwlp_cells). On failure *handle is null
// and `error` (when given, `errorSize` bytes) receives the reason.
int kxwlpRowSet_openQuery(kxwlpRowSet** handle, const char* path,
                          const char* sql, char* error, size_t errorSize);
// A row set that is a new table `table` of the SQLite database file `path`
// (made when missing), inside a transaction: rows added to it become
// visible to others only with kxwlpRowSet_commit; destroying it uncommitted
// rolls everything back, the table included.
int kxwlpRowSet_createTable(kxwlpRowSet** handle, const char* path,
                            const char* table, const kxwlpColumn* description,
                            char* error, size_t errorSize);
int kxwlpRowSet_commit(kxwlpRowSet* handle);

int kxwlpRowSet_addRef(kxwlpRowSet* handle);
// Gives one reference back; the last frees the row set.
int kxwlpRowSet_destroy(kxwlpRowSet* handle);

// The description kept with the row set.
int kxwlpRowSet_getColumnCount(kxwlpRowSet* handle, int* count);
// *name stays valid while the row set lives.
int kxwlpRowSet_getColumn(kxwlpRowSet* handle, int column, const char** name,
                          int32_t* type);

// Appends the row in `row` (one record per column). On failure the row is
// not stored; when the store itself ran out of memory inside the insert,
// SQLite abandons its transaction, and the rows added since the last commit
// (the last read, or kxwlpRowSet_commit) are gone too: the row count then
// drops to the committed rows and the error text says how many were lost.
int kxwlpRowSet_addRow(kxwlpRowSet* handle, const kxwlpBinding* row);
int kxwlpRowSet_getRows(kxwlpRowSet* handle, int64_t* count);
// Positions on row `index` (0 the first) and reads it into `row`;
// KXWLP_NO_MORE_ROWS past the end (an empty row set has no row 0).
int kxwlpRowSet_seekRow(kxwlpRowSet* handle, int64_t index,
                        kxwlpBinding* row);
// Reads the row after the current one; before any seekRow, the first.
// Text pointers in `row` stay valid until the next read.
int kxwlpRowSet_nextRow(kxwlpRowSet* handle, kxwlpBinding* row);

// The last failure's text; "" when none. Valid until the next call.
const char* kxwlpRowSet_getError(kxwlpRowSet* handle);

// Test-only: the page cache of row sets made from now on, in KiB (0 gives
// SQLite's default back), and how many pages a row set wrote out to its
// temporary file because the cache was full.
void kxwlpSetCacheSizeForTesting(int kib);
int kxwlpRowSet_getSpilledPages(kxwlpRowSet* handle, int64_t* pages);

#ifdef __cplusplus
}
#endif

#endif  // KXB_PLATFORM_ROWSET_KXWLP_H_
