// Row sets over SQLite database files: the rows of a query, read-only, and
// a new table written in one transaction.
#include <cctype>
#include <new>
#include <string>

#include "kxwlp_internal.h"
#include "np_mem.h"

namespace {

kxwlpRowSet* newRowSet(kxwlpRowSet::Kind kind) {
  void* block = np_mem_alloc(sizeof(kxwlpRowSet));
  if (block == nullptr) return nullptr;
  return new (block) kxwlpRowSet(kind);
}

void freeRowSet(kxwlpRowSet* set) {
  set->~kxwlpRowSet();
  np_mem_free(set);
}

bool onlySpace(const char* text) {
  for (; text != nullptr && *text != '\0'; ++text) {
    if (!std::isspace(static_cast<unsigned char>(*text)) && *text != ';') {
      return false;
    }
  }
  return true;
}

// Opens the query's statement and takes its columns. False with
// set->error on failure.
bool openQuery(kxwlpRowSet* set, const char* path, const char* sql) {
  std::string reason;
  set->db = kxwlp::openDatabase(path, SQLITE_OPEN_READONLY, &reason);
  if (set->db == nullptr) {
    set->error = kxwlp::join({"cannot open database \"", path, "\": ", reason});
    return false;
  }
  const char* tail = nullptr;
  if (sqlite3_prepare_v2(set->db, sql, -1, &set->select, &tail) != SQLITE_OK) {
    set->error = kxwlp::join({"SQL error: ", sqlite3_errmsg(set->db)});
    return false;
  }
  if (set->select == nullptr || !onlySpace(tail)) {
    set->error = set->select == nullptr ? "SQL error: no statement"
                                        : "SQL error: more than one statement";
    return false;
  }
  if (!sqlite3_stmt_readonly(set->select)) {
    set->error = "SQL error: the statement would change the database";
    return false;
  }
  const int columns = sqlite3_column_count(set->select);
  if (columns == 0) {
    set->error = "SQL error: the statement returns no columns";
    return false;
  }
  // Columns without a declared type (expressions) take the type of their
  // first value.
  bool peeked = false;
  int first = SQLITE_ROW;
  for (int i = 0; i < columns; ++i) {
    const char* declared = sqlite3_column_decltype(set->select, i);
    int storageClass = SQLITE_NULL;
    if (declared == nullptr) {
      if (!peeked) {
        first = sqlite3_step(set->select);
        peeked = true;
      }
      if (first == SQLITE_ROW) storageClass = sqlite3_column_type(set->select, i);
    }
    const char* name = sqlite3_column_name(set->select, i);
    set->names.emplace_back(name != nullptr ? name : "");
    set->types.push_back(kxwlp::typeFromDeclared(declared, storageClass));
  }
  if (peeked && first != SQLITE_ROW && first != SQLITE_DONE) {
    set->error = kxwlp::join({"SQL error: ", sqlite3_errmsg(set->db)});
    return false;
  }
  sqlite3_reset(set->select);
  set->querySql = sql;
  // A trailing ";" would end the count's sub-query early.
  while (!set->querySql.empty() &&
         (set->querySql.back() == ';' ||
          std::isspace(static_cast<unsigned char>(set->querySql.back())))) {
    set->querySql.pop_back();
  }
  return true;
}

bool createTable(kxwlpRowSet* set, const char* path, const char* table,
                 const kxwlpColumn* description) {
  std::string reason;
  set->db = kxwlp::openDatabase(path, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE,
                                &reason);
  if (set->db == nullptr) {
    set->error = kxwlp::join({"cannot open database \"", path, "\": ", reason});
    return false;
  }
  sqlite3_busy_timeout(set->db, 5000);
  const std::string name = kxwlp::quoteIdentifier(table);
  std::string create = kxwlp::join({"CREATE TABLE ", name, "("});
  std::string insert = kxwlp::join({"INSERT INTO ", name, " VALUES("});
  for (const kxwlpColumn* c = description; c->name != nullptr; ++c) {
    const bool first = c == description;
    set->names.emplace_back(c->name);
    set->types.push_back(c->type);
    create += kxwlp::join({first ? "" : ",", kxwlp::quoteIdentifier(c->name),
                           " ", kxwlp::declaredType(c->type)});
    insert += first ? "?" : ",?";
  }
  create += ")";
  insert += ")";
  if (kxwlp::exec(set->db, "BEGIN IMMEDIATE") != SQLITE_OK) {
    set->error = kxwlp::join(
        {"cannot write database \"", path, "\": ", sqlite3_errmsg(set->db)});
    return false;
  }
  set->inTransaction = true;
  if (kxwlp::exec(set->db, create.c_str()) != SQLITE_OK ||
      sqlite3_prepare_v2(set->db, insert.c_str(), -1, &set->insert, nullptr) !=
          SQLITE_OK) {
    set->error = kxwlp::join(
        {"cannot create table ", name, ": ", sqlite3_errmsg(set->db)});
    return false;
  }
  return true;
}

int finish(kxwlpRowSet* set, bool made, kxwlpRowSet** handle, char* error,
           size_t errorSize) {
  if (!made) {
    kxwlp::copyError(set->error, error, errorSize);
    freeRowSet(set);
    return KXWLP_STORE_ERROR;
  }
  *handle = set;
  return KXWLP_OK;
}

}  // namespace

int kxwlpRowSet_openQuery(kxwlpRowSet** handle, const char* path,
                          const char* sql, char* error, size_t errorSize) {
  if (handle == nullptr) return KXWLP_BAD_ARGUMENT;
  *handle = nullptr;
  if (path == nullptr || sql == nullptr) {
    kxwlp::copyError("missing database path or SQL", error, errorSize);
    return KXWLP_BAD_ARGUMENT;
  }
  kxwlpRowSet* set = newRowSet(kxwlpRowSet::kQuery);
  if (set == nullptr) {
    kxwlp::copyError("out of memory", error, errorSize);
    return KXWLP_NO_MEMORY;
  }
  bool made = false;
  try {
    made = openQuery(set, path, sql);
  } catch (const std::bad_alloc&) {
    np_mem_note_failure();
    set->error = "out of memory";
  }
  return finish(set, made, handle, error, errorSize);
}

int kxwlpRowSet_createTable(kxwlpRowSet** handle, const char* path,
                            const char* table, const kxwlpColumn* description,
                            char* error, size_t errorSize) {
  if (handle == nullptr) return KXWLP_BAD_ARGUMENT;
  *handle = nullptr;
  if (path == nullptr || table == nullptr || *table == '\0' ||
      description == nullptr || description[0].name == nullptr) {
    kxwlp::copyError("missing database path, table name or columns", error,
                     errorSize);
    return KXWLP_BAD_ARGUMENT;
  }
  for (const kxwlpColumn* c = description; c->name != nullptr; ++c) {
    if (!kxwlp::validType(c->type)) {
      kxwlp::copyError("unknown column type", error, errorSize);
      return KXWLP_BAD_ARGUMENT;
    }
  }
  kxwlpRowSet* set = newRowSet(kxwlpRowSet::kFileTable);
  if (set == nullptr) {
    kxwlp::copyError("out of memory", error, errorSize);
    return KXWLP_NO_MEMORY;
  }
  bool made = false;
  try {
    made = createTable(set, path, table, description);
  } catch (const std::bad_alloc&) {
    np_mem_note_failure();
    set->error = "out of memory";
  }
  return finish(set, made, handle, error, errorSize);
}

int kxwlpRowSet_commit(kxwlpRowSet* handle) {
  if (handle == nullptr) return KXWLP_BAD_ARGUMENT;
  return handle->commitIfNeeded();
}
