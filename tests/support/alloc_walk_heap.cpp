// The heap's fault point extended past np_mem_alloc, for the programs that
// walk allocations (only they link this file, so that every other program
// keeps the sanitizers' own operator new and its mismatch checks).
//
// operator new is replaced: on the thread that armed the heap's point, a
// new fails at the armed count, so the standard library's containers fail
// in the walk as they would when the heap is exhausted. Other threads
// (loggers, reapers) are left alone, so that they cannot take the armed
// allocation. SQLite's allocator can be put under the same point.
#include <cstdlib>
#include <cstring>
#include <new>

#include <sqlite3.h>

#include "support/alloc_walk.h"

namespace {
using kxb_test::g_walkingHeap;

void* allocate(std::size_t bytes) {
  if (g_walkingHeap && kxFaultArmedHit(KX_FAULT_HEAP_ALLOC)) return nullptr;
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
  if (g_walkingHeap && kxFaultArmedHit(KX_FAULT_HEAP_ALLOC)) return nullptr;
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

}  // namespace kxb_test
