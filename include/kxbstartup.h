// Library lifetime: initialisation, start-up, shutdown, and the process-wide
// assertion and shutdown handlers.
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

void kxbRegisterAssertionHandler(KxbAssertionHandler handler, void* userData);
void kxbRegisterShutdownHandler(KxbShutdownHandler handler, void* userData);
// Calls every assertion handler with the message ("FAILURE" when null), the
// source file and the line.
void kxbAssertFailure(const char* message, const char* file, int line);

}  // extern "C"

#endif  // KXB_INCLUDE_KXBSTARTUP_H_
