// Where each option of the effective set came from.
#include "startup/kxbstartup_origin.h"

#include <algorithm>
#include <cstdio>
#include <mutex>
#include <new>
#include <string>
#include <unordered_map>

#include "kxbconfigoptions.h"
#include "kxbstartup.h"
#include "np_mem.h"

namespace {

struct Origin {
  KxbString key;  // as recorded
  int kind = KXB_ORIGIN_PROGRAM;
  int line = 0;
  KxbString source;
  KxbString value;  // the value the source set
};

// Records are found by the key folded to lower case (ASCII letters only for
// an ASCII key, Unicode lower case otherwise). Two keys the option set takes
// as equal but that fold apart (only possible outside ASCII, "STRASSE" and
// "Straße") are matched by a walk that compares as the set does.
struct Records {
  std::mutex mutex;
  std::unordered_map<std::string, Origin> byKey;
  size_t nonAsciiKeys = 0;
};

Records& records() {
  static Records* r = new Records;
  return *r;
}

// The folded form of `key`; *ascii tells whether it was plain ASCII.
std::string fold(const KxbString& key, bool* ascii) {
  const char* text = key.isNull() ? "" : key.asCstr();
  std::string folded(text);
  *ascii = true;
  for (char& c : folded) {
    if (static_cast<unsigned char>(c) >= 0x80) *ascii = false;
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + 32);
  }
  if (!*ascii) {
    KxbString lowered = key;
    if (lowered.lowercase() && !lowered.isNull()) folded = lowered.asCstr();
  }
  return folded;
}

// Null and empty differ; otherwise byte for byte.
bool sameValue(const KxbString& a, const KxbString& b) {
  if (a.isNull() || b.isNull()) return a.isNull() && b.isNull();
  return a.compare(b, true) == 0;
}

// Caller holds the mutex.
void recordLocked(Records& r, const KxbString& key, const KxbString& value,
                  int kind, const KxbString& source, int line) {
  bool ascii = true;
  auto [entry, added] = r.byKey.try_emplace(fold(key, &ascii));
  if (added && !ascii) ++r.nonAsciiKeys;
  Origin& origin = entry->second;
  origin.key = key;
  origin.kind = kind;
  origin.line = line;
  origin.source = source;
  origin.value = value;
}

// Caller holds the mutex. Null when there is no record.
const Origin* findLocked(const Records& r, const KxbString& key) {
  bool ascii = true;
  auto found = r.byKey.find(fold(key, &ascii));
  if (found != r.byKey.end()) return &found->second;
  if (r.nonAsciiKeys == 0) return nullptr;
  for (const auto& [folded, origin] : r.byKey) {
    if (origin.key.compare(key, false) == 0) return &origin;
  }
  return nullptr;
}

}  // namespace

void kxbOriginRecord(const KxbString& key, const KxbString& value, int kind,
                     const KxbString& source, int line) {
  Records& r = records();
  try {
    std::lock_guard<std::mutex> hold(r.mutex);
    recordLocked(r, key, value, kind, source, line);
  } catch (const std::bad_alloc&) {
    np_mem_note_failure();
  }
}

void kxbOriginRecordFile(KxbConfigFile& file,
                         const std::vector<KxbConfigFileSpan>& spans,
                         int kind) {
  KxbConfigFileData* model = KxbConfigFileAccess::data(file);
  if (model == nullptr || spans.empty()) return;
  Records& r = records();
  try {
    std::lock_guard<std::mutex> hold(r.mutex);
    for (const auto& [key, entry] : model->entries) {
      int32_t line = kxbConfigEntryTextLine(entry);
      // The last span starting at or before the line holds it.
      auto span = std::upper_bound(
          spans.begin(), spans.end(), line,
          [](int32_t l, const KxbConfigFileSpan& s) { return l < s.firstLine; });
      if (span == spans.begin()) continue;
      --span;
      if (line > span->lastLine) continue;
      recordLocked(r, key, entry.value, kind, span->path,
                   line - span->firstLine + 1);
    }
  } catch (const std::bad_alloc&) {
    np_mem_note_failure();
  }
}

void kxbOriginForget() {
  Records& r = records();
  std::lock_guard<std::mutex> hold(r.mutex);
  r.byKey.clear();
  r.nonAsciiKeys = 0;
}

extern "C" int kxbStartupGetOptionOrigin(const char* key,
                                         KxbOptionOrigin* origin) {
  if (key == nullptr || origin == nullptr) return 1;
  KxbConfigOptions* options = kxbGetConfigOptions(KxbString("", true));
  if (options == nullptr) return 1;
  KxbString name(key);
  KxbString current;
  if (!options->getOption(name, &current, false)) return 2;
  KxbOptionOrigin found{};
  Records& r = records();
  {
    std::lock_guard<std::mutex> hold(r.mutex);
    const Origin* record = findLocked(r, name);
    if (record != nullptr && sameValue(record->value, current)) {
      found.kind = record->kind;
      found.line = record->line;
      std::snprintf(found.source, sizeof found.source, "%s",
                    record->source.isNull() ? "" : record->source.asCstr());
    }
  }
  *origin = found;
  return 0;
}

extern "C" int kxbStartupDescribeOptionOrigin(const KxbOptionOrigin* origin,
                                              char* buffer, int size) {
  char scratch[1];
  if (buffer == nullptr || size <= 0) {
    buffer = scratch;
    size = 1;
  }
  if (origin == nullptr) {
    buffer[0] = '\0';
    return 0;
  }
  const char* source = origin->source;
  int length = 0;
  switch (origin->kind) {
    case KXB_ORIGIN_FILE:
      length = std::snprintf(buffer, static_cast<size_t>(size),
                             "file %s, line %d", source, origin->line);
      break;
    case KXB_ORIGIN_MACROS:
      length = std::snprintf(buffer, static_cast<size_t>(size),
                             "macros directory file %s, line %d", source,
                             origin->line);
      break;
    case KXB_ORIGIN_ENVIRONMENT:
      length = std::snprintf(buffer, static_cast<size_t>(size), "environment");
      break;
    case KXB_ORIGIN_QUEUED:
      length = std::snprintf(buffer, static_cast<size_t>(size), "queued option");
      break;
    case KXB_ORIGIN_DERIVED:
      length = std::snprintf(buffer, static_cast<size_t>(size),
                             "start-up step %d (%s)", origin->line, source);
      break;
    case KXB_ORIGIN_SET:
      length = std::snprintf(buffer, static_cast<size_t>(size),
                             "set after start-up");
      break;
    default:
      length = std::snprintf(buffer, static_cast<size_t>(size),
                             "set by the program");
      break;
  }
  return length < 0 ? 0 : length;
}
