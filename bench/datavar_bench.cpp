// KxbDatavar: copies, asString of each type, compare, typed assignment, and
// date texts parsed and printed per second.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include <benchmark/benchmark.h>

#include "library_setup.h"

#include "kx_atomic.h"
#include "kxbconfigoptions.h"
#include "kxbdatavar.h"
#include "kxbmempool.h"
#include "kxlog.h"
#include "startup/kxbconfigstore.h"
#include "startup/kxbglobals.h"

namespace {

const bool g_ready = kxb_bench::setUpLibrary();

// A variant of each type, by kxbType number.
KxbDatavar sample(int type) {
  KxbDatavar v;
  switch (type) {
    case Boolean: v.assign(true); break;
    case Integer: v.assign(int64_t{-1234567890123}); break;
    case Real: {
      KxbReal r;
      r.assign("12345.6789");
      v.assign(r);
      break;
    }
    case String: v.assign("a string of some thirty bytes."); break;
    case Date: v.assign(KxbDate(2024, 3, 7, 9, 5, 30)); break;
    case Binary: {
      KxbBlob blob;
      blob.append("binary", 6);
      v.assign(blob);
      break;
    }
  }
  return v;
}

void BM_DatavarCopy(benchmark::State& state) {
  const KxbDatavar source = sample(String);
  for (auto _ : state) {
    KxbDatavar copy(source);
    benchmark::DoNotOptimize(copy);
  }
}

void BM_DatavarAsString(benchmark::State& state) {
  const KxbDatavar v = sample(static_cast<int>(state.range(0)));
  state.SetLabel(kxbTypeToString(v.type()));
  for (auto _ : state) {
    KxbString text = v.asString();
    benchmark::DoNotOptimize(text);
  }
}

void BM_DatavarCompare(benchmark::State& state) {
  const KxbDatavar a = sample(static_cast<int>(state.range(0)));
  const KxbDatavar b = sample(static_cast<int>(state.range(0)));
  state.SetLabel(kxbTypeToString(a.type()));
  for (auto _ : state) benchmark::DoNotOptimize(a.compare(b));
}

// A private record of the same type: the data block is reused.
void BM_DatavarAssignInteger(benchmark::State& state) {
  KxbDatavar v;
  int64_t n = 0;
  for (auto _ : state) {
    v.assign(++n);
    benchmark::DoNotOptimize(v);
  }
}

// A fresh record and data block each time.
void BM_DatavarNewString(benchmark::State& state) {
  for (auto _ : state) {
    KxbDatavar v;
    v.assign("a string of some thirty bytes.");
    benchmark::DoNotOptimize(v);
  }
}

void BM_DatavarBuildInteger(benchmark::State& state) {
  KxbDatavar v;
  for (auto _ : state) {
    v.build(Integer, "-1234567890", 11);
    benchmark::DoNotOptimize(v);
  }
}

void BM_DateParse(benchmark::State& state) {
  static const char* const kTexts[] = {"2024-03-07 09:05:30",
                                       "3/7/2024 9:05 PM",
                                       "7 Mar 2024 09:05:30.250"};
  const char* text = kTexts[state.range(0)];
  state.SetLabel(text);
  KxbDatavar v;
  const unsigned size = static_cast<unsigned>(std::strlen(text));
  for (auto _ : state) {
    v.build(Date, text, size);
    benchmark::DoNotOptimize(v);
  }
  state.SetItemsProcessed(state.iterations());
}

void BM_DatePrint(benchmark::State& state) {
  const KxbDatavar v = sample(Date);
  kxbSetDatavarIsoDates(state.range(0) != 0);
  kxbSetDatavarIsoMillis(state.range(0) != 0);
  for (auto _ : state) {
    KxbString text = v.asString();
    benchmark::DoNotOptimize(text);
  }
  kxbSetDatavarIsoDates(false);
  kxbSetDatavarIsoMillis(false);
  state.SetItemsProcessed(state.iterations());
}

}  // namespace

BENCHMARK(BM_DatavarCopy);
BENCHMARK(BM_DatavarAsString)->DenseRange(Boolean, Binary);
BENCHMARK(BM_DatavarCompare)->DenseRange(Boolean, Binary);
BENCHMARK(BM_DatavarAssignInteger);
BENCHMARK(BM_DatavarNewString);
BENCHMARK(BM_DatavarBuildInteger);
BENCHMARK(BM_DateParse)->DenseRange(0, 2);
BENCHMARK(BM_DatePrint)->Arg(0)->Arg(1);

BENCHMARK_MAIN();
