// KxbStringKXWFCursor: a string cursor that reads either a resident cursor
// of its own, offered to workflow components through this library's
// function table, or a workflow component's cursor through that
// component's table.
#include "cursors/kxbcursor_internal.h"
#include "kxbcursor.h"

using kxb_cursor::poolDelete;
using kxb_cursor::poolNew;

namespace {

class KxbStringKXWFCursorImpl;

// The interface object this library offers for its owned cursor. The
// texts handed out live in the scratch strings until the next call.
struct OwnedInterface {
  KxbKXWFInterface base;  // first: the object's first word is the table
  KxbStringKXWFCursorImpl* owner;
  KxbString text;
  KxbString error;
};

class KxbStringKXWFCursorImpl : public KxbStringKXWFCursor {
 public:
  explicit KxbStringKXWFCursorImpl(KxbStringCursorCreater* owned);
  ~KxbStringKXWFCursorImpl() override { attach(nullptr); }

  bool isValid() override { return held_ != nullptr; }
  KxbString getColumnName(int column) override;
  int getColumnCount() override;
  KxbString getValue(int column) override;
  KxbString getErrorMessage() override;
  bool getRowCount(int64_t* count) override;
  int next() override;
  void release() override { poolDelete(this); }
  bool rewind() override;
  KxbKXWFInterface* attach(KxbKXWFInterface* external) override;
  KxbStringCursorCreater* getCreater() override { return owned_; }
  KxbKXWFInterface* getInterface() override {
    return owned_ != nullptr ? &own_.base : nullptr;
  }

  // The owned cursor, for the library's table; null once ended.
  KxbStringCursorCreater* owned() const { return owned_; }
  // Ends the owned cursor (the library's table's release).
  void endOwned() {
    if (owned_ == nullptr) return;
    owned_->release();
    owned_ = nullptr;
    if (held_ == &own_.base) held_ = nullptr;
  }

 private:
  // The workflow cursor this adapter forwards to; null in owned mode.
  KxbKXWFInterface* external() const {
    return owned_ == nullptr ? held_ : nullptr;
  }

  KxbStringCursorCreater* owned_;
  KxbKXWFInterface* held_;  // &own_.base in owned mode, the attached cursor
  OwnedInterface own_;
};

OwnedInterface* ownedOf(KxbKXWFInterface* self) {
  return reinterpret_cast<OwnedInterface*>(self);
}
KxbStringCursorCreater* cursorOf(KxbKXWFInterface* self) {
  return ownedOf(self)->owner->owned();
}

// Hands out `value` through the object's scratch text; 1 when null.
int handOut(KxbKXWFInterface* self, const KxbString& value, bool nullIsCell,
            const char** text) {
  OwnedInterface* object = ownedOf(self);
  object->text = value;
  if (value.isNull()) {
    *text = nullptr;
    return nullIsCell ? 0 : 1;
  }
  *text = object->text.asCstr();
  return 0;
}

extern "C" {

void ownedRelease(KxbKXWFInterface* self) { ownedOf(self)->owner->endOwned(); }

int ownedGetColumnCount(KxbKXWFInterface* self) {
  KxbStringCursorCreater* cursor = cursorOf(self);
  return cursor != nullptr ? cursor->getColumnCount() : 0;
}

int ownedGetColumnName(KxbKXWFInterface* self, int column, const char** text) {
  KxbStringCursorCreater* cursor = cursorOf(self);
  if (cursor == nullptr) return 1;
  return handOut(self, cursor->getColumnName(column), false, text);
}

int ownedGetValue(KxbKXWFInterface* self, int column, const char** text) {
  KxbStringCursorCreater* cursor = cursorOf(self);
  if (cursor == nullptr) return 1;
  return handOut(self, cursor->getValue(column), true, text);
}

int ownedGetRowCount(KxbKXWFInterface* self, int64_t* count) {
  KxbStringCursorCreater* cursor = cursorOf(self);
  return cursor != nullptr && cursor->getRowCount(count) ? 0 : 1;
}

int ownedNext(KxbKXWFInterface* self) {
  KxbStringCursorCreater* cursor = cursorOf(self);
  if (cursor == nullptr) return 0;
  const int step = cursor->next();
  return step == kxbCursorRow ? 1 : step == kxbCursorEnd ? 0 : -1;
}

int ownedRewind(KxbKXWFInterface* self) {
  KxbStringCursorCreater* cursor = cursorOf(self);
  return cursor != nullptr && cursor->rewind() ? 0 : 1;
}

const char* ownedGetErrorMessage(KxbKXWFInterface* self) {
  KxbStringCursorCreater* cursor = cursorOf(self);
  OwnedInterface* object = ownedOf(self);
  object->error = cursor != nullptr ? cursor->getErrorMessage() : KxbString();
  return object->error.isNull() ? nullptr : object->error.asCstr();
}

}  // extern "C"

const KxbKXWFFunctions kOwnedFunctions = {
    ownedRelease,     ownedGetColumnCount, ownedGetColumnName,
    ownedGetValue,    ownedGetRowCount,    ownedNext,
    ownedRewind,      ownedGetErrorMessage,
};

KxbStringKXWFCursorImpl::KxbStringKXWFCursorImpl(KxbStringCursorCreater* owned)
    : owned_(owned), held_(&own_.base), own_{{&kOwnedFunctions}, this, {}, {}} {}

KxbString KxbStringKXWFCursorImpl::getColumnName(int column) {
  if (owned_ != nullptr) return owned_->getColumnName(column);
  KxbKXWFInterface* cursor = external();
  const char* text = nullptr;
  if (cursor == nullptr ||
      cursor->functions->getColumnName(cursor, column, &text) != 0 ||
      text == nullptr) {
    return KxbString();
  }
  return KxbString(text);
}

int KxbStringKXWFCursorImpl::getColumnCount() {
  if (owned_ != nullptr) return owned_->getColumnCount();
  KxbKXWFInterface* cursor = external();
  return cursor != nullptr ? cursor->functions->getColumnCount(cursor) : 0;
}

KxbString KxbStringKXWFCursorImpl::getValue(int column) {
  if (owned_ != nullptr) return owned_->getValue(column);
  KxbKXWFInterface* cursor = external();
  const char* text = nullptr;
  if (cursor == nullptr ||
      cursor->functions->getValue(cursor, column, &text) != 0 ||
      text == nullptr) {
    return KxbString();
  }
  return KxbString(text);
}

KxbString KxbStringKXWFCursorImpl::getErrorMessage() {
  if (owned_ != nullptr) return owned_->getErrorMessage();
  KxbKXWFInterface* cursor = external();
  if (cursor == nullptr) return KxbString();
  return KxbString(cursor->functions->getErrorMessage(cursor));
}

bool KxbStringKXWFCursorImpl::getRowCount(int64_t* count) {
  if (owned_ != nullptr) return owned_->getRowCount(count);
  KxbKXWFInterface* cursor = external();
  if (cursor == nullptr) {
    if (count != nullptr) *count = 0;
    return true;
  }
  return cursor->functions->getRowCount(cursor, count) == 0;
}

int KxbStringKXWFCursorImpl::next() {
  if (owned_ != nullptr) return owned_->next();
  KxbKXWFInterface* cursor = external();
  if (cursor == nullptr) return kxbCursorEnd;
  const int step = cursor->functions->next(cursor);
  return step > 0 ? kxbCursorRow : step == 0 ? kxbCursorEnd : kxbCursorError;
}

bool KxbStringKXWFCursorImpl::rewind() {
  if (owned_ != nullptr) return owned_->rewind();
  KxbKXWFInterface* cursor = external();
  return cursor == nullptr || cursor->functions->rewind(cursor) == 0;
}

KxbKXWFInterface* KxbStringKXWFCursorImpl::attach(KxbKXWFInterface* external) {
  if (held_ != nullptr) held_->functions->release(held_);
  owned_ = nullptr;
  held_ = external;
  return external;
}

}  // namespace

KxbStringKXWFCursor* createStringKXWFCursor() {
  KxbStringCursorCreater* owned = createStringResidentCursor();
  if (owned == nullptr) return nullptr;
  KxbStringKXWFCursorImpl* cursor = poolNew<KxbStringKXWFCursorImpl>(owned);
  if (cursor == nullptr) owned->release();
  return cursor;
}
