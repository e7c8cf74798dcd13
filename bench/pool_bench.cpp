// Small-block allocation: KxbMemPool against glibc malloc and mimalloc,
// one getBytes+freeBytes pair per iteration, on one and two threads.
//
// Linking libmimalloc replaces malloc and free (and __libc_malloc) for the
// whole program, so plain malloc here would measure mimalloc twice: glibc's
// own malloc and free are looked up in libc.so.6 itself.
#include <cstddef>
#include <cstdio>
#include <cstdlib>

#include <benchmark/benchmark.h>
#include <mimalloc.h>

#include "kxbmempool.h"
#include "np_dso.h"

namespace {

const bool g_pool = KxbMemPool::initialize();

// glibc's malloc and free, whatever replaces them in this program.
struct Glibc {
  void* (*malloc)(size_t);
  void (*free)(void*);
  Glibc() {
    np_dso_handle libc = nullptr;
    if (np_dso_load("libc.so.6", 0, &libc) != NP_DSO_OK) {
      std::fprintf(stderr, "cannot load libc.so.6: %s\n", np_dso_loaderr(nullptr));
      std::exit(1);
    }
    malloc = reinterpret_cast<void* (*)(size_t)>(np_dso_getsym(libc, "malloc"));
    free = reinterpret_cast<void (*)(void*)>(np_dso_getsym(libc, "free"));
  }
};
const Glibc g_glibc;

void BM_PoolPair(benchmark::State& state) {
  unsigned size = static_cast<unsigned>(state.range(0));
  for (auto _ : state) {
    void* block;
    KxbMemPool::getBytes(size, &block);
    benchmark::DoNotOptimize(block);
    KxbMemPool::freeBytes(block);
  }
}

void BM_MallocPair(benchmark::State& state) {
  size_t size = static_cast<size_t>(state.range(0));
  for (auto _ : state) {
    void* block = g_glibc.malloc(size);
    benchmark::DoNotOptimize(block);
    g_glibc.free(block);
  }
}

void BM_MimallocPair(benchmark::State& state) {
  size_t size = static_cast<size_t>(state.range(0));
  for (auto _ : state) {
    void* block = mi_malloc(size);
    benchmark::DoNotOptimize(block);
    mi_free(block);
  }
}

// A burst of 64 allocations then 64 frees: exercises the shared lists
// behind the per-thread caches.
template <typename Alloc, typename Free>
void burst(benchmark::State& state, Alloc alloc, Free release) {
  size_t size = static_cast<size_t>(state.range(0));
  void* blocks[64];
  for (auto _ : state) {
    for (void*& b : blocks) b = alloc(size);
    benchmark::DoNotOptimize(blocks);
    for (void* b : blocks) release(b);
  }
  state.SetItemsProcessed(state.iterations() * 64);
}

void BM_PoolBurst(benchmark::State& state) {
  burst(state,
        [](size_t n) {
          void* b;
          KxbMemPool::getBytes(static_cast<unsigned>(n), &b);
          return b;
        },
        [](void* b) { KxbMemPool::freeBytes(b); });
}
void BM_MallocBurst(benchmark::State& state) {
  burst(state, [](size_t n) { return g_glibc.malloc(n); },
        [](void* b) { g_glibc.free(b); });
}
void BM_MimallocBurst(benchmark::State& state) {
  burst(state, [](size_t n) { return mi_malloc(n); }, [](void* b) { mi_free(b); });
}

#define SIZES Arg(16)->Arg(64)->Arg(256)->Arg(1024)
BENCHMARK(BM_PoolPair)->SIZES->Threads(1)->Threads(2);
BENCHMARK(BM_MallocPair)->SIZES->Threads(1)->Threads(2);
BENCHMARK(BM_MimallocPair)->SIZES->Threads(1)->Threads(2);
BENCHMARK(BM_PoolBurst)->SIZES->Threads(1)->Threads(2);
BENCHMARK(BM_MallocBurst)->SIZES->Threads(1)->Threads(2);
BENCHMARK(BM_MimallocBurst)->SIZES->Threads(1)->Threads(2);

}  // namespace

BENCHMARK_MAIN();
