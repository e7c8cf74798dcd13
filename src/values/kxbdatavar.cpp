// KxbDatavar: the type table, the shared record and its copy on write, and
// the typed assignments.
#include "kxbdatavar.h"

#include <atomic>
#include <cstring>
#include <new>

#include "kxbmempool.h"
#include "np_mem.h"
#include "np_uchar.h"
#include "values/kxbdatavar_internal.h"

// ---------------------------------------------------------------------------
// Type names

namespace {

struct TypeRow {
  const char* name;
  kxbType type;
  int dateOrder;  // -1: not a date
};

// Searched in this order; the first row of a type is its name.
constexpr TypeRow kTypeRows[] = {
    {"Unknown", Unknown, -1},   {"Boolean", Boolean, -1},
    {"Integer", Integer, -1},   {"Real", Real, -1},
    {"String", String, -1},     {"Date", Date, 0},
    {"Date (MDY)", Date, 0},    {"Date (DMY)", Date, 1},
    {"Date (YMD)", Date, 2},    {"Binary", Binary, -1},
};

}  // namespace

kxbType kxbTypeFromString(const char* name) {
  return kxbTypeFromString(name, nullptr);
}

kxbType kxbTypeFromString(const char* name, int* dateOrder) {
  if (dateOrder != nullptr) *dateOrder = 0;
  if (name == nullptr) return Unknown;
  for (const TypeRow& row : kTypeRows) {
    if (np_uchar_icomp(name, row.name) == 0) {
      if (dateOrder != nullptr && row.dateOrder >= 1) {
        *dateOrder = row.dateOrder;
      }
      return row.type;
    }
  }
  return Unknown;
}

const char* kxbTypeToString(kxbType type) {
  for (const TypeRow& row : kTypeRows) {
    if (row.type == type) return row.name;
  }
  return "";
}

// ---------------------------------------------------------------------------
// Process-wide date-text settings (written by start-up, read without a lock)

namespace {
std::atomic<bool> g_isoDates{false};
std::atomic<bool> g_isoMillis{false};
}  // namespace

void kxbSetDatavarIsoDates(bool iso) {
  g_isoDates.store(iso, std::memory_order_relaxed);
}

void kxbSetDatavarIsoMillis(bool isoMillis) {
  g_isoMillis.store(isoMillis, std::memory_order_relaxed);
}

bool kxbDatavarIsoDates() { return g_isoDates.load(std::memory_order_relaxed); }

bool kxbDatavarIsoMillis() {
  return g_isoMillis.load(std::memory_order_relaxed);
}

// ---------------------------------------------------------------------------
// Records

namespace {

// Frees the value held by `r` and leaves it without data.
void destroyData(KxbDatavarRecord* r) {
  if (r->data == nullptr) return;
  if (r->type == Real) {
    kxbDatavarReal(r)->~KxbDatavarReal();
    KxbMemPool::freeBytes(r->data);
  } else if (r->type == Binary) {
    kxbDatavarBlob(r)->~KxbBlob();
    np_mem_free(r->data);
  } else {
    KxbMemPool::freeBytes(r->data);
  }
  r->data = nullptr;
  r->dataSize = 0;
}

void releaseRecord(KxbDatavarRecord* r) {
  if (r == nullptr) return;
  if (kxAtomSub(&r->refCount, 1) < 1) {
    destroyData(r);
    KxbMemPool::freeBytes(r);
  }
}

KxbDatavarRecord* newRecord() {
  void* block = nullptr;
  if (!KxbMemPool::getBytes(sizeof(KxbDatavarRecord), &block)) return nullptr;
  auto* r = static_cast<KxbDatavarRecord*>(block);
  r->charCount = 0;
  r->data = nullptr;
  kxAtomInit(&r->refCount, 1);
  r->type = Unknown;
  r->dataSize = 0;
  return r;
}

// Copies the value of `from` into the empty record `to`. False when memory
// ran out (`to` is left empty).
bool copyValue(const KxbDatavarRecord* from, KxbDatavarRecord* to) {
  void* block = nullptr;
  if (from->data != nullptr) {
    if (from->type == Real) {
      if (!KxbMemPool::getBytes(sizeof(KxbDatavarReal), &block)) return false;
      new (block) KxbDatavarReal(*kxbDatavarReal(from));
    } else if (from->type == Binary) {
      block = np_mem_alloc(sizeof(KxbBlob));
      if (block == nullptr) return false;
      new (block) KxbBlob(*kxbDatavarBlob(from));
    } else {
      if (!KxbMemPool::getBytes(from->dataSize, &block)) return false;
      std::memcpy(block, from->data, from->dataSize);
    }
  }
  to->charCount = from->charCount;
  to->data = block;
  to->type = from->type;
  to->dataSize = from->dataSize;
  return true;
}

// Readies the private record `r` for a value of `type` with `requested`
// data bytes (used for String and Unknown only). The data of a fixed-size
// type is zeroed, reusing its block when the size matches. False when a
// block could not be had; `r` then still holds a consistent (old or empty)
// value.
bool prepare(KxbDatavarRecord* r, kxbType type, uint32_t requested) {
  const int32_t old = r->type;
  if ((old == Real && type != Real) || (old == Binary && type != Binary)) {
    destroyData(r);
    r->type = Unknown;
  }
  if (type == Real) {
    if (old != Real) destroyData(r);
    if (r->data == nullptr) {
      void* block = nullptr;
      if (!KxbMemPool::getBytes(sizeof(KxbDatavarReal), &block)) return false;
      auto* real = new (block) KxbDatavarReal;
      real->refreshRaw();
      r->data = block;
    }
    r->type = Real;
    r->dataSize = 0;
    return true;
  }
  if (type == Binary) {
    if (old != Binary) destroyData(r);
    if (r->data == nullptr) {
      void* block = np_mem_alloc(sizeof(KxbBlob));
      if (block == nullptr) return false;
      new (block) KxbBlob;
      r->data = block;
    }
    r->type = Binary;
    r->dataSize = 0;
    return true;
  }
  const uint32_t needed = KxbDatavar::getRawSizeReq(type) != 0
                              ? KxbDatavar::getRawSizeReq(type)
                              : requested;
  if (needed == 0) return false;
  if (r->data == nullptr || needed != r->dataSize) {
    void* block = nullptr;
    if (!KxbMemPool::getBytes(needed, &block)) return false;
    destroyData(r);
    r->data = block;
    r->dataSize = needed;
  }
  std::memset(r->data, 0, needed);
  r->type = type;
  r->charCount = 0;
  return true;
}

}  // namespace

KxbDatavarRecord* KxbDatavarAccess::obtainPrivate(KxbDatavar& v,
                                                  bool copyValue) {
  KxbDatavarRecord* current = v.record_;
  if (current != nullptr && kxAtomGet(&current->refCount) < 2) return current;
  KxbDatavarRecord* fresh = newRecord();
  if (fresh == nullptr) return nullptr;
  if (copyValue && current != nullptr && !::copyValue(current, fresh)) {
    KxbMemPool::freeBytes(fresh);
    return nullptr;
  }
  releaseRecord(current);
  v.record_ = fresh;
  return fresh;
}

KxbDatavarRecord* KxbDatavarAccess::prepareFor(KxbDatavar& v, kxbType type,
                                               uint32_t requested) {
  KxbDatavarRecord* r = obtainPrivate(v, false);
  if (r == nullptr) return nullptr;
  if (!prepare(r, type, requested)) {
    v.setNull();
    return nullptr;
  }
  return r;
}

bool KxbDatavarAccess::assignText(KxbDatavar& v, const char* text,
                                  uint32_t bytes, int chars) {
  if (bytes == UINT32_MAX) {  // no room for the terminator
    v.setNull();
    return false;
  }
  // The text may lie in the block about to be reused or freed: keep a copy.
  void* copy = nullptr;
  const KxbDatavarRecord* current = v.record_;
  if (current != nullptr && current->data != nullptr && current->type != Real &&
      current->type != Binary) {
    const char* start = static_cast<const char*>(current->data);
    if (text < start + current->dataSize && start < text + bytes) {
      if (!KxbMemPool::getBytes(bytes + 1, &copy)) {
        v.setNull();
        return false;
      }
      std::memcpy(copy, text, bytes);
      text = static_cast<const char*>(copy);
    }
  }
  KxbDatavarRecord* r = prepareFor(v, String, bytes + 1);
  if (r != nullptr) {
    char* data = static_cast<char*>(r->data);
    std::memcpy(data, text, bytes);
    data[bytes] = '\0';
    r->charCount = chars >= 0 ? chars : np_uchar_length(data);
  }
  KxbMemPool::freeBytes(copy);
  return r != nullptr;
}

// ---------------------------------------------------------------------------
// Life

KxbDatavar::KxbDatavar() : record_(nullptr) {}

KxbDatavar::KxbDatavar(const KxbDatavar& other) : record_(other.record_) {
  if (record_ != nullptr) kxAtomAdd(&record_->refCount, 1);
}

KxbDatavar::KxbDatavar(KxbDatavar&& other) noexcept : record_(other.record_) {
  other.record_ = nullptr;
}

KxbDatavar::~KxbDatavar() { releaseRecord(record_); }

KxbDatavar& KxbDatavar::operator=(const KxbDatavar& other) {
  if (record_ == other.record_) return *this;
  if (other.record_ != nullptr) kxAtomAdd(&other.record_->refCount, 1);
  releaseRecord(record_);
  record_ = other.record_;
  return *this;
}

KxbDatavar& KxbDatavar::operator=(KxbDatavar&& other) noexcept {
  if (this != &other) {
    releaseRecord(record_);
    record_ = other.record_;
    other.record_ = nullptr;
  }
  return *this;
}

kxbType KxbDatavar::type() const {
  return record_ == nullptr ? Unknown : static_cast<kxbType>(record_->type);
}

bool KxbDatavar::isNull() const {
  if (record_ == nullptr) return true;
  if (record_->type == Real) {
    return record_->data == nullptr || kxbDatavarReal(record_)->value.isNull();
  }
  if (record_->type == Binary) {
    return record_->data == nullptr || kxbDatavarBlob(record_)->isNull();
  }
  return false;
}

void KxbDatavar::setNull() {
  KxbDatavarRecord* r = record_;
  record_ = nullptr;
  releaseRecord(r);
}

int KxbDatavar::length() const {
  if (record_ == nullptr || record_->type != String) return -1;
  return record_->charCount;
}

unsigned KxbDatavar::getRawSizeReq(kxbType type) {
  switch (type) {
    case Boolean: return 1;
    case Integer: return 8;
    case Real: return 24;
    case Date: return 8;
    default: return 0;
  }
}

// ---------------------------------------------------------------------------
// Typed assignments

KxbDatavar& KxbDatavar::assign(bool value) {
  if (KxbDatavarRecord* r = KxbDatavarAccess::prepareFor(*this, Boolean, 0)) {
    *static_cast<unsigned char*>(r->data) = value ? 1 : 0;
  }
  return *this;
}

KxbDatavar& KxbDatavar::assign(int value) {
  return assign(static_cast<int64_t>(value));
}

KxbDatavar& KxbDatavar::assign(int64_t value) {
  if (KxbDatavarRecord* r = KxbDatavarAccess::prepareFor(*this, Integer, 0)) {
    std::memcpy(r->data, &value, sizeof value);
  }
  return *this;
}

KxbDatavar& KxbDatavar::assign(float value) {
  return assign(static_cast<double>(value));
}

KxbDatavar& KxbDatavar::assign(double value) {
  if (KxbDatavarRecord* r = KxbDatavarAccess::prepareFor(*this, Real, 0)) {
    KxbDatavarReal* real = kxbDatavarReal(r);
    real->value.assign(value);
    real->refreshRaw();
  }
  return *this;
}

KxbDatavar& KxbDatavar::assign(const KxbReal& value) {
  if (value.isNull()) {
    setNull();
    return *this;
  }
  // `value` may be the number this record holds: copy it first.
  const KxbReal copy(value);
  if (KxbDatavarRecord* r = KxbDatavarAccess::prepareFor(*this, Real, 0)) {
    KxbDatavarReal* real = kxbDatavarReal(r);
    real->value = copy;
    real->refreshRaw();
  }
  return *this;
}

KxbDatavar& KxbDatavar::assign(const KxbString& value) {
  if (value.isNull()) {
    setNull();
    return *this;
  }
  KxbDatavarAccess::assignText(*this, value.asCstr(),
                               static_cast<uint32_t>(value.cStrSize() - 1),
                               value.length());
  return *this;
}

KxbDatavar& KxbDatavar::assign(const KxbDate& value) {
  if (value.isNull()) {
    setNull();
    return *this;
  }
  const double day = value.asDouble();
  if (KxbDatavarRecord* r = KxbDatavarAccess::prepareFor(*this, Date, 0)) {
    std::memcpy(r->data, &day, sizeof day);
  }
  return *this;
}

KxbDatavar& KxbDatavar::assign(const KxbBlob& value) {
  if (value.isNull()) {
    setNull();
    return *this;
  }
  // Holding a share keeps the body alive even if `value` lives in this
  // record.
  const KxbBlob share(value);
  if (KxbDatavarRecord* r = KxbDatavarAccess::prepareFor(*this, Binary, 0)) {
    *kxbDatavarBlob(r) = share;
  }
  return *this;
}

KxbDatavar& KxbDatavar::assign(const char* text) {
  if (text == nullptr) {
    setNull();
    return *this;
  }
  const size_t bytes = std::strlen(text);
  if (bytes >= UINT32_MAX) {
    setNull();
    return *this;
  }
  KxbDatavarAccess::assignText(*this, text, static_cast<uint32_t>(bytes), -1);
  return *this;
}

KxbDatavar& KxbDatavar::assign(const char* text, int count) {
  if (text == nullptr) {
    setNull();
    return *this;
  }
  if (count < 0) return assign(text);
  const char* end = np_uchar_seek(text, count);
  if (end == nullptr) return assign(text);  // shorter than `count`
  KxbDatavarAccess::assignText(*this, text, static_cast<uint32_t>(end - text),
                               count);
  return *this;
}

KxbDatavar& KxbDatavar::assignBytes(const char* text, int maxBytes) {
  if (text == nullptr) {
    setNull();
    return *this;
  }
  const char* p = text;
  int chars = 0;
  while (true) {
    int size = 0;
    const int code = np_uchar_toint(p, &size);
    if (size == 0 || code == NP_UCHAR_INVALID) break;
    if ((p - text) + size > maxBytes) break;
    p += size;
    ++chars;
  }
  KxbDatavarAccess::assignText(*this, text, static_cast<uint32_t>(p - text),
                               chars);
  return *this;
}
