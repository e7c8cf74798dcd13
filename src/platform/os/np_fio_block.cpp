// np_fio: positional transfers and whole-file reads.
#include <fcntl.h>
#include <string.h>
#include <unistd.h>

#include <climits>
#include <cstdint>

#include "kx_fault.h"
#include "np_fio.h"
#include "np_fio_internal.h"
#include "np_mem.h"

using np_fio_detail::retryInterrupted;

namespace {

constexpr size_t kFirstBlock = 4096;

// A new block of `capacity` bytes holding the `used` bytes of `old` (freed).
char* grow(char* old, size_t used, size_t capacity) {
  char* block = static_cast<char*>(np_mem_alloc(capacity));
  if (block != nullptr && used > 0) memcpy(block, old, used);
  np_mem_free(old);
  return block;
}

}  // namespace

extern "C" int np_fio_pread(np_fio_file* handle, void* buffer, size_t size,
                            int64_t offset, size_t* bytesRead) {
  if (handle == nullptr || (buffer == nullptr && size > 0) ||
      bytesRead == nullptr || offset < 0) {
    return EINVAL;
  }
  char* out = static_cast<char*>(buffer);
  size_t done = 0;
  while (done < size) {
    size_t chunk = size - done > SSIZE_MAX ? SSIZE_MAX : size - done;
    ssize_t n = retryInterrupted([&] {
      return pread(handle->fd, out + done, chunk,
                   static_cast<off_t>(offset) + static_cast<off_t>(done));
    });
    if (n == -1) return errno;
    if (n == 0) break;
    done += static_cast<size_t>(n);
  }
  *bytesRead = done;
  return 0;
}

extern "C" int np_fio_pwrite(np_fio_file* handle, const void* data,
                             size_t size, int64_t offset) {
  if (handle == nullptr || (data == nullptr && size > 0) || offset < 0) {
    return EINVAL;
  }
  const char* p = static_cast<const char*>(data);
  while (size > 0) {
    if (kxFaultHit(KX_FAULT_WRITE)) return EIO;
    size_t chunk = size > SSIZE_MAX ? SSIZE_MAX : size;
    ssize_t n = retryInterrupted([&] {
      return pwrite(handle->fd, p, chunk, static_cast<off_t>(offset));
    });
    if (n == -1) return errno;
    if (n == 0) return EIO;
    p += n;
    offset += n;
    size -= static_cast<size_t>(n);
  }
  return 0;
}

extern "C" int np_fio_read_file(const char* path, size_t maxBytes,
                                char** data, size_t* size) {
  if (data == nullptr || size == nullptr) return EINVAL;
  *data = nullptr;
  *size = 0;
  np_fio_file* file = nullptr;
  int rc = np_fio_open(path, NP_FIO_READ, 0, &file);
  if (rc != 0) return rc;
  // The size the file has now is only a first guess: it may change while it
  // is read, and files such as those of /proc report none.
  np_fio_info info;
  size_t capacity = kFirstBlock;
  if (np_fio_fstat(file, &info) == 0 && info.size > 0) {
    if (static_cast<uint64_t>(info.size) > maxBytes) {
      np_fio_close(file);
      return EFBIG;
    }
    capacity = static_cast<size_t>(info.size) + 1;
  }
  char* block = static_cast<char*>(np_mem_alloc(capacity));
  size_t used = 0;
  while (block != nullptr) {
    size_t got = 0;
    if (used + 1 < capacity) {
      rc = np_fio_read(file, block + used, capacity - 1 - used, &got);
      if (rc != 0 || got == 0) break;
      used += got;
      continue;
    }
    // Full: one more byte says whether the file goes on.
    char probe;
    rc = np_fio_read(file, &probe, 1, &got);
    if (rc != 0 || got == 0) break;
    if (used + 1 > maxBytes) {
      rc = EFBIG;
      break;
    }
    block = grow(block, used, capacity * 2);
    capacity *= 2;
    if (block != nullptr) block[used++] = probe;
  }
  np_fio_close(file);
  if (block == nullptr) return ENOMEM;
  if (rc != 0) {
    np_mem_free(block);
    return rc;
  }
  block[used] = '\0';
  *data = block;
  *size = used;
  return 0;
}

extern "C" int np_fio_stream_cloexec(FILE* stream) {
  const int fd = stream != nullptr ? fileno(stream) : -1;
  if (fd < 0) return EINVAL;
  const int flags = fcntl(fd, F_GETFD);
  if (flags == -1 || fcntl(fd, F_SETFD, flags | FD_CLOEXEC) == -1) {
    return errno;
  }
  return 0;
}
