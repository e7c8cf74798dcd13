// Process-wide state shared by initialisation, shutdown, start-up and the
// handler registries. Written only while one thread initialises or shuts the
// library down.
#ifndef KXB_SRC_STARTUP_KXBGLOBALS_H_
#define KXB_SRC_STARTUP_KXBGLOBALS_H_

#include "kx_atomic.h"
#include "startup/kxbdeps.h"

struct KxbGlobals {
  // Guards the handler registries, assertion dispatch and start-up.
  kxLock globalMutex = nullptr;
  // Guards the singleton registry.
  kxLock singletonMutex = nullptr;
};

KxbGlobals& kxbGlobals();

// Holds the global mutex (when the library has one) for a scope: the
// queueing functions, the handler registries and start-up run under it.
class KxbGlobalMutexHold : public kxLockHold {
 public:
  KxbGlobalMutexHold() : kxLockHold(kxbGlobals().globalMutex) {}
};

// Calls every shutdown handler, most recently registered first.
void kxbRunShutdownHandlers();
// Registers the handler that logs "ASSERT %s %d: %s" on "KX.Base" at level 5.
void kxbRegisterDefaultAssertionHandler();

// The dependency library (libkxbdeps311.so): loads it from `directory`
// unless it was loaded before in this process (the loaded flag survives
// shutdown); false with the reason in kxbDependencyError().
bool kxbLoadDependencyLibrary(const char* directory);
const char* kxbDependencyError();
// Its entry points while it is loaded, else null.
KxbDepsStartupFn kxbDependencyStartup();
const KxbDepsInterface* kxbDependencyInterface(int version);

// The directory part of the executable path given to initialisation.
const char* kxbExecutableDirectory();
// True when initialisation set KAXEL_ERROR_LOCATION itself.
bool kxbErrorLocationWasSet();
// Start-up raises the boot level to 2.
void kxbSetBootLevel(unsigned level);

#endif  // KXB_SRC_STARTUP_KXBGLOBALS_H_
