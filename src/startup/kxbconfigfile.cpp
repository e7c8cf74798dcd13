// KxbConfigFile: reading, editing and writing back "key=value" files.
#include "kxbconfigfile.h"

#include <algorithm>
#include <iterator>
#include <new>

#include "kxbmessage.h"
#include "kxbtxtfile.h"
#include "startup/kxbconfigfile_data.h"

namespace {

// Write plain UTF-8 with "\n" line ends.
constexpr int kWriteOptions = 0;

KxbString outOfMemory(int line) {
  return kxb_get_message("Base Services", 444, kConfigFileUnit, line);
}

bool isNonEmpty(const KxbString& text) { return text.length() > 0; }

// A comment as written in a file: line breaks become a backslash and "n".
KxbString escapeComment(const KxbString& comment) {
  return comment.replace(KxbString("\r\n", true), KxbString("\\n", true))
      .replace(KxbString("\n", true), KxbString("\\n", true));
}

KxbString commentLine(const KxbString& comment) {
  KxbString line("#", true);
  line.append(comment);
  return line;
}

// The plain text an entry's comment becomes when the entry is frozen: "#" and
// the comment as stored, its line breaks kept, not escaped. A comment may
// hold line breaks (a read "\n", or setEntryComment), and a written line
// break starts a new line on reading; so every line the comment spans begins
// with "#" again, and none of them can come back as an entry.
KxbString frozenCommentLine(const KxbString& comment) {
  static const KxbString cr("\r", true), lf("\n", true);
  KxbString line("#", true);
  int from = 0;
  for (;;) {
    int atCr = comment.find(cr, from), atLf = comment.find(lf, from);
    if (atCr < 0 && atLf < 0) break;
    int end = atCr < 0 ? atLf : atLf < 0 ? atCr : std::min(atCr, atLf);
    if (end == atCr && atLf == atCr + 1) ++end;  // CR LF is one break
    line.append(comment.mid(from, end + 1 - from));
    line.append("#", 1);
    from = end + 1;
  }
  line.append(comment.mid(from));
  return line;
}

KxbConfigLine plainLine(const KxbString& text) {
  KxbConfigLine line;
  line.text = text;
  return line;
}

}  // namespace

KxbString kxbConfigJoined(const KxbString& key, const KxbString& value) {
  KxbString line(key);
  line.append("=", 1);
  line.append(value);
  return line;
}

// The comment takes the entry's line and `text` the next one; when that
// next line is taken by another record (the comment was set after reading),
// both go into one record, written as two lines, so that nothing is
// overwritten. (The next line number must also be one already read: later
// reads use the numbers after lineCount.)
void kxbConfigFreezeEntry(KxbConfigFileData& d, const KxbConfigEntry& entry,
                          const KxbString& text) {
  int32_t at = entry.line;
  if (isNonEmpty(entry.comment)) {
    if (at + 1 <= d.lineCount && d.lines.count(at + 1) == 0) {
      d.lines[at] = plainLine(frozenCommentLine(entry.comment));
      ++at;
    } else {
      KxbString both = frozenCommentLine(entry.comment);
      both.append("\n", 1);
      both.append(text);
      d.lines[at] = plainLine(both);
      return;
    }
  }
  d.lines[at] = plainLine(text);
}

KxbConfigFile::KxbConfigFile() : data_(new (std::nothrow) KxbConfigFileData) {}

KxbConfigFile::~KxbConfigFile() { delete data_; }

bool KxbConfigFile::write(const KxbString& path) {
  if (data_ == nullptr) return false;
  KxbConfigFileData& d = *data_;
  KxbTxtFile* file = kxbTxtFileOpen(path.asCstr(), KXB_TXT_WRITE, -1,
                                    kWriteOptions, &d.errorMessage);
  if (file == nullptr) return false;
  auto failed = [&]() {
    d.errorMessage = file->getErrorMessage();
    file->release();
    return false;
  };
  auto writeEntry = [&](const KxbString& key, const KxbConfigEntry& entry) {
    if (isNonEmpty(entry.comment) &&
        !file->writeln(commentLine(escapeComment(entry.comment)))) {
      return false;
    }
    return file->writeln(kxbConfigJoined(key, entry.value));
  };
  for (const auto& [number, line] : d.lines) {
    if (!line.isEntry) {
      if (!file->writeln(line.text)) return failed();
      continue;
    }
    auto entry = d.entries.find(line.text);
    if (entry == d.entries.end()) continue;
    if (!writeEntry(line.text, entry->second)) return failed();
  }
  for (const KxbString& key : d.addedKeys) {
    auto entry = d.entries.find(key);
    if (entry == d.entries.end()) continue;  // left over from clear()
    if (!file->writeln(KxbString("", true))) return failed();
    if (!writeEntry(key, entry->second)) return failed();
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
    d.errorMessage = outOfMemory(__LINE__);
  }
  d.entries.erase(found);
}
