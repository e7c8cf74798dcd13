// Loading and unloading the text IO library, the companion library
// "libkxbio311.so" that implements text files and directory listings, and
// access to the text IO object it hands out.
//
// The library's initialisation loads it from the executable's directory and
// its shutdown unloads it; test programs and tools load it themselves.
// Load and unload are called from one thread while no text file is in use;
// kxbTextIO() may be read from any thread.
#ifndef KXB_SRC_SERVICES_KXBTEXTIO_LOADER_H_
#define KXB_SRC_SERVICES_KXBTEXTIO_LOADER_H_

#include <cstddef>

class KxbTextIO;

// Loads the text IO library from `directory` and obtains its text IO object.
// True at once when it is already loaded. On failure returns false, leaves
// nothing loaded and writes the reason into `error` (size bytes, cut to fit):
// the loader's own text, "Error loading text IO library <path>", "Failed to
// find Text IO initialize function." or "Failed to initialize Text IO.".
bool kxbLoadTextIO(const char* directory, char* error, size_t size);
// Releases the text IO object and unloads the library; nothing when it is
// not loaded. Every file and listing must have been released before.
void kxbUnloadTextIO();
// The text IO object, or null while the library is not loaded.
KxbTextIO* kxbTextIO();
// The directory the companion libraries are installed into.
const char* kxbCompanionDirectory();

#endif  // KXB_SRC_SERVICES_KXBTEXTIO_LOADER_H_
