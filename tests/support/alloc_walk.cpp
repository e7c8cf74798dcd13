#include "support/alloc_walk.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include <sqlite3.h>

#include "support/fresh_process.h"

// The heap's fault point covers operator new too, for the thread that armed
// it: containers of the standard library then fail in the walk as they
// would when the heap is exhausted. Other threads (loggers, reapers) are
// left alone, so that they cannot take the armed allocation.
namespace {
thread_local bool t_walking = false;

void* allocate(std::size_t bytes) {
  if (t_walking && kxFaultArmedHit(KX_FAULT_HEAP_ALLOC)) return nullptr;
  return std::malloc(bytes == 0 ? 1 : bytes);
}

void* allocateOrThrow(std::size_t bytes) {
  void* block = allocate(bytes);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}
}  // namespace

void* operator new(std::size_t bytes) { return allocateOrThrow(bytes); }
void* operator new[](std::size_t bytes) { return allocateOrThrow(bytes); }
void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
  return allocate(bytes);
}
void* operator new[](std::size_t bytes, const std::nothrow_t&) noexcept {
  return allocate(bytes);
}
void operator delete(void* block) noexcept { std::free(block); }
void operator delete[](void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }
void operator delete[](void* block, std::size_t) noexcept { std::free(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { std::free(block); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { std::free(block); }

namespace {
// SQLite's allocator under the same point: each block carries its size in
// a 16-byte header, as xSize needs it.
constexpr size_t kSqliteHeader = 16;

void* sqliteMalloc(int bytes) {
  if (t_walking && kxFaultArmedHit(KX_FAULT_HEAP_ALLOC)) return nullptr;
  char* block = static_cast<char*>(std::malloc(kSqliteHeader + static_cast<size_t>(bytes)));
  if (block == nullptr) return nullptr;
  std::memcpy(block, &bytes, sizeof bytes);
  return block + kSqliteHeader;
}
void sqliteFree(void* block) {
  if (block != nullptr) std::free(static_cast<char*>(block) - kSqliteHeader);
}
int sqliteSize(void* block) {
  int bytes;
  std::memcpy(&bytes, static_cast<char*>(block) - kSqliteHeader, sizeof bytes);
  return bytes;
}
void* sqliteRealloc(void* block, int bytes) {
  void* grown = sqliteMalloc(bytes);
  if (grown == nullptr) return nullptr;
  const int kept = sqliteSize(block);
  std::memcpy(grown, block, static_cast<size_t>(kept < bytes ? kept : bytes));
  sqliteFree(block);
  return grown;
}
int sqliteRoundup(int bytes) { return (bytes + 7) & ~7; }
int sqliteInit(void*) { return SQLITE_OK; }
void sqliteShutdown(void*) {}
}  // namespace

namespace kxb_test {

bool routeSqliteAllocations() {
  static const sqlite3_mem_methods methods = {
      sqliteMalloc, sqliteFree,     sqliteRealloc, sqliteSize,
      sqliteRoundup, sqliteInit, sqliteShutdown, nullptr};
  return sqlite3_config(SQLITE_CONFIG_MALLOC, &methods) == SQLITE_OK;
}

void AllocFault::arm() {
  armed_ = true;
  t_walking = point_ == KX_FAULT_HEAP_ALLOC;
  kxFaultArm(point_, n_);
}

bool AllocFault::disarm() {
  if (!armed_) return hit_;
  armed_ = false;
  t_walking = false;
  // The walk arms one point at a time, so the count of armed points tells
  // whether this one has fired (it disarms itself when it does).
  hit_ = __atomic_load_n(&kx_fault_armed, __ATOMIC_SEQ_CST) == 0;
  kxFaultArm(point_, 0);
  return hit_;
}

AllocWalk walkAllocations(kxFaultPoint point,
                          const std::function<void(AllocFault&)>& attempt,
                          int limit) {
  AllocWalk walk;
  kxFaultReset();
  for (int n = 1; n <= limit; ++n) {
    SCOPED_TRACE(faultName(point) + " allocation " + std::to_string(n));
    AllocFault fault(point, n);
    attempt(fault);
    const bool hit = fault.disarm();
    if (::testing::Test::HasFailure() || freshProcessHasFailure()) {
      walk.reached = n;
      return walk;
    }
    if (!hit) {
      walk.reached = n;
      walk.ended = true;
      return walk;
    }
    ++walk.hits;
  }
  walk.reached = limit;
  ADD_FAILURE() << "the operation still reached the " << faultName(point)
                << " fault after " << limit << " allocations";
  return walk;
}

void walkPoolAndHeap(const char* family,
                     const std::function<void(AllocFault&)>& attempt) {
  SCOPED_TRACE(family);
  for (kxFaultPoint point : {KX_FAULT_POOL_ALLOC, KX_FAULT_HEAP_ALLOC}) {
    AllocWalk walk = walkAllocations(point, attempt);
    EXPECT_TRUE(walk.ended);
    std::printf("[ walk     ] %-20s %s: N=%d, %d runs failed\n", family,
                faultName(point).c_str(), walk.reached, walk.hits);
    std::fflush(stdout);
    if (::testing::Test::HasFailure() || freshProcessHasFailure()) return;
  }
}

std::string faultName(kxFaultPoint point) {
  return point == KX_FAULT_POOL_ALLOC ? "pool" : point == KX_FAULT_HEAP_ALLOC ? "heap" : "fault";
}

}  // namespace kxb_test
