// Logging: logger registry with inherited levels, configuration and the spdlog
// destination.
//
// Levels live in one table keyed by logger name, guarded by a reader-writer
// lock. Every change bumps a generation counter; each logger caches its
// effective level together with the generation it was computed for, packed in
// one atomic word, so the common kxlogIsEnabled is two atomic loads.

#include "kxlog.h"

#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <shared_mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

#include <spdlog/details/log_msg.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/sink.h>
#include <spdlog/sinks/stdout_sinks.h>

#include "kx_fault.h"
#include "kxs_format.h"

struct kxLogger {
  explicit kxLogger(std::string n) : name(std::move(n)) {}
  const std::string name;  // "" for the root
  // (generation << 8) | effective level; generation 0 never matches.
  mutable std::atomic<uint64_t> cache{0};
};

namespace {

constexpr int kDefaultRootLevel = KXLOG_NOTABLE;
constexpr const char* kDefaultPattern = "%Y-%m-%d %H:%M:%S.%e [%n] %k %@ %v";
constexpr size_t kMaxConfigBytes = 1 << 20;
constexpr size_t kMaxRecordBytes = 64 * 1024;

// ---------------------------------------------------------------------------
// Levels

struct Registry {
  std::shared_mutex mutex;
  std::unordered_map<std::string, kxLogger*> loggers;  // never freed
  std::unordered_map<std::string, int> levels;         // own levels
  int rootLevel = kDefaultRootLevel;
  // Bumped under the exclusive lock whenever a level changes.
  std::atomic<uint64_t> generation{1};
  kxLogger root{std::string()};
};

// Built on first use and never destroyed, so static objects of other units
// may log during their own construction and destruction.
Registry& registry() {
  static Registry* r = new Registry;
  return *r;
}

// The level `name` inherits: its own, else its nearest ancestor's, else the
// root's. Caller holds the registry lock.
int computeLevelLocked(const Registry& r, const std::string& name) {
  if (name.empty()) return r.rootLevel;
  std::string_view probe(name);
  while (!probe.empty()) {
    auto it = r.levels.find(std::string(probe));
    if (it != r.levels.end()) return it->second;
    size_t dot = probe.rfind('.');
    if (dot == std::string_view::npos) break;
    probe = probe.substr(0, dot);
  }
  return r.rootLevel;
}

int effectiveLevel(const kxLogger* logger) {
  Registry& r = registry();
  uint64_t generation = r.generation.load(std::memory_order_acquire);
  uint64_t cached = logger->cache.load(std::memory_order_acquire);
  if ((cached >> 8) == generation) return static_cast<int>(cached & 0xff);
  std::shared_lock lock(r.mutex);
  generation = r.generation.load(std::memory_order_relaxed);
  int level = computeLevelLocked(r, logger->name);
  // A racing thread may store an older pair after us; the pair stays
  // consistent and the next call simply recomputes.
  logger->cache.store((generation << 8) | static_cast<uint64_t>(level),
                      std::memory_order_release);
  return level;
}

const kxLogger* orRoot(const kxLogger* logger) {
  return logger != nullptr ? logger : &registry().root;
}

int clampLevel(int level) {
  if (level < KXLOG_TRACE) return KXLOG_TRACE;
  if (level > KXLOG_ERROR) return KXLOG_ERROR;
  return level;
}

// ---------------------------------------------------------------------------
// Destination

spdlog::level::level_enum toSpdlog(int level) {
  switch (level) {
    case KXLOG_TRACE: return spdlog::level::trace;
    case KXLOG_PROGRESS: return spdlog::level::debug;
    case KXLOG_NOTABLE: return spdlog::level::info;
    case KXLOG_RECOVERABLE: return spdlog::level::warn;
    default: return spdlog::level::err;
  }
}

// "%k" in a pattern: this library's name for the record's level.
class LevelFlag : public spdlog::custom_flag_formatter {
 public:
  void format(const spdlog::details::log_msg& msg, const std::tm&,
              spdlog::memory_buf_t& dest) override {
    std::string_view word;
    switch (msg.level) {
      case spdlog::level::trace: word = "trace"; break;
      case spdlog::level::debug: word = "progress"; break;
      case spdlog::level::info: word = "notable"; break;
      case spdlog::level::warn: word = "recoverable"; break;
      default: word = "error"; break;
    }
    dest.append(word.data(), word.data() + word.size());
  }
  std::unique_ptr<custom_flag_formatter> clone() const override {
    return std::make_unique<LevelFlag>();
  }
};

struct Output {
  std::shared_mutex mutex;
  std::shared_ptr<spdlog::sinks::sink> sink;  // configured destination
  int initCount = 0;
  kxlogCaptureFn capture = nullptr;
  void* captureContext = nullptr;
  // True when a record has somewhere to go (an active sink or a capture),
  // so that records nobody receives are not even formatted.
  std::atomic<bool> anyone{false};
};

Output& output() {
  static Output* o = new Output;
  return *o;
}

// Caller holds the output lock exclusively.
void refreshAnyoneLocked(Output& o) {
  o.anyone.store(o.capture != nullptr || (o.initCount > 0 && o.sink),
                 std::memory_order_release);
}

// The descriptor of a log file must not leak into programs we start.
void markCloseOnExec(const spdlog::filename_t&, std::FILE* file) {
  int fd = fileno(file);
  if (fd < 0) return;
  int flags = fcntl(fd, F_GETFD);
  if (flags >= 0) fcntl(fd, F_SETFD, flags | FD_CLOEXEC);
}

enum class Destination { kStderr, kStdout, kFile };

// Builds a sink with its pattern; null and *error set on failure.
std::shared_ptr<spdlog::sinks::sink> makeSink(Destination destination,
                                              const std::string& path,
                                              const std::string& pattern,
                                              std::string* error) {
  try {
    std::shared_ptr<spdlog::sinks::sink> sink;
    switch (destination) {
      case Destination::kStderr:
        sink = std::make_shared<spdlog::sinks::stderr_sink_mt>();
        break;
      case Destination::kStdout:
        sink = std::make_shared<spdlog::sinks::stdout_sink_mt>();
        break;
      case Destination::kFile: {
        if (kxFaultHit(KX_FAULT_OPEN)) {
          *error = "cannot open log file '" + path + "': " + std::strerror(EACCES);
          return nullptr;
        }
        spdlog::file_event_handlers handlers;
        handlers.after_open = markCloseOnExec;
        sink = std::make_shared<spdlog::sinks::basic_file_sink_mt>(
            path, /*truncate=*/false, handlers);
        break;
      }
    }
    auto formatter = std::make_unique<spdlog::pattern_formatter>();
    formatter->add_flag<LevelFlag>('k').set_pattern(pattern);
    sink->set_formatter(std::move(formatter));
    sink->set_level(spdlog::level::trace);
    return sink;
  } catch (const spdlog::spdlog_ex& e) {
    *error = "cannot open log file '" + path + "': " + e.what();
  } catch (const std::bad_alloc&) {
    *error = "out of memory";
  } catch (const std::exception& e) {
    *error = e.what();
  }
  return nullptr;
}

// ---------------------------------------------------------------------------
// Configuration

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
  if (kxFaultHit(KX_FAULT_OPEN)) {
    *error = std::string(path) + ": " + std::strerror(EACCES);
    return false;
  }
  int fd;
  do {
    fd = open(path, O_RDONLY | O_CLOEXEC);
  } while (fd < 0 && errno == EINTR);
  if (fd < 0) {
    *error = std::string(path) + ": " + std::strerror(errno);
    return false;
  }
  char chunk[4096];
  bool ok = true;
  for (;;) {
    ssize_t n = read(fd, chunk, sizeof chunk);
    if (n < 0) {
      if (errno == EINTR) continue;
      *error = std::string(path) + ": " + std::strerror(errno);
      ok = false;
      break;
    }
    if (n == 0) break;
    if (contents->size() + static_cast<size_t>(n) > kMaxConfigBytes) {
      *error = std::string(path) + ": file too large for a logging configuration";
      ok = false;
      break;
    }
    contents->append(chunk, static_cast<size_t>(n));
  }
  close(fd);
  return ok;
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
  Registry& r = registry();
  {
    std::unique_lock lock(r.mutex);
    r.levels.swap(config.levels);
    r.rootLevel = config.rootLevel;
    r.generation.fetch_add(1, std::memory_order_acq_rel);
  }
  Output& o = output();
  std::shared_ptr<spdlog::sinks::sink> old;
  {
    std::unique_lock lock(o.mutex);
    old = std::move(o.sink);
    o.sink = std::move(sink);
    refreshAnyoneLocked(o);
  }
  if (old) {
    try {
      old->flush();
    } catch (...) {
    }
  }
}

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

// ---------------------------------------------------------------------------
// Records

void deliver(const kxLogger* logger, int level, const char* unit, int line,
             const char* text, size_t bytes) {
  Output& o = output();
  std::shared_lock lock(o.mutex);
  if (o.capture != nullptr) {
    o.capture(o.captureContext, logger->name.c_str(), level, unit, line, text);
  }
  if (o.initCount == 0 || !o.sink) return;
  std::string_view name = logger->name.empty() ? std::string_view("root")
                                               : std::string_view(logger->name);
  spdlog::details::log_msg msg(
      spdlog::source_loc{unit != nullptr ? unit : "", line, nullptr},
      spdlog::string_view_t(name.data(), name.size()), toSpdlog(level),
      spdlog::string_view_t(text, bytes));
  try {
    o.sink->log(msg);
    o.sink->flush();
  } catch (...) {
    // A destination that cannot be written loses the record, nothing more.
  }
}

}  // namespace

extern "C" int kxlogInitialize(void) {
  Output& o = output();
  {
    std::unique_lock lock(o.mutex);
    if (o.initCount > 0) {
      ++o.initCount;
      return 0;
    }
  }
  // The first initialisation installs the default configuration.
  if (configureDefault() != 0) return 1;
  std::unique_lock lock(o.mutex);
  ++o.initCount;
  refreshAnyoneLocked(o);
  return 0;
}

extern "C" void kxlogTerminate(void) {
  Output& o = output();
  std::shared_ptr<spdlog::sinks::sink> old;
  {
    std::unique_lock lock(o.mutex);
    if (o.initCount == 0) return;
    if (--o.initCount > 0) return;
    old = std::move(o.sink);
    refreshAnyoneLocked(o);
  }
  if (old) {
    try {
      old->flush();
    } catch (...) {
    }
  }
}

extern "C" kxLogger* kxlogGetLogger(const char* name) {
  Registry& r = registry();
  if (name == nullptr || *name == '\0') return &r.root;
  try {
    std::string key(name);
    {
      std::shared_lock lock(r.mutex);
      auto it = r.loggers.find(key);
      if (it != r.loggers.end()) return it->second;
    }
    std::unique_lock lock(r.mutex);
    auto it = r.loggers.find(key);
    if (it != r.loggers.end()) return it->second;
    auto logger = std::make_unique<kxLogger>(key);
    r.loggers.emplace(std::move(key), logger.get());
    return logger.release();
  } catch (...) {
    // Out of memory: records of this logger go through the root instead.
    return &r.root;
  }
}

extern "C" const char* kxlogGetName(const kxLogger* logger) {
  return orRoot(logger)->name.c_str();
}

extern "C" int kxlogGetLevel(const kxLogger* logger) {
  return effectiveLevel(orRoot(logger));
}

extern "C" void kxlogSetLevel(kxLogger* logger, int level) {
  if (level < 0 || level > KXLOG_ERROR) return;
  const kxLogger* target = orRoot(logger);
  Registry& r = registry();
  try {
    std::unique_lock lock(r.mutex);
    if (target->name.empty()) {
      r.rootLevel = level == 0 ? kDefaultRootLevel : level;
    } else if (level == 0) {
      r.levels.erase(target->name);
    } else {
      r.levels[target->name] = level;
    }
    r.generation.fetch_add(1, std::memory_order_acq_rel);
  } catch (...) {
    // Out of memory while adding the entry: the level stays as it was.
  }
}

extern "C" int kxlogIsEnabled(const kxLogger* logger, int level) {
  return clampLevel(level) >= effectiveLevel(orRoot(logger)) ? 1 : 0;
}

extern "C" void kxlogVWrite(kxLogger* logger, int level, const char* unit,
                            int line, const char* format, va_list args) {
  if (format == nullptr) return;
  const kxLogger* target = orRoot(logger);
  level = clampLevel(level);
  if (level < effectiveLevel(target)) return;
  if (!output().anyone.load(std::memory_order_acquire)) return;

  char small[2048];
  va_list copy;
  va_copy(copy, args);
  size_t bytes = kxs_vformat_buffer(small, sizeof small, format, copy);
  va_end(copy);
  // The formatter cuts at a character boundary, so a result within a
  // character's length of the end may have been cut: format again, larger.
  if (bytes + 4 < sizeof small) {
    deliver(target, level, unit, line, small, bytes);
    return;
  }
  try {
    std::string large(kMaxRecordBytes, '\0');
    va_copy(copy, args);
    bytes = kxs_vformat_buffer(large.data(), large.size(), format, copy);
    va_end(copy);
    deliver(target, level, unit, line, large.data(), bytes);
  } catch (const std::bad_alloc&) {
    deliver(target, level, unit, line, small, std::strlen(small));
  }
}

extern "C" void kxlogWrite(kxLogger* logger, int level, const char* unit,
                           int line, const char* format, ...) {
  va_list args;
  va_start(args, format);
  kxlogVWrite(logger, level, unit, line, format, args);
  va_end(args);
}

extern "C" int kxlogConfigure(const char* path) {
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
    setLastError("logging configuration: out of memory");
    return 1;
  }
}

extern "C" const char* kxlogLastError(void) { return t_lastError; }

extern "C" void kxlogSetCapture(kxlogCaptureFn capture, void* context) {
  Output& o = output();
  std::unique_lock lock(o.mutex);
  o.capture = capture;
  o.captureContext = capture != nullptr ? context : nullptr;
  refreshAnyoneLocked(o);
}
