// The message catalogue: loads the texts of one locale into memory and formats
// them on request.
//
// A catalogue is built off to the side and swapped in under the exclusive
// lock, so a reader never sees a half-loaded locale and a failed load leaves
// the one in use untouched.

#include "kxmsg.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <set>
#include <shared_mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "kx_fault.h"
#include "kxlog.h"
#include "kxs_ascii.h"
#include "kxs_format.h"
#include "np_fio.h"
#include "np_mem.h"

namespace {

constexpr const char* kUnit = "kxmsg";
constexpr size_t kMaxFileBytes = 4 << 20;
constexpr size_t kMaxLocaleBytes = 64;

// The files of a locale directory, in the order of Catalogue::texts.
enum FileIndex { kBaseServices = 0, kEventPlugin, kFragments, kFileCount };
constexpr const char* kFileNames[kFileCount] = {
    "base_services.msg", "event_plugin.msg", "fragments.msg"};

struct Catalogue {
  std::string locale;
  std::unordered_map<int, std::string> texts[kFileCount];
};

struct State {
  std::shared_mutex mutex;
  std::unique_ptr<Catalogue> current;  // null until opened
  int openCount = 0;
  std::string chosenLocale;  // set by kxmsg112_set_locale; "" = environment
  // Every locale name handed out by kxmsg112_get_locale, kept for the life of
  // the process so that the returned pointers stay valid.
  std::set<std::string> localeNames;
  char errorText[1024] = "";
};

State& state() {
  static State* s = new State;
  return *s;
}

kxLogger* logger() {
  static kxLogger* l = kxlogGetLogger("KX.Base.Messages");
  return l;
}

const char* environment(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr && *value != '\0' ? value : nullptr;
}

// The locale in force when nothing is loaded. Caller holds the lock.
std::string defaultLocaleLocked(const State& s) {
  if (!s.chosenLocale.empty()) return s.chosenLocale;
  const char* env = environment("KAXEL_ERROR_LOCALE");
  return env != nullptr ? env : "en";
}

// A locale names one directory below the location: no separators, no dots
// alone, nothing long.
bool validLocale(std::string_view locale) {
  if (locale.empty() || locale.size() > kMaxLocaleBytes) return false;
  if (locale == "." || locale == "..") return false;
  return locale.find('/') == std::string_view::npos;
}

// Result of reading one catalogue file.
enum class ReadResult { kOk, kMissing, kFailed };

ReadResult readFile(const std::string& path, std::string* contents,
                    std::string* error) {
  char* data = nullptr;
  size_t size = 0;
  const int rc = np_fio_read_file(path.c_str(), kMaxFileBytes, &data, &size);
  if (rc == ENOENT) return ReadResult::kMissing;
  if (rc == EFBIG) {
    *error = "Message file " + path + " is too large";
    return ReadResult::kFailed;
  }
  if (rc != 0) {
    char description[256];
    *error = "Cannot read message file " + path + ": " +
             np_fio_errdesc(rc, description, sizeof description);
    return ReadResult::kFailed;
  }
  std::unique_ptr<char, void (*)(void*)> owner(data, np_mem_free);
  contents->assign(data, size);
  return ReadResult::kOk;
}

bool validUtf8(std::string_view text) {
  size_t i = 0;
  while (i < text.size()) {
    unsigned char c = static_cast<unsigned char>(text[i]);
    size_t extra;
    unsigned int code;
    if (c < 0x80) {
      ++i;
      continue;
    } else if ((c & 0xE0) == 0xC0) {
      extra = 1;
      code = c & 0x1F;
    } else if ((c & 0xF0) == 0xE0) {
      extra = 2;
      code = c & 0x0F;
    } else if ((c & 0xF8) == 0xF0) {
      extra = 3;
      code = c & 0x07;
    } else {
      return false;
    }
    if (i + extra >= text.size()) return false;
    for (size_t k = 1; k <= extra; ++k) {
      unsigned char t = static_cast<unsigned char>(text[i + k]);
      if ((t & 0xC0) != 0x80) return false;
      code = (code << 6) | (t & 0x3F);
    }
    // Overlong forms, surrogates and values past U+10FFFF.
    static const unsigned int kMin[4] = {0, 0x80, 0x800, 0x10000};
    if (code < kMin[extra] || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) {
      return false;
    }
    i += extra + 1;
  }
  return true;
}

// "\n", "\t" and "\\" stand for a line break, a tab and a backslash; any other
// backslash stays as written.
std::string unescape(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\\' && i + 1 < text.size()) {
      char next = text[i + 1];
      if (next == 'n' || next == 't' || next == '\\') {
        out += next == 'n' ? '\n' : next == 't' ? '\t' : '\\';
        ++i;
        continue;
      }
    }
    out += text[i];
  }
  return out;
}

bool isBlank(char c) { return c == ' ' || c == '\t'; }

// Parses one message line into number and text; false when it is malformed.
bool parseLine(std::string_view line, int* number, std::string_view* text) {
  size_t i = 0;
  long value = 0;
  while (i < line.size() && line[i] >= '0' && line[i] <= '9') {
    value = value * 10 + (line[i] - '0');
    if (value > 0x7FFFFFFF) return false;
    ++i;
  }
  if (i == 0 || i == line.size() || !isBlank(line[i])) return false;
  while (i < line.size() && isBlank(line[i])) ++i;
  if (i == line.size()) return false;
  *number = static_cast<int>(value);
  *text = line.substr(i);
  return true;
}

// Fills `texts` from the contents of `path`. A malformed line (no number, no
// text, bad UTF-8) or a second text for a number is skipped with a warning on
// the "KX.Base.Messages" logger: one bad line must not cost the whole
// catalogue.
void parseFile(const std::string& path, const std::string& contents,
               std::unordered_map<int, std::string>* texts) {
  size_t start = 0;
  int lineNumber = 0;
  while (start < contents.size()) {
    size_t end = contents.find('\n', start);
    if (end == std::string::npos) end = contents.size();
    std::string_view line(contents.data() + start, end - start);
    start = end + 1;
    ++lineNumber;
    while (!line.empty() && (line.back() == '\r' || isBlank(line.back()))) {
      line.remove_suffix(1);
    }
    size_t first = 0;
    while (first < line.size() && isBlank(line[first])) ++first;
    if (first == line.size() || line[first] == '#') continue;

    int number = 0;
    std::string_view text;
    if (!parseLine(line.substr(first), &number, &text) || !validUtf8(text)) {
      kxlogWrite(logger(), KXLOG_RECOVERABLE, kUnit, __LINE__,
                 "Skipping malformed line %d of message file '%s'", lineNumber,
                 path.c_str());
      continue;
    }
    if (!texts->emplace(number, unescape(text)).second) {
      kxlogWrite(logger(), KXLOG_RECOVERABLE, kUnit, __LINE__,
                 "Skipping second text for message %d at line %d of message file '%s'",
                 number, lineNumber, path.c_str());
    }
  }
}

// Loads <location>/<locale>. Null with *error set when the location is unset,
// no catalogue file exists there, or one cannot be read.
std::unique_ptr<Catalogue> load(const std::string& locale, std::string* error) {
  const char* location = environment("KAXEL_ERROR_LOCATION");
  if (location == nullptr) {
    *error = "KAXEL_ERROR_LOCATION is not set: the message catalogue cannot be found";
    return nullptr;
  }
  if (!validLocale(locale)) {
    *error = "Invalid message locale '" + locale + "'";
    return nullptr;
  }
  auto catalogue = std::make_unique<Catalogue>();
  catalogue->locale = locale;
  std::string directory = std::string(location) + "/" + locale;
  int found = 0;
  for (int i = 0; i < kFileCount; ++i) {
    std::string path = directory + "/" + kFileNames[i];
    std::string contents;
    switch (readFile(path, &contents, error)) {
      case ReadResult::kMissing:
        continue;
      case ReadResult::kFailed:
        return nullptr;
      case ReadResult::kOk:
        ++found;
        parseFile(path, contents, &catalogue->texts[i]);
        break;
    }
  }
  if (found == 0) {
    *error = "Message catalogue not found in " + directory;
    return nullptr;
  }
  return catalogue;
}

void setErrorLocked(State& s, const std::string& text) {
  std::snprintf(s.errorText, sizeof s.errorText, "%s", text.c_str());
}

// Loads the catalogue of the locale in force when nothing is loaded; false
// with the error text set when that fails. Caller holds the exclusive lock.
bool openLocked(State& s) {
  if (s.current) return true;
  std::string error;
  try {
    s.current = load(defaultLocaleLocked(s), &error);
  } catch (const std::bad_alloc&) {
    np_mem_note_failure();
    error = "Out of memory while loading the message catalogue";
  }
  if (!s.current) setErrorLocked(s, error);
  return s.current != nullptr;
}

// Opens the catalogue on first use, whoever comes first.
bool ensureOpen(State& s) {
  {
    std::shared_lock lock(s.mutex);
    if (s.current) return true;
  }
  std::unique_lock lock(s.mutex);
  return openLocked(s);
}

int fileOfSet(const char* set) {
  if (set == nullptr) return -1;
  if (kxs_ascii::equalNoCase(set, "Base Services")) return kBaseServices;
  if (kxs_ascii::equalNoCase(set, "Event Plugin")) return kEventPlugin;
  return -1;
}

// Formats text `number` of file `file` into the buffer under the shared lock.
// False when the catalogue lacks it (buffer untouched).
bool formatText(State& s, int file, int number, char* buffer, size_t size,
                va_list args) {
  std::shared_lock lock(s.mutex);
  if (!s.current || file < 0) return false;
  const auto& texts = s.current->texts[file];
  auto it = texts.find(number);
  if (it == texts.end()) return false;
  kxs_vformat_buffer(buffer, size, it->second.c_str(), args);
  return true;
}

}  // namespace

extern "C" int kxmsg112_initialize(const char** errorText) {
  State& s = state();
  if (errorText != nullptr) *errorText = nullptr;
  std::unique_lock lock(s.mutex);
  if (!openLocked(s)) {
    if (errorText != nullptr) *errorText = s.errorText;
    return 1;
  }
  ++s.openCount;
  return 0;
}

extern "C" void kxmsg112_terminate(void) {
  State& s = state();
  std::unique_ptr<Catalogue> old;
  std::unique_lock lock(s.mutex);
  if (s.openCount > 0 && --s.openCount > 0) return;
  old = std::move(s.current);
  s.chosenLocale.clear();
}

extern "C" int kxmsg112_set_locale(const char* locale) {
  if (locale == nullptr || !validLocale(locale)) return 1;
  State& s = state();
  try {
    std::string error;
    std::unique_ptr<Catalogue> fresh = load(locale, &error);
    std::unique_lock lock(s.mutex);
    if (!fresh) {
      setErrorLocked(s, error);
      return 1;
    }
    s.chosenLocale = locale;
    fresh.swap(s.current);
    lock.unlock();
    return 0;  // `fresh` now holds the old catalogue and frees it here
  } catch (const std::bad_alloc&) {
    np_mem_note_failure();
    return 1;
  }
}

extern "C" const char* kxmsg112_get_locale(void) {
  State& s = state();
  std::unique_lock lock(s.mutex);
  try {
    std::string locale = s.current ? s.current->locale : defaultLocaleLocked(s);
    return s.localeNames.insert(std::move(locale)).first->c_str();
  } catch (const std::bad_alloc&) {
    np_mem_note_failure();
    return "en";
  }
}

extern "C" int kxmsg112_get_vfragment(int id, char* buffer, size_t size,
                                      va_list args) {
  if (buffer == nullptr || size == 0) return 1;
  State& s = state();
  if (!ensureOpen(s)) {
    std::shared_lock lock(s.mutex);
    kxs_format_buffer(buffer, size, "%s", s.errorText);
    return 1;
  }
  if (formatText(s, kFragments, id, buffer, size, args)) return 0;
  kxs_format_buffer(buffer, size, "Message fragment %d not found", id);
  return 1;
}

extern "C" int kxmsg112_get_fragment(int id, char* buffer, size_t size, ...) {
  va_list args;
  va_start(args, size);
  int result = kxmsg112_get_vfragment(id, buffer, size, args);
  va_end(args);
  return result;
}

extern "C" int kxmsg112_get_vmessage(const char* set, int number,
                                     const char* unit, int line, char* buffer,
                                     size_t size, va_list args) {
  if (buffer == nullptr || size == 0) return 1;
  State& s = state();
  if (ensureOpen(s) && formatText(s, fileOfSet(set), number, buffer, size, args)) {
    return 0;
  }
  kxs_format_buffer(buffer, size, "%s message %d (%s:%d)",
                    set != nullptr ? set : "(no set)", number,
                    unit != nullptr ? unit : "", line);
  return 1;
}
