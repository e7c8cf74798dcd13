// The resident cursors: every row an array of shared variants in memory.
#include "cursors/kxbcursor_resident.h"

using kxb_cursor::kOutOfMemory;
using kxb_cursor::poolDelete;
using kxb_cursor::poolNew;

KxbString KxbDatavarResidentCursorImpl::getColumnName(int column) {
  if (column < 0 || column >= columnCount_ ||
      static_cast<uint32_t>(column) >= names_.size()) {
    return KxbString();
  }
  return names_[column];
}

kxbType KxbDatavarResidentCursorImpl::getColumnType(int column) {
  if (column < 0 || column >= columnCount_ ||
      static_cast<uint32_t>(column) >= types_.size()) {
    return Unknown;
  }
  return static_cast<kxbType>(types_[column]);
}

KxbDatavar KxbDatavarResidentCursorImpl::getValue(int column) {
  if (current_ < 0 || pastEnd_ || current_ >= completeRows() || column < 0) {
    return KxbDatavar();
  }
  const Row& row = rows_[current_];
  if (static_cast<uint32_t>(column) >= row.size()) return KxbDatavar();
  return row[column];
}

bool KxbDatavarResidentCursorImpl::getRowCount(int64_t* count) {
  if (count != nullptr) *count = completeRows();
  return true;
}

// At the last complete row the index stays where it is and the cursor
// stands past the end (no current row): rows ended later are read next.
int KxbDatavarResidentCursorImpl::next() {
  if (current_ + 1 >= completeRows()) {
    pastEnd_ = true;
    return kxbCursorEnd;
  }
  ++current_;
  pastEnd_ = false;
  return kxbCursorRow;
}

void KxbDatavarResidentCursorImpl::release() { poolDelete(this); }

bool KxbDatavarResidentCursorImpl::rewind() {
  current_ = -1;
  pastEnd_ = false;
  return true;
}

bool KxbDatavarResidentCursorImpl::beginRow() {
  if (!rows_.grow()) {
    error_ = KxbString(kOutOfMemory, true);
    return false;
  }
  appending_ = static_cast<int>(rows_.size()) - 1;
  cellLost_ = false;
  return true;
}

void KxbDatavarResidentCursorImpl::setValue(int column,
                                            const KxbDatavar& value) {
  if (appending_ < 0 || column < 0) return;
  Row& row = rows_[appending_];
  const uint32_t needed = static_cast<uint32_t>(column) + 1;
  if (needed > row.size()) {
    // The first cell of a row makes room for every column at once.
    const uint32_t room = needed > static_cast<uint32_t>(columnCount_)
                              ? needed
                              : static_cast<uint32_t>(columnCount_);
    if (!row.reserve(room) || !row.growTo(needed)) {
      cellLost_ = true;
      return;
    }
  }
  row[column] = value;
}

bool KxbDatavarResidentCursorImpl::endRow() {
  if (appending_ < 0) return true;
  appending_ = -1;
  if (cellLost_) {
    cellLost_ = false;
    rows_.popBack();
    error_ = KxbString(kOutOfMemory, true);
    return false;
  }
  return true;
}

void KxbDatavarResidentCursorImpl::reset() {
  columnCount_ = 0;
  rows_.reset();
  names_.reset();
  types_.reset();
  current_ = -1;
  appending_ = -1;
  pastEnd_ = false;
  cellLost_ = false;
}

bool KxbDatavarResidentCursorImpl::copyFrom(KxbDatavarCursor* source) {
  if (source == this) return true;
  reset();
  KxbString error;
  const bool copied = copyCursor(source, this, &error);
  if (!copied) error_ = error;
  return copied;
}

kxbType KxbDatavarResidentCursorImpl::addColumn(const KxbString& name,
                                                kxbType type) {
  const uint32_t index = static_cast<uint32_t>(columnCount_);
  if (!names_.growTo(index + 1) || !types_.growTo(index + 1)) {
    error_ = KxbString(kOutOfMemory, true);
    return Unknown;
  }
  names_[index] = name;
  types_[index] = type;
  ++columnCount_;
  return type;
}

void KxbStringResidentCursorImpl::release() { poolDelete(this); }

KxbDatavarCursorCreater* createDatavarResidentCursor() {
  return poolNew<KxbDatavarResidentCursorImpl>();
}

KxbStringCursorCreater* createStringResidentCursor() {
  return poolNew<KxbStringResidentCursorImpl>();
}
