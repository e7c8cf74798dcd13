// The dependency companion library (libkxbdeps311.so): the private interface
// between the library and that companion, never installed.
//
// The library loads it from the executable's directory during
// initialisation, calls KxbDepsStartup during start-up and KxbDepsShutdown
// during shutdown. It is where components that the base library depends on
// at run time are brought up; today it holds the run-time identity of the
// installation: which version and build of the companions is in use, and the
// executable it was started for.
//
// Entry points (C linkage):
//   int  KxbDepsStartup(const char* executablePath)
//        0 on success. `executablePath` is the executable or its directory
//        (start-up passes BASE/EXE_PATH, by default the directory). Fails
//        (1) when the path is null or empty or names nothing that exists;
//        the reason is then available through the interface's lastError.
//        A start-up run again (the library's start-up may be repeated)
//        takes the new path; a failed one leaves the started state as it
//        was.
//   void KxbDepsShutdown(void)
//        Ends the started state; harmless when not started.
//   const KxbDepsInterface* KxbDepsGetInterface(int version)
//        The interface table of that version, or null for a version this
//        library does not provide (today only KXB_DEPS_INTERFACE_VERSION).
// Thread safety: start-up and shutdown are called by the library while it
// initialises or shuts down (one thread); the interface's readers may be
// called from any thread.
#ifndef KXB_STARTUP_KXBDEPS_H_
#define KXB_STARTUP_KXBDEPS_H_

#ifdef __cplusplus
extern "C" {
#endif

#define KXB_DEPS_INTERFACE_VERSION 1

typedef struct KxbDepsInterface {
  int version;  // KXB_DEPS_INTERFACE_VERSION
  // "3.11.0": the version the companion was built as.
  const char* (*libraryVersion)(void);
  // Build identity: compiler and build date.
  const char* (*build)(void);
  // 1 between a successful KxbDepsStartup and KxbDepsShutdown.
  int (*isStarted)(void);
  // The executable path given to start-up ("" when not started).
  const char* (*executablePath)(void);
  // Why the last start-up failed ("" after a success).
  const char* (*lastError)(void);
} KxbDepsInterface;

typedef int (*KxbDepsStartupFn)(const char* executablePath);
typedef void (*KxbDepsShutdownFn)(void);
typedef const KxbDepsInterface* (*KxbDepsGetInterfaceFn)(int version);

#ifdef __cplusplus
}
#endif

#endif  // KXB_STARTUP_KXBDEPS_H_
