// KxbConfigOptionsImpl: the one implementation of KxbConfigOptions.
#ifndef KXB_SRC_STARTUP_KXBCONFIGOPTIONS_IMPL_H_
#define KXB_SRC_STARTUP_KXBCONFIGOPTIONS_IMPL_H_

#include <cstdint>
#include <map>
#include <utility>
#include <vector>

#include "kxbconfigoptions.h"
#include "kxbstring.h"

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

  // For callers that hold the store's lock already: the value of `key`
  // without expansion, or null when absent (*found false).
  KxbString valueLocked(const KxbString& key, bool* found) const;

 private:
  // Expands the macros of `text` into *out; false at an unknown macro.
  // Needs the lock held.
  bool expandLocked(const KxbString& text, KxbString* out) const;
  void setLastError(const KxbString& text);

  // Options in the order they were first set.
  std::vector<std::pair<KxbString, KxbString>> entries_;
  // Key (case-insensitive) to its position in entries_.
  std::map<KxbString, uint32_t, KxbStringLessInsensitive> index_;
  KxbString lastError_{"", true};
};

#endif  // KXB_SRC_STARTUP_KXBCONFIGOPTIONS_IMPL_H_
