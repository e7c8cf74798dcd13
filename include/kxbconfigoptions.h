// Option sets: named, process-wide tables of string options.
//
// Start-up fills the set with the empty name from configuration files, the
// environment and the command line; it is the process's effective
// configuration, which plain C callers read with kxbGetOption. Any number of
// other sets may exist, each found by name (names are case-sensitive: "x"
// and "X" are two sets). Keys are case-insensitive; a set keeps its options
// in the order they were first set, and a key keeps the spelling it was
// first set with.
//
// Macros: a value may refer to other options of the same set as
// "%%name%%"; reading with expansion replaces each by that option's value
// and scans the result again from its start, so macro values may hold
// macros themselves. There is no depth limit: a value that refers to itself
// never finishes expanding, so such values must not be stored. An unmatched
// "%%" stays as it is.
//
// Ownership: sets belong to the store, from the first kxbGetConfigOptions of
// their name until kxbClearConfigOptions of it or the library's shutdown;
// callers never delete them and keep no pointer across a clear.
//
// Thread safety: one process-wide reader-writer lock guards the store and
// every set: reads take it shared, changes exclusively, so any thread may
// call anything. Bulk loads take it once per option, so a reader may see a
// set half loaded. The store exists only while the library is initialised;
// before that kxbGetConfigOptions returns null.
//
// Failures: nothing throws. Absent keys give false (or 2 from kxbGetOption);
// running out of memory gives false from setOption or a null set.
#ifndef KXB_INCLUDE_KXBCONFIGOPTIONS_H_
#define KXB_INCLUDE_KXBCONFIGOPTIONS_H_

#include "kxbstring.h"

class KxbConfigFile;

// The order of the virtual operations is part of the interface; do not
// reorder.
class KxbConfigOptions {
 public:
  // Sets `key` to `value` (replacing the value of a key equal but for case,
  // which keeps its first spelling and place). False only when memory ran
  // out (the set unchanged).
  virtual bool setOption(const KxbString& key, const KxbString& value) = 0;
  // The option at `index` in insertion order (0-based): copies the key when
  // `key` is given and the value (expanded when `expand`) when `value` is
  // given. False, touching nothing, when out of range. True even when the
  // expansion met an unknown macro (the value then holds the text expanded
  // so far); getOption reports that case, this does not.
  virtual bool getOptionAt(unsigned index, KxbString* key, KxbString* value,
                           bool expand) = 0;
  // The value of `key` (expanded when `expand`). An absent key makes *value
  // null and returns false; so does an unknown macro in the expansion, with
  // *value holding the text expanded so far.
  virtual bool getOption(const KxbString& key, KxbString* value,
                         bool expand) = 0;
  // Removes the option; later options move up one place. Absent keys are
  // ignored.
  virtual void removeOption(const KxbString& key) = 0;
  virtual int count() = 0;
  // Sets an option for every environment variable (NAME=VALUE), converted to
  // UTF-8 from the locale's character set. Values longer than about 4 KB are
  // cut.
  virtual void loadEnvironment() = 0;
  // Sets every entry of `file`, in the file's key order. Stops with false at
  // the first option that cannot be set. Uses the file's getNextEntry walk.
  virtual bool loadConfigFile(KxbConfigFile* file) = 0;
  // Reads the files of `directory` (those whose names end in "." and
  // `extension`, compared ignoring case; every file when `extension` is
  // empty) in name order into one configuration file, so that later files
  // override earlier ones, and sets its entries. False when the directory
  // cannot be listed or memory runs out (the options set so far stay), with
  // the reason in lastError(); a file that cannot be read in full is
  // skipped (none of its lines count), leaving its reason in lastError().
  virtual bool loadDirectory(const KxbString& directory,
                             const KxbString& extension) = 0;
  // The message left by the last failed directory read; empty at first.
  virtual KxbString lastError() = 0;

 protected:
  KxbConfigOptions() = default;
  ~KxbConfigOptions() = default;
};

// The set named `name`, made empty when there is none. Null only when the
// store does not exist or memory ran out.
KxbConfigOptions* kxbGetConfigOptions(const KxbString& name);
// Destroys the set named `name`; unknown names are ignored.
void kxbClearConfigOptions(const KxbString& name);

extern "C" {
// Reads option `key` of set `setName` (null or "" for the set with the empty
// name, made when missing) without macro expansion:
//    0   found; the value and its terminator are copied into `buffer` (an
//        empty value with a null buffer or size 0 copies nothing)
//    1   the set could not be obtained
//    2   the key is not in the set
//   <0   the value does not fit (or `buffer` is null): minus the bytes it
//        needs with its terminator, so the caller can allocate and ask again
int kxbGetOption(const char* setName, const char* key, char* buffer,
                 int bufferSize);
}

#endif  // KXB_INCLUDE_KXBCONFIGOPTIONS_H_
