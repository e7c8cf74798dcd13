// Cells between binding records and SQLite values, and the column types
// between type codes and declared SQL types.
#include <cctype>
#include <cstring>

#include "kxwlp_internal.h"

namespace kxwlp {

namespace {

bool contains(const std::string& text, const char* word) {
  return text.find(word) != std::string::npos;
}

int32_t typeFromStorage(int storageClass) {
  switch (storageClass) {
    case SQLITE_INTEGER: return KXWLP_TYPE_INT64;
    case SQLITE_FLOAT: return KXWLP_TYPE_DOUBLE;
    case SQLITE_BLOB: return KXWLP_TYPE_UNSUPPORTED;
    default: return KXWLP_TYPE_STRING;
  }
}

void setText(sqlite3_stmt* statement, int i, kxwlpBinding* cell) {
  const unsigned char* text = sqlite3_column_text(statement, i);
  cell->type = KXWLP_TYPE_STRING;
  cell->value.text = reinterpret_cast<const char*>(text);
  cell->length = sqlite3_column_bytes(statement, i);
  cell->present = text != nullptr;
}

// A value that does not fit its column's code: the record says what the
// storage class holds.
void readByStorage(sqlite3_stmt* statement, int i, int storageClass,
                   kxwlpBinding* cell) {
  switch (storageClass) {
    case SQLITE_INTEGER:
      cell->type = KXWLP_TYPE_INT64;
      cell->value.int64 = sqlite3_column_int64(statement, i);
      cell->length = 8;
      cell->present = 1;
      return;
    case SQLITE_FLOAT:
      cell->type = KXWLP_TYPE_DOUBLE;
      cell->value.real = sqlite3_column_double(statement, i);
      cell->length = 8;
      cell->present = 1;
      return;
    case SQLITE_TEXT:
      setText(statement, i, cell);
      return;
    default:  // a blob that is no decimal
      cell->type = KXWLP_TYPE_UNSUPPORTED;
      return;
  }
}

}  // namespace

bool validType(int32_t code) {
  switch (code) {
    case KXWLP_TYPE_BOOLEAN: case KXWLP_TYPE_DATE: case KXWLP_TYPE_DOUBLE:
    case KXWLP_TYPE_INT16: case KXWLP_TYPE_INT32: case KXWLP_TYPE_INT64:
    case KXWLP_TYPE_DECIMAL: case KXWLP_TYPE_STRING:
    case KXWLP_TYPE_UNSUPPORTED:
      return true;
    default:
      return false;
  }
}

const char* declaredType(int32_t code) {
  switch (code) {
    case KXWLP_TYPE_BOOLEAN: return "BOOLEAN";
    case KXWLP_TYPE_DATE: return "DATE";
    case KXWLP_TYPE_DOUBLE: return "DOUBLE";
    case KXWLP_TYPE_INT16: case KXWLP_TYPE_INT32: case KXWLP_TYPE_INT64:
      return "INTEGER";
    case KXWLP_TYPE_DECIMAL: return "DECIMAL";
    case KXWLP_TYPE_STRING: return "TEXT";
    default: return "BLOB";
  }
}

// SQLite's own affinity rules, with the types it has no class for
// (Boolean, dates, exact decimals) recognised first.
int32_t typeFromDeclared(const char* declared, int storageClass) {
  std::string upper;
  for (const char* p = declared; p != nullptr && *p != '\0'; ++p) {
    upper += static_cast<char>(std::toupper(static_cast<unsigned char>(*p)));
  }
  if (upper.empty()) return typeFromStorage(storageClass);
  if (contains(upper, "BOOL")) return KXWLP_TYPE_BOOLEAN;
  if (contains(upper, "DEC") || contains(upper, "NUMERIC")) {
    return KXWLP_TYPE_DECIMAL;
  }
  if (contains(upper, "DATE") || contains(upper, "TIME")) {
    return KXWLP_TYPE_DATE;
  }
  if (contains(upper, "INT")) return KXWLP_TYPE_INT64;
  if (contains(upper, "CHAR") || contains(upper, "CLOB") ||
      contains(upper, "TEXT")) {
    return KXWLP_TYPE_STRING;
  }
  if (contains(upper, "REAL") || contains(upper, "FLOA") ||
      contains(upper, "DOUB")) {
    return KXWLP_TYPE_DOUBLE;
  }
  if (contains(upper, "BLOB")) return KXWLP_TYPE_UNSUPPORTED;
  return typeFromStorage(storageClass);
}

int bindRow(sqlite3_stmt* statement, const kxwlpBinding* row, int columns) {
  for (int i = 0; i < columns; ++i) {
    const kxwlpBinding& cell = row[i];
    const int p = i + 1;
    int rc;
    if (!cell.present) {
      rc = sqlite3_bind_null(statement, p);
    } else {
      switch (cell.type) {
        case KXWLP_TYPE_BOOLEAN:
          rc = sqlite3_bind_int(statement, p, cell.value.boolean != 0);
          break;
        case KXWLP_TYPE_DATE:
        case KXWLP_TYPE_DOUBLE:
          rc = sqlite3_bind_double(statement, p, cell.value.real);
          break;
        case KXWLP_TYPE_INT16:
          rc = sqlite3_bind_int(statement, p, cell.value.int16);
          break;
        case KXWLP_TYPE_INT32:
          rc = sqlite3_bind_int(statement, p, cell.value.int32);
          break;
        case KXWLP_TYPE_INT64:
          rc = sqlite3_bind_int64(statement, p, cell.value.int64);
          break;
        case KXWLP_TYPE_DECIMAL:
          rc = sqlite3_bind_blob(statement, p, cell.value.decimal, 24,
                                 SQLITE_STATIC);
          break;
        case KXWLP_TYPE_STRING:
          rc = sqlite3_bind_text(statement, p,
                                 cell.value.text != nullptr ? cell.value.text
                                                            : "",
                                 cell.length, SQLITE_STATIC);
          break;
        default:
          rc = sqlite3_bind_null(statement, p);
          break;
      }
    }
    if (rc != SQLITE_OK) return rc;
  }
  return SQLITE_OK;
}

void readRow(sqlite3_stmt* statement, const int32_t* types, int columns,
             kxwlpBinding* row) {
  for (int i = 0; i < columns; ++i) {
    kxwlpBinding* cell = &row[i];
    std::memset(cell, 0, sizeof *cell);
    const int32_t code = types[i];
    cell->type = code;
    const int storageClass = sqlite3_column_type(statement, i);
    if (storageClass == SQLITE_NULL || code == KXWLP_TYPE_UNSUPPORTED) continue;
    switch (code) {
      case KXWLP_TYPE_BOOLEAN:
        if (storageClass != SQLITE_INTEGER) break;
        cell->value.boolean = sqlite3_column_int64(statement, i) != 0;
        cell->length = 1;
        cell->present = 1;
        continue;
      case KXWLP_TYPE_DATE:
      case KXWLP_TYPE_DOUBLE:
        if (storageClass != SQLITE_FLOAT && storageClass != SQLITE_INTEGER) {
          break;
        }
        cell->value.real = sqlite3_column_double(statement, i);
        cell->length = 8;
        cell->present = 1;
        continue;
      case KXWLP_TYPE_INT16:
      case KXWLP_TYPE_INT32:
      case KXWLP_TYPE_INT64:
        if (storageClass != SQLITE_INTEGER) break;
        cell->type = KXWLP_TYPE_INT64;
        cell->value.int64 = sqlite3_column_int64(statement, i);
        cell->length = 8;
        cell->present = 1;
        continue;
      case KXWLP_TYPE_DECIMAL:
        if (storageClass != SQLITE_BLOB) break;
        if (sqlite3_column_bytes(statement, i) != 24) {
          cell->type = KXWLP_TYPE_UNSUPPORTED;
          continue;
        }
        std::memcpy(cell->value.decimal, sqlite3_column_blob(statement, i), 24);
        cell->length = 24;
        cell->present = 1;
        continue;
      case KXWLP_TYPE_STRING:
        setText(statement, i, cell);
        continue;
    }
    readByStorage(statement, i, storageClass, cell);
  }
}

void copyError(const std::string& text, char* out, size_t size) {
  if (out == nullptr || size == 0) return;
  const size_t n = text.size() < size - 1 ? text.size() : size - 1;
  std::memcpy(out, text.data(), n);
  out[n] = '\0';
}

std::string quoteIdentifier(const char* name) {
  std::string out = "\"";
  for (const char* p = name; *p != '\0'; ++p) {
    if (*p == '"') out += '"';
    out += *p;
  }
  out += '"';
  return out;
}

}  // namespace kxwlp
