// KxbThreadPool: work objects on the platform's thread pools.
#include "kxbthreadpool.h"

#include <cstddef>

#include "kx_tp.h"
#include "services/kxbthreadpool_cb.h"

static_assert(sizeof(kxTPConfig) == 20, "five 32-bit words");
static_assert(sizeof(kxTPStatsRecord) == 56, "the 56-byte statistics record");
static_assert(offsetof(kxTPStatsRecord, enqueued) == 16 &&
                  offsetof(kxTPStatsRecord, completed) == 24 &&
                  offsetof(kxTPStatsRecord, threads) == 32 &&
                  offsetof(kxTPStatsRecord, idleThreads) == 36 &&
                  offsetof(kxTPStatsRecord, queued) == 40 &&
                  offsetof(kxTPStatsRecord, running) == 44 &&
                  offsetof(kxTPStatsRecord, maxThreads) == 48 &&
                  offsetof(kxTPStatsRecord, peakThreads) == 52,
              "statistics record layout");

namespace {

// The most items a pool queues at once.
constexpr uint32_t kQueueLimit = 0x40000000;

KxbThreadPoolWork* workOf(kxTPWork* record) {
  return static_cast<KxbThreadPoolWork*>(record->context);
}

int signalEntry(kxTPWork* record, int flag) {
  return workOf(record)->signal(flag != 0);
}

int runEntry(kxTPWork* record, int flag, kxTPCallback* platform) {
  KxbThreadPoolWork* work = workOf(record);
  ThreadPoolCB callback(platform);
  const int result = work->execute(flag != 0, &callback);
  if (callback.done()) return result;
  // The completion the item did not report itself.
  platform->ops->complete(platform);
  return work->finish();
}

const kxTPEntries kEntryTable = {signalEntry, runEntry};

}  // namespace

const kxTPEntries* kxbThreadPoolEntryTable() { return &kEntryTable; }

kxTPWork* kxbThreadPoolRecord(KxbThreadPoolWork* work) {
  work->entryTable = &kEntryTable;
  work->context = work;
  // entryTable and context are adjacent pointers laid out as a kxTPWork.
  return reinterpret_cast<kxTPWork*>(&work->entryTable);
}

int ThreadPoolCB::complete(bool value) {
  done_ = value;
  return platform_->ops->complete(platform_);
}

bool ThreadPoolCB::enqueue(KxbThreadPoolWork* work) {
  if (work == nullptr) return false;
  return platform_->ops->enqueue(platform_, kxbThreadPoolRecord(work)) == 0;
}

bool ThreadPoolCB::status() { return platform_->ops->status(platform_) != 0; }

KxbThreadPool::~KxbThreadPool() {
  if (handle != nullptr) kxTPDestroy(handle);
}

bool KxbThreadPool::start(int first, int second, unsigned third) {
  if (handle != nullptr) return false;
  const kxTPConfig config = {first, second, 0, third, kQueueLimit};
  handle = kxTPCreate(&config);
  return handle != nullptr;
}

bool KxbThreadPool::enqueue(KxbThreadPoolWork* work, bool flag) {
  if (handle == nullptr || work == nullptr) return false;
  return kxTPEnqueue(handle, kxbThreadPoolRecord(work), flag ? 1 : 0) == 0;
}

bool KxbThreadPool::wait() {
  return handle != nullptr && kxTPWait(handle) == 0;
}

bool KxbThreadPool::reset() {
  return handle != nullptr && kxTPReset(handle) == 0;
}

void KxbThreadPool::quiesce(bool first, bool second) {
  if (handle != nullptr) kxTPQuiesce(handle, first ? 1 : 0, second ? 1 : 0);
}

bool KxbThreadPool::getStats(int64_t* a, int64_t* b, int* c, int* d, int* e,
                             int* f, int* g, int* h) {
  if (handle == nullptr) return false;
  kxTPStatsRecord record{};
  kxTPStats(handle, &record);
  if (a != nullptr) *a = record.enqueued;
  if (b != nullptr) *b = record.completed;
  if (c != nullptr) *c = record.threads;
  if (d != nullptr) *d = record.idleThreads;
  if (e != nullptr) *e = record.queued;
  if (f != nullptr) *f = record.running;
  if (g != nullptr) *g = record.maxThreads;
  if (h != nullptr) *h = record.peakThreads;
  return true;
}
