// Shared libraries through the dynamic loader.
#include "np_dso.h"

#include <dlfcn.h>
#include <errno.h>
#include <string.h>

#include <cstdio>

#include "kx_fault.h"

namespace {

thread_local char t_loadError[1024];

void keepError(const char* text) {
  if (text == nullptr) text = "";
  std::snprintf(t_loadError, sizeof t_loadError, "%s", text);
}

}  // namespace

extern "C" int np_dso_mkfname(const char* baseName, char* buffer,
                              size_t size) {
  if (baseName == nullptr || buffer == nullptr || size == 0) return EINVAL;
  int n = std::snprintf(buffer, size, "lib%s.so", baseName);
  if (n < 0 || static_cast<size_t>(n) >= size) {
    buffer[0] = '\0';
    return ENAMETOOLONG;
  }
  return 0;
}

extern "C" int np_dso_load(const char* path, int flags,
                           np_dso_handle* handle) {
  if (handle == nullptr) return NP_DSO_BAD_ARGUMENT;
  *handle = nullptr;
  if (path == nullptr || path[0] == '\0') return NP_DSO_BAD_ARGUMENT;
  if (kxFaultHit(KX_FAULT_DSO_LOAD)) {
    char text[sizeof t_loadError];
    std::snprintf(text, sizeof text, "%s: cannot load shared object: %s", path,
                  strerror(EIO));
    keepError(text);
    return NP_DSO_LOADER_ERROR;
  }
  int mode = (flags & NP_DSO_LAZY) ? RTLD_LAZY : RTLD_NOW;
  mode |= (flags & NP_DSO_GLOBAL) ? RTLD_GLOBAL : RTLD_LOCAL;
  void* library = dlopen(path, mode);
  if (library == nullptr) {
    const char* text = dlerror();
    if (text == nullptr) {
      keepError("");
      return NP_DSO_NO_MEMORY;
    }
    keepError(text);
    return NP_DSO_LOADER_ERROR;
  }
  *handle = static_cast<np_dso_handle>(library);
  return NP_DSO_OK;
}

extern "C" const char* np_dso_loaderr(np_dso_handle) { return t_loadError; }

extern "C" void* np_dso_getsym(np_dso_handle handle, const char* name) {
  if (handle == nullptr || name == nullptr) return nullptr;
  return dlsym(static_cast<void*>(handle), name);
}

extern "C" int np_dso_unload(np_dso_handle handle) {
  if (handle == nullptr) return 0;
  return dlclose(static_cast<void*>(handle)) == 0 ? 0 : -1;
}

extern "C" int np_dso_path_of(const void* address, char* buffer, size_t size) {
  if (buffer == nullptr || size == 0) return EINVAL;
  buffer[0] = '\0';
  Dl_info info;
  if (dladdr(address, &info) == 0 || info.dli_fname == nullptr) return ENOENT;
  size_t n = strlen(info.dli_fname);
  if (n >= size) return ENAMETOOLONG;
  memcpy(buffer, info.dli_fname, n + 1);
  return 0;
}
