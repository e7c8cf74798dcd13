// Process-wide state shared by initialisation, shutdown, start-up and the
// handler registries. Written only while one thread initialises or shuts the
// library down.
#ifndef KXB_SRC_STARTUP_KXBGLOBALS_H_
#define KXB_SRC_STARTUP_KXBGLOBALS_H_

#include "kx_atomic.h"

struct KxbGlobals {
  // Guards the handler registries, assertion dispatch and start-up.
  kxLock globalMutex = nullptr;
  // Guards the singleton registry.
  kxLock singletonMutex = nullptr;
};

KxbGlobals& kxbGlobals();

// Calls every shutdown handler, most recently registered first.
void kxbRunShutdownHandlers();
// Registers the handler that logs "ASSERT %s %d: %s" on "KX.Base" at level 5.
void kxbRegisterDefaultAssertionHandler();

#endif  // KXB_SRC_STARTUP_KXBGLOBALS_H_
