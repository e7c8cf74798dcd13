// Configuration files ("key=value" lines) that can be edited and written
// back without disturbing anything else in them, and overlays of a local
// file over a shared one.
//
// File format, as KxbConfigFile reads it (every line trimmed of white space
// at both ends first):
//   # text        a comment line; the last comment line directly above an
//                 entry is that entry's comment ("\n" in it, a backslash and
//                 an n, stands for a line break)
//   key = value   an entry: the key is the text before the first "=", the
//                 value everything after it, both trimmed; a value may hold
//                 "=" and "#"; there is no quoting, escaping or continuation
//   anything else (blank lines, lines without "=") is kept as it is.
// Keys are case-insensitive everywhere (lookup, duplicates, order). When a
// key occurs twice, the last occurrence is the live entry and the earlier
// one is kept as plain text: its comment (when it has one) as "#" and the
// comment, then "key=value" with the later key's spelling. deleteEntry keeps
// an entry read from a file the same way, as "#-DELETED key=value".
//
// A comment kept as plain text this way keeps its line breaks unescaped; a
// line break written to the file starts a new line, so each line the
// comment spans begins with "#" again ("#a", "#b" for the comment "a\nb").
// That is what keeps the promise that a written file read back gives the
// same entries: a comment line never comes back as an entry. An entry keeps
// the first spelling of its key even when a later line spells it otherwise
// ("x=1", "X=2" gives the key "x" with the value "2"); the written file then
// holds "X=2", which reads back as the same entry, keys being compared
// without regard to case.
//
// Writing produces the file's lines in order, entries as "key=value" (their
// comment above them), then the entries added by setEntry, each after an
// empty line. Leading and trailing white space of
// lines is not preserved. Files are written as UTF-8 without a byte-order
// mark, except when the first line written begins with U+FEFF: reading
// skips that character at the start of a file as a mark, so the file then
// starts with a mark of its own and the line reads back whole.
//
// Errors: only opening, reading, writing and closing files fail, and
// running out of memory; the operation returns false and getErrorMessage()
// tells why (the text file layer's message, which names the path, or "Out
// of memory."). A read that runs out of memory keeps the lines read before;
// a write that does leaves the target untouched. Malformed lines are never
// errors.
//
// Thread safety: none; an object is used by one thread at a time. Reading
// and writing need the text IO library (kxbtxtfile.h).
#ifndef KXB_INCLUDE_KXBCONFIGFILE_H_
#define KXB_INCLUDE_KXBCONFIGFILE_H_

#include "kxbstring.h"

struct KxbConfigFileData;
struct KxbConfigOverlayData;

class KxbConfigFile {
 public:
  KxbConfigFile();
  ~KxbConfigFile();
  KxbConfigFile(const KxbConfigFile&) = delete;
  KxbConfigFile& operator=(const KxbConfigFile&) = delete;

  // Reads the file at `path` and adds its lines to the model, behind those
  // read before (line numbers go on counting; keys read now override earlier
  // ones). False on failure, with the lines read up to the failure kept.
  bool read(const KxbString& path);
  // Writes the model to `path`, replacing the file atomically. The model is
  // not changed. False on failure (the file at `path` is then untouched).
  bool write(const KxbString& path);
  // Forgets all lines and entries and the error. Line numbering goes on, and
  // keys added by setEntry stay listed for writing (a listed key without an
  // entry is skipped by write).
  void clear();

  // The value of `key`, or null when there is no such entry.
  KxbString getEntry(const KxbString& key);
  // The index-th entry in case-insensitive key order (0-based). For an index
  // out of range both outputs are made null and false is returned. Either
  // output may be null. Walks the entries: linear in `index`.
  bool getEntry(int index, KxbString* key, KxbString* value);
  // The entry's comment, or null (also for an unknown key).
  KxbString getEntryComment(const KxbString& key);
  int getEntryCount();
  // The last error, null when none.
  KxbString getErrorMessage();
  // Walks the entries in key order: `first` true starts at the first entry,
  // false moves to the next. Fills both outputs (either may be null) and
  // returns true, or returns false with the outputs untouched once the walk
  // has passed the last entry (and keeps returning false). The walk must be
  // started with `first` true; entries added or deleted meanwhile are seen
  // or skipped according to their place in the order.
  bool getNextEntry(bool first, KxbString* key, KxbString* value);
  // Sets the value of `key`: an existing entry keeps its spelling, comment
  // and place; a new one is written after the file's lines.
  void setEntry(const KxbString& key, const KxbString& value);
  // Sets the comment of an existing entry; unknown keys are ignored.
  void setEntryComment(const KxbString& key, const KxbString& comment);
  // Removes the entry. One read from a file leaves its place visible as the
  // comment line "#-DELETED key=value" (after its own comment line, kept as
  // plain text). Unknown keys are ignored.
  void deleteEntry(const KxbString& key);

 private:
  // The library's own readers of the model (start-up, which reports the
  // line each option came from).
  friend struct KxbConfigFileAccess;
  KxbConfigFileData* data_;
};

// Two configuration files seen as one: a base file that is only read and an
// overlay file of local changes, the only one ever written. Every key of
// either file is listed once with its base value and its overlay value.
//
// Errors: only reading and writing fail, with the configuration file's
// message in getErrorMessage(). Thread safety: none.
class KxbConfigOverlay {
 public:
  KxbConfigOverlay();
  ~KxbConfigOverlay();
  KxbConfigOverlay(const KxbConfigOverlay&) = delete;
  KxbConfigOverlay& operator=(const KxbConfigOverlay&) = delete;

  // Reads the base file; on success the key list is rebuilt from the base
  // alone, so readBase must come before readOverlay.
  bool readBase(const KxbString& path);
  // Reads the overlay file and adds its keys to the list.
  bool readOverlay(const KxbString& path);
  // Writes the overlay file only.
  bool writeOverlay(const KxbString& path);

  int getEntryCount();
  // The index-th key in case-insensitive order; *baseValue is set only when
  // the key is in the base, *overlayValue only when it is in the overlay
  // (an output not set keeps what the caller put there; a key whose
  // override was removed reports a null overlay value). Out of range: all
  // three made null, false. Outputs may be null.
  bool getEntry(int index, KxbString* key, KxbString* baseValue,
                KxbString* overlayValue);
  // The overlay's comment of the key, or, when that is empty, the base's;
  // null for an unknown key.
  KxbString getEntryComment(const KxbString& key);
  KxbString getErrorMessage();
  // A non-empty value overrides the key in the overlay (a key that was only
  // in the base takes the base's comment along); an empty or null value
  // removes the override.
  void setOverlayEntry(const KxbString& key, const KxbString& value);
  // Sets the overlay's comment of a known key, copying the base value into
  // the overlay first when the key is not overridden yet.
  void setEntryComment(const KxbString& key, const KxbString& comment);

 private:
  KxbConfigOverlayData* data_;
};

#endif  // KXB_INCLUDE_KXBCONFIGFILE_H_
