// The shared record of KxbDatavar and the helpers its units share.
#ifndef KXB_SRC_VALUES_KXBDATAVAR_INTERNAL_H_
#define KXB_SRC_VALUES_KXBDATAVAR_INTERNAL_H_

#include <cstdint>
#include <cstring>

#include "kx_atomic.h"
#include "kxbdatavar.h"

// One block of the memory pool, shared by the copies of a variant.
struct KxbDatavarRecord {
  int32_t charCount;  // characters of a String; meaningless otherwise
  void* data;         // the value's storage (see below), or null
  kxAtom refCount;
  int32_t type;       // a kxbType
  uint32_t dataSize;  // bytes of `data`: 1, 8, a String's bytes; 0 otherwise
};

// The storage of a Real: the number and its raw form. The raw form is
// refreshed by every change of the number, so that getRaw reads a shared
// record without writing to it.
struct KxbDatavarReal {
  KxbReal value;
  uint64_t raw[3];

  void refreshRaw() {
    KxbReal copy(value);  // asFD normalises its object: keep `value` as is
    copy.asFD(raw);
  }
};

// Private access to a variant's record for the units of the class.
struct KxbDatavarAccess {
  static KxbDatavarRecord* record(const KxbDatavar& v) { return v.record_; }

  // Makes the record private to `v` (see obtainPrivate) and prepares it for
  // `type` with `requested` data bytes (see prepare). False when either
  // failed: the variant is then unchanged (no private record) or null.
  static KxbDatavarRecord* prepareFor(KxbDatavar& v, kxbType type,
                                      uint32_t requested);
  // A record of `v`'s own: the current one when nobody shares it, else a
  // fresh empty one (the shared one released). With `copyValue`, a fresh
  // record gets a copy of the String bytes, type, size and count. Null,
  // leaving `v` unchanged, when memory ran out.
  static KxbDatavarRecord* obtainPrivate(KxbDatavar& v, bool copyValue);
  // Stores `bytes` bytes of `text` followed by a terminator as a String
  // with `chars` characters (counted when negative). `text` may lie in the
  // variant's own data. False when memory ran out.
  static bool assignText(KxbDatavar& v, const char* text, uint32_t bytes,
                         int chars);
};

// The process-wide date-text settings.
bool kxbDatavarIsoDates();
bool kxbDatavarIsoMillis();

// Typed views of a record's data; the record must hold that type.
inline bool kxbDatavarBool(const KxbDatavarRecord* r) {
  return *static_cast<const unsigned char*>(r->data) != 0;
}
inline int64_t kxbDatavarInt(const KxbDatavarRecord* r) {
  int64_t v;
  std::memcpy(&v, r->data, sizeof v);
  return v;
}
inline double kxbDatavarDay(const KxbDatavarRecord* r) {
  double v;
  std::memcpy(&v, r->data, sizeof v);
  return v;
}
inline KxbDatavarReal* kxbDatavarReal(const KxbDatavarRecord* r) {
  return static_cast<KxbDatavarReal*>(r->data);
}
inline const char* kxbDatavarText(const KxbDatavarRecord* r) {
  return static_cast<const char*>(r->data);
}
inline KxbBlob* kxbDatavarBlob(const KxbDatavarRecord* r) {
  return static_cast<KxbBlob*>(r->data);
}

// Sets *failed when the caller asked.
inline void kxbDatavarReport(bool* failed, bool value) {
  if (failed != nullptr) *failed = value;
}

#endif  // KXB_SRC_VALUES_KXBDATAVAR_INTERNAL_H_
