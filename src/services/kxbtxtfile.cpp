// KxbTxtFile's convenience overloads and the open functions, which forward
// to the text IO object.
#include "kxbtxtfile.h"

#include <cstring>

#include "services/kxbtextio_loader.h"
#include "services/kxbtxtfile_io.h"

namespace {

int byteCount(const KxbString& text) { return text.cStrSize() - 1; }

bool notLoaded(KxbString* error) {
  if (error != nullptr) *error = KxbString("The text IO library is not loaded.");
  return false;
}

}  // namespace

bool KxbTxtFile::write(const KxbString& text, int extra) {
  if (byteCount(text) == 0) return write(nullptr, 0, extra);
  return write(text.asCstr(), byteCount(text), extra);
}

bool KxbTxtFile::write(const KxbString& text) {
  if (byteCount(text) == 0) return true;
  return write(text.asCstr(), byteCount(text));
}

bool KxbTxtFile::write(const char* text) {
  if (text == nullptr) return true;
  return write(text, static_cast<int>(std::strlen(text)));
}

bool KxbTxtFile::writeln(const KxbString& text, int extra) {
  if (byteCount(text) == 0) return writeln(nullptr, 0, extra);
  return writeln(text.asCstr(), byteCount(text), extra);
}

bool KxbTxtFile::writeln(const KxbString& text) {
  if (byteCount(text) == 0) return writeln(nullptr, 0);
  return writeln(text.asCstr(), byteCount(text));
}

bool KxbTxtFile::writeln(const char* text) {
  if (text == nullptr) return writeln(nullptr, 0);
  return writeln(text, static_cast<int>(std::strlen(text)));
}

KxbIORaw::~KxbIORaw() = default;

KxbTxtFile* kxbTxtFileOpen(const char* path, KxbTxtFileOpenMode mode,
                           int option1, int option2, KxbString* error) {
  KxbTextIO* textIO = kxbTextIO();
  if (textIO == nullptr) {
    notLoaded(error);
    return nullptr;
  }
  return textIO->openFile(KxbString(path), mode, option1, option2, error);
}

KxbTxtFile* kxbTxtFileOpenStream(KxbIORaw* stream, KxbTxtFileOpenMode mode,
                                 int option1, int option2, KxbString* error) {
  KxbTextIO* textIO = kxbTextIO();
  if (textIO == nullptr) {
    if (stream != nullptr) stream->close();
    notLoaded(error);
    return nullptr;
  }
  return textIO->openStream(stream, mode, option1, option2, error);
}
