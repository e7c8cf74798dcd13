// np_fio: opening, closing, reading and writing files.
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstdint>

#include "kx_fault.h"
#include "np_fio.h"
#include "np_fio_internal.h"
#include "np_mem.h"

using np_fio_detail::retryInterrupted;

namespace {

constexpr size_t kReadaheadBytes = 4096;

void fillInfo(const struct stat& st, np_fio_info* info) {
  if (S_ISREG(st.st_mode)) {
    info->type = NP_FIO_TYPE_FILE;
  } else if (S_ISDIR(st.st_mode)) {
    info->type = NP_FIO_TYPE_DIRECTORY;
  } else {
    info->type = NP_FIO_TYPE_OTHER;
  }
  info->size = static_cast<int64_t>(st.st_size);
  info->permissions = static_cast<unsigned>(st.st_mode & 07777);
  info->modified = static_cast<int64_t>(st.st_mtime);
}

}  // namespace

namespace np_fio_detail {

int dropReadahead(np_fio_file* handle) {
  size_t unread = handle->readEnd - handle->readPos;
  handle->readPos = handle->readEnd = 0;
  if (unread == 0) return 0;
  if (lseek(handle->fd, -static_cast<off_t>(unread), SEEK_CUR) == -1) {
    return errno;
  }
  return 0;
}

int wrapDescriptor(int fd, np_fio_file** handleOut) {
  void* memory = np_mem_alloc(sizeof(np_fio_file));
  if (memory == nullptr) {
    close(fd);
    return ENOMEM;
  }
  np_fio_file* handle = static_cast<np_fio_file*>(memory);
  handle->fd = fd;
  handle->readBuffer = nullptr;
  handle->readPos = handle->readEnd = 0;
  handle->removePath = nullptr;
  *handleOut = handle;
  return 0;
}

}  // namespace np_fio_detail

extern "C" int np_fio_open(const char* path, int flags, unsigned permissions,
                           np_fio_file** handleOut) {
  if (handleOut == nullptr) return EINVAL;
  *handleOut = nullptr;
  if (path == nullptr || (flags & NP_FIO_READWRITE) == 0) return EINVAL;
  if (kxFaultHit(KX_FAULT_OPEN)) return EACCES;
  int osFlags = O_CLOEXEC;
  switch (flags & NP_FIO_READWRITE) {
    case NP_FIO_READ: osFlags |= O_RDONLY; break;
    case NP_FIO_WRITE: osFlags |= O_WRONLY; break;
    default: osFlags |= O_RDWR; break;
  }
  if (flags & NP_FIO_CREATE) osFlags |= O_CREAT;
  if (flags & NP_FIO_TRUNCATE) osFlags |= O_TRUNC;
  if (flags & NP_FIO_APPEND) osFlags |= O_APPEND;
  if (flags & NP_FIO_EXCLUSIVE) osFlags |= O_EXCL;
  int fd = retryInterrupted(
      [&] { return open(path, osFlags, static_cast<mode_t>(permissions)); });
  if (fd == -1) return errno;
  struct stat st;
  if (fstat(fd, &st) == 0 && S_ISDIR(st.st_mode)) {
    close(fd);
    return EISDIR;
  }
  return np_fio_detail::wrapDescriptor(fd, handleOut);
}

extern "C" int np_fio_remove_on_close(np_fio_file* handle, const char* path) {
  if (handle == nullptr || path == nullptr) return EINVAL;
  size_t bytes = strlen(path) + 1;
  char* copy = static_cast<char*>(np_mem_alloc(bytes));
  if (copy == nullptr) return ENOMEM;
  memcpy(copy, path, bytes);
  np_mem_free(handle->removePath);
  handle->removePath = copy;
  return 0;
}

extern "C" int np_fio_close(np_fio_file* handle) {
  if (handle == nullptr) return 0;
  // close() is not repeated on EINTR: on Linux the descriptor is gone
  // whatever it reports.
  int result = close(handle->fd) == 0 ? 0 : errno;
  if (result == EINTR) result = 0;
  if (handle->removePath != nullptr) {
    unlink(handle->removePath);
    np_mem_free(handle->removePath);
  }
  np_mem_free(handle->readBuffer);
  np_mem_free(handle);
  return result;
}

extern "C" int np_fio_read(np_fio_file* handle, void* buffer, size_t size,
                           size_t* bytesRead) {
  if (handle == nullptr || (buffer == nullptr && size > 0) ||
      bytesRead == nullptr) {
    return EINVAL;
  }
  size_t buffered = handle->readEnd - handle->readPos;
  if (buffered > 0) {
    size_t n = buffered < size ? buffered : size;
    memcpy(buffer, handle->readBuffer + handle->readPos, n);
    handle->readPos += n;
    *bytesRead = n;
    return 0;
  }
  if (size > SSIZE_MAX) size = SSIZE_MAX;
  ssize_t n = retryInterrupted([&] { return read(handle->fd, buffer, size); });
  if (n == -1) return errno;
  *bytesRead = static_cast<size_t>(n);
  return 0;
}

extern "C" int np_fio_write(np_fio_file* handle, const void* data,
                            size_t size) {
  if (handle == nullptr || (data == nullptr && size > 0)) return EINVAL;
  int dropped = np_fio_detail::dropReadahead(handle);
  if (dropped != 0) return dropped;
  const char* p = static_cast<const char*>(data);
  while (size > 0) {
    if (kxFaultHit(KX_FAULT_WRITE)) return EIO;
    size_t chunk = size > SSIZE_MAX ? SSIZE_MAX : size;
    ssize_t n = retryInterrupted([&] { return write(handle->fd, p, chunk); });
    if (n == -1) return errno;
    if (n == 0) return EIO;
    p += n;
    size -= static_cast<size_t>(n);
  }
  return 0;
}

extern "C" int np_fio_gets(np_fio_file* handle, char* buffer,
                           size_t bufferSize, size_t* length) {
  if (handle == nullptr || buffer == nullptr || bufferSize < 2) return EINVAL;
  if (handle->readBuffer == nullptr) {
    handle->readBuffer = static_cast<char*>(np_mem_alloc(kReadaheadBytes));
    if (handle->readBuffer == nullptr) return ENOMEM;
  }
  size_t used = 0;
  while (used + 1 < bufferSize) {
    if (handle->readPos == handle->readEnd) {
      handle->readPos = handle->readEnd = 0;
      ssize_t n = retryInterrupted(
          [&] { return read(handle->fd, handle->readBuffer, kReadaheadBytes); });
      if (n == -1) {
        int error = errno;
        buffer[used] = '\0';
        return error;
      }
      if (n == 0) break;
      handle->readEnd = static_cast<size_t>(n);
    }
    size_t room = bufferSize - 1 - used;
    size_t available = handle->readEnd - handle->readPos;
    size_t take = available < room ? available : room;
    const char* start = handle->readBuffer + handle->readPos;
    const char* newline = static_cast<const char*>(memchr(start, '\n', take));
    if (newline != nullptr) take = static_cast<size_t>(newline - start) + 1;
    memcpy(buffer + used, start, take);
    used += take;
    handle->readPos += take;
    if (newline != nullptr) break;
  }
  buffer[used] = '\0';
  if (length != nullptr) *length = used;
  return 0;
}

extern "C" int np_fio_puts(np_fio_file* handle, const char* text) {
  if (text == nullptr) return EINVAL;
  int result = np_fio_write(handle, text, strlen(text));
  return result != 0 ? result : np_fio_write(handle, "\n", 1);
}

extern "C" int np_fio_seek64(np_fio_file* handle, int64_t offset, int origin,
                             int64_t* position) {
  if (handle == nullptr) return EINVAL;
  int whence = origin == NP_FIO_SET ? SEEK_SET
               : origin == NP_FIO_CUR ? SEEK_CUR
               : origin == NP_FIO_END ? SEEK_END
                                      : -1;
  if (whence == -1) return EINVAL;
  int dropped = np_fio_detail::dropReadahead(handle);
  if (dropped != 0) return dropped;
  off_t result = lseek(handle->fd, static_cast<off_t>(offset), whence);
  if (result == -1) return errno;
  if (position != nullptr) *position = static_cast<int64_t>(result);
  return 0;
}

extern "C" int np_fio_seek(np_fio_file* handle, int32_t offset, int origin,
                           int32_t* position) {
  if (handle == nullptr) return EINVAL;
  int64_t before = 0;
  int result = np_fio_seek64(handle, 0, NP_FIO_CUR, &before);
  if (result != 0) return result;
  int64_t after = 0;
  result = np_fio_seek64(handle, offset, origin, &after);
  if (result != 0) return result;
  if (after > INT32_MAX) {
    np_fio_seek64(handle, before, NP_FIO_SET, nullptr);
    return EOVERFLOW;
  }
  if (position != nullptr) *position = static_cast<int32_t>(after);
  return 0;
}

extern "C" int np_fio_truncate(np_fio_file* handle, int64_t size) {
  if (handle == nullptr || size < 0) return EINVAL;
  int dropped = np_fio_detail::dropReadahead(handle);
  if (dropped != 0) return dropped;
  int result = retryInterrupted(
      [&] { return ftruncate(handle->fd, static_cast<off_t>(size)); });
  return result == -1 ? errno : 0;
}

extern "C" int np_fio_sync(np_fio_file* handle) {
  if (handle == nullptr) return EINVAL;
  int result = retryInterrupted([&] { return fsync(handle->fd); });
  return result == -1 ? errno : 0;
}

extern "C" int np_fio_syncdir(const char* directory) {
  if (directory == nullptr) return EINVAL;
  const char* path = directory[0] == '\0' ? "." : directory;
  int fd = retryInterrupted(
      [&] { return open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC); });
  if (fd == -1) return errno;
  int result = retryInterrupted([&] { return fsync(fd); }) == -1 ? errno : 0;
  close(fd);
  // Some file systems cannot sync a directory; the rename is still done.
  return result == EINVAL ? 0 : result;
}

extern "C" int np_fio_fstat(np_fio_file* handle, np_fio_info* info) {
  if (handle == nullptr || info == nullptr) return EINVAL;
  struct stat st;
  if (fstat(handle->fd, &st) == -1) return errno;
  fillInfo(st, info);
  return 0;
}

extern "C" int np_fio_chmod(np_fio_file* handle, unsigned permissions) {
  if (handle == nullptr) return EINVAL;
  int result = retryInterrupted(
      [&] { return fchmod(handle->fd, static_cast<mode_t>(permissions)); });
  return result == -1 ? errno : 0;
}

extern "C" int np_fio_stat(const char* path) {
  np_fio_info info;
  return np_fio_statx(path, &info);
}

extern "C" int np_fio_statx(const char* path, np_fio_info* info) {
  if (path == nullptr || info == nullptr) return EINVAL;
  struct stat st;
  if (stat(path, &st) == -1) return errno;
  fillInfo(st, info);
  return 0;
}
