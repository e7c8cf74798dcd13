// KxbConfigOptionsImpl: loading options from the environment, configuration
// files and directories of them.
#include <cstring>
#include <new>
#include <vector>

#include "kxbconfigfile.h"
#include "kxbmessage.h"
#include "kxbpath.h"
#include "np_encode.h"
#include "np_env.h"
#include "np_mem.h"
#include "startup/kxbconfigoptions_impl.h"

namespace {

// Each NAME=VALUE string is converted into a buffer of this size.
constexpr size_t kEnvironmentBytes = 4096;
// kxbDirectoryOpen: regular files only.
constexpr int kFilesOnly = 0x40000000;

// True when `name` ends in "." + `extension`, ignoring case.
// 1 when `name` ends in `suffix` (ignoring case), 0 when it does not, -1
// when memory ran out.
int endsWith(const KxbString& name, const KxbString& suffix) {
  int length = suffix.length();
  if (name.length() < length) return 0;
  const KxbString end = name.right(length);
  if (end.isNull()) return -1;
  return end.compare(suffix, false) == 0 ? 1 : 0;
}

KxbString outOfMemory(int line) {
  return kxb_get_message("Base Services", 444, "kxbconfigoptions", line);
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
  // Running out of memory anywhere fails the load with "Out of memory."
  // rather than leaving a file out unnoticed.
  auto outOfMemoryFailed = [&](int line) {
    setLastError(outOfMemory(line));
    listing->release();
    return false;
  };
  KxbString suffix(".", true);
  bool failed = false;
  suffix.append(extension, &failed);
  if (failed) return outOfMemoryFailed(__LINE__);
  KxbConfigFile combined;
  KxbConfigFileData* model = KxbConfigFileAccess::data(combined);
  if (model == nullptr) return outOfMemoryFailed(__LINE__);
  std::vector<KxbConfigFileSpan> spans;
  bool tracing = observer != nullptr;
  KxbString name;
  while (listing->next(&name, nullptr)) {
    if (!anyExtension) {
      const int matches = endsWith(name, suffix);
      if (matches < 0) return outOfMemoryFailed(__LINE__);
      if (matches == 0) continue;
    }
    KxbString path = kxbConcatPath(directory, name);
    if (path.isNull()) return outOfMemoryFailed(__LINE__);
    int32_t before = model->lineCount;
    // A file that cannot be read in full leaves nothing behind: the model
    // goes back to what it held before the file.
    KxbConfigFileData saved;
    try {
      saved = *model;
    } catch (const std::bad_alloc&) {
      np_mem_note_failure();
      return outOfMemoryFailed(__LINE__);
    }
    if (!combined.read(path)) {
      setLastError(combined.getErrorMessage());
      *model = std::move(saved);
      continue;
    }
    if (!tracing || model->lineCount == before) continue;
    try {
      spans.push_back(KxbConfigFileSpan{path, before + 1, model->lineCount});
    } catch (const std::bad_alloc&) {
      np_mem_note_failure();
      spans.clear();
      tracing = false;
    }
  }
  // The listing ends early only when a name could not be made.
  if (!listing->getErrorMessage().isNull()) return outOfMemoryFailed(__LINE__);
  if (!loadConfigFile(&combined)) return outOfMemoryFailed(__LINE__);
  if (tracing) observer(context, combined, spans);
  listing->release();
  return true;
}
