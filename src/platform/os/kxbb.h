// The base layer: the process-wide facts every other part of the platform
// layer may ask for (the executable, the temporary directory), set up first
// by the library's initialisation and torn down last by its shutdown.
//
// Counted: each successful kxbbInitialize/kxbbInitializeWithZK is matched by
// one kxbbTerminate; kxbbTerminate without a matching initialisation does
// nothing. Called from one thread while the library initialises or shuts
// down; the getters may be called from any thread in between.
#ifndef KXB_PLATFORM_KXBB_H_
#define KXB_PLATFORM_KXBB_H_

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

// Records the executable path. 0 on success; otherwise non-zero with the
// reason in `errorBuffer` (size bytes): a null or empty path, or one longer
// than the system's path limit.
int kxbbInitialize(const char* executablePath, char* errorBuffer, size_t size);
// Initialises from the context of an already running kernel toolkit, an
// opaque pointer this layer does not look into (the executable path stays
// unknown). 0 on success; non-zero for a null context.
int kxbbInitializeWithZK(void* zkContext);
void kxbbTerminate(void);
// The executable path given to kxbbInitialize ("" when none).
const char* kxbbGetExecutablePath(void);

// The running program's own file (from /proc/self/exe) into `buffer`. 0 on
// success; non-zero (buffer "") when it cannot be read or does not fit.
int kxbbSelfPath(char* buffer, size_t size);

// Sets the process's temporary directory once. 0: set. Negative: a path
// was already set; it is copied into `buffer` (size bytes) and kept.
// Positive: `path` is null, empty, too long or not an existing directory.
int kxbbSetTempPath(const char* path, char* buffer, size_t size);
// The temporary directory set with kxbbSetTempPath, else TMPDIR, else "/tmp".
const char* kxbbGetTempPath(void);

#ifdef __cplusplus
}
#endif

#endif  // KXB_PLATFORM_KXBB_H_
