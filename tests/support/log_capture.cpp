#include "support/log_capture.h"

#include <atomic>

namespace kxb_test {

namespace {

// The innermost live capture; records reach the outer ones through it.
std::atomic<LogCapture*> g_innermost{nullptr};

bool matches(const LogRecord& record, std::string_view text, int level,
             const char* logger) {
  if (level != 0 && record.level != level) return false;
  if (logger != nullptr && record.logger != logger) return false;
  return record.text.find(text) != std::string::npos;
}

}  // namespace

std::string toString(const LogRecord& record) {
  return "[" + record.logger + "] " + std::to_string(record.level) + " " +
         record.unit + ":" + std::to_string(record.line) + " " + record.text;
}

LogCapture::LogCapture() {
  outer_ = g_innermost.exchange(this);
  kxlogSetCapture(&LogCapture::onRecord, this);
}

LogCapture::LogCapture(const char* logger, int level) : LogCapture() {
  kxLogger* target = kxlogGetLogger(logger);
  logger_ = target;
  savedLevel_ = kxlogGetLevel(target);
  kxlogSetLevel(target, level);
}

LogCapture::~LogCapture() {
  if (logger_ != nullptr) {
    // Prefer inheriting again; keep an own level only where that is needed
    // to get the earlier effective level back.
    kxlogSetLevel(logger_, 0);
    if (kxlogGetLevel(logger_) != savedLevel_) kxlogSetLevel(logger_, savedLevel_);
  }
  g_innermost.store(outer_);
  if (outer_ != nullptr) {
    kxlogSetCapture(&LogCapture::onRecord, outer_);
  } else {
    kxlogSetCapture(nullptr, nullptr);
  }
}

void LogCapture::onRecord(void* context, const char* logger, int level,
                          const char* unit, int line, const char* text) {
  for (LogCapture* c = static_cast<LogCapture*>(context); c != nullptr;
       c = c->outer_) {
    c->add(logger, level, unit, line, text);
  }
}

void LogCapture::add(const char* logger, int level, const char* unit, int line,
                     const char* text) {
  LogRecord record;
  record.logger = logger != nullptr ? logger : "";
  record.level = level;
  record.unit = unit != nullptr ? unit : "";
  record.line = line;
  record.text = text != nullptr ? text : "";
  std::lock_guard lock(mutex_);
  records_.push_back(std::move(record));
}

std::vector<LogRecord> LogCapture::records() const {
  std::lock_guard lock(mutex_);
  return records_;
}

std::vector<LogRecord> LogCapture::find(std::string_view text, int level,
                                        const char* logger) const {
  std::vector<LogRecord> found;
  std::lock_guard lock(mutex_);
  for (const LogRecord& r : records_) {
    if (matches(r, text, level, logger)) found.push_back(r);
  }
  return found;
}

size_t LogCapture::count(std::string_view text, int level,
                         const char* logger) const {
  return find(text, level, logger).size();
}

::testing::AssertionResult LogCapture::hasRecord(std::string_view text,
                                                 int level,
                                                 const char* logger) const {
  if (count(text, level, logger) > 0) return ::testing::AssertionSuccess();
  auto failure = ::testing::AssertionFailure();
  failure << "no record containing \"" << text << "\"";
  if (level != 0) failure << " at level " << level;
  if (logger != nullptr) failure << " on logger " << logger;
  failure << "; captured:\n" << dump();
  return failure;
}

std::string LogCapture::dump() const {
  std::string out;
  std::lock_guard lock(mutex_);
  for (const LogRecord& r : records_) out += "  " + toString(r) + "\n";
  if (records_.empty()) out = "  (nothing)\n";
  return out;
}

void LogCapture::clear() {
  std::lock_guard lock(mutex_);
  records_.clear();
}

}  // namespace kxb_test
