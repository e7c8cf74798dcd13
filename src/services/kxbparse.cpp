// KxbParse: attribute texts cut at a separator, split at a top-level "=".
#include "kxbparse.h"

#include <new>
#include <string_view>
#include <utility>

#include "core/kxbstring_internal.h"
#include "kxbmempool.h"
#include "kxbmessage.h"
#include "kxburi.h"

namespace {

constexpr const char* kUnit = "kxbparse";
constexpr const char* kMessageSet = "Base Services";
constexpr int kIndexOutOfRange = 1516;
constexpr int kCannotCreate = 29;

std::string_view bytesOf(const KxbString& s) {
  return std::string_view(s.asCstr(), static_cast<size_t>(s.cStrSize() - 1));
}

// *out = exactly these bytes; false when memory ran out.
bool setBytes(KxbString* out, std::string_view bytes) {
  out->setNull();
  if (bytes.empty()) {
    *out = KxbString("", true);
    return true;
  }
  return KxbStringAccess::appendBytes(*out, bytes.data(),
                                      static_cast<int>(bytes.size()));
}

// Index of the first "=" outside parentheses and before any "{", or -1.
int topLevelEquals(std::string_view attribute) {
  int parentheses = 0;
  int braces = 0;  // only ever grows: "}" is an ordinary character
  for (size_t i = 0; i < attribute.size(); ++i) {
    switch (attribute[i]) {
      case '(':
        ++parentheses;
        break;
      case ')':
        --parentheses;
        break;
      case '{':
        ++braces;
        break;
      case '=':
        if (parentheses == 0 && braces == 0) return static_cast<int>(i);
        break;
      default:
        break;
    }
  }
  return -1;
}

}  // namespace

KxbParse::KxbParse() : attributes_(nullptr), count_(0), capacity_(0) {}

KxbParse::KxbParse(const KxbParse& other)
    : errorMessage_(other.errorMessage_),
      source_(other.source_),
      attributes_(nullptr),
      count_(0),
      capacity_(0) {
  if (other.count_ == 0) return;
  if (!reserve(other.count_)) {
    setOutOfMemory();
    return;
  }
  for (int i = 0; i < other.count_; ++i) appendAttribute(other.attributes_[i]);
}

KxbParse& KxbParse::operator=(const KxbParse& other) {
  if (this == &other) return *this;
  clearAttributes();
  errorMessage_ = other.errorMessage_;
  source_ = other.source_;
  if (other.count_ > 0 && !reserve(other.count_)) {
    setOutOfMemory();
    return *this;
  }
  for (int i = 0; i < other.count_; ++i) appendAttribute(other.attributes_[i]);
  return *this;
}

KxbParse::~KxbParse() {
  clearAttributes();
  KxbMemPool::freeBytes(attributes_);
}

bool KxbParse::parse(const KxbString& text, char separator) {
  source_ = text;
  errorMessage_.setNull();
  clearAttributes();
  if (separator == '\0') separator = ';';
  const std::string_view t = bytesOf(source_);
  size_t start = 0;
  while (start <= t.size()) {
    size_t end = t.find(separator, start);
    if (end == std::string_view::npos) end = t.size();
    if (end > start) {
      KxbString piece;
      KxbString attribute;
      // A fresh body: trimming it in place needs no memory.
      if (!setBytes(&piece, t.substr(start, end - start))) {
        setOutOfMemory();
        return false;
      }
      piece.trim();
      if (!getUnEscapeStringFromURI(piece, &attribute) ||
          !appendAttribute(attribute)) {
        setOutOfMemory();
        return false;
      }
    }
    start = end + 1;
  }
  return true;
}

bool KxbParse::getAttributeRaw(int index, KxbString* attribute) {
  if (attribute != nullptr) attribute->setNull();
  if (!checkIndex(index)) return false;
  if (attribute != nullptr) *attribute = attributes_[index];
  return true;
}

bool KxbParse::getAttribute(int index, KxbString* name, KxbString* value) {
  if (name != nullptr) name->setNull();
  if (value != nullptr) value->setNull();
  if (!checkIndex(index)) return false;
  const KxbString& attribute = attributes_[index];
  const std::string_view a = bytesOf(attribute);
  const int equals = topLevelEquals(a);
  if (equals < 0) {
    if (value != nullptr) *value = attribute;
    return true;
  }
  const size_t split = static_cast<size_t>(equals);
  if (name != nullptr) {
    KxbString before;
    if (setBytes(&before, a.substr(0, split))) {
      before.trim();
      if (before.length() > 0) *name = before;
    }
  }
  if (value != nullptr && split + 1 < a.size()) {
    setBytes(value, a.substr(split + 1));
  }
  return true;
}

bool KxbParse::checkIndex(int index) {
  if (index >= 0 && index < count_) return true;
  errorMessage_ = kxb_get_message(kMessageSet, kIndexOutOfRange, kUnit, __LINE__);
  return false;
}

bool KxbParse::appendAttribute(const KxbString& attribute) {
  if (count_ == capacity_ && !reserve(capacity_ == 0 ? 8 : capacity_ * 2)) {
    return false;
  }
  new (&attributes_[count_]) KxbString(attribute);
  ++count_;
  return true;
}

bool KxbParse::reserve(int capacity) {
  if (capacity <= capacity_) return true;
  void* block = nullptr;
  const size_t bytes = sizeof(KxbString) * static_cast<size_t>(capacity);
  if (bytes > 0xFFFFFFFFu ||
      !KxbMemPool::getBytes(static_cast<unsigned>(bytes), &block)) {
    return false;
  }
  KxbString* grown = static_cast<KxbString*>(block);
  for (int i = 0; i < count_; ++i) {
    new (&grown[i]) KxbString(std::move(attributes_[i]));
    attributes_[i].~KxbString();
  }
  KxbMemPool::freeBytes(attributes_);
  attributes_ = grown;
  capacity_ = capacity;
  return true;
}

void KxbParse::clearAttributes() {
  for (int i = 0; i < count_; ++i) attributes_[i].~KxbString();
  count_ = 0;
}

void KxbParse::setOutOfMemory() {
  errorMessage_ = kxb_get_message(kMessageSet, kCannotCreate, kUnit, __LINE__,
                                  "(attribute list)");
}
