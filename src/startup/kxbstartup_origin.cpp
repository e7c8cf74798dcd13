// Where each option of the effective set came from.
#include "startup/kxbstartup_origin.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <mutex>
#include <new>
#include <string>

#include "kxbconfigoptions.h"
#include "kxbstartup.h"

namespace {

struct Origin {
  int kind = KXB_ORIGIN_PROGRAM;
  int line = 0;
  KxbString source;
  KxbString value;  // the value the source set
};

struct Records {
  std::mutex mutex;
  std::map<KxbString, Origin, KxbStringLessInsensitive> byKey;
};

Records& records() {
  static Records* r = new Records;
  return *r;
}

// Null and empty differ; otherwise byte for byte.
bool sameValue(const KxbString& a, const KxbString& b) {
  if (a.isNull() || b.isNull()) return a.isNull() && b.isNull();
  return a.compare(b, true) == 0;
}

// Caller holds the mutex.
void recordLocked(Records& r, const KxbString& key, const KxbString& value,
                  int kind, const KxbString& source, int line) {
  Origin& origin = r.byKey[key];
  origin.kind = kind;
  origin.line = line;
  origin.source = source;
  origin.value = value;
}

}  // namespace

void kxbOriginRecord(const KxbString& key, const KxbString& value, int kind,
                     const KxbString& source, int line) {
  Records& r = records();
  try {
    std::lock_guard<std::mutex> hold(r.mutex);
    recordLocked(r, key, value, kind, source, line);
  } catch (const std::bad_alloc&) {
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
  }
}

void kxbOriginForget() {
  Records& r = records();
  std::lock_guard<std::mutex> hold(r.mutex);
  r.byKey.clear();
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
    auto record = r.byKey.find(name);
    if (record != r.byKey.end() && sameValue(record->second.value, current)) {
      found.kind = record->second.kind;
      found.line = record->second.line;
      std::snprintf(found.source, sizeof found.source, "%s",
                    record->second.source.isNull()
                        ? ""
                        : record->second.source.asCstr());
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
