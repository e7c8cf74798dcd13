// KxbConfigOptionsImpl: the one implementation of KxbConfigOptions.
#ifndef KXB_SRC_STARTUP_KXBCONFIGOPTIONS_IMPL_H_
#define KXB_SRC_STARTUP_KXBCONFIGOPTIONS_IMPL_H_

#include <cstddef>
#include <cstdint>
#include <map>
#include <utility>
#include <vector>

#include "kxbconfigoptions.h"
#include "kxbstring.h"
#include "startup/kxbconfigfile_data.h"
#include "startup/kxbfoldedkeys.h"

class KxbConfigOptionsImpl final : public KxbConfigOptions {
 public:
  KxbConfigOptionsImpl() = default;
  ~KxbConfigOptionsImpl() = default;

  bool setOption(const KxbString& key, const KxbString& value) override;
  bool getOptionAt(unsigned index, KxbString* key, KxbString* value,
                   bool expand) override;
  bool getOption(const KxbString& key, KxbString* value, bool expand) override;
  void removeOption(const KxbString& key) override;
  int count() override;
  void loadEnvironment() override;
  bool loadConfigFile(KxbConfigFile* file) override;
  bool loadDirectory(const KxbString& directory,
                     const KxbString& extension) override;
  KxbString lastError() override;

  // Told, once a directory's combined file has been applied, which lines of
  // it each file took (start-up records where each option came from).
  using DirectoryObserver = void (*)(void* context, KxbConfigFile& combined,
                                     const std::vector<KxbConfigFileSpan>& spans);
  // loadDirectory, calling `observer` (when not null) after the apply. When
  // memory for the spans runs out the observer is told of none.
  bool loadDirectoryObserved(const KxbString& directory,
                             const KxbString& extension,
                             DirectoryObserver observer, void* context);

  // For callers that hold the store's lock already: the value of the key
  // `key` (null for the null key) without expansion, or null when absent.
  // Points into the set: valid while the lock is held and the set unchanged.
  const KxbString* valueLocked(const char* key) const;

 private:
  // Expands the macros of `text` into *out; false at an unknown macro.
  // Needs the lock held.
  bool expandLocked(const KxbString& text, KxbString* out) const;
  void setLastError(const KxbString& text);
  // The position of the key in entries_, or -1. Needs the lock held.
  // `text`, when given, is the key itself (saves making one when the ordered
  // index must be asked).
  long findLocked(const KxbFoldedKey& key, const KxbString* text) const;
  long findLocked(const KxbString& key) const;

  // Options in the order they were first set.
  std::vector<std::pair<KxbString, KxbString>> entries_;
  // Key (case-insensitive) to its position in entries_: every key.
  std::map<KxbString, uint32_t, KxbStringLessInsensitive> index_;
  // The keys made only of ASCII characters again, folded, to their
  // position: most lookups hash instead of walking index_ with Unicode
  // comparisons. A miss there consults index_ while the set holds non-ASCII
  // keys (see kxbfoldedkeys.h).
  KxbFoldedKeyIndex foldedIndex_;
  size_t nonAsciiKeys_ = 0;
  KxbString lastError_{"", true};
};

#endif  // KXB_SRC_STARTUP_KXBCONFIGOPTIONS_IMPL_H_
