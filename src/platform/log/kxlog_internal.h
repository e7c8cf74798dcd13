// What the three parts of the logging library share: the level registry
// (kxlog_levels.cpp), the spdlog destination and record delivery
// (kxlog_sink.cpp) and the configuration parser (kxlog_config.cpp).
// Internal to the logging library.
#ifndef KXB_PLATFORM_KXLOG_INTERNAL_H_
#define KXB_PLATFORM_KXLOG_INTERNAL_H_

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>

#include <spdlog/sinks/sink.h>

#include "kxlog.h"

struct kxLogger {
  explicit kxLogger(std::string n) : name(std::move(n)) {}
  const std::string name;  // "" for the root
  // (generation << 8) | effective level; generation 0 never matches.
  mutable std::atomic<uint64_t> cache{0};
};

namespace kxlog_detail {

constexpr int kDefaultRootLevel = KXLOG_NOTABLE;
constexpr const char* kDefaultPattern = "%Y-%m-%d %H:%M:%S.%e [%n] %k %@ %v";

// Levels (kxlog_levels.cpp).
const kxLogger* orRoot(const kxLogger* logger);
int effectiveLevel(const kxLogger* logger);
int clampLevel(int level);
// Replaces the root level and every logger's own level at once (the map is
// swapped out of *levels).
void replaceLevels(int rootLevel, std::unordered_map<std::string, int>* levels);

// Destination (kxlog_sink.cpp).
enum class Destination { kStderr, kStdout, kFile };
// A sink with its pattern; null and *error set on failure.
std::shared_ptr<spdlog::sinks::sink> makeSink(Destination destination,
                                              const std::string& path,
                                              const std::string& pattern,
                                              std::string* error);
// Installs `sink` as the destination and flushes the one it replaces.
void replaceSink(std::shared_ptr<spdlog::sinks::sink> sink);

// Configuration (kxlog_config.cpp): installs the default configuration; 0,
// or 1 with the last error set.
int configureDefault();

}  // namespace kxlog_detail

#endif  // KXB_PLATFORM_KXLOG_INTERNAL_H_
