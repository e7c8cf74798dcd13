// Loading shared libraries at run time.
//
// Thread safety: all functions may be called from any thread. The error text
// of a failed load is kept per thread.
#ifndef KXB_PLATFORM_NP_DSO_H_
#define KXB_PLATFORM_NP_DSO_H_

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct np_dso_lib* np_dso_handle;

// np_dso_load results.
#define NP_DSO_OK 0
#define NP_DSO_BAD_ARGUMENT 1
#define NP_DSO_NO_MEMORY 2
#define NP_DSO_LOADER_ERROR 3  // np_dso_loaderr has the loader's text

// Load flags.
#define NP_DSO_GLOBAL 0x1  // its symbols serve libraries loaded later
#define NP_DSO_LAZY 0x2    // resolve functions on first call, not at load

// The platform's file name of library `baseName`: "lib" + baseName + ".so".
// 0 on success; ENAMETOOLONG when it needs more than `size` bytes with its
// terminator (buffer then ""); EINVAL for null arguments.
int np_dso_mkfname(const char* baseName, char* buffer, size_t size);

// Loads the library at `path` (its dependencies resolved now unless
// NP_DSO_LAZY). On success *handle is the library and the result NP_DSO_OK;
// otherwise *handle is null and the result says why. Loading a library twice
// gives two handles, each to be unloaded. KX_FAULT_DSO_LOAD makes a load fail
// with NP_DSO_LOADER_ERROR.
int np_dso_load(const char* path, int flags, np_dso_handle* handle);
// The loader's text for the calling thread's last failed np_dso_load
// ("" when there is none). `handle` is not used: a failed load has none. The
// text stays valid until this thread's next np_dso_load.
const char* np_dso_loaderr(np_dso_handle handle);
// The address of symbol `name`, or null when the library has none.
void* np_dso_getsym(np_dso_handle handle, const char* name);
// The path of the loaded file (program or shared library) that holds
// `address`, into `buffer` (size bytes). 0 on success; non-zero (buffer "")
// when no loaded file holds it or the path does not fit.
int np_dso_path_of(const void* address, char* buffer, size_t size);
// Unloads a library; null is ignored. 0 on success.
int np_dso_unload(np_dso_handle handle);

#ifdef __cplusplus
}
#endif

#endif  // KXB_PLATFORM_NP_DSO_H_
