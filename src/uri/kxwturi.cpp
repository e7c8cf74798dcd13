// KxWorkTableURIImpl: "kxwt" URIs of work tables with column descriptors and
// a row range.
#include "kxbwturi.h"

#include "kxbdatavar.h"
#include "kxbmempool.h"
#include "kxbmessage.h"
#include "kxlog.h"
#include "kxs_ascii.h"
#include "np_uchar.h"
#include "uri/kxburi_internal.h"

using kxburi::bytesOf;
using kxburi::isEmpty;
using kxburi::literal;

namespace {

constexpr const char* kUnit = "kxwturi";
constexpr const char* kMessageSet = "Base Services";
constexpr int kCannotCreate = 29;
constexpr int kDuplicate = 1776;
constexpr int kNotConvertible = 1778;
constexpr int kEmptyName = 1795;

kxLogger* workTableLogger() {
  static kxLogger* logger = kxlogGetLogger("KX.Base.URI.WorkTable");
  return logger;
}

// Hands `message` to the caller's error string, or logs it when there is
// none.
void report(KxbString* error, const KxbString& message, int line) {
  if (error != nullptr) {
    *error = message;
  } else {
    kxlogWrite(workTableLogger(), KXLOG_NOTABLE, kUnit, line, "%s",
               message.asCstr());
  }
}

// `text` without Unicode white space at either end. The ends of the views
// trimmed here are ASCII delimiters or the end of the text, so no character
// runs past them.
std::string_view trim(std::string_view text) {
  size_t start = 0;
  while (start < text.size()) {
    int size = 0;
    if (!np_uchar_isspace(text.data() + start, &size) || size < 1) break;
    start += static_cast<size_t>(size);
  }
  size_t end = start;
  size_t i = start;
  while (i < text.size()) {
    int size = 0;
    const bool space = np_uchar_isspace(text.data() + i, &size);
    if (size < 1) break;
    i += static_cast<size_t>(size);
    if (!space) end = i;
  }
  if (end > text.size()) end = text.size();
  return text.substr(start, end - start);
}

// Appends `value` with "'" written %27 and "," written %2C.
bool appendQuotedValue(KxbString* out, std::string_view value) {
  size_t from = 0;
  for (size_t i = 0; i <= value.size(); ++i) {
    const char* escape = nullptr;
    if (i < value.size()) {
      if (value[i] == '\'') escape = "%27";
      if (value[i] == ',') escape = "%2C";
      if (escape == nullptr) continue;
    }
    KxbString piece;
    if (i > from && (!kxburi::setSpan(&piece, value.substr(from, i - from)) ||
                     !kxburi::append(out, piece))) {
      return false;
    }
    if (escape != nullptr && !kxburi::append(out, escape)) return false;
    from = i + 1;
  }
  return true;
}

// `text` with "%27" turned back into "'" and "%2C" into ",".
bool decodeValue(std::string_view text, KxbString* out) {
  *out = literal("");
  size_t from = 0;
  KxbString piece;
  for (size_t i = 0; i + 3 <= text.size(); ++i) {
    const std::string_view code = text.substr(i, 3);
    const char* plain = code == "%27" ? "'" : code == "%2C" ? "," : nullptr;
    if (plain == nullptr) continue;
    if (!kxburi::setSpan(&piece, text.substr(from, i - from)) ||
        !kxburi::append(out, piece) || !kxburi::append(out, plain)) {
      return false;
    }
    i += 2;
    from = i + 1;
  }
  return kxburi::setSpan(&piece, text.substr(from)) && kxburi::append(out, piece);
}

bool isCheckedType(kxbType type) {
  return type == Boolean || type == Integer || type == Real || type == Date;
}

// The word message 1778 names a type by.
const char* typeWord(kxbType type) {
  switch (type) {
    case Boolean: return "boolean";
    case Integer: return "integer";
    case Real: return "real";
    default: return "date";
  }
}

// Whether `value` converts to `type` through the data variant; a date must
// also come out non-null.
bool convertsTo(const KxbString& value, kxbType type) {
  KxbDatavar probe;
  probe.assign(value);
  if (!probe.setType(type)) return false;
  return type != Date || !probe.asDate().isNull();
}

}  // namespace

// The table name is the path; the host is always null.
class KxWorkTableURIImpl : public kxburi::KxURIFields<KxWorkTableURI> {
 public:
  KxWorkTableURIImpl(const KxbString& name, int64_t start, int64_t count)
      : start_(start), count_(count) {
    scheme_ = literal("kxwt");
    path_ = name;
  }

  // "kxwt://" name, then "?" columns and "#" range when non-empty.
  KxbString getURIString() override {
    const std::string_view q = bytesOf(query_);
    const std::string_view f = bytesOf(fragment_);
    KxbString out;
    if (!kxburi::concat(&out, {"kxwt://", bytesOf(path_), q.empty() ? "" : "?",
                               q, f.empty() ? "" : "#", f})) {
      return KxbString();
    }
    return out;
  }

  // The same with the non-ASCII characters of the name escaped.
  KxbString getEscapedURIString() override {
    const std::string_view q = bytesOf(query_);
    const std::string_view f = bytesOf(fragment_);
    KxbString out;
    if (!kxburi::concatEscaped(&out, {{"kxwt://"},
                                      {bytesOf(path_), ""},
                                      {q.empty() ? "" : "?"},
                                      {q},
                                      {f.empty() ? "" : "#"},
                                      {f}})) {
      return KxbString();
    }
    return out;
  }

  bool addQueryValue(const KxbString& name, const KxbString& value,
                     KxbString* error) override {
    return addToQuery(name, value, error, true);
  }

  bool addColumn(const KxbString& name, const KxbString& value, kxbType type,
                 KxbString* error) override {
    if (isEmpty(name)) {
      report(error, kxb_get_message(kMessageSet, kEmptyName, kUnit, __LINE__),
             __LINE__);
      return false;
    }
    for (const Column* c = head_; c != nullptr; c = c->next) {
      if (c->name.compare(name, false) == 0) {
        report(error,
               kxb_get_message(kMessageSet, kDuplicate, kUnit, __LINE__,
                               "column", name.asCstr()),
               __LINE__);
        return false;
      }
    }
    if (!isEmpty(value) && isCheckedType(type) && !convertsTo(value, type)) {
      report(error,
             kxb_get_message(kMessageSet, kNotConvertible, kUnit, __LINE__,
                             typeWord(type)),
             __LINE__);
      return false;
    }
    Column* column = kxburi::poolNew<Column>();
    KxbString query = query_;
    bool ok = column != nullptr;
    if (ok) {
      column->name = name;
      column->value = value;
      column->type = type;
      ok = (isEmpty(query) || kxburi::append(&query, ",")) &&
           kxburi::append(&query, name);
      if (ok && !isEmpty(value)) {
        // Checked values are written as they are; string and untyped values
        // with their quotes and commas escaped.
        bool typed = type == String || isCheckedType(type);
        ok = kxburi::append(&query, "=") &&
             (!typed || kxburi::append(&query, kxbTypeToString(type))) &&
             kxburi::append(&query, "'") &&
             (isCheckedType(type) ? kxburi::append(&query, value)
                                  : appendQuotedValue(&query, bytesOf(value))) &&
             kxburi::append(&query, "'");
      }
    }
    if (!ok) {
      if (column != nullptr) {
        column->~Column();
        KxbMemPool::freeBytes(column);
      }
      report(error,
             kxb_get_message(kMessageSet, kCannotCreate, kUnit, __LINE__,
                             "(column descriptor)"),
             __LINE__);
      return false;
    }
    query_ = query;
    if (tail_ != nullptr) {
      tail_->next = column;
    } else {
      head_ = column;
    }
    tail_ = column;
    ++columnCount_;
    if (error != nullptr) error->setNull();
    return true;
  }

  bool getColumn(int index, KxbString* name, KxbString* value,
                 kxbType* type) const override {
    const Column* c = head_;
    for (int i = 0; c != nullptr && i < index; ++i) c = c->next;
    if (index < 0 || c == nullptr) {
      if (name != nullptr) name->setNull();
      if (value != nullptr) value->setNull();
      if (type != nullptr) *type = Unknown;
      return false;
    }
    if (name != nullptr) *name = c->name;
    if (value != nullptr) *value = c->value;
    if (type != nullptr) *type = c->type;
    return true;
  }

  int getColumnCount() const override { return columnCount_; }
  KxbString getTableName() const override { return path_; }

  bool getRange(int64_t* start, int64_t* count) const override {
    if (start_ < 0) {
      *start = 0;
      *count = 0;
      return false;
    }
    *start = start_;
    *count = count_;
    return true;
  }

  void setTableName(const KxbString& name) override { path_ = name; }

  // The range text: "start=N" and "count=N", joined by ",", each only when
  // set (not -1).
  bool setRange(int64_t start, int64_t count, KxbString* error) override {
    fragment_.setNull();
    start_ = start;
    count_ = count;
    KxbString fragment;
    KxbString piece;
    bool ok = true;
    if (start != -1) {
      ok = kxburi::format(&piece, "start=%I64i", start) &&
           kxburi::append(&fragment, piece);
    }
    if (ok && count != -1) {
      ok = kxburi::format(&piece, isEmpty(fragment) ? "count=%I64i" : ",count=%I64i",
                          count) &&
           kxburi::append(&fragment, piece);
    }
    if (!ok) {
      report(error,
             kxb_get_message(kMessageSet, kCannotCreate, kUnit, __LINE__,
                             "(URI fragment)"),
             __LINE__);
      return false;
    }
    fragment_ = fragment;
    return true;
  }

 protected:
  ~KxWorkTableURIImpl() override {
    Column* c = head_;
    while (c != nullptr) {
      Column* next = c->next;
      c->~Column();
      KxbMemPool::freeBytes(c);
      c = next;
    }
  }

 private:
  struct Column {
    KxbString name;
    KxbString value;
    kxbType type = Unknown;
    Column* next = nullptr;
  };

  int64_t start_;
  int64_t count_;
  int32_t columnCount_ = 0;
  Column* head_ = nullptr;
  Column* tail_ = nullptr;
};

KxWorkTableURI* getWorkTableURIFromComponents(const KxbString& name) {
  return getWorkTableURIFromComponents(name, -1, -1);
}

KxWorkTableURI* getWorkTableURIFromComponents(const KxbString& name,
                                              int64_t start, int64_t count) {
  KxWorkTableURIImpl* uri = kxburi::poolNew<KxWorkTableURIImpl>(name, start, count);
  if (uri != nullptr && !uri->setRange(start, count, nullptr)) {
    uri->release();
    return nullptr;
  }
  return uri;
}

namespace {

// Reads "start=N,count=N" pairs; an unknown key or a value that is not a
// number ends the list. False when memory ran out.
bool readRange(std::string_view text, int64_t* start, int64_t* count) {
  while (!text.empty()) {
    const size_t equals = text.find('=');
    if (equals == std::string_view::npos) return true;
    const std::string_view key = trim(text.substr(0, equals));
    const std::string_view after = text.substr(equals + 1);
    const size_t comma = after.find(',');
    KxbString valueText;
    if (!kxburi::setSpan(&valueText, after.substr(0, comma))) return false;
    bool failed = false;
    const int64_t value = valueText.asInt64(&failed);
    if (failed) return true;
    if (kxs_ascii::equalNoCase(key, "count")) {
      *count = value;
    } else if (kxs_ascii::equalNoCase(key, "start")) {
      *start = value;
    } else {
      return true;
    }
    if (comma == std::string_view::npos) return true;
    text = after.substr(comma + 1);
  }
  return true;
}

// Adds the column of one descriptor item; false when addColumn refused it
// or memory ran out.
bool addItem(KxWorkTableURI* uri, std::string_view item) {
  const size_t equals = item.find('=');
  KxbString name;
  if (equals == std::string_view::npos) {
    return kxburi::setSpan(&name, item) &&
           uri->addColumn(name, KxbString(), Unknown, nullptr);
  }
  if (!kxburi::setSpan(&name, trim(item.substr(0, equals)))) return false;
  const std::string_view text = trim(item.substr(equals + 1));
  const size_t quote = text.find('\'');
  kxbType type = Unknown;
  std::string_view raw;
  if (quote != std::string_view::npos && quote >= 1) {
    KxbString word;
    if (!kxburi::setSpan(&word, trim(text.substr(0, quote)))) return false;
    type = kxbTypeFromString(word.asCstr());
    // Between that "'" and the last character.
    if (text.size() > quote + 2) raw = text.substr(quote + 1, text.size() - quote - 2);
  } else if (quote == 0) {
    if (text.size() > 2) raw = text.substr(1, text.size() - 2);
  } else if (!text.empty()) {
    // No quotes at all: the first character goes, as it always has.
    raw = text.substr(1);
  }
  KxbString value;
  return decodeValue(raw, &value) && uri->addColumn(name, value, type, nullptr);
}

}  // namespace

KxURI* kxburi::newWorkTableURIFromText(const KxbString& text) {
  std::string_view t = trim(bytesOf(text));
  if (t.substr(0, 7) == "kxwt://") t.remove_prefix(7);
  std::string_view name = trim(t);
  std::string_view columns;
  std::string_view range;
  const size_t question = t.find('?');
  if (question != std::string_view::npos) {
    name = trim(t.substr(0, question));
    const std::string_view rest = t.substr(question + 1);
    const size_t hash = rest.find('#');
    if (hash != std::string_view::npos) {
      columns = trim(rest.substr(0, hash));
      range = rest.substr(hash + 1);
    } else {
      // Without "#" the rest is read both ways.
      columns = trim(rest);
      range = rest;
    }
  } else if (const size_t hash = t.find('#'); hash != std::string_view::npos) {
    name = trim(t.substr(0, hash));
    range = t.substr(hash + 1);
  }
  int64_t start = -1;
  int64_t count = -1;
  if (!readRange(range, &start, &count)) return nullptr;

  KxbString tableName;
  if (!setSpan(&tableName, name)) return nullptr;
  KxWorkTableURI* uri = getWorkTableURIFromComponents(tableName, start, count);
  if (uri == nullptr) return nullptr;
  while (!columns.empty()) {
    const size_t comma = columns.find(',');
    if (!addItem(uri, trim(columns.substr(0, comma)))) {
      uri->release();
      return nullptr;
    }
    if (comma == std::string_view::npos) break;
    columns.remove_prefix(comma + 1);
    // A trailing "," leaves an empty item, refused like any other.
    if (columns.empty() && !addItem(uri, columns)) {
      uri->release();
      return nullptr;
    }
  }
  return uri;
}
