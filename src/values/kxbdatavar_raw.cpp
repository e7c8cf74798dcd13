// KxbDatavar: raw transfer, building from text, truncation and comparison.
#include <cstring>

#include "kxbdatavar.h"
#include "kxbmempool.h"
#include "kxbstartup.h"
#include "np_uchar.h"
#include "values/kxbdatavar_internal.h"

namespace {

using Record = KxbDatavarRecord;

// True when [p, p + size) overlaps the data block of `r`.
bool overlapsData(const Record* r, const void* p, size_t size) {
  if (r == nullptr || r->data == nullptr || r->type == Real ||
      r->type == Binary) {
    return false;
  }
  const char* start = static_cast<const char*>(r->data);
  const char* q = static_cast<const char*>(p);
  return q < start + r->dataSize && start < q + size;
}

int sign(int value) { return (value > 0) - (value < 0); }

}  // namespace

KxbDatavar& KxbDatavar::assign(kxbType type, const void* raw, unsigned size) {
  return assign(type, raw, size, false);
}

KxbDatavar& KxbDatavar::assign(kxbType type, const void* raw, unsigned size,
                               bool byteSwap) {
  if (raw == nullptr || size == 0 || type < Unknown || type > Binary) {
    setNull();
    return *this;
  }
  switch (type) {
    case String:
      // The last byte is the terminator.
      KxbDatavarAccess::assignText(*this, static_cast<const char*>(raw),
                                   size - 1, -1);
      return *this;
    case Real: {
      uint64_t words[3];  // 8-byte aligned, whatever `raw` is
      const bool fits = size == sizeof words;
      if (fits) std::memcpy(words, raw, sizeof words);
      Record* r = KxbDatavarAccess::prepareFor(*this, Real, 0);
      if (r == nullptr || !fits) return *this;  // keeps the number it held
      KxbDatavarReal* real = kxbDatavarReal(r);
      real->value.assign(words, byteSwap);
      real->refreshRaw();
      return *this;
    }
    case Binary:
      // Blobs are not moved raw: the variant keeps (or gets) a blob object
      // and nothing is stored in it.
      KxbDatavarAccess::prepareFor(*this, Binary, 0);
      return *this;
    case Unknown: {
      void* copy = nullptr;
      if (overlapsData(record_, raw, size)) {
        if (!KxbMemPool::getBytes(size, &copy)) {
          setNull();
          return *this;
        }
        std::memcpy(copy, raw, size);
        raw = copy;
      }
      if (Record* r = KxbDatavarAccess::prepareFor(*this, Unknown, size)) {
        std::memcpy(r->data, raw, size);
      }
      KxbMemPool::freeBytes(copy);
      return *this;
    }
    default: {  // Boolean, Integer, Date
      unsigned char bytes[8];
      const bool fits = size == getRawSizeReq(type);
      if (fits) std::memcpy(bytes, raw, size);
      Record* r = KxbDatavarAccess::prepareFor(*this, type, 0);
      if (r != nullptr && fits) std::memcpy(r->data, bytes, size);
      return *this;
    }
  }
}

bool KxbDatavar::build(kxbType type, const char* text, unsigned size) {
  if (text == nullptr || size == 0) {
    setNull();
    return false;
  }
  if (!KxbDatavarAccess::assignText(*this, text, size, -1)) return false;
  if (type == String) return true;
  return setType(type);
}

const void* KxbDatavar::getRaw(unsigned* size) const {
  unsigned ignored;
  if (size == nullptr) size = &ignored;
  const Record* r = record_;
  if (r == nullptr) {
    *size = 0;
    return nullptr;
  }
  if (r->type == Real) {
    *size = sizeof kxbDatavarReal(r)->raw;
    return kxbDatavarReal(r)->raw;
  }
  *size = r->dataSize;
  return r->data;
}

bool KxbDatavar::truncate(int chars, int maxBytes) {
  const Record* current = record_;
  if (current == nullptr || current->type != String) return true;
  if (chars < 0) chars = 0;
  const uint32_t textBytes = current->dataSize - 1;
  if (current->charCount <= chars &&
      (maxBytes < 0 || textBytes <= static_cast<uint32_t>(maxBytes))) {
    return true;
  }
  Record* r = KxbDatavarAccess::obtainPrivate(*this, true);
  if (r == nullptr) return false;
  uint32_t room = r->dataSize;
  if (maxBytes >= 0 && static_cast<uint32_t>(maxBytes) < room - 1) {
    room = static_cast<uint32_t>(maxBytes) + 1;
  }
  char* text = static_cast<char*>(r->data);
  const int kept = np_uchar_bufncopy(text, text, static_cast<int>(room), chars);
  r->dataSize = static_cast<uint32_t>(kept) + 1;
  // The count is the limit asked for, even when the byte limit kept fewer
  // characters: callers size their columns by it.
  r->charCount = chars;
  return true;
}

int KxbDatavar::compare(const KxbDatavar& other) const {
  const Record* a = record_;
  const Record* b = other.record_;
  if (a == nullptr || b == nullptr) {
    return a == nullptr ? (b == nullptr ? 0 : -1) : 1;
  }
  if (a->type != b->type) {
    kxbAssertFailure("compare type mismatch", "kxbdatavar", __LINE__);
    return -1;
  }
  switch (a->type) {
    case Boolean:
      return static_cast<int>(kxbDatavarBool(a)) -
             static_cast<int>(kxbDatavarBool(b));
    case Integer: {
      const int64_t x = kxbDatavarInt(a), y = kxbDatavarInt(b);
      return (x > y) - (x < y);
    }
    case Real:
      return kxbDatavarReal(a)->value.compare(kxbDatavarReal(b)->value);
    case String:
      return sign(std::strcmp(kxbDatavarText(a), kxbDatavarText(b)));
    case Date: {
      const double x = kxbDatavarDay(a), y = kxbDatavarDay(b);
      if (x < y) return -1;
      return x == y ? 0 : 1;
    }
    default:  // Unknown and Binary values are all equal
      return 0;
  }
}
