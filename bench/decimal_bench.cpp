// Throughput of the 192-bit decimal format on full 52-digit values: the
// four operations, text in and out, and the codec underneath them.
#include <benchmark/benchmark.h>

#include "decimal/decContext.h"
#include "decimal/decNumber.h"
#include "decimal/decSext.h"

namespace {

const char kA[] = "1234567890123456789012345678901234567.890123456789012";
const char kB[] = "9876543210987654321098765432109876543.210987654321098";
// Same magnitude, exponent gap of 30: alignment and rounding on add.
const char kC[] = "9.876543210987654321098765432109876543210987654321098E-8";

struct Operands {
  decContext set;
  decSext a, b, c;
  Operands() {
    decContextDefault(&set, DEC_INIT_DECIMAL192);
    decSextFromString(&a, kA, &set);
    decSextFromString(&b, kB, &set);
    decSextFromString(&c, kC, &set);
  }
};

void BM_SextAdd(benchmark::State& state) {
  Operands o;
  decSext r;
  for (auto _ : state) {
    decSextAdd(&r, &o.a, &o.b, &o.set);
    benchmark::DoNotOptimize(r);
  }
}
BENCHMARK(BM_SextAdd);

void BM_SextAddRounded(benchmark::State& state) {
  Operands o;
  decSext r;
  for (auto _ : state) {
    decSextAdd(&r, &o.a, &o.c, &o.set);
    benchmark::DoNotOptimize(r);
  }
}
BENCHMARK(BM_SextAddRounded);

void BM_SextMultiply(benchmark::State& state) {
  Operands o;
  decSext r;
  for (auto _ : state) {
    decSextMultiply(&r, &o.a, &o.b, &o.set);
    benchmark::DoNotOptimize(r);
  }
}
BENCHMARK(BM_SextMultiply);

void BM_SextDivide(benchmark::State& state) {
  Operands o;
  decSext r;
  for (auto _ : state) {
    decSextDivide(&r, &o.a, &o.b, &o.set);
    benchmark::DoNotOptimize(r);
  }
}
BENCHMARK(BM_SextDivide);

void BM_SextFromString(benchmark::State& state) {
  Operands o;
  decSext r;
  for (auto _ : state) {
    decSextFromString(&r, kA, &o.set);
    benchmark::DoNotOptimize(r);
  }
}
BENCHMARK(BM_SextFromString);

void BM_SextToString(benchmark::State& state) {
  Operands o;
  char text[DECSEXT_String];
  for (auto _ : state) {
    decSextToString(&o.a, text);
    benchmark::DoNotOptimize(text);
  }
}
BENCHMARK(BM_SextToString);

void BM_SextSquareRoot(benchmark::State& state) {
  Operands o;
  decSext r;
  for (auto _ : state) {
    decSextSquareRoot(&r, &o.a, &o.set);
    benchmark::DoNotOptimize(r);
  }
}
BENCHMARK(BM_SextSquareRoot);

void BM_SextFromDouble(benchmark::State& state) {
  decSext r;
  double d = 0.1;
  for (auto _ : state) {
    decSextFromDouble(&r, d);
    benchmark::DoNotOptimize(r);
  }
}
BENCHMARK(BM_SextFromDouble);

void BM_SextToDouble(benchmark::State& state) {
  Operands o;
  for (auto _ : state) {
    benchmark::DoNotOptimize(decSextToDouble(&o.a));
  }
}
BENCHMARK(BM_SextToDouble);

// The decode and encode every operation pays.
void BM_SextCodecRoundTrip(benchmark::State& state) {
  Operands o;
  decNumber n;
  decSext r;
  for (auto _ : state) {
    decimal192ToNumber(&o.a, &n);
    decimal192FromNumber(&r, &n, &o.set);
    benchmark::DoNotOptimize(r);
  }
}
BENCHMARK(BM_SextCodecRoundTrip);

}  // namespace
BENCHMARK_MAIN();
