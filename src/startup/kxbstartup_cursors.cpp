// Changing the effective option set through string cursors, and parsing an
// options string into it with a cursor of what was applied.
#include <cstdio>

#include "kxbconfigoptions.h"
#include "kxbcursor.h"
#include "kxbcursorwlp.h"
#include "kxbparse.h"
#include "kxbstartup.h"
#include "startup/kxbglobals.h"
#include "startup/kxbstartup_internal.h"
#include "startup/kxbstartup_origin.h"

namespace {


// The effective set, or null (with the failure reported) when the library
// is not initialised.
KxbConfigOptions* effectiveSet(const char** errorMessage) {
  if (kxbGlobals().globalMutex == nullptr) {
    kxbStartupFail(errorMessage, 1,
         "The library is not initialised: there are no options to change.");
    return nullptr;
  }
  KxbConfigOptions* options = kxbGetConfigOptions(KxbString("", true));
  if (options == nullptr) {
    kxbStartupFail(errorMessage, 1, "Out of memory while reaching the options.");
  }
  return options;
}

void setOption(KxbConfigOptions* options, const KxbString& key,
               const KxbString& value) {
  options->setOption(key, value);
  kxbOriginRecord(key, value, KXB_ORIGIN_SET, KxbString("", true), 0);
}

// Walks every row of `cursor` from its first, calling fn(cursor) per row.
// 0, or 1 with the cursor's error reported.
template <typename Fn>
int forEachRow(KxbStringCursor* cursor, int columns, const char** errorMessage,
               Fn fn) {
  if (cursor == nullptr) return kxbStartupFail(errorMessage, 1, "No cursor was given.");
  if (cursor->getColumnCount() < columns) {
    return kxbStartupFail(errorMessage, 1,
                columns == 2 ? "The cursor needs a key and a value column."
                             : "The cursor needs a key column.");
  }
  cursor->rewind();
  int step;
  while ((step = cursor->next()) == kxbCursorRow) fn(cursor);
  if (step == kxbCursorError) {
    KxbString reason = cursor->getErrorMessage();
    return kxbStartupFail(errorMessage, 1,
                reason.isNull() ? "The cursor failed." : reason.asCstr());
  }
  return 0;
}

}  // namespace

extern "C" int kxbStartupSetOptions(KxbStringCursor* options,
                                    const char** errorMessage) {
  if (errorMessage != nullptr) *errorMessage = nullptr;
  KxbGlobalMutexHold hold;
  KxbConfigOptions* set = effectiveSet(errorMessage);
  if (set == nullptr) return 1;
  return forEachRow(options, 2, errorMessage, [&](KxbStringCursor* row) {
    setOption(set, row->getValue(0), row->getValue(1));
  });
}

extern "C" int kxbStartupDeleteOptions(KxbStringCursor* keys,
                                       const char** errorMessage) {
  if (errorMessage != nullptr) *errorMessage = nullptr;
  KxbGlobalMutexHold hold;
  KxbConfigOptions* set = effectiveSet(errorMessage);
  if (set == nullptr) return 1;
  return forEachRow(keys, 1, errorMessage, [&](KxbStringCursor* row) {
    set->removeOption(row->getValue(0));
  });
}

extern "C" int kxbStartupSetParsedOptions(const char* text,
                                          KxbStringCursor** options,
                                          const char** errorMessage) {
  if (errorMessage != nullptr) *errorMessage = nullptr;
  if (options != nullptr) *options = nullptr;
  KxbGlobalMutexHold hold;
  KxbConfigOptions* set = effectiveSet(errorMessage);
  if (set == nullptr) return 1;
  KxbParse attributes;
  if (!attributes.parse(KxbString(text))) {
    return kxbStartupFail(errorMessage, 1, "Failed to parse options string.");
  }
  KxbStringCursorCreater* cursor = createStringWlpCursor();
  if (cursor == nullptr) {
    return kxbStartupFail(errorMessage, 1, "Failed to create options cursors.");
  }
  auto failWith = [&](int result, const char* reason) {
    cursor->release();
    return kxbStartupFail(errorMessage, result, reason);
  };
  if (cursor->addColumn(KxbString("name", true)) <= 0 ||
      cursor->addColumn(KxbString("value", true)) <= 0 || !cursor->endColumns()) {
    return failWith(1, "Failed to create columns.");
  }
  for (int i = 0; i < attributes.getAttributeCount(); ++i) {
    KxbString name;
    KxbString value;
    if (!attributes.getAttribute(i, &name, &value)) {
      return failWith(2, "Failed to retrieve parsed option.");
    }
    if (name.isNull() || name.length() == 0) {
      if (value.isNull()) continue;  // an attribute left empty by trimming
      name = value;                  // a bare word: a key with no value
      value.setNull();
    }
    setOption(set, name, value);
    if (!cursor->beginRow()) return failWith(1, "Failed to initialize row.");
    cursor->setValue(0, name);
    cursor->setValue(1, value);
    if (!cursor->endRow()) return failWith(1, "Failed to finalize row.");
  }
  if (!cursor->flush()) return failWith(1, "Failed to finalize rows.");
  cursor->rewind();
  if (options != nullptr) {
    *options = cursor;
  } else {
    cursor->release();
  }
  return 0;
}
