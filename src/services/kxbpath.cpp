// Joining and splitting paths, and opening directory listings.
#include "kxbpath.h"

#include <cstring>

#include "np_fio.h"
#include "np_mem.h"
#include "services/kxbtextio_loader.h"
#include "services/kxbtxtfile_io.h"

namespace {

constexpr int kStackBytes = 256;

// A buffer of `size` bytes: `stack` when size is at most 255, else from the
// heap (null when that fails).
class PathBuffer {
 public:
  PathBuffer(char* stack, int size)
      : data_(size <= kStackBytes - 1
                  ? stack
                  : static_cast<char*>(np_mem_alloc(static_cast<size_t>(size)))),
        heap_(data_ != stack) {}
  ~PathBuffer() {
    if (heap_) np_mem_free(data_);
  }
  PathBuffer(const PathBuffer&) = delete;
  PathBuffer& operator=(const PathBuffer&) = delete;
  char* data() const { return data_; }

 private:
  char* data_;
  bool heap_;
};

}  // namespace

KxbString kxbConcatPath(const KxbString& directory, const KxbString& name) {
  int size = directory.cStrSize() + name.cStrSize() + 2;
  char stack[kStackBytes];
  PathBuffer buffer(stack, size);
  if (buffer.data() == nullptr) return KxbString();
  buffer.data()[size - 1] = '\0';
  if (np_fio_pcat(directory.asCstr(), name.asCstr(), buffer.data(),
                  static_cast<size_t>(size - 1)) != 0) {
    return KxbString();
  }
  return KxbString(buffer.data());
}

KxbString kxbParsePath(const KxbString& path, KxbString* name) {
  if (name != nullptr) name->setNull();
  int size = path.cStrSize();
  char directoryStack[kStackBytes];
  char nameStack[kStackBytes];
  PathBuffer directoryBuffer(directoryStack, size);
  PathBuffer nameBuffer(nameStack, size);
  if (directoryBuffer.data() == nullptr || nameBuffer.data() == nullptr) {
    return KxbString();
  }
  if (np_fio_pparse(path.asCstr(), directoryBuffer.data(),
                    static_cast<size_t>(size), nameBuffer.data(),
                    static_cast<size_t>(size)) != 0) {
    return KxbString();
  }
  if (name != nullptr) *name = KxbString(nameBuffer.data());
  return KxbString(directoryBuffer.data());
}

KxbDirectoryListing* kxbDirectoryOpen(const KxbString& path, int option,
                                      KxbString* error) {
  KxbTextIO* textIO = kxbTextIO();
  if (textIO == nullptr) {
    if (error != nullptr) {
      *error = KxbString("The text IO library is not loaded.");
    }
    return nullptr;
  }
  return textIO->openDirectory(path, option, error);
}
