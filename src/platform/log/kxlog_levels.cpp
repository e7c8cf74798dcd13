// Logging: the registry of loggers and their inherited levels.
//
// Levels live in one table keyed by logger name, guarded by a reader-writer
// lock. Every change bumps a generation counter; each logger caches its
// effective level together with the generation it was computed for, packed in
// one atomic word, so the common kxlogIsEnabled is two atomic loads.
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <string_view>
#include <unordered_map>

#include "kxlog.h"
#include "kxlog_internal.h"
#include "np_mem.h"

namespace kxlog_detail {
namespace {

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

}  // namespace

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

void replaceLevels(int rootLevel,
                   std::unordered_map<std::string, int>* levels) {
  Registry& r = registry();
  std::unique_lock lock(r.mutex);
  r.levels.swap(*levels);
  r.rootLevel = rootLevel;
  r.generation.fetch_add(1, std::memory_order_acq_rel);
}

}  // namespace kxlog_detail

using kxlog_detail::registry;

extern "C" kxLogger* kxlogGetLogger(const char* name) {
  auto& r = registry();
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
    np_mem_note_failure();
    return &r.root;
  }
}

extern "C" const char* kxlogGetName(const kxLogger* logger) {
  return kxlog_detail::orRoot(logger)->name.c_str();
}

extern "C" int kxlogGetLevel(const kxLogger* logger) {
  return kxlog_detail::effectiveLevel(kxlog_detail::orRoot(logger));
}

extern "C" void kxlogSetLevel(kxLogger* logger, int level) {
  if (level < 0 || level > KXLOG_ERROR) return;
  const kxLogger* target = kxlog_detail::orRoot(logger);
  auto& r = registry();
  try {
    std::unique_lock lock(r.mutex);
    if (target->name.empty()) {
      r.rootLevel = level == 0 ? kxlog_detail::kDefaultRootLevel : level;
    } else if (level == 0) {
      r.levels.erase(target->name);
    } else {
      r.levels[target->name] = level;
    }
    r.generation.fetch_add(1, std::memory_order_acq_rel);
  } catch (...) {
    // Out of memory while adding the entry: the level stays as it was.
    np_mem_note_failure();
  }
}

extern "C" int kxlogIsEnabled(const kxLogger* logger, int level) {
  return kxlog_detail::clampLevel(level) >=
                 kxlog_detail::effectiveLevel(kxlog_detail::orRoot(logger))
             ? 1
             : 0;
}
