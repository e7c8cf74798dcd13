// RTProfiler. See kxbprofiler.h.
#include "kxbprofiler.h"

#include <cstring>
#include <list>
#include <map>
#include <new>
#include <string>

#include "kxlog.h"
#include "np_mem.h"
#include "np_stamp.h"

namespace {

constexpr size_t kMaxName = 255;

struct Frame {
  np_stamp start;
  np_duration nested;  // time of the sections closed inside this one
};

struct Totals {
  np_duration own;
  int count;
};

// Adds b into a with at most one carry of 1000 per unit, in 16 bits, the way
// the profiler has always summed its durations.
void addDuration(np_duration* a, const np_duration& b) {
  a->micro = static_cast<int16_t>(a->micro + b.micro);
  if (a->micro > 999) {
    a->milli = static_cast<int16_t>(a->milli + 1);
    a->micro = static_cast<int16_t>(a->micro - 1000);
  }
  a->milli = static_cast<int16_t>(a->milli + b.milli);
  if (a->milli > 999) {
    a->seconds += 1;
    a->milli = static_cast<int16_t>(a->milli - 1000);
  }
  a->seconds += b.seconds;
}

int thousandths(const np_duration& d) {
  return static_cast<int>(d.seconds * 1000 + d.milli);
}

}  // namespace

struct RTProfilerData {
  kxLogger* logger = kxlogGetLogger("KX.RTProfiler");
  std::list<Frame> frames;  // newest at the back
  char scratch[kMaxName + 1];
  std::map<std::string, Totals> totals;
  std::map<std::string, Totals>::iterator walk = totals.end();

  // The first 255 bytes of `name` (null counts as empty).
  std::string key(const char* name) {
    size_t n = name == nullptr ? 0 : strnlen(name, kMaxName);
    std::memcpy(scratch, name == nullptr ? "" : name, n);
    scratch[n] = '\0';
    return std::string(scratch, n);
  }
};

RTProfiler::RTProfiler() : data_(np_mem_new<RTProfilerData>()) {}

RTProfiler::~RTProfiler() { delete data_; }

void RTProfiler::enter() {
  if (data_ == nullptr) return;
  Frame frame{};
  np_stamp_current(&frame.start);
  try {
    data_->frames.push_back(frame);
  } catch (const std::bad_alloc&) {
    np_mem_note_failure();
    // The frame is lost; its exit will report the mismatch.
  }
}

void RTProfiler::exit(const char* name) {
  if (data_ == nullptr) return;
  np_stamp now;
  np_stamp_current(&now);
  if (data_->frames.empty()) {
    kxlogWrite(data_->logger, KXLOG_ERROR, "kxbprofiler", __LINE__,
               "Inconsistent profile entry/exit count for %s.", name);
    return;
  }
  Frame frame = data_->frames.back();
  data_->frames.pop_back();
  np_duration elapsed;
  np_stamp_diff(&frame.start, &now, &elapsed);
  if (!data_->frames.empty()) addDuration(&data_->frames.back().nested, elapsed);
  np_duration own;
  np_duration_diff(&elapsed, &frame.nested, &own);
  try {
    auto [it, inserted] = data_->totals.try_emplace(data_->key(name), Totals{own, 1});
    if (!inserted) {
      addDuration(&it->second.own, own);
      ++it->second.count;
    }
  } catch (const std::bad_alloc&) {
    np_mem_note_failure();
    // The section's time is not recorded.
  }
}

bool RTProfiler::getData(const char* name, int* totalThousandths, int* count) {
  *totalThousandths = 0;
  *count = 0;
  if (data_ == nullptr) return false;
  auto it = data_->totals.find(data_->key(name));
  if (it == data_->totals.end()) return false;
  *totalThousandths = thousandths(it->second.own);
  *count = it->second.count;
  return true;
}

const char* RTProfiler::getId(bool first) {
  if (data_ == nullptr) return nullptr;
  if (first) {
    data_->walk = data_->totals.begin();
  } else if (data_->walk != data_->totals.end()) {
    ++data_->walk;
  }
  return data_->walk == data_->totals.end() ? nullptr
                                            : data_->walk->first.c_str();
}

void RTProfiler::dump(const char* title) {
  if (data_ == nullptr || kxlogGetLevel(data_->logger) > KXLOG_TRACE) return;
  kxlogWrite(data_->logger, KXLOG_TRACE, "kxbprofiler", __LINE__,
             "Profiler dump %s", title);
  for (const auto& [name, totals] : data_->totals) {
    kxlogWrite(data_->logger, KXLOG_TRACE, "kxbprofiler", __LINE__, "%s,%d,%d",
               name.c_str(), thousandths(totals.own), totals.count);
  }
}

void RTProfiler::reset(const char* title) {
  if (data_ == nullptr) return;
  kxlogWrite(data_->logger, KXLOG_TRACE, "kxbprofiler", __LINE__,
             "Profiler reset %s", title);
  data_->frames.clear();
  data_->totals.clear();
  // The walk is not started over, but its old position no longer exists:
  // it now stands at the end until getId(true).
  data_->walk = data_->totals.end();
}
