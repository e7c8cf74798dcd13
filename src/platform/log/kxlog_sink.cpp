// Logging: the spdlog destination, and the formatting and delivery of records.
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <shared_mutex>
#include <string>
#include <string_view>

#include <spdlog/details/log_msg.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>

#include "kx_fault.h"
#include "kxlog.h"
#include "kxlog_internal.h"
#include "kxs_format.h"
#include "np_fio.h"
#include "np_mem.h"

namespace kxlog_detail {
namespace {

constexpr size_t kMaxRecordBytes = 64 * 1024;

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

void flushQuietly(const std::shared_ptr<spdlog::sinks::sink>& sink) {
  if (!sink) return;
  try {
    sink->flush();
  } catch (...) {
  }
}

// The descriptor of a log file must not leak into programs we start.
void markCloseOnExec(const spdlog::filename_t&, std::FILE* file) {
  np_fio_stream_cloexec(file);
}

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
    np_mem_note_failure();
    *error = "out of memory";
  } catch (const std::exception& e) {
    *error = e.what();
  }
  return nullptr;
}

void replaceSink(std::shared_ptr<spdlog::sinks::sink> sink) {
  Output& o = output();
  std::shared_ptr<spdlog::sinks::sink> old;
  {
    std::unique_lock lock(o.mutex);
    old = std::move(o.sink);
    o.sink = std::move(sink);
    refreshAnyoneLocked(o);
  }
  flushQuietly(old);
}

}  // namespace kxlog_detail

using kxlog_detail::output;

extern "C" int kxlogInitialize(void) {
  auto& o = output();
  {
    std::unique_lock lock(o.mutex);
    if (o.initCount > 0) {
      ++o.initCount;
      return 0;
    }
  }
  // The first initialisation installs the default configuration.
  if (kxlog_detail::configureDefault() != 0) return 1;
  std::unique_lock lock(o.mutex);
  ++o.initCount;
  kxlog_detail::refreshAnyoneLocked(o);
  return 0;
}

extern "C" void kxlogTerminate(void) {
  auto& o = output();
  std::shared_ptr<spdlog::sinks::sink> old;
  {
    std::unique_lock lock(o.mutex);
    if (o.initCount == 0) return;
    if (--o.initCount > 0) return;
    old = std::move(o.sink);
    kxlog_detail::refreshAnyoneLocked(o);
  }
  kxlog_detail::flushQuietly(old);
}

extern "C" void kxlogVWrite(kxLogger* logger, int level, const char* unit,
                            int line, const char* format, va_list args) {
  using kxlog_detail::deliver;
  if (format == nullptr) return;
  const kxLogger* target = kxlog_detail::orRoot(logger);
  level = kxlog_detail::clampLevel(level);
  if (level < kxlog_detail::effectiveLevel(target)) return;
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
    std::string large(kxlog_detail::kMaxRecordBytes, '\0');
    va_copy(copy, args);
    bytes = kxs_vformat_buffer(large.data(), large.size(), format, copy);
    va_end(copy);
    deliver(target, level, unit, line, large.data(), bytes);
  } catch (const std::bad_alloc&) {
    np_mem_note_failure();
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

extern "C" void kxlogSetCapture(kxlogCaptureFn capture, void* context) {
  auto& o = output();
  std::unique_lock lock(o.mutex);
  o.capture = capture;
  o.captureContext = capture != nullptr ? context : nullptr;
  kxlog_detail::refreshAnyoneLocked(o);
}
