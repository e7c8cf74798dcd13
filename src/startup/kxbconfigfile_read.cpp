// KxbConfigFile::read: the lines of a file into the model.
//
// A file read into a model without entries (the usual case) collects its
// entries in a batch first: duplicates are found through a hash of the
// folded key, and at the end the batch is sorted once, by folded keys
// compared as bytes, and the ordered map built from it in order, so that no
// entry pays for a walk down the map with case-insensitive comparisons. A
// key that is not plain ASCII (or holds a NUL byte) ends the batch: it is
// merged into the map and the rest of the file goes line by line through
// the map, whose comparison alone knows how such keys meet.
#include <algorithm>
#include <cstring>
#include <iterator>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "core/kxbstring_internal.h"
#include "kxbconfigfile.h"
#include "kxbmessage.h"
#include "kxbtxtfile.h"
#include "startup/kxbconfigfile_data.h"
#include "startup/kxbfoldedkeys.h"
#include "np_mem.h"

namespace {

// Read leniently: every line end, a byte-order mark, ill-formed UTF-8
// replaced.
constexpr int kReadOptions = 0x800000;

bool isNonEmpty(const KxbString& text) { return text.length() > 0; }

// A string of the `count` bytes at `bytes`; throws when memory runs out.
KxbString piece(const char* bytes, size_t count) {
  KxbString text;
  if (!KxbStringAccess::appendBytes(text, bytes, static_cast<int>(count))) {
    throw std::bad_alloc();
  }
  return text;
}

class Reader {
 public:
  explicit Reader(KxbConfigFileData& d) : d_(d), batching_(d.entries.empty()) {}

  // Handles one line as read (not yet trimmed).
  void add(KxbString line);
  // Puts the batch into the map.
  void finish();

 private:
  struct Pending {
    KxbString key;
    KxbConfigEntry entry;
    uint32_t folded;  // offset of the folded key in folded_
    uint32_t length;
  };

  // Stores `record` at line `number`, the highest line so far or the one
  // just before it.
  void placeLine(int32_t number, KxbConfigLine record);
  // The entry already read for `key`, or null; in batch mode a new key is
  // entered in the batch (with `fresh` set).
  KxbConfigEntry* entryFor(const KxbString& key, bool* fresh);

  KxbConfigFileData& d_;
  KxbString pending_;  // the comment of the line above, if it was one
  bool batching_;
  std::vector<Pending> batch_;
  KxbFoldedKeyIndex batchIndex_;
  std::string folded_;
};

void Reader::placeLine(int32_t number, KxbConfigLine record) {
  if (!d_.lines.empty()) {
    auto last = std::prev(d_.lines.end());
    if (last->first == number) {
      last->second = std::move(record);
      return;
    }
  }
  d_.lines.emplace_hint(d_.lines.end(), number, std::move(record));
}

KxbConfigEntry* Reader::entryFor(const KxbString& key, bool* fresh) {
  *fresh = false;
  const char* bytes = key.asCstr();
  const size_t length = static_cast<size_t>(key.cStrSize() - 1);
  if (batching_) {
    KxbFoldedKey folded(bytes, length);
    if (folded.ascii() && std::memchr(bytes, '\0', length) == nullptr) {
      long at = batchIndex_.find(folded);
      if (at != KxbFoldedKeyIndex::kAbsent) return &batch_[static_cast<size_t>(at)].entry;
      const size_t offset = folded_.size();
      folded_.reserve(offset + length);
      for (size_t i = 0; i < length; ++i) {
        char c = bytes[i];
        folded_.push_back(c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c);
      }
      batch_.push_back(Pending{key, KxbConfigEntry{}, static_cast<uint32_t>(offset),
                               static_cast<uint32_t>(length)});
      batchIndex_.insert(folded, static_cast<uint32_t>(batch_.size() - 1));
      *fresh = true;
      return &batch_.back().entry;
    }
    finish();
  }
  auto found = d_.entries.lower_bound(key);
  if (found != d_.entries.end() && key.compare(found->first, false) == 0) {
    return &found->second;
  }
  *fresh = true;
  return &d_.entries.emplace_hint(found, key, KxbConfigEntry{})->second;
}

namespace {

// The first sixteen folded bytes of a key as two big-endian words (zero
// beyond its end), so that most comparisons while sorting are two integer
// comparisons on the record itself.
struct SortRecord {
  uint64_t head[2];
  uint32_t offset;
  uint32_t length;
  uint32_t index;
};

uint64_t bigEndianWord(const char* bytes, size_t count) {
  unsigned char word[8] = {0, 0, 0, 0, 0, 0, 0, 0};
  std::memcpy(word, bytes, count < 8 ? count : 8);
  uint64_t value = 0;
  for (unsigned char b : word) value = (value << 8) | b;
  return value;
}

}  // namespace

void Reader::finish() {
  if (!batching_) return;
  batching_ = false;
  // Folded ASCII keys compared as bytes, the shorter first, order exactly
  // as the map's case-insensitive comparison does. Keys hold no NUL byte,
  // so the zero padding of the heads orders a shorter key first too, and
  // two distinct keys with equal heads are both longer than 16 bytes.
  std::vector<SortRecord> order(batch_.size());
  const char* folded = folded_.data();
  for (size_t i = 0; i < order.size(); ++i) {
    const Pending& p = batch_[i];
    const char* key = folded + p.folded;
    order[i].head[0] = bigEndianWord(key, p.length);
    order[i].head[1] = p.length > 8 ? bigEndianWord(key + 8, p.length - 8) : 0;
    order[i].offset = p.folded;
    order[i].length = p.length;
    order[i].index = static_cast<uint32_t>(i);
  }
  std::sort(order.begin(), order.end(), [folded](const SortRecord& x, const SortRecord& y) {
    if (x.head[0] != y.head[0]) return x.head[0] < y.head[0];
    if (x.head[1] != y.head[1]) return x.head[1] < y.head[1];
    int c = std::memcmp(folded + x.offset + 16, folded + y.offset + 16,
                        std::min(x.length, y.length) - 16);
    return c != 0 ? c < 0 : x.length < y.length;
  });
  for (const SortRecord& record : order) {
    Pending& p = batch_[record.index];
    d_.entries.emplace_hint(d_.entries.end(), std::move(p.key), std::move(p.entry));
  }
  batch_.clear();
  batchIndex_.clear();
  folded_.clear();
}

void Reader::add(KxbString line) {
  const int32_t number = ++d_.lineCount;
  line.trim(true, true);
  const char* bytes = line.asCstr();
  const size_t length = static_cast<size_t>(line.cStrSize() - 1);

  if (bytes[0] == '#') {
    // A comment line: kept as it is, and the comment of an entry that
    // follows directly ("\n" written as a backslash and an n).
    if (std::memchr(bytes, '\\', length) == nullptr) {
      pending_ = piece(bytes + 1, length - 1);
    } else {
      // The text after "#" is never null, so a null result is memory.
      pending_ = line.mid(1).replace(KxbString("\\n", true), KxbString("\n", true));
      if (pending_.isNull()) throw std::bad_alloc();
    }
    KxbConfigLine plain;
    plain.text = std::move(line);
    placeLine(number, std::move(plain));
    return;
  }
  const char* equals =
      length == 0 ? nullptr : static_cast<const char*>(std::memchr(bytes, '=', length));
  if (equals == nullptr) {
    KxbConfigLine plain;
    plain.text = std::move(line);
    placeLine(number, std::move(plain));
    pending_.setNull();
    return;
  }

  KxbString key = piece(bytes, static_cast<size_t>(equals - bytes));
  key.trim(true, true);
  KxbString value = piece(equals + 1, length - static_cast<size_t>(equals - bytes) - 1);
  value.trim(true, true);
  const int32_t entryLine = isNonEmpty(pending_) ? number - 1 : number;

  bool fresh = false;
  KxbConfigEntry& entry = *entryFor(key, &fresh);
  if (!fresh) {
    // A duplicate: the earlier occurrence stays as plain text, or, for an
    // entry made by setEntry, the file now holds the key.
    if (entry.line >= 1) {
      kxbConfigFreezeEntry(d_, entry, kxbConfigJoined(key, entry.value));
    } else {
      d_.addedKeys.erase(key);
    }
  }
  entry.comment = std::move(pending_);
  entry.value = std::move(value);
  entry.line = entryLine;
  pending_.setNull();
  KxbConfigLine record;
  record.isEntry = true;
  record.text = std::move(key);
  placeLine(entryLine, std::move(record));
}

}  // namespace

bool KxbConfigFile::read(const KxbString& path) {
  if (data_ == nullptr) return false;
  KxbConfigFileData& d = *data_;
  KxbTxtFile* file = kxbTxtFileOpen(path.asCstr(), KXB_TXT_READ, -1,
                                    kReadOptions, &d.errorMessage);
  if (file == nullptr) return false;
  Reader reader(d);
  try {
    while (true) {
      KxbString line;
      bool sawLineEnd = false;
      int result = file->readLine(-1, &line, &sawLineEnd);
      if (result < 0) {
        reader.finish();  // the lines read so far are kept
        d.errorMessage = file->getErrorMessage();
        file->release();
        return false;
      }
      if (result == 0 && !sawLineEnd) break;
      reader.add(std::move(line));
    }
    reader.finish();
  } catch (const std::bad_alloc&) {
    np_mem_note_failure();
    try {
      reader.finish();
    } catch (const std::bad_alloc&) {
      np_mem_note_failure();
      // What the batch held is lost with the memory.
    }
    d.errorMessage = kxb_get_message("Base Services", 444, kConfigFileUnit, __LINE__);
    file->release();
    return false;
  }
  file->release();
  return true;
}
