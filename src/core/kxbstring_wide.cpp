// UTF-16 holders and conversions, and kxbGetUUID.
#include <new>

#include "kxbmempool.h"
#include "kxbstring.h"
#include "np_stamp.h"
#include "np_uchar.h"

// ---------------------------------------------------------------------------
// KxUtf8ToUC

KxUtf8ToUC::KxUtf8ToUC() : count_(0), ucBuffer_(nullptr) {}

KxUtf8ToUC::~KxUtf8ToUC() { set(nullptr); }

KxUtf8ToUC& KxUtf8ToUC::operator=(const KxUtf8ToUC& other) {
  count_ = other.count_;
  ucBuffer_ = other.ucBuffer_;
  return *this;
}

bool KxUtf8ToUC::set(const char* s) {
  KxbMemPool::freeBytes(ucBuffer_);
  ucBuffer_ = nullptr;
  count_ = 0;
  if (s == nullptr) return true;
  int units = np_mb_to_wide(NP_CP_UTF8, 0, s, -1, nullptr, 0);
  if (units <= 0) return true;
  void* buffer;
  if (!KxbMemPool::getBytes(static_cast<unsigned>(units) * 2, &buffer)) {
    return false;
  }
  ucBuffer_ = static_cast<unsigned short*>(buffer);
  count_ = np_mb_to_wide(NP_CP_UTF8, 0, s, -1, ucBuffer_, units);
  return true;
}

void KxUtf8ToUC::release() {
  set(nullptr);
  this->~KxUtf8ToUC();
  KxbMemPool::freeBytes(this);
}

KxUtf8ToUC* KxbString::asUCS2() const {
  void* memory;
  if (!KxbMemPool::getBytes(sizeof(KxUtf8ToUC), &memory)) return nullptr;
  KxUtf8ToUC* holder = new (memory) KxUtf8ToUC();
  if (!holder->set(asCstr())) {
    holder->release();
    return nullptr;
  }
  return holder;
}

// ---------------------------------------------------------------------------
// KxUCToUtf8

KxUCToUtf8::KxUCToUtf8() : ucBuffer_(nullptr), utf8Buffer_(nullptr), length_(0) {}

KxUCToUtf8::~KxUCToUtf8() { set(0); }

KxUCToUtf8& KxUCToUtf8::operator=(const KxUCToUtf8& other) {
  ucBuffer_ = other.ucBuffer_;
  length_ = other.length_;
  return *this;
}

bool KxUCToUtf8::set(int length) {
  KxbMemPool::freeBytes(ucBuffer_);
  KxbMemPool::freeBytes(utf8Buffer_);
  ucBuffer_ = nullptr;
  utf8Buffer_ = nullptr;
  length_ = length;
  if (length <= 0) return true;
  void* buffer;
  if (!KxbMemPool::getBytes(static_cast<unsigned>(length) * 2 + 2, &buffer)) {
    return false;
  }
  ucBuffer_ = static_cast<unsigned short*>(buffer);
  ucBuffer_[length] = 0;
  return true;
}

const char* KxUCToUtf8::utf8String() {
  if (utf8Buffer_ != nullptr) return utf8Buffer_;
  static const unsigned short kEmpty[1] = {0};
  const unsigned short* wide = ucBuffer_ != nullptr ? ucBuffer_ : kEmpty;
  int units = 0;
  while (wide[units] != 0) ++units;
  // The text up to its first 0 unit, terminator included.
  int size = np_wide_to_mb(NP_CP_UTF8, 0, wide, units + 1, nullptr, 0);
  if (size <= 0) return nullptr;
  void* buffer;
  if (!KxbMemPool::getBytes(static_cast<unsigned>(size), &buffer)) {
    return nullptr;
  }
  utf8Buffer_ = static_cast<char*>(buffer);
  np_wide_to_mb(NP_CP_UTF8, 0, wide, units + 1, utf8Buffer_, size);
  return utf8Buffer_;
}

void KxUCToUtf8::release() {
  set(0);
  delete this;
}

// ---------------------------------------------------------------------------
// Free conversions

int convertUtf8ToUC(char* utf8, unsigned short* out, int outUnits) {
  return np_mb_to_wide(NP_CP_UTF8, 0, utf8, -1, out, outUnits);
}

int convertUCToUtf8(unsigned short* wide, char* out, int outBytes) {
  int written = np_wide_to_mb(NP_CP_UTF8, 0, wide, -1, out, outBytes);
  if (written == outBytes && outBytes > 0) out[outBytes - 1] = '\0';
  return written;
}

KxbString kxbGetUUID() {
  char buffer[64];
  if (np_uniq_s64(buffer, sizeof buffer) != 0) return KxbString();
  return KxbString(buffer, false);
}
