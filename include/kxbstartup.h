// Library lifetime: initialisation, start-up, shutdown, and the process-wide
// assertion and shutdown handlers.
//
// A host calls kxbInitialize once before anything else and kxbShutdown once
// at the end. Both are counted, so several components of one process may
// each initialise and shut down: only the first initialisation does the work
// and only the matching last shutdown tears everything down. They are meant
// to be called from one thread.
//
// Initialisation brings up, in order: the base layer, logging, the global
// mutex, the singleton mutex, the default assertion handler (logs "ASSERT
// <file> <line>: <message>" on "KX.Base" at level 5), the memory pool, the
// text IO library (libkxbio311.so from the executable's directory), the
// option-set store, the message location default, and the dependency library
// (libkxbdeps311.so from the same directory; its absence is reported only by
// start-up). The executable path need not name a file that exists: a host
// installed anywhere passes a path inside the installed companion directory
// (pkg-config variable `companiondir`), for example
// "<companiondir>/myhost", so that the companions are found there.
//
// On failure the result is 1 and *errorMessage points at a static 256-byte
// buffer holding the reason (valid until the next failure); nothing is left
// half built and the count stays 0. Shutdown runs the steps backwards, each
// announced at level 1 on "KX.Base".
//
// Handler registries: a registered handler stays registered for the life of
// the process (also across shutdown and a later initialisation); handlers
// run most recent first. Registration and assertion dispatch are serialised
// by the library's global mutex once the library is initialised. A
// registration that cannot allocate its record is dropped silently.
#ifndef KXB_INCLUDE_KXBSTARTUP_H_
#define KXB_INCLUDE_KXBSTARTUP_H_

extern "C" {

typedef void (*KxbAssertionHandler)(const char* message, const char* file,
                                    int line, void* userData);
typedef void (*KxbShutdownHandler)(void* userData);

// 0 on success, 1 on failure (see above).
int kxbInitialize(const char* executablePath, const char** errorMessage);
// As kxbInitialize; with a non-null `zkContext` (an opaque context of an
// already running kernel toolkit) the base layer starts from it.
int kxbInitializeWithZK(const char* executablePath, void* zkContext,
                        const char** errorMessage);
void kxbShutdown(void);
// 0 not initialised, 1 initialised, 2 started.
unsigned kxbGetBootLevel(void);

// The user directory start-up reads a second "app.cfg" from (at most 259
// bytes are kept). Under the global mutex.
void kxbStartupSetUserPath(const char* path);
const char* kxbStartupGetUserPath(void);

void kxbRegisterAssertionHandler(KxbAssertionHandler handler, void* userData);
void kxbRegisterShutdownHandler(KxbShutdownHandler handler, void* userData);
// Calls every assertion handler with the message ("FAILURE" when null), the
// source file and the line.
void kxbAssertFailure(const char* message, const char* file, int line);

}  // extern "C"

#endif  // KXB_INCLUDE_KXBSTARTUP_H_
