// The private state of KxbConfigFile, shared by its units.
#ifndef KXB_SRC_STARTUP_KXBCONFIGFILE_DATA_H_
#define KXB_SRC_STARTUP_KXBCONFIGFILE_DATA_H_

#include <cstdint>
#include <map>
#include <set>

#include "kxbconfigfile.h"
#include "kxbstring.h"

struct KxbConfigLine {
  // A plain line holds the text written back; an entry line holds the key
  // as spelled on that line, and is written from the entry.
  bool isEntry = false;
  KxbString text;
};

struct KxbConfigEntry {
  KxbString comment;  // null when none
  KxbString value;
  // The line the entry is written back at; -1 for an entry made by setEntry.
  int32_t line = -1;
};

struct KxbConfigFileData {
  // Lines read so far, over every read; never reset.
  int32_t lineCount = 0;
  std::map<int32_t, KxbConfigLine> lines;
  std::map<KxbString, KxbConfigEntry, KxbStringLessInsensitive> entries;
  // Keys made by setEntry, as spelled there.
  std::set<KxbString, KxbStringLessInsensitive> addedKeys;
  KxbString errorMessage;
  // getNextEntry's position: before the walk, at an entry (its key), or
  // past the last entry.
  enum class Cursor { kUnset, kAtKey, kAtEnd } cursorState = Cursor::kUnset;
  KxbString cursorKey;
};

// The model behind a KxbConfigFile (null when its construction ran out of
// memory).
struct KxbConfigFileAccess {
  static KxbConfigFileData* data(KxbConfigFile& file) { return file.data_; }
};

// The lines one file took in a KxbConfigFile that several files were read
// into: firstLine to lastLine of the model's numbering.
struct KxbConfigFileSpan {
  KxbString path;
  int32_t firstLine = 0;
  int32_t lastLine = 0;
};

// The model line holding the entry's "key=value" text: an entry that took
// the comment line above it as its own line sits one line lower.
inline int32_t kxbConfigEntryTextLine(const KxbConfigEntry& entry) {
  return entry.comment.isNull() || entry.comment.length() == 0 ? entry.line
                                                               : entry.line + 1;
}
// The source unit named in out-of-memory messages.
constexpr char kConfigFileUnit[] = "kxbconfigfile";

// key "=" value, as an entry is written.
KxbString kxbConfigJoined(const KxbString& key, const KxbString& value);
// Turns the place of an entry read from a file into plain text: its comment
// line (when it has a comment) and then `text`.
void kxbConfigFreezeEntry(KxbConfigFileData& d, const KxbConfigEntry& entry,
                          const KxbString& text);

#endif  // KXB_SRC_STARTUP_KXBCONFIGFILE_DATA_H_
