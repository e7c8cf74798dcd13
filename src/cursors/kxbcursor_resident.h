// The resident cursors: rows held in memory, and the string cursor that
// reads and writes a data-variant cursor's cells as text.
#ifndef KXB_SRC_CURSORS_KXBCURSOR_RESIDENT_H_
#define KXB_SRC_CURSORS_KXBCURSOR_RESIDENT_H_

#include "cursors/kxbcursor_internal.h"
#include "kxbcursor.h"

class KxbDatavarResidentCursorImpl : public KxbDatavarCursorCreater {
 public:
  KxbDatavarResidentCursorImpl() = default;
  ~KxbDatavarResidentCursorImpl() override = default;

  bool isValid() override { return true; }
  KxbString getColumnName(int column) override;
  kxbType getColumnType(int column) override;
  int getColumnCount() override { return columnCount_; }
  KxbDatavar getValue(int column) override;
  KxbString getErrorMessage() override { return error_; }
  bool getRowCount(int64_t* count) override;
  int next() override;
  void release() override;
  bool rewind() override;
  bool beginRow() override;
  void setValue(int column, const KxbDatavar& value) override;
  bool endRow() override;
  bool flush() override { return true; }
  bool copyFrom(KxbDatavarCursor* source) override;
  kxbType addColumn(const KxbString& name, kxbType type) override;
  bool endColumns() override { return true; }

  // A cell of the row being appended could not be stored: endRow drops the
  // row and fails.
  void markCellLost() { cellLost_ = appending_ >= 0; }
  // Removes every column and row; the error message stays.
  void reset();
  void setError(const KxbString& error) { error_ = error; }

 private:
  using Row = kxb_cursor::PoolArray<KxbDatavar>;

  // Rows readers may see: all but the one being appended.
  int completeRows() const {
    return static_cast<int>(rows_.size()) - (appending_ >= 0 ? 1 : 0);
  }

  KxbString error_;
  int columnCount_ = 0;
  kxb_cursor::PoolArray<Row> rows_;
  kxb_cursor::PoolArray<KxbString> names_;
  kxb_cursor::PoolArray<int> types_;
  int current_ = -1;
  int appending_ = -1;
  bool pastEnd_ = false;  // next() ran out: no current row
  bool cellLost_ = false;
};

// A string cursor over an embedded data-variant creater `Inner`: cells are
// read with asString() and stored as String values; every column is a
// String column.
template <class Inner>
class KxbStringOverDatavar : public KxbStringCursorCreater {
 public:
  bool isValid() override { return inner_.isValid(); }
  KxbString getColumnName(int column) override {
    return inner_.getColumnName(column);
  }
  int getColumnCount() override { return inner_.getColumnCount(); }
  KxbString getValue(int column) override {
    return inner_.getValue(column).asString();
  }
  KxbString getErrorMessage() override { return inner_.getErrorMessage(); }
  bool getRowCount(int64_t* count) override {
    return inner_.getRowCount(count);
  }
  int next() override { return inner_.next(); }
  bool rewind() override { return inner_.rewind(); }
  bool beginRow() override { return inner_.beginRow(); }
  void setValue(int column, const KxbString& value) override {
    KxbDatavar cell;
    if (!value.isNull()) {
      cell.assign(value);
      if (cell.isNull()) {
        inner_.markCellLost();
        return;
      }
    }
    inner_.setValue(column, cell);
  }
  bool endRow() override { return inner_.endRow(); }
  bool flush() override { return inner_.flush(); }
  // Empties the cursor and copies `source` into it; copying a cursor onto
  // itself changes nothing.
  bool copyFrom(KxbStringCursor* source) override {
    if (source == this) return true;
    inner_.reset();
    KxbString error;
    const bool copied = copyCursor(source, this, &error);
    if (!copied) inner_.setError(error);
    return copied;
  }
  int addColumn(const KxbString& name) override {
    const int before = inner_.getColumnCount();
    inner_.addColumn(name, String);
    const int after = inner_.getColumnCount();
    return after > before ? after : 0;
  }
  bool endColumns() override { return inner_.endColumns(); }

 protected:
  Inner inner_;
};

class KxbStringResidentCursorImpl
    : public KxbStringOverDatavar<KxbDatavarResidentCursorImpl> {
 public:
  ~KxbStringResidentCursorImpl() override = default;
  void release() override;
};

#endif  // KXB_SRC_CURSORS_KXBCURSOR_RESIDENT_H_
