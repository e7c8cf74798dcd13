// Logging: the configuration file, read through the file layer, parsed in
// full and only then installed, so that a bad file changes nothing.
#include <cerrno>
#include <cstdio>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <unordered_map>

#include "kxlog.h"
#include "kxlog_internal.h"
#include "np_fio.h"
#include "np_mem.h"

namespace kxlog_detail {
namespace {

constexpr size_t kMaxConfigBytes = 1 << 20;

thread_local char t_lastError[1024];

void setLastError(const std::string& text) {
  std::snprintf(t_lastError, sizeof t_lastError, "%s", text.c_str());
}

struct Config {
  int rootLevel = kDefaultRootLevel;
  std::unordered_map<std::string, int> levels;
  Destination destination = Destination::kStderr;
  std::string path;
  int destinationLine = 0;
  std::string pattern = kDefaultPattern;
};

std::string_view trim(std::string_view s) {
  while (!s.empty() && (s.front() == ' ' || s.front() == '\t')) s.remove_prefix(1);
  while (!s.empty() && (s.back() == ' ' || s.back() == '\t' || s.back() == '\r')) {
    s.remove_suffix(1);
  }
  return s;
}

bool parseLevel(std::string_view text, int* level) {
  if (text.size() != 1 || text[0] < '1' || text[0] > '5') return false;
  *level = text[0] - '0';
  return true;
}

// Reads the whole file; false with *error set on failure.
bool readFile(const char* path, std::string* contents, std::string* error) {
  char* data = nullptr;
  size_t size = 0;
  const int rc = np_fio_read_file(path, kMaxConfigBytes, &data, &size);
  if (rc == EFBIG) {
    *error = std::string(path) + ": file too large for a logging configuration";
    return false;
  }
  if (rc != 0) {
    char description[256];
    *error = std::string(path) + ": " +
             np_fio_errdesc(rc, description, sizeof description);
    return false;
  }
  std::unique_ptr<char, void (*)(void*)> owner(data, np_mem_free);
  contents->assign(data, size);
  return true;
}

// Parses the configuration text; on failure *error names the file and line.
bool parseConfig(const char* path, const std::string& text, Config* config,
                 std::string* error) {
  size_t start = 0;
  int lineNumber = 0;
  while (start <= text.size()) {
    size_t end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    std::string_view line = trim(std::string_view(text).substr(start, end - start));
    start = end + 1;
    ++lineNumber;
    if (line.empty() || line.front() == '#') continue;

    auto fail = [&](const std::string& reason) {
      *error = std::string(path) + ":" + std::to_string(lineNumber) + ": " + reason;
      return false;
    };
    size_t eq = line.find('=');
    if (eq == std::string_view::npos) return fail("expected 'key = value'");
    std::string_view key = trim(line.substr(0, eq));
    std::string_view value = trim(line.substr(eq + 1));
    int level = 0;
    if (key == "level") {
      if (!parseLevel(value, &level)) {
        return fail("level must be a number from 1 to 5, not '" + std::string(value) + "'");
      }
      config->rootLevel = level;
    } else if (key.substr(0, 6) == "level.") {
      std::string_view name = key.substr(6);
      if (name.empty()) return fail("missing logger name after 'level.'");
      if (!parseLevel(value, &level)) {
        return fail("level must be a number from 1 to 5, not '" + std::string(value) + "'");
      }
      config->levels[std::string(name)] = level;
    } else if (key == "destination") {
      if (value == "stderr") {
        config->destination = Destination::kStderr;
      } else if (value == "stdout") {
        config->destination = Destination::kStdout;
      } else if (value.substr(0, 5) == "file:" && !trim(value.substr(5)).empty()) {
        config->destination = Destination::kFile;
        config->path = std::string(trim(value.substr(5)));
        config->destinationLine = lineNumber;
      } else {
        return fail("destination must be stderr, stdout or file:<path>, not '" +
                    std::string(value) + "'");
      }
    } else if (key == "pattern") {
      if (value.empty()) return fail("empty pattern");
      config->pattern = std::string(value);
    } else {
      return fail("unknown key '" + std::string(key) + "'");
    }
  }
  return true;
}

// Installs a parsed configuration; cannot fail once the sink exists.
void commit(Config& config, std::shared_ptr<spdlog::sinks::sink> sink) {
  replaceLevels(config.rootLevel, &config.levels);
  replaceSink(std::move(sink));
}

}  // namespace

int configureDefault() {
  Config config;
  std::string error;
  auto sink = makeSink(config.destination, config.path, config.pattern, &error);
  if (!sink) {
    setLastError("default logging: " + error);
    return 1;
  }
  commit(config, std::move(sink));
  return 0;
}

}  // namespace kxlog_detail

extern "C" int kxlogConfigure(const char* path) {
  using namespace kxlog_detail;
  t_lastError[0] = '\0';
  try {
    if (path == nullptr) return configureDefault();
    if (*path == '\0') {
      setLastError("logging configuration: empty file name");
      return 1;
    }
    std::string text;
    std::string error;
    Config config;
    if (!readFile(path, &text, &error) || !parseConfig(path, text, &config, &error)) {
      setLastError(error);
      return 1;
    }
    auto sink = makeSink(config.destination, config.path, config.pattern, &error);
    if (!sink) {
      setLastError(std::string(path) + ":" + std::to_string(config.destinationLine) +
                   ": " + error);
      return 1;
    }
    commit(config, std::move(sink));
    return 0;
  } catch (const std::bad_alloc&) {
    np_mem_note_failure();
    setLastError("logging configuration: out of memory");
    return 1;
  }
}

extern "C" const char* kxlogLastError(void) { return kxlog_detail::t_lastError; }
