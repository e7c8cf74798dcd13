// The 192-bit decimal format beyond its basic operations, on full 52-digit
// values: an add that must align and round, conversions to and from double,
// and the codec every operation pays. The four operations, the square root
// and text in and out are in decimal_compare_bench.cpp, beside the
// yardsticks.
#include <benchmark/benchmark.h>

#include "decimal/decContext.h"
#include "decimal/decNumber.h"
#include "decimal/decSext.h"

namespace {

const char kA[] = "1234567890123456789012345678901234567.890123456789012";
// Same magnitude, exponent gap of 30: alignment and rounding on add.
const char kC[] = "9.876543210987654321098765432109876543210987654321098E-8";

struct Operands {
  decContext set;
  decSext a, c;
  Operands() {
    decContextDefault(&set, DEC_INIT_DECIMAL192);
    decSextFromString(&a, kA, &set);
    decSextFromString(&c, kC, &set);
  }
};

void BM_SextAddRounded(benchmark::State& state) {
  Operands o;
  decSext r;
  for (auto _ : state) {
    decSextAdd(&r, &o.a, &o.c, &o.set);
    benchmark::DoNotOptimize(r);
  }
}
BENCHMARK(BM_SextAddRounded);

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
