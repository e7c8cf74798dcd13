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

const std::string kHundred(100, 'x');

void BM_KxbCopy100(benchmark::State& state) {
  KxbString source(kHundred.c_str(), false);
  for (auto _ : state) {
    KxbString copy(source);
    benchmark::DoNotOptimize(copy);
  }
}
void BM_StdCopy100(benchmark::State& state) {
  std::string source = kHundred;
  for (auto _ : state) {
    std::string copy(source);
    benchmark::DoNotOptimize(copy);
  }
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

BENCHMARK(BM_KxbCopy100);
BENCHMARK(BM_StdCopy100);
BENCHMARK(BM_KxbBuild1MB);
BENCHMARK(BM_StdBuild1MB);
BENCHMARK(BM_KxbFind);
BENCHMARK(BM_StdFind);
BENCHMARK(BM_KxbCompareInsensitive);
BENCHMARK(BM_StrcasecmpInsensitive);
BENCHMARK(BM_KxbLowercase);

}  // namespace

BENCHMARK_MAIN();
