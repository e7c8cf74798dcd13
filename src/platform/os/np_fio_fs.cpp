// np_fio: names in the file system (removing, renaming, directories,
// temporary files) and error texts.
#include <dirent.h>
#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

#include "kx_fault.h"
#include "np_fio.h"
#include "np_fio_internal.h"

using np_fio_detail::retryInterrupted;

extern "C" int np_fio_unlink(const char* path) {
  if (path == nullptr) return EINVAL;
  return retryInterrupted([&] { return unlink(path); }) == -1 ? errno : 0;
}

extern "C" int np_fio_rename(const char* from, const char* to) {
  if (from == nullptr || to == nullptr) return EINVAL;
  if (kxFaultHit(KX_FAULT_RENAME)) return EIO;
  return retryInterrupted([&] { return rename(from, to); }) == -1 ? errno : 0;
}

extern "C" int np_fio_mkdir(const char* path, unsigned permissions) {
  if (path == nullptr) return EINVAL;
  int result = retryInterrupted(
      [&] { return mkdir(path, static_cast<mode_t>(permissions)); });
  return result == -1 ? errno : 0;
}

extern "C" int np_fio_rmdir(const char* path) {
  if (path == nullptr) return EINVAL;
  return retryInterrupted([&] { return rmdir(path); }) == -1 ? errno : 0;
}

extern "C" int np_fio_realpath(const char* path, char* buffer,
                               size_t bufferSize) {
  if (path == nullptr || buffer == nullptr || bufferSize == 0) return EINVAL;
  char* resolved = realpath(path, nullptr);
  if (resolved == nullptr) return errno;
  size_t bytes = strlen(resolved) + 1;
  int result = 0;
  if (bytes > bufferSize) {
    result = ENAMETOOLONG;
  } else {
    memcpy(buffer, resolved, bytes);
  }
  free(resolved);
  return result;
}

extern "C" unsigned np_fio_default_permissions(void) {
  // The umask can only be read by setting it, which races with other
  // threads; Linux shows it in /proc instead.
  unsigned mask = 022;
  FILE* status = std::fopen("/proc/self/status", "re");
  if (status != nullptr) {
    char line[256];
    while (std::fgets(line, sizeof line, status) != nullptr) {
      if (strncmp(line, "Umask:", 6) == 0) {
        mask = static_cast<unsigned>(strtoul(line + 6, nullptr, 8));
        break;
      }
    }
    std::fclose(status);
  }
  return 0666u & ~mask;
}

extern "C" int np_fio_listdir(const char* directory, np_fio_dir_visitor visit,
                              void* context) {
  if (directory == nullptr || visit == nullptr) return EINVAL;
  const char* path = directory[0] == '\0' ? "." : directory;
  int fd = retryInterrupted(
      [&] { return open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC); });
  if (fd == -1) return errno;
  DIR* dir = fdopendir(fd);
  if (dir == nullptr) {
    int error = errno;
    close(fd);
    return error;
  }
  int result = 0;
  while (true) {
    errno = 0;
    struct dirent* entry = readdir(dir);
    if (entry == nullptr) {
      result = errno;
      break;
    }
    const char* name = entry->d_name;
    if (strcmp(name, ".") == 0 || strcmp(name, "..") == 0) continue;
    int type = NP_FIO_TYPE_OTHER;
    if (entry->d_type == DT_REG) {
      type = NP_FIO_TYPE_FILE;
    } else if (entry->d_type == DT_DIR) {
      type = NP_FIO_TYPE_DIRECTORY;
    } else if (entry->d_type == DT_LNK || entry->d_type == DT_UNKNOWN) {
      struct stat st;
      if (fstatat(dirfd(dir), name, &st, 0) == 0) {
        type = S_ISREG(st.st_mode)   ? NP_FIO_TYPE_FILE
               : S_ISDIR(st.st_mode) ? NP_FIO_TYPE_DIRECTORY
                                     : NP_FIO_TYPE_OTHER;
      }
    }
    result = visit(context, name, type);
    if (result != 0) break;
  }
  closedir(dir);
  return result;
}

extern "C" int np_fio_tmpfile(const char* directory, const char* prefix,
                              char* pathBuffer, size_t bufferSize,
                              np_fio_file** handleOut) {
  if (handleOut == nullptr) return EINVAL;
  *handleOut = nullptr;
  if (pathBuffer == nullptr) return EINVAL;
  if (directory == nullptr || directory[0] == '\0') {
    directory = getenv("TMPDIR");
    if (directory == nullptr || directory[0] == '\0') directory = "/tmp";
  }
  if (prefix == nullptr) prefix = "";
  if (strchr(prefix, '/') != nullptr) return EINVAL;
  // Room for the joined path, the six "X"s mkostemp replaces and the NUL.
  size_t dirBytes = strlen(directory);
  size_t needed = dirBytes + 1 + strlen(prefix) + 6 + 1;
  if (needed > bufferSize) return ENAMETOOLONG;
  int written = std::snprintf(pathBuffer, bufferSize, "%s%s%sXXXXXX",
                              directory,
                              directory[dirBytes - 1] == '/' ? "" : "/",
                              prefix);
  if (written < 0 || static_cast<size_t>(written) >= bufferSize) {
    return ENAMETOOLONG;
  }
  if (kxFaultHit(KX_FAULT_OPEN)) {
    pathBuffer[0] = '\0';
    return EACCES;
  }
  int fd = retryInterrupted([&] { return mkostemp(pathBuffer, O_CLOEXEC); });
  if (fd == -1) {
    int error = errno;
    pathBuffer[0] = '\0';
    return error;
  }
  int result = np_fio_detail::wrapDescriptor(fd, handleOut);
  if (result != 0) {
    unlink(pathBuffer);
    pathBuffer[0] = '\0';
  }
  return result;
}

extern "C" const char* np_fio_errdesc(int code, char* buffer, size_t size) {
  if (buffer == nullptr || size == 0) return "";
  // The GNU strerror_r returns its text (maybe a static one) instead of
  // always filling the buffer.
  const char* text = strerror_r(code, buffer, size);
  if (text != buffer) {
    size_t bytes = strlen(text);
    if (bytes >= size) bytes = size - 1;
    memmove(buffer, text, bytes);
    buffer[bytes] = '\0';
  }
  return buffer;
}
