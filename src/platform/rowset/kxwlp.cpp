// Row sets in private temporary SQLite databases: lifecycle, appending and
// reading rows.
#include <atomic>
#include <new>
#include <string>

#include "kxwlp_internal.h"
#include "np_mem.h"

struct kxwlpInstance {
  int unused;
};

namespace {

std::atomic<int> g_cacheKib{0};

// The row set's memory comes from the heap seam, so that tests can make
// creation fail.
kxwlpRowSet* newRowSet(kxwlpRowSet::Kind kind) {
  void* block = np_mem_alloc(sizeof(kxwlpRowSet));
  if (block == nullptr) return nullptr;
  return new (block) kxwlpRowSet(kind);
}

int prepare(kxwlpRowSet* set, const std::string& sql, sqlite3_stmt** out) {
  if (sqlite3_prepare_v3(set->db, sql.c_str(), -1, SQLITE_PREPARE_PERSISTENT,
                         out, nullptr) != SQLITE_OK) {
    return set->storeError("prepare");
  }
  return KXWLP_OK;
}

}  // namespace

// ---------------------------------------------------------------------------
// Shared helpers.

kxwlpRowSet::~kxwlpRowSet() {
  sqlite3_finalize(insert);
  sqlite3_finalize(select);
  if (inTransaction) kxwlp::exec(db, "ROLLBACK");
  sqlite3_close_v2(db);
}

int kxwlpRowSet::storeError(const char* what) {
  try {
    error = kxwlp::join({what, ": ", db != nullptr ? sqlite3_errmsg(db) : "no database"});
  } catch (const std::bad_alloc&) {
    np_mem_note_failure();
    error.clear();  // the message could not be made; the result still tells
  }
  return KXWLP_STORE_ERROR;
}

int kxwlpRowSet::beginIfNeeded() {
  if (inTransaction) return KXWLP_OK;
  if (kxwlp::exec(db, "BEGIN") != SQLITE_OK) return storeError("begin");
  inTransaction = true;
  return KXWLP_OK;
}

int kxwlpRowSet::commitIfNeeded() {
  if (!inTransaction) return KXWLP_OK;
  if (kxwlp::exec(db, "COMMIT") != SQLITE_OK) return storeError("commit");
  inTransaction = false;
  committedRows = rows;
  return KXWLP_OK;
}

namespace kxwlp {

sqlite3* openDatabase(const char* path, int flags, std::string* error) {
  sqlite3* db = nullptr;
  const int rc = sqlite3_open_v2(path, &db, flags | SQLITE_OPEN_NOMUTEX,
                                 nullptr);
  if (rc != SQLITE_OK) {
    *error = db != nullptr ? sqlite3_errmsg(db) : sqlite3_errstr(rc);
    sqlite3_close_v2(db);
    return nullptr;
  }
  const int kib = g_cacheKib.load(std::memory_order_relaxed);
  if (kib > 0) {
    const std::string pragma = join({"PRAGMA cache_size=-", std::to_string(kib)});
    exec(db, pragma.c_str());
  }
  return db;
}

int exec(sqlite3* db, const char* sql) {
  return sqlite3_exec(db, sql, nullptr, nullptr, nullptr);
}

}  // namespace kxwlp

// ---------------------------------------------------------------------------
// The library's calls.

int kxwlp_initialize(kxwlpInstance** instance) {
  if (instance == nullptr) return KXWLP_BAD_ARGUMENT;
  *instance = nullptr;
  void* block = np_mem_alloc(sizeof(kxwlpInstance));
  if (block == nullptr) return KXWLP_NO_MEMORY;
  if (sqlite3_initialize() != SQLITE_OK) {
    np_mem_free(block);
    return KXWLP_STORE_ERROR;
  }
  *instance = new (block) kxwlpInstance{0};
  return KXWLP_OK;
}

int kxwlp_terminate(kxwlpInstance* instance) {
  if (instance == nullptr) return KXWLP_BAD_ARGUMENT;
  np_mem_free(instance);
  return KXWLP_OK;
}

int kxwlpRowSet_create(kxwlpRowSet** handle, int version,
                       const kxwlpColumn* description) {
  if (handle == nullptr) return KXWLP_BAD_ARGUMENT;
  *handle = nullptr;
  if (version != 1 || description == nullptr || description[0].name == nullptr) {
    return KXWLP_BAD_ARGUMENT;
  }
  for (const kxwlpColumn* c = description; c->name != nullptr; ++c) {
    if (!kxwlp::validType(c->type)) return KXWLP_BAD_ARGUMENT;
  }
  kxwlpRowSet* set = newRowSet(kxwlpRowSet::kTemporary);
  if (set == nullptr) return KXWLP_NO_MEMORY;
  int rc = KXWLP_OK;
  try {
    std::string create = "CREATE TABLE r(";
    std::string insert = "INSERT INTO r VALUES(";
    std::string select = "SELECT ";
    for (const kxwlpColumn* c = description; c->name != nullptr; ++c) {
      const size_t i = set->names.size();
      set->names.emplace_back(c->name);
      set->types.push_back(c->type);
      const std::string column = kxwlp::join({"c", std::to_string(i)});
      const char* comma = i > 0 ? "," : "";
      create += kxwlp::join({comma, column, " ", kxwlp::declaredType(c->type)});
      insert += i > 0 ? ",?" : "?";
      select += comma + column;
    }
    create += ")";
    insert += ")";
    select += " FROM r WHERE rowid>?1 ORDER BY rowid";
    set->db = kxwlp::openDatabase(
        "", SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, &set->error);
    // The rollback journal stays in memory: appended pages need none, and
    // SQLite can still roll back the transaction it abandons when memory
    // runs out in a statement (without a journal that leaves the file in
    // an undefined state).
    if (set->db == nullptr) {
      rc = KXWLP_STORE_ERROR;
    } else if (kxwlp::exec(set->db, "PRAGMA journal_mode=MEMORY") != SQLITE_OK ||
               kxwlp::exec(set->db, "PRAGMA synchronous=OFF") != SQLITE_OK ||
               kxwlp::exec(set->db, create.c_str()) != SQLITE_OK) {
      rc = set->storeError("create");
    } else if ((rc = prepare(set, insert, &set->insert)) == KXWLP_OK) {
      rc = prepare(set, select, &set->select);
    }
  } catch (const std::bad_alloc&) {
    np_mem_note_failure();
    rc = KXWLP_NO_MEMORY;
  }
  if (rc != KXWLP_OK) {
    set->~kxwlpRowSet();
    np_mem_free(set);
    return rc;
  }
  *handle = set;
  return KXWLP_OK;
}

int kxwlpRowSet_addRef(kxwlpRowSet* handle) {
  if (handle == nullptr) return KXWLP_BAD_ARGUMENT;
  handle->refs.fetch_add(1, std::memory_order_relaxed);
  return KXWLP_OK;
}

int kxwlpRowSet_destroy(kxwlpRowSet* handle) {
  if (handle == nullptr) return KXWLP_BAD_ARGUMENT;
  if (handle->refs.fetch_sub(1, std::memory_order_acq_rel) == 1) {
    handle->~kxwlpRowSet();
    np_mem_free(handle);
  }
  return KXWLP_OK;
}

int kxwlpRowSet_getColumnCount(kxwlpRowSet* handle, int* count) {
  if (handle == nullptr || count == nullptr) return KXWLP_BAD_ARGUMENT;
  *count = static_cast<int>(handle->names.size());
  return KXWLP_OK;
}

int kxwlpRowSet_getColumn(kxwlpRowSet* handle, int column, const char** name,
                          int32_t* type) {
  if (handle == nullptr || column < 0 ||
      static_cast<size_t>(column) >= handle->names.size()) {
    return KXWLP_BAD_ARGUMENT;
  }
  if (name != nullptr) *name = handle->names[column].c_str();
  if (type != nullptr) *type = handle->types[column];
  return KXWLP_OK;
}

int kxwlpRowSet_addRow(kxwlpRowSet* handle, const kxwlpBinding* row) {
  if (handle == nullptr || row == nullptr) return KXWLP_BAD_ARGUMENT;
  if (handle->kind == kxwlpRowSet::kQuery) {
    handle->error = "rows cannot be added to a query";
    return KXWLP_READ_ONLY;
  }
  if (handle->kind == kxwlpRowSet::kTemporary) {
    const int rc = handle->beginIfNeeded();
    if (rc != KXWLP_OK) return rc;
  }
  sqlite3_stmt* insert = handle->insert;
  const int columns = static_cast<int>(handle->names.size());
  if (kxwlp::bindRow(insert, row, columns) != SQLITE_OK ||
      sqlite3_step(insert) != SQLITE_DONE) {
    const int rc = handle->storeError("add row");
    sqlite3_reset(insert);
    if (handle->inTransaction && sqlite3_get_autocommit(handle->db) != 0) {
      // SQLite rolled the whole transaction back, as it does when memory
      // runs out inside a statement: the rows added since the last commit
      // are gone, and the count says so.
      const int64_t lost = handle->rows - handle->committedRows;
      handle->inTransaction = false;
      handle->rows = handle->committedRows;
      try {
        handle->error += kxwlp::join({"; the ", std::to_string(lost),
                                      " rows added since the last commit were lost"});
      } catch (const std::bad_alloc&) {
        np_mem_note_failure();
      }
    }
    return rc;
  }
  sqlite3_reset(insert);
  ++handle->rows;
  return KXWLP_OK;
}

int kxwlpRowSet_getRows(kxwlpRowSet* handle, int64_t* count) {
  if (handle == nullptr || count == nullptr) return KXWLP_BAD_ARGUMENT;
  if (handle->kind != kxwlpRowSet::kQuery) {
    *count = handle->rows;
    return KXWLP_OK;
  }
  // A query's rows are counted by SQLite; the statement that reads them
  // keeps its position.
  const std::string sql = kxwlp::join({"SELECT count(*) FROM (", handle->querySql, ")"});
  sqlite3_stmt* counter = nullptr;
  if (sqlite3_prepare_v2(handle->db, sql.c_str(), -1, &counter, nullptr) !=
      SQLITE_OK) {
    return handle->storeError("count rows");
  }
  const int rc = sqlite3_step(counter);
  if (rc == SQLITE_ROW) *count = sqlite3_column_int64(counter, 0);
  sqlite3_finalize(counter);
  return rc == SQLITE_ROW ? KXWLP_OK : handle->storeError("count rows");
}

namespace {

// Reads the next result row. A statement that ran out stays out (SQLite
// would start it again): a temporary row set that got rows since is read
// on from where it stopped.
int step(kxwlpRowSet* set, kxwlpBinding* row) {
  if (set->exhausted) {
    if (set->kind != kxwlpRowSet::kTemporary || set->position >= set->rows) {
      return KXWLP_NO_MORE_ROWS;
    }
    const int rc = set->commitIfNeeded();
    if (rc != KXWLP_OK) return rc;
    sqlite3_reset(set->select);
    sqlite3_bind_int64(set->select, 1, set->position);
    set->exhausted = false;
  }
  const int rc = sqlite3_step(set->select);
  if (rc == SQLITE_DONE) {
    set->exhausted = true;
    return KXWLP_NO_MORE_ROWS;
  }
  if (rc != SQLITE_ROW) {
    set->exhausted = true;
    return set->storeError("read row");
  }
  kxwlp::readRow(set->select, set->types.data(),
                 static_cast<int>(set->types.size()), row);
  ++set->position;
  return KXWLP_OK;
}

}  // namespace

int kxwlpRowSet_seekRow(kxwlpRowSet* handle, int64_t index,
                        kxwlpBinding* row) {
  if (handle == nullptr || row == nullptr || index < 0) {
    return KXWLP_BAD_ARGUMENT;
  }
  if (handle->select == nullptr) {
    handle->error = "rows of a table being written cannot be read";
    return KXWLP_BAD_ARGUMENT;
  }
  if (handle->kind == kxwlpRowSet::kTemporary) {
    const int rc = handle->commitIfNeeded();
    if (rc != KXWLP_OK) return rc;
  }
  sqlite3_stmt* select = handle->select;
  sqlite3_reset(select);
  handle->selecting = true;
  handle->exhausted = false;
  if (handle->kind == kxwlpRowSet::kTemporary) {
    // Rows are only appended, so row n has the rowid n + 1.
    sqlite3_bind_int64(select, 1, index);
    handle->position = index;
    return step(handle, row);
  }
  handle->position = 0;
  for (int64_t skipped = 0;; ++skipped) {
    const int rc = step(handle, row);
    if (rc != KXWLP_OK || skipped == index) return rc;
  }
}

int kxwlpRowSet_nextRow(kxwlpRowSet* handle, kxwlpBinding* row) {
  if (handle == nullptr || row == nullptr) return KXWLP_BAD_ARGUMENT;
  if (!handle->selecting) return kxwlpRowSet_seekRow(handle, 0, row);
  return step(handle, row);
}

const char* kxwlpRowSet_getError(kxwlpRowSet* handle) {
  return handle != nullptr ? handle->error.c_str() : "no row set";
}

void kxwlpSetCacheSizeForTesting(int kib) {
  g_cacheKib.store(kib > 0 ? kib : 0, std::memory_order_relaxed);
}

int kxwlpRowSet_getSpilledPages(kxwlpRowSet* handle, int64_t* pages) {
  if (handle == nullptr || pages == nullptr) return KXWLP_BAD_ARGUMENT;
  int current = 0;
  int highest = 0;
  if (sqlite3_db_status(handle->db, SQLITE_DBSTATUS_CACHE_SPILL, &current,
                        &highest, 0) != SQLITE_OK) {
    return handle->storeError("status");
  }
  *pages = current;
  return KXWLP_OK;
}
