// copyCursor: one cursor's columns and rows into a creater, for both
// families.
#include "kxbcursor.h"

namespace {

constexpr char kMissingCursor[] = "Missing cursor";

void setError(KxbString* error, const KxbString& text) {
  if (error != nullptr) *error = text;
}

// The column definitions of each family.
void addColumn(KxbDatavarCursor* source, KxbDatavarCursorCreater* target,
               int column) {
  target->addColumn(source->getColumnName(column),
                    source->getColumnType(column));
}
void addColumn(KxbStringCursor* source, KxbStringCursorCreater* target,
               int column) {
  target->addColumn(source->getColumnName(column));
}

template <class Source, class Target>
bool copyAll(Source* source, Target* target, KxbString* error) {
  if (source == nullptr || target == nullptr) {
    setError(error, KxbString(kMissingCursor, true));
    return false;
  }
  source->rewind();
  const int columns = source->getColumnCount();
  for (int column = 0; column < columns; ++column) {
    const int before = target->getColumnCount();
    addColumn(source, target, column);
    if (target->getColumnCount() == before) {
      setError(error, target->getErrorMessage());
      return false;
    }
  }
  if (!target->endColumns()) {
    setError(error, target->getErrorMessage());
    return false;
  }
  for (;;) {
    const int step = source->next();
    if (step == kxbCursorEnd) break;
    if (step != kxbCursorRow) {
      setError(error, source->getErrorMessage());
      return false;
    }
    if (!target->beginRow()) {
      setError(error, target->getErrorMessage());
      return false;
    }
    for (int column = 0; column < columns; ++column) {
      target->setValue(column, source->getValue(column));
    }
    if (!target->endRow()) {
      setError(error, target->getErrorMessage());
      return false;
    }
  }
  if (!target->flush()) {
    setError(error, target->getErrorMessage());
    return false;
  }
  return true;
}

}  // namespace

bool copyCursor(KxbDatavarCursor* source, KxbDatavarCursorCreater* target,
                KxbString* error) {
  return copyAll(source, target, error);
}

bool copyCursor(KxbStringCursor* source, KxbStringCursorCreater* target,
                KxbString* error) {
  return copyAll(source, target, error);
}
