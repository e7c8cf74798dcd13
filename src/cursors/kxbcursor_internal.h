// Storage shared by the cursor implementations: objects and growable arrays
// in memory-pool blocks, so that running out of memory is a result to
// report and never an exception.
#ifndef KXB_SRC_CURSORS_KXBCURSOR_INTERNAL_H_
#define KXB_SRC_CURSORS_KXBCURSOR_INTERNAL_H_

#include <cstdint>
#include <new>
#include <utility>

#include "kxbcursor.h"
#include "kxbmempool.h"

namespace kxb_cursor {

// The text every cursor keeps when memory ran out.
inline constexpr const char kOutOfMemory[] = "Out of memory";

// A new T in a pool block; null when memory ran out.
template <class T, class... Args>
T* poolNew(Args&&... args) {
  void* block = nullptr;
  if (!KxbMemPool::getBytes(static_cast<unsigned>(sizeof(T)), &block)) {
    return nullptr;
  }
  return new (block) T(std::forward<Args>(args)...);
}

// Destroys an object made by poolNew and gives its block back.
template <class T>
void poolDelete(T* object) {
  if (object == nullptr) return;
  object->~T();
  KxbMemPool::freeBytes(object);
}

// A growable array in one pool block. Growth reports failure instead of
// throwing; the array is then unchanged. T must be nothrow movable.
template <class T>
class PoolArray {
 public:
  PoolArray() = default;
  PoolArray(PoolArray&& other) noexcept
      : data_(other.data_), size_(other.size_), capacity_(other.capacity_) {
    other.data_ = nullptr;
    other.size_ = other.capacity_ = 0;
  }
  PoolArray& operator=(PoolArray&& other) noexcept {
    if (this != &other) {
      reset();
      std::swap(data_, other.data_);
      std::swap(size_, other.size_);
      std::swap(capacity_, other.capacity_);
    }
    return *this;
  }
  PoolArray(const PoolArray&) = delete;
  PoolArray& operator=(const PoolArray&) = delete;
  ~PoolArray() { reset(); }

  uint32_t size() const { return size_; }
  T& operator[](uint32_t i) { return data_[i]; }
  const T& operator[](uint32_t i) const { return data_[i]; }
  T& back() { return data_[size_ - 1]; }

  // Room for `count` elements without further growth.
  bool reserve(uint32_t count) {
    if (count <= capacity_) return true;
    if (count > kMaxBytes / sizeof(T)) return false;
    void* block = nullptr;
    if (!KxbMemPool::getBytes(static_cast<unsigned>(count * sizeof(T)),
                              &block)) {
      return false;
    }
    T* grown = static_cast<T*>(block);
    for (uint32_t i = 0; i < size_; ++i) {
      new (&grown[i]) T(std::move(data_[i]));
      data_[i].~T();
    }
    KxbMemPool::freeBytes(data_);
    data_ = grown;
    capacity_ = count;
    return true;
  }

  // Appends a default-constructed element.
  bool grow() {
    if (size_ == capacity_ && !reserve(nextCapacity(size_ + 1))) return false;
    new (&data_[size_]) T();
    ++size_;
    return true;
  }
  bool push(T value) {
    if (size_ == capacity_ && !reserve(nextCapacity(size_ + 1))) return false;
    new (&data_[size_]) T(std::move(value));
    ++size_;
    return true;
  }
  // Grows to `count` elements with default-constructed ones (never
  // shrinks).
  bool growTo(uint32_t count) {
    if (count <= size_) return true;
    if (count > capacity_ && !reserve(nextCapacity(count))) return false;
    while (size_ < count) new (&data_[size_++]) T();
    return true;
  }
  void popBack() { data_[--size_].~T(); }
  // Destroys every element and gives the block back.
  void reset() {
    for (uint32_t i = 0; i < size_; ++i) data_[i].~T();
    KxbMemPool::freeBytes(data_);
    data_ = nullptr;
    size_ = capacity_ = 0;
  }

 private:
  static constexpr uint64_t kMaxBytes = 0xFFFF0000u;

  uint32_t nextCapacity(uint32_t needed) const {
    uint64_t next = capacity_ < 4 ? 4 : static_cast<uint64_t>(capacity_) * 2;
    if (next < needed) next = needed;
    const uint64_t limit = kMaxBytes / sizeof(T);
    return static_cast<uint32_t>(next > limit ? limit : next);
  }

  T* data_ = nullptr;
  uint32_t size_ = 0;
  uint32_t capacity_ = 0;
};

}  // namespace kxb_cursor

#endif  // KXB_SRC_CURSORS_KXBCURSOR_INTERNAL_H_
