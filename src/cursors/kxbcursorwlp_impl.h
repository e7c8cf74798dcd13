// The row-set cursor's implementation, shared by its string twin.
#ifndef KXB_SRC_CURSORS_KXBCURSORWLP_IMPL_H_
#define KXB_SRC_CURSORS_KXBCURSORWLP_IMPL_H_

#include "cursors/kxbcursor_internal.h"
#include "kxbcursorwlp.h"
#include "kxwlp.h"

class KxbDatavarWlpCursorImpl : public KxbDatavarWlpCursor {
 public:
  // Starts an instance of the row-set library; started() tells whether
  // that worked (a failure raises an assertion).
  KxbDatavarWlpCursorImpl();
  ~KxbDatavarWlpCursorImpl() override;
  bool started() const { return instance_ != nullptr; }

  bool isValid() override { return true; }
  KxbString getColumnName(int column) override;
  kxbType getColumnType(int column) override;
  int getColumnCount() override { return static_cast<int>(names_.size()); }
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
  bool endColumns() override;
  kxwlpRowSet* getRowSet() override { return rowSet_; }
  kxwlpRowSet* setRowSet(kxwlpRowSet* rowSet) override;

  void markCellLost() { cellLost_ = true; }
  // Drops the columns, the row set and the row buffer.
  void reset() { setRowSet(nullptr); }
  void setError(const KxbString& error) { error_ = error; }

 private:
  // Makes a row buffer and its cells for the columns; false when memory
  // ran out.
  bool makeBuffer(kxwlpBinding** buffer,
                  kxb_cursor::PoolArray<KxbDatavar>* cells);
  void freeBuffer();
  void setRowsetError(int code);

  KxbString error_;
  kxwlpInstance* instance_ = nullptr;
  kxb_cursor::PoolArray<KxbString> names_;
  kxb_cursor::PoolArray<kxbType> types_;
  bool rewindPending_ = false;
  kxwlpRowSet* rowSet_ = nullptr;
  kxb_cursor::PoolArray<KxbDatavar> cells_;
  kxwlpBinding* buffer_ = nullptr;
  // Rows are read into a buffer of their own, so that reading never
  // disturbs a row being appended; its cells are reused row after row.
  kxb_cursor::PoolArray<KxbDatavar> readCells_;
  kxwlpBinding* readBuffer_ = nullptr;
  bool appending_ = false;  // between beginRow and endRow
  bool cellLost_ = false;
};

#endif  // KXB_SRC_CURSORS_KXBCURSORWLP_IMPL_H_
