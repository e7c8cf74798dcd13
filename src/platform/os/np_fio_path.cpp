// np_fio: joining and splitting POSIX path text.
#include <errno.h>
#include <string.h>

#include "np_fio.h"

extern "C" int np_fio_pcat(const char* directory, const char* name, char* out,
                           size_t outSize) {
  if (directory == nullptr || name == nullptr || out == nullptr) return EINVAL;
  size_t dirBytes = strlen(directory);
  bool separator = false;
  if (dirBytes > 0) {
    while (*name == '/') ++name;
    separator = *name != '\0' && directory[dirBytes - 1] != '/';
  }
  size_t nameBytes = strlen(name);
  size_t total = dirBytes + (separator ? 1 : 0) + nameBytes;
  if (total > outSize) return ENAMETOOLONG;
  // `out` may not overlap the inputs; copy in order.
  memcpy(out, directory, dirBytes);
  size_t at = dirBytes;
  if (separator) out[at++] = '/';
  memcpy(out + at, name, nameBytes);
  out[total] = '\0';
  return 0;
}

extern "C" int np_fio_pparse(const char* path, char* directoryOut,
                             size_t directorySize, char* nameOut,
                             size_t nameSize) {
  if (path == nullptr || directoryOut == nullptr || nameOut == nullptr) {
    return EINVAL;
  }
  const char* slash = strrchr(path, '/');
  const char* name = slash == nullptr ? path : slash + 1;
  size_t nameBytes = strlen(name);
  size_t dirBytes = 0;
  if (slash != nullptr) {
    dirBytes = static_cast<size_t>(slash - path);
    while (dirBytes > 0 && path[dirBytes - 1] == '/') --dirBytes;
    if (dirBytes == 0) dirBytes = 1;  // the root keeps its "/"
  }
  if (dirBytes + 1 > directorySize || nameBytes + 1 > nameSize) {
    return ENAMETOOLONG;
  }
  memmove(directoryOut, path, dirBytes);
  directoryOut[dirBytes] = '\0';
  memmove(nameOut, name, nameBytes + 1);
  return 0;
}
