// KxbConfigFile: reading, editing and writing back "key=value" files.
#include "kxbconfigfile.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <new>

#include "kxbmessage.h"
#include "kxbtxtfile.h"
#include "startup/kxbconfigfile_data.h"
#include "np_mem.h"

namespace {

// Write plain UTF-8 with "\n" line ends.
constexpr int kWriteOptions = 0;

KxbString outOfMemory(int line) {
  return kxb_get_message("Base Services", 444, kConfigFileUnit, line);
}

bool isNonEmpty(const KxbString& text) { return text.length() > 0; }

// True when the file's first line as written begins with U+FEFF. Reading
// skips that character at the start of a file as a byte-order mark, so the
// writer then puts a mark of its own in front, which reading skips instead.
bool firstLineStartsWithMark(const KxbConfigFileData& d) {
  const KxbString* first = nullptr;
  for (const auto& [number, line] : d.lines) {
    if (line.isEntry) {
      auto entry = d.entries.find(line.text);
      if (entry == d.entries.end()) continue;
      if (isNonEmpty(entry->second.comment)) return false;  // "#" first
    }
    first = &line.text;
    break;
  }
  return first != nullptr && !first->isNull() &&
         std::strncmp(first->asCstr(), "\xEF\xBB\xBF", 3) == 0;
}

// The string operations give null when memory runs out; reading turns that
// into a failed read instead of a model with a piece missing.
KxbString need(KxbString text) {
  if (text.isNull()) throw std::bad_alloc();
  return text;
}

// Appends `piece` to `line`; *failed becomes true when that fails and stays
// true (append itself clears the flag it is given).
void add(KxbString& line, const KxbString& piece, bool* failed) {
  bool pieceFailed = false;
  line.append(piece, &pieceFailed);
  *failed = *failed || pieceFailed;
}

// The helpers below give null when memory runs out.

// A comment as written in a file: line breaks become a backslash and "n".
KxbString escapeComment(const KxbString& comment) {
  return comment.replace(KxbString("\r\n", true), KxbString("\\n", true))
      .replace(KxbString("\n", true), KxbString("\\n", true));
}

KxbString commentLine(const KxbString& comment) {
  if (comment.isNull()) return comment;
  KxbString line("#", true);
  bool failed = false;
  add(line, comment, &failed);
  return failed ? KxbString() : line;
}

// The plain text an entry's comment becomes when the entry is frozen: "#" and
// the comment as stored, its line breaks kept, not escaped. A comment may
// hold line breaks (a read "\n", or setEntryComment), and a written line
// break starts a new line on reading; so every line the comment spans begins
// with "#" again, and none of them can come back as an entry.
KxbString frozenCommentLine(const KxbString& comment) {
  static const KxbString cr("\r", true), lf("\n", true);
  KxbString line("#", true);
  bool failed = false;
  int from = 0;
  for (;;) {
    int atCr = comment.find(cr, from), atLf = comment.find(lf, from);
    if (atCr < 0 && atLf < 0) break;
    int end = atCr < 0 ? atLf : atLf < 0 ? atCr : std::min(atCr, atLf);
    if (end == atCr && atLf == atCr + 1) ++end;  // CR LF is one break
    const KxbString piece = comment.mid(from, end + 1 - from);
    failed = failed || piece.isNull();
    add(line, piece, &failed);
    add(line, KxbString("#", true), &failed);
    from = end + 1;
  }
  const KxbString rest = comment.mid(from);
  failed = failed || rest.isNull();
  add(line, rest, &failed);
  return failed ? KxbString() : line;
}

KxbConfigLine plainLine(const KxbString& text) {
  KxbConfigLine line;
  line.text = text;
  return line;
}

}  // namespace

KxbString kxbConfigJoined(const KxbString& key, const KxbString& value) {
  KxbString line(key);
  bool failed = false;
  add(line, KxbString("=", true), &failed);
  add(line, value, &failed);
  return failed ? KxbString() : line;
}

// The comment takes the entry's line and `text` the next one; when that
// next line is taken by another record (the comment was set after reading),
// both go into one record, written as two lines, so that nothing is
// overwritten. (The next line number must also be one already read: later
// reads use the numbers after lineCount.) Throws std::bad_alloc when memory
// runs out, before changing anything.
void kxbConfigFreezeEntry(KxbConfigFileData& d, const KxbConfigEntry& entry,
                          const KxbString& text) {
  need(text);
  int32_t at = entry.line;
  if (isNonEmpty(entry.comment)) {
    KxbString comment = need(frozenCommentLine(entry.comment));
    if (at + 1 <= d.lineCount && d.lines.count(at + 1) == 0) {
      KxbConfigLine& textRecord = d.lines[at + 1];  // may throw
      d.lines[at] = plainLine(comment);
      textRecord = plainLine(text);
      return;
    }
    bool failed = false;
    add(comment, KxbString("\n", true), &failed);
    add(comment, text, &failed);
    if (failed) throw std::bad_alloc();
    d.lines[at] = plainLine(comment);
    return;
  }
  d.lines[at] = plainLine(text);
}

KxbConfigFile::KxbConfigFile() : data_(np_mem_new<KxbConfigFileData>()) {}

KxbConfigFile::~KxbConfigFile() { delete data_; }

bool KxbConfigFile::write(const KxbString& path) {
  if (data_ == nullptr) return false;
  KxbConfigFileData& d = *data_;
  const int options =
      kWriteOptions | (firstLineStartsWithMark(d) ? KXB_TXT_WRITE_BOM : 0);
  KxbTxtFile* file = kxbTxtFileOpen(path.asCstr(), KXB_TXT_WRITE, -1, options,
                                    &d.errorMessage);
  if (file == nullptr) return false;
  auto failed = [&]() {
    d.errorMessage = file->getErrorMessage();
    file->release();
    return false;
  };
  // A line that could not be made (memory ran out) fails the write before
  // anything reaches the target.
  auto outOfMemoryFailed = [&]() {
    d.errorMessage = outOfMemory(__LINE__);
    file->release();
    return false;
  };
  bool noMemory = false;
  auto writeEntry = [&](const KxbString& key, const KxbConfigEntry& entry) {
    if (isNonEmpty(entry.comment)) {
      const KxbString comment = commentLine(escapeComment(entry.comment));
      if (comment.isNull()) return !(noMemory = true);
      if (!file->writeln(comment)) return false;
    }
    const KxbString line = kxbConfigJoined(key, entry.value);
    if (line.isNull()) return !(noMemory = true);
    return file->writeln(line);
  };
  for (const auto& [number, line] : d.lines) {
    if (!line.isEntry) {
      if (!file->writeln(line.text)) return failed();
      continue;
    }
    auto entry = d.entries.find(line.text);
    if (entry == d.entries.end()) continue;
    if (!writeEntry(line.text, entry->second)) {
      return noMemory ? outOfMemoryFailed() : failed();
    }
  }
  for (const KxbString& key : d.addedKeys) {
    auto entry = d.entries.find(key);
    if (entry == d.entries.end()) continue;  // left over from clear()
    if (!file->writeln(KxbString("", true))) return failed();
    if (!writeEntry(key, entry->second)) {
      return noMemory ? outOfMemoryFailed() : failed();
    }
  }
  if (!file->close()) return failed();
  file->release();
  return true;
}

void KxbConfigFile::clear() {
  if (data_ == nullptr) return;
  data_->lines.clear();
  data_->entries.clear();
  data_->errorMessage.setNull();
  data_->cursorState = KxbConfigFileData::Cursor::kUnset;
  data_->cursorKey.setNull();
}

KxbString KxbConfigFile::getEntry(const KxbString& key) {
  if (data_ == nullptr) return KxbString();
  auto found = data_->entries.find(key);
  return found == data_->entries.end() ? KxbString() : found->second.value;
}

bool KxbConfigFile::getEntry(int index, KxbString* key, KxbString* value) {
  if (data_ == nullptr || index < 0 ||
      static_cast<size_t>(index) >= data_->entries.size()) {
    if (key != nullptr) key->setNull();
    if (value != nullptr) value->setNull();
    return false;
  }
  auto entry = std::next(data_->entries.begin(), index);
  if (key != nullptr) *key = entry->first;
  if (value != nullptr) *value = entry->second.value;
  return true;
}

KxbString KxbConfigFile::getEntryComment(const KxbString& key) {
  if (data_ == nullptr) return KxbString();
  auto found = data_->entries.find(key);
  return found == data_->entries.end() ? KxbString() : found->second.comment;
}

int KxbConfigFile::getEntryCount() {
  return data_ == nullptr ? 0 : static_cast<int>(data_->entries.size());
}

KxbString KxbConfigFile::getErrorMessage() {
  if (data_ == nullptr) return outOfMemory(__LINE__);
  return data_->errorMessage;
}

bool KxbConfigFile::getNextEntry(bool first, KxbString* key,
                                 KxbString* value) {
  if (data_ == nullptr) return false;
  KxbConfigFileData& d = *data_;
  using Cursor = KxbConfigFileData::Cursor;
  auto entry = d.entries.begin();
  if (!first) {
    if (d.cursorState != Cursor::kAtKey) return false;
    entry = d.entries.upper_bound(d.cursorKey);
  }
  if (entry == d.entries.end()) {
    d.cursorState = Cursor::kAtEnd;
    d.cursorKey.setNull();
    return false;
  }
  d.cursorState = Cursor::kAtKey;
  d.cursorKey = entry->first;
  if (key != nullptr) *key = entry->first;
  if (value != nullptr) *value = entry->second.value;
  return true;
}

void KxbConfigFile::setEntry(const KxbString& key, const KxbString& value) {
  if (data_ == nullptr) return;
  try {
    auto found = data_->entries.find(key);
    if (found != data_->entries.end()) {
      found->second.value = value;
      return;
    }
    KxbConfigEntry entry;
    entry.value = value;
    data_->entries.emplace(key, entry);
    data_->addedKeys.insert(key);
  } catch (const std::bad_alloc&) {
    np_mem_note_failure();
    data_->errorMessage = outOfMemory(__LINE__);
  }
}

void KxbConfigFile::setEntryComment(const KxbString& key,
                                    const KxbString& comment) {
  if (data_ == nullptr) return;
  auto found = data_->entries.find(key);
  if (found != data_->entries.end()) found->second.comment = comment;
}

void KxbConfigFile::deleteEntry(const KxbString& key) {
  if (data_ == nullptr) return;
  KxbConfigFileData& d = *data_;
  auto found = d.entries.find(key);
  if (found == d.entries.end()) return;
  try {
    const KxbConfigEntry& entry = found->second;
    if (entry.line >= 1) {
      KxbString text("#-DELETED ", true);
      text.append(key);
      text.append("=", 1);
      text.append(entry.value);
      kxbConfigFreezeEntry(d, entry, text);
    } else {
      d.addedKeys.erase(key);
    }
  } catch (const std::bad_alloc&) {
    np_mem_note_failure();
    d.errorMessage = outOfMemory(__LINE__);
  }
  d.entries.erase(found);
}
