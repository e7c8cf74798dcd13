// KxbConfigOptionsImpl: loading options from the environment, configuration
// files and directories of them.
#include <cstring>
#include <new>
#include <vector>

#include "kxbconfigfile.h"
#include "kxbpath.h"
#include "np_encode.h"
#include "np_env.h"
#include "startup/kxbconfigoptions_impl.h"

namespace {

// Each NAME=VALUE string is converted into a buffer of this size.
constexpr size_t kEnvironmentBytes = 4096;
// kxbDirectoryOpen: regular files only.
constexpr int kFilesOnly = 0x40000000;

// True when `name` ends in "." + `extension`, ignoring case.
bool hasExtension(const KxbString& name, const KxbString& extension) {
  KxbString suffix(".", true);
  suffix.append(extension);
  int length = suffix.length();
  if (name.length() < length) return false;
  return name.right(length).compare(suffix, false) == 0;
}

}  // namespace

void KxbConfigOptionsImpl::loadEnvironment() {
  // Linux has no separate wide environment: the one block is converted from
  // the locale's character set (a copy when that is UTF-8).
  char* block = np_env_block();
  if (block == nullptr) return;
  char charset[64];
  int encoding = np_uchar_getenc(np_lcinfo_charset(charset, sizeof charset));
  if (encoding == NP_UCHAR_ENC_UNKNOWN) encoding = np_uchar_defenc();
  char converted[kEnvironmentBytes];
  for (const char* entry = block; *entry != '\0';
       entry += std::strlen(entry) + 1) {
    np_uchar_encode(encoding, entry, std::strlen(entry), converted,
                    sizeof converted);
    char* equals = std::strchr(converted, '=');
    if (equals == nullptr) continue;
    *equals = '\0';
    setOption(KxbString(converted), KxbString(equals + 1));
  }
  np_env_block_free(block);
}

bool KxbConfigOptionsImpl::loadConfigFile(KxbConfigFile* file) {
  if (file == nullptr) return false;
  KxbString key;
  KxbString value;
  for (bool more = file->getNextEntry(true, &key, &value); more;
       more = file->getNextEntry(false, &key, &value)) {
    if (!setOption(key, value)) return false;
  }
  return true;
}

bool KxbConfigOptionsImpl::loadDirectory(const KxbString& directory,
                                         const KxbString& extension) {
  return loadDirectoryObserved(directory, extension, nullptr, nullptr);
}

bool KxbConfigOptionsImpl::loadDirectoryObserved(const KxbString& directory,
                                                 const KxbString& extension,
                                                 DirectoryObserver observer,
                                                 void* context) {
  KxbString error;
  KxbDirectoryListing* listing = kxbDirectoryOpen(directory, kFilesOnly, &error);
  if (listing == nullptr) {
    setLastError(error);
    return false;
  }
  bool anyExtension = extension.length() == 0;
  KxbConfigFile combined;
  KxbConfigFileData* model = KxbConfigFileAccess::data(combined);
  std::vector<KxbConfigFileSpan> spans;
  bool tracing = observer != nullptr && model != nullptr;
  KxbString name;
  while (listing->next(&name, nullptr)) {
    if (!anyExtension && !hasExtension(name, extension)) continue;
    KxbString path = kxbConcatPath(directory, name);
    int32_t before = tracing ? model->lineCount : 0;
    if (!combined.read(path)) setLastError(combined.getErrorMessage());
    if (!tracing || model->lineCount == before) continue;
    try {
      spans.push_back(KxbConfigFileSpan{path, before + 1, model->lineCount});
    } catch (const std::bad_alloc&) {
      spans.clear();
      tracing = false;
    }
  }
  loadConfigFile(&combined);
  if (tracing) observer(context, combined, spans);
  listing->release();
  return true;
}
