// KxbString against std::string / std::string_view on the operations the
// library leans on.
#include <cstring>
#include <string>
#include <string_view>

#include <benchmark/benchmark.h>

#include "kxbmempool.h"
#include "kxbstring.h"

namespace {

const bool g_pool = KxbMemPool::initialize();

// A copy and its destruction, of a text of state.range(0) bytes: KxbString
// shares the body (one locked increment and one locked decrement whatever
// the length), std::string allocates and copies the bytes.
void BM_KxbCopy(benchmark::State& state) {
  const std::string text(static_cast<size_t>(state.range(0)), 'x');
  KxbString source(text.c_str(), false);
  for (auto _ : state) {
    KxbString copy(source);
    benchmark::DoNotOptimize(copy);
  }
  state.SetBytesProcessed(state.iterations() * state.range(0));
}
void BM_StdCopy(benchmark::State& state) {
  const std::string source(static_cast<size_t>(state.range(0)), 'x');
  for (auto _ : state) {
    std::string copy(source);
    benchmark::DoNotOptimize(copy);
  }
  state.SetBytesProcessed(state.iterations() * state.range(0));
}

// 1 MB built from 16-byte appends. The piece's length is hidden from the
// compiler in both, as it is for text that arrives at run time.
const char* runtimePiece() {
  static const char piece[] = "0123456789abcdef";
  const char* p = piece;
  benchmark::DoNotOptimize(p);
  return p;
}

void BM_KxbBuild1MB(benchmark::State& state) {
  const char* piece = runtimePiece();
  for (auto _ : state) {
    KxbString s("", false);
    for (int i = 0; i < 65536; ++i) s.append(piece, -1);
    benchmark::DoNotOptimize(s);
  }
}
void BM_StdBuild1MB(benchmark::State& state) {
  const char* piece = runtimePiece();
  for (auto _ : state) {
    std::string s;
    for (int i = 0; i < 65536; ++i) s.append(piece);
    benchmark::DoNotOptimize(s);
  }
}

std::string haystack() {
  std::string text;
  while (text.size() < 8000) text += "the quick brown fox jumps over the lazy dog ";
  return text + "needle";
}

void BM_KxbFind(benchmark::State& state) {
  std::string text = haystack();
  KxbString hay(text.c_str(), false);
  KxbString needle("needle", false);
  for (auto _ : state) benchmark::DoNotOptimize(hay.find(needle, 0));
}
void BM_StdFind(benchmark::State& state) {
  std::string text = haystack();
  std::string_view hay(text);
  for (auto _ : state) benchmark::DoNotOptimize(hay.find("needle"));
}

void BM_KxbCompareInsensitive(benchmark::State& state) {
  KxbString a("Configuration/Section/SomeLongishKeyName", false);
  KxbString b("CONFIGURATION/section/somelongishkeyname", false);
  for (auto _ : state) benchmark::DoNotOptimize(a.compare(b, false));
}
void BM_StrcasecmpInsensitive(benchmark::State& state) {
  const char* a = "Configuration/Section/SomeLongishKeyName";
  const char* b = "CONFIGURATION/section/somelongishkeyname";
  for (auto _ : state) benchmark::DoNotOptimize(strcasecmp(a, b));
}

void BM_KxbLowercase(benchmark::State& state) {
  KxbString source(haystack().c_str(), false);
  for (auto _ : state) {
    KxbString s(source);
    s.lowercase();
    benchmark::DoNotOptimize(s);
  }
  state.SetBytesProcessed(state.iterations() * (source.cStrSize() - 1));
}

BENCHMARK(BM_KxbCopy)->Arg(100)->Arg(1024)->Arg(65536);
BENCHMARK(BM_StdCopy)->Arg(100)->Arg(1024)->Arg(65536);
BENCHMARK(BM_KxbBuild1MB);
BENCHMARK(BM_StdBuild1MB);
BENCHMARK(BM_KxbFind);
BENCHMARK(BM_StdFind);
BENCHMARK(BM_KxbCompareInsensitive);
BENCHMARK(BM_StrcasecmpInsensitive);
BENCHMARK(BM_KxbLowercase);

}  // namespace

BENCHMARK_MAIN();
