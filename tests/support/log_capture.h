// LogCapture: collects the log records written while it lives, for tests.
//
//   kxb_test::LogCapture capture;                 // every record that passes
//   kxb_test::LogCapture capture("KX.Base", 1);   // also lowers KX.Base to 1
//   ... code under test ...
//   EXPECT_TRUE(capture.hasRecord("Reading configuration file"));
//   EXPECT_EQ(1u, capture.count("ASSERT", KXLOG_ERROR));
//   for (const auto& r : capture.find("Load ", 0, "KX.Base")) ...
//
// A record is captured when it passes its logger's level, whether or not
// logging is initialised. Captures nest: an inner capture sees records while
// it lives and hands them on to the outer one too; destroy them in reverse
// order of creation (as scopes do). All members are thread-safe, so records
// written by other threads are collected as well.
#ifndef KXB_TESTS_SUPPORT_LOG_CAPTURE_H_
#define KXB_TESTS_SUPPORT_LOG_CAPTURE_H_

#include <cstddef>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "kxlog.h"

namespace kxb_test {

struct LogRecord {
  std::string logger;  // "" for the root logger
  int level = 0;
  std::string unit;
  int line = 0;
  std::string text;
};

// "[KX.Base] 2 kxbstartup:41 Reading configuration file '...'"
std::string toString(const LogRecord& record);

class LogCapture {
 public:
  LogCapture();
  // Also sets `logger`'s level to `level` for the capture's lifetime, so
  // that records below its usual level are written and captured. The
  // effective level is put back on destruction.
  LogCapture(const char* logger, int level);
  ~LogCapture();

  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  // All records so far, oldest first.
  std::vector<LogRecord> records() const;
  // The records whose text contains `text`; `level` 0 means any level and a
  // null `logger` any logger (otherwise the exact name).
  std::vector<LogRecord> find(std::string_view text, int level = 0,
                              const char* logger = nullptr) const;
  size_t count(std::string_view text, int level = 0,
               const char* logger = nullptr) const;
  // For EXPECT_TRUE: on failure the message lists what was captured.
  ::testing::AssertionResult hasRecord(std::string_view text, int level = 0,
                                       const char* logger = nullptr) const;
  // One line per record (toString), for failure messages.
  std::string dump() const;
  void clear();

 private:
  static void onRecord(void* context, const char* logger, int level,
                       const char* unit, int line, const char* text);
  void add(const char* logger, int level, const char* unit, int line,
           const char* text);

  mutable std::mutex mutex_;
  std::vector<LogRecord> records_;
  LogCapture* outer_ = nullptr;
  kxLogger* logger_ = nullptr;  // whose level this capture changed
  int savedLevel_ = 0;
};

}  // namespace kxb_test

#endif  // KXB_TESTS_SUPPORT_LOG_CAPTURE_H_
