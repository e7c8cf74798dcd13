// Loading the text IO library.
#include "services/kxbtextio_loader.h"

#include <atomic>
#include <cstdio>
#include <cstring>
#include <string>

#include "np_dso.h"
#include "np_fio.h"
#include "services/kxbtxtfile_io.h"

namespace {

// The library's base name: "kxbio" and the library version 3.11 without its
// dot.
constexpr char kBaseName[] = "kxbio311";

np_dso_handle g_library = nullptr;
std::atomic<KxbTextIO*> g_textIO{nullptr};

void copyText(char* error, size_t size, const char* text) {
  if (error == nullptr || size == 0) return;
  std::snprintf(error, size, "%s", text);
}

}  // namespace

bool kxbLoadTextIO(const char* directory, char* error, size_t size) {
  if (g_textIO.load() != nullptr) return true;
  char fileName[256];
  char path[4096 + 256];
  bool named = np_dso_mkfname(kBaseName, fileName, 255) == 0 &&
               np_fio_pcat(directory == nullptr ? "" : directory, fileName,
                           path, sizeof path - 1) == 0;
  if (!named) {
    copyText(error, size, "Error loading text IO library");
    return false;
  }
  np_dso_handle library = nullptr;
  int result = np_dso_load(path, 0, &library);
  if (result != NP_DSO_OK) {
    if (result == NP_DSO_LOADER_ERROR) {
      copyText(error, size, np_dso_loaderr(library));
    } else if (error != nullptr && size > 0) {
      std::snprintf(error, size, "Error loading text IO library %s", path);
    }
    return false;
  }
  void* symbol = np_dso_getsym(library, KXB_TEXTIO_ENTRY_POINT);
  if (symbol == nullptr) {
    copyText(error, size, "Failed to find Text IO initialize function.");
    np_dso_unload(library);
    return false;
  }
  KxbIOInitializeFn initialize = reinterpret_cast<KxbIOInitializeFn>(symbol);
  KxbTextIO* textIO = initialize();
  if (textIO == nullptr) {
    copyText(error, size, "Failed to initialize Text IO.");
    np_dso_unload(library);
    return false;
  }
  g_library = library;
  g_textIO.store(textIO);
  return true;
}

void kxbUnloadTextIO() {
  KxbTextIO* textIO = g_textIO.exchange(nullptr);
  if (textIO != nullptr) textIO->release();
  if (g_library != nullptr) {
    np_dso_unload(g_library);
    g_library = nullptr;
  }
}

KxbTextIO* kxbTextIO() { return g_textIO.load(); }

// "kxb" beside the directory this library was loaded from: the install
// puts libkxb.so in <libdir> and the companions in <libdir>/kxb, wherever
// the tree was installed or moved to.
const char* kxbCompanionDirectory() {
  static const std::string directory = [] {
    char self[4096];
    char parent[4096];
    char name[4096];
    if (np_dso_path_of(reinterpret_cast<const void*>(&kxbCompanionDirectory),
                       self, sizeof self) != 0 ||
        np_fio_pparse(self, parent, sizeof parent, name, sizeof name) != 0) {
      return std::string();
    }
    return std::string(parent) + "/kxb";
  }();
  return directory.c_str();
}
