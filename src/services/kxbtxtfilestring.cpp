// RawString: a byte stream over a caller's KxbString, and
// kxbTxtFileOpenString, which opens a text file over one.
#include <new>

#include "core/kxbstring_internal.h"
#include "kxbmessage.h"
#include "kxbtxtfile.h"
#include "np_mem.h"

namespace {
constexpr char kUnit[] = "kxbtxtfilestring";
constexpr char kSet[] = "Base Services";
}  // namespace

RawString::RawString(KxbString* target)
    : target_(target), data_(nullptr), size_(0), position_(0) {
  refresh();
}

RawString::~RawString() = default;

RawString* RawString::create(KxbString* target) {
  if (target == nullptr) return nullptr;
  // From the general heap's seam, so that tests can make it fail.
  void* memory = np_mem_alloc(sizeof(RawString));
  if (memory == nullptr) return nullptr;
  return new (memory) RawString(target);
}

void RawString::refresh() {
  data_ = target_->asCstr();
  size_ = target_->cStrSize() - 1;
}

bool RawString::ready() { return true; }

int RawString::read(const char** data, int, int maxBytes) {
  if (position_ < 0) {
    // Only a seek before the start leads here; there is nothing to hand out.
    errorMessage_ = kxb_get_message(kSet, 654, kUnit, __LINE__, -1);
    return -1;
  }
  int64_t left = size_ - position_;
  int64_t count = (maxBytes >= 1 && maxBytes < left) ? maxBytes : left;
  if (data != nullptr) *data = data_ + position_;
  position_ += count;
  return static_cast<int>(count);
}

KxbString RawString::getErrorMessage() { return errorMessage_; }

KxbString RawString::getName() { return KxbString(); }

bool RawString::open(KxbTxtFileOpenMode mode, int, int) {
  if (mode == KXB_TXT_WRITE) {
    target_->truncate(0);
    refresh();
    position_ = 0;
  } else if (mode == KXB_TXT_APPEND) {
    position_ = size_;
  }
  return true;
}

int RawString::write(const char* data, int count) {
  // The count is in bytes, so the bytes are appended as they are (a text
  // cut inside a character by the writer's buffer joins up again here).
  if (count > 0 && !KxbStringAccess::appendBytes(*target_, data, count)) {
    errorMessage_ = kxb_get_message(kSet, 444, kUnit, __LINE__);
    return -1;
  }
  refresh();
  position_ = size_;
  return count;
}

void RawString::close() {
  this->~RawString();
  np_mem_free(this);
}

int64_t RawString::size() { return size_; }

int64_t RawString::seek(int64_t delta) {
  int64_t position = position_ + delta;
  if (position > size_) {
    errorMessage_ = kxb_get_message(kSet, 654, kUnit, __LINE__, -1);
    return -1;
  }
  position_ = position;
  return position_;
}

KxbTxtFile* kxbTxtFileOpenString(KxbString* text, KxbTxtFileOpenMode mode,
                                 KxbString* error) {
  RawString* stream = RawString::create(text);
  if (stream == nullptr) {
    if (error != nullptr) {
      *error = kxb_get_message(kSet, 29, kUnit, __LINE__, "String as file");
    }
    return nullptr;
  }
  return kxbTxtFileOpenStream(stream, mode, 0, 0, error);
}
