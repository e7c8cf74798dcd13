// KxbDatavarWlpCursorImpl: a data-variant creater whose rows live in a row
// set of the row-set library, read and written through a row buffer of
// binding records.
#include "cursors/kxbcursorwlp_impl.h"

#include <cstddef>
#include <cstdio>
#include <cstring>

#include "cursors/kxbcursor_resident.h"
#include "kxbstartup.h"

using kxb_cursor::kOutOfMemory;
using kxb_cursor::poolDelete;
using kxb_cursor::poolNew;

// The binding record is exchanged with the row-set library byte for byte.
static_assert(sizeof(kxwlpBinding) == 80);
static_assert(offsetof(kxwlpBinding, type) == 0);
static_assert(offsetof(kxwlpBinding, present) == 4);
static_assert(offsetof(kxwlpBinding, reserved) == 6);
static_assert(offsetof(kxwlpBinding, value) == 8);
static_assert(sizeof(((kxwlpBinding*)nullptr)->value) == 64);
static_assert(offsetof(kxwlpBinding, length) == 72);

namespace {

constexpr char kZeroColumns[] = "Cannot create zero columns";
constexpr char kAddRowFailed[] = "Failed to add input row";
constexpr char kRowsetMissing[] = "Rowset missing";
constexpr char kNotSupported[] = "Data type not supported";

KxbString text(const char* message) { return KxbString(message, true); }

}  // namespace

int kxbTypeToRowSetCode(kxbType type) {
  switch (type) {
    case Boolean: return KXWLP_TYPE_BOOLEAN;
    case Date: return KXWLP_TYPE_DATE;
    case Integer: return KXWLP_TYPE_INT64;
    case Real: return KXWLP_TYPE_DECIMAL;
    case String: return KXWLP_TYPE_STRING;
    default: return KXWLP_TYPE_UNSUPPORTED;
  }
}

kxbType kxbTypeFromRowSetCode(int code) {
  switch (code) {
    case KXWLP_TYPE_BOOLEAN: return Boolean;
    case KXWLP_TYPE_DATE: return Date;
    case KXWLP_TYPE_DOUBLE: return Real;
    case KXWLP_TYPE_INT16:
    case KXWLP_TYPE_INT32:
    case KXWLP_TYPE_INT64: return Integer;
    case KXWLP_TYPE_DECIMAL: return Real;
    case KXWLP_TYPE_STRING: return String;
    default: return Unknown;
  }
}

KxbDatavarWlpCursorImpl::KxbDatavarWlpCursorImpl() {
  if (kxwlp_initialize(&instance_) != KXWLP_OK) {
    instance_ = nullptr;
    kxbAssertFailure("row-set library failed to start", "kxbcursorwlp_impl",
                     __LINE__);
  }
}

KxbDatavarWlpCursorImpl::~KxbDatavarWlpCursorImpl() {
  freeBuffer();
  if (rowSet_ != nullptr) kxwlpRowSet_destroy(rowSet_);
  if (instance_ != nullptr) kxwlp_terminate(instance_);
}

void KxbDatavarWlpCursorImpl::release() { poolDelete(this); }

KxbString KxbDatavarWlpCursorImpl::getColumnName(int column) {
  if (column < 0 || static_cast<uint32_t>(column) >= names_.size()) {
    return KxbString();
  }
  return names_[column];
}

kxbType KxbDatavarWlpCursorImpl::getColumnType(int column) {
  if (column < 0 || static_cast<uint32_t>(column) >= types_.size()) {
    return Unknown;
  }
  return types_[column];
}

kxbType KxbDatavarWlpCursorImpl::addColumn(const KxbString& name,
                                           kxbType type) {
  if (!names_.push(name)) {
    error_ = text(kOutOfMemory);
    return Unknown;
  }
  if (!types_.push(type)) {
    names_.popBack();
    error_ = text(kOutOfMemory);
    return Unknown;
  }
  return type;
}

void KxbDatavarWlpCursorImpl::setRowsetError(int code) {
  char message[48];
  std::snprintf(message, sizeof message, "Rowset error code: %d", code);
  error_ = KxbString(message);
}

bool KxbDatavarWlpCursorImpl::endColumns() {
  freeBuffer();
  if (rowSet_ != nullptr) {
    kxwlpRowSet_destroy(rowSet_);
    rowSet_ = nullptr;
  }
  const uint32_t columns = names_.size();
  if (columns == 0) {
    error_ = text(kZeroColumns);
    return false;
  }
  kxb_cursor::PoolArray<kxwlpColumn> description;
  if (!description.reserve(columns + 1)) {
    error_ = text(kOutOfMemory);
    return false;
  }
  for (uint32_t i = 0; i < columns; ++i) {
    const int code = kxbTypeToRowSetCode(types_[i]);
    if (code == KXWLP_TYPE_UNSUPPORTED) error_ = text(kNotSupported);
    description.push(kxwlpColumn{names_[i].asCstr(), code});
  }
  description.push(kxwlpColumn{nullptr, 0});
  const int rc = kxwlpRowSet_create(&rowSet_, 1, &description[0]);
  if (rc != KXWLP_OK) {
    rowSet_ = nullptr;
    setRowsetError(rc);
    return false;
  }
  rewindPending_ = true;
  return true;
}

bool KxbDatavarWlpCursorImpl::makeBuffer(
    kxwlpBinding** buffer, kxb_cursor::PoolArray<KxbDatavar>* cells) {
  if (*buffer != nullptr) return true;
  const uint32_t columns = names_.size();
  void* block = nullptr;
  if (columns == 0 ||
      !KxbMemPool::getBytes(columns * sizeof(kxwlpBinding), &block)) {
    return false;
  }
  if (!cells->growTo(columns)) {
    KxbMemPool::freeBytes(block);
    return false;
  }
  *buffer = static_cast<kxwlpBinding*>(block);
  std::memset(*buffer, 0, columns * sizeof(kxwlpBinding));
  return true;
}

void KxbDatavarWlpCursorImpl::freeBuffer() {
  appending_ = false;
  KxbMemPool::freeBytes(buffer_);
  buffer_ = nullptr;
  cells_.reset();
  KxbMemPool::freeBytes(readBuffer_);
  readBuffer_ = nullptr;
  readCells_.reset();
}

bool KxbDatavarWlpCursorImpl::beginRow() {
  if (names_.size() == 0) {  // nothing to store: endRow will say so
    appending_ = true;
    return true;
  }
  if (!makeBuffer(&buffer_, &cells_)) {
    error_ = text(kOutOfMemory);
    return false;
  }
  const uint32_t columns = names_.size();
  std::memset(buffer_, 0, columns * sizeof(kxwlpBinding));
  for (uint32_t i = 0; i < columns; ++i) {
    buffer_[i].type = kxbTypeToRowSetCode(types_[i]);
    cells_[i].setNull();
  }
  cellLost_ = false;
  appending_ = true;
  return true;
}

void KxbDatavarWlpCursorImpl::setValue(int column, const KxbDatavar& value) {
  if (!appending_ || column < 0 ||
      static_cast<uint32_t>(column) >= names_.size()) {
    return;
  }
  kxwlpBinding& record = buffer_[column];
  KxbDatavar& cell = cells_[column];
  if (value.isNull()) {
    cell.setNull();
    record.present = 0;
    return;
  }
  // The record points into the cell's own copy, which lives until the row
  // is added.
  cell = value;
  record.type = kxbTypeToRowSetCode(value.type());
  record.present = 1;
  unsigned size = 0;
  const void* raw = cell.getRaw(&size);
  switch (value.type()) {
    case Boolean:
      record.value.boolean = *static_cast<const unsigned char*>(raw) != 0;
      record.length = 1;
      break;
    case Integer:
    case Date:
      std::memcpy(&record.value.int64, raw, 8);
      record.length = 8;
      break;
    case Real:
      std::memcpy(record.value.decimal, raw, 24);
      record.length = 24;
      break;
    case String:
      record.value.text = static_cast<const char*>(raw);
      record.length = static_cast<int32_t>(size) - 1;
      break;
    default:
      record.present = 0;
      cell.setNull();
      error_ = text(kNotSupported);
      break;
  }
}

bool KxbDatavarWlpCursorImpl::endRow() {
  if (!appending_) return true;
  appending_ = false;
  if (cellLost_) {
    cellLost_ = false;
    error_ = text(kOutOfMemory);
    return false;
  }
  if (buffer_ == nullptr || rowSet_ == nullptr ||
      kxwlpRowSet_addRow(rowSet_, buffer_) != KXWLP_OK) {
    error_ = text(kAddRowFailed);
    return false;
  }
  return true;
}

bool KxbDatavarWlpCursorImpl::getRowCount(int64_t* count) {
  int64_t rows = 0;
  if (rowSet_ != nullptr) kxwlpRowSet_getRows(rowSet_, &rows);
  if (count != nullptr) *count = rows;
  return true;
}

bool KxbDatavarWlpCursorImpl::rewind() {
  rewindPending_ = true;
  return true;
}

int KxbDatavarWlpCursorImpl::next() {
  if (rowSet_ == nullptr) {
    error_ = text(kRowsetMissing);
    return kxbCursorError;
  }
  if (!makeBuffer(&readBuffer_, &readCells_)) {
    error_ = text(kOutOfMemory);
    return kxbCursorError;
  }
  int rc;
  if (rewindPending_) {
    rewindPending_ = false;
    rc = kxwlpRowSet_seekRow(rowSet_, 0, readBuffer_);
  } else {
    rc = kxwlpRowSet_nextRow(rowSet_, readBuffer_);
  }
  if (rc == KXWLP_OK) return kxbCursorRow;
  // No current row: the buffer holds nothing to read.
  for (uint32_t i = 0; i < names_.size(); ++i) readBuffer_[i].present = 0;
  if (rc == KXWLP_NO_MORE_ROWS) return kxbCursorEnd;
  setRowsetError(rc);
  return kxbCursorError;
}

// Reads record `column` by its type code into the column's cell, which is
// reused row after row while no consumer keeps a copy of it.
KxbDatavar KxbDatavarWlpCursorImpl::getValue(int column) {
  if (readBuffer_ == nullptr || column < 0 ||
      static_cast<uint32_t>(column) >= names_.size() ||
      !readBuffer_[column].present) {
    return KxbDatavar();
  }
  const kxwlpBinding& record = readBuffer_[column];
  KxbDatavar& cell = readCells_[column];
  const kxbType columnType = types_[column];
  switch (record.type) {
    case KXWLP_TYPE_BOOLEAN:
      cell.assign(record.value.boolean != 0);
      break;
    case KXWLP_TYPE_DATE:
      cell.assign(KxbDate(record.value.real));
      break;
    case KXWLP_TYPE_DOUBLE:
      cell.assign(record.value.real);
      break;
    case KXWLP_TYPE_INT16:
      cell.assign(static_cast<int64_t>(record.value.int16));
      break;
    case KXWLP_TYPE_INT32:
      cell.assign(static_cast<int64_t>(record.value.int32));
      break;
    case KXWLP_TYPE_INT64:
      if (columnType == Real) {
        cell.assign(KxbReal(record.value.int64));  // exact
      } else {
        cell.assign(record.value.int64);
      }
      break;
    case KXWLP_TYPE_DECIMAL:
      cell.assign(Real, record.value.decimal, 24);
      break;
    case KXWLP_TYPE_STRING:
      // The row-set library's texts are terminated.
      cell.assign(String, record.value.text,
                  static_cast<unsigned>(record.length) + 1);
      // Text in a Date or exact-decimal column is read as that type.
      if (columnType == Date || columnType == Real) cell.setType(columnType);
      break;
    default:
      cell.setNull();
      break;
  }
  return cell;
}

kxwlpRowSet* KxbDatavarWlpCursorImpl::setRowSet(kxwlpRowSet* rowSet) {
  freeBuffer();
  names_.reset();
  types_.reset();
  if (rowSet != nullptr) kxwlpRowSet_addRef(rowSet);
  if (rowSet_ != nullptr) kxwlpRowSet_destroy(rowSet_);
  rowSet_ = rowSet;
  rewindPending_ = true;
  int columns = 0;
  if (rowSet != nullptr) kxwlpRowSet_getColumnCount(rowSet, &columns);
  for (int i = 0; i < columns; ++i) {
    const char* name = nullptr;
    int32_t code = 0;
    kxwlpRowSet_getColumn(rowSet, i, &name, &code);
    if (!names_.push(KxbString(name)) ||
        !types_.push(kxbTypeFromRowSetCode(code))) {
      // Short of memory the cursor shows fewer columns, not wrong ones.
      if (names_.size() > types_.size()) names_.popBack();
      error_ = text(kOutOfMemory);
      break;
    }
  }
  return rowSet;
}

bool KxbDatavarWlpCursorImpl::copyFrom(KxbDatavarCursor* source) {
  if (source == this) return true;
  reset();
  KxbString error;
  const bool copied = copyCursor(source, this, &error);
  if (!copied) error_ = error;
  return copied;
}

namespace {

class KxbStringWlpCursorImpl
    : public KxbStringOverDatavar<KxbDatavarWlpCursorImpl> {
 public:
  ~KxbStringWlpCursorImpl() override = default;
  void release() override { poolDelete(this); }
  bool started() const { return inner_.started(); }
};

template <class T>
T* makeStarted() {
  T* cursor = poolNew<T>();
  if (cursor != nullptr && !cursor->started()) {
    poolDelete(cursor);
    return nullptr;
  }
  return cursor;
}

}  // namespace

KxbDatavarWlpCursor* createDatavarWlpCursor() {
  return makeStarted<KxbDatavarWlpCursorImpl>();
}

KxbStringCursorCreater* createStringWlpCursor() {
  return makeStarted<KxbStringWlpCursorImpl>();
}
