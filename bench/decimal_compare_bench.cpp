// The 192-bit decimal format (52 digits) beside two other decimal
// arithmetics on the same kind of work: Intel's decimal floating-point
// library in its 128-bit (34-digit) format, and Boost.Multiprecision's
// cpp_dec_float_50 (50 digits). Add, multiply, divide, square root, text in
// and text out, each on full-length operands of similar magnitude; add and
// multiply also on amounts of money (a few digits, two decimals). Every
// loop lets its input escape (DoNotOptimize) each time round, so that the
// header-only Boost code cannot be hoisted out of the loop as invariant.
//
// The other libraries are only needed here; the build compiles their
// benchmarks when it finds them (KXB_HAVE_INTEL_BID, KXB_HAVE_BOOST_MP) and
// leaves them out otherwise.
#include <benchmark/benchmark.h>

#include <cstring>
#include <string>

#include "decimal/decContext.h"
#include "decimal/decNumber.h"
#include "decimal/decSext.h"

#if KXB_HAVE_INTEL_BID
// Call by value, rounding mode and status flags passed explicitly: the
// configuration of the libbidgcc000 build.
#define DECIMAL_CALL_BY_REFERENCE 0
#define DECIMAL_GLOBAL_ROUNDING 0
#define DECIMAL_GLOBAL_EXCEPTION_FLAGS 0
extern "C" {
#include <bid_conf.h>
#include <bid_functions.h>
}
#endif

#if KXB_HAVE_BOOST_MP
#include <boost/multiprecision/cpp_dec_float.hpp>
#endif

namespace {

// Full-length operands: 52 digits for the 192-bit format and for
// cpp_dec_float_50 (which keeps 50 of them), the leading 34 for the
// 128-bit format.
const char kA52[] = "1234567890123456789012345678901234567.890123456789012";
const char kB52[] = "9876543210987654321098765432109876543.210987654321098";
const char kA34[] = "1234567890123456789012345678901234567";
const char kB34[] = "9876543210987654321098765432109876543";
// Money: same exponent for the sum, a product with four decimals.
const char kPrice[] = "1234567.89";
const char kQuantity[] = "42.50";

// --- 192-bit format ------------------------------------------------------

struct Sext {
  decContext set;
  decSext a, b;
  Sext(const char* x = kA52, const char* y = kB52) {
    decContextDefault(&set, DEC_INIT_DECIMAL192);
    decSextFromString(&a, x, &set);
    decSextFromString(&b, y, &set);
  }
};

void BM_Sext_Add(benchmark::State& state) {
  Sext o;
  decSext r;
  for (auto _ : state) {
    benchmark::DoNotOptimize(o.a);
    decSextAdd(&r, &o.a, &o.b, &o.set);
    benchmark::DoNotOptimize(r);
  }
}
BENCHMARK(BM_Sext_Add);

void BM_Sext_Multiply(benchmark::State& state) {
  Sext o;
  decSext r;
  for (auto _ : state) {
    benchmark::DoNotOptimize(o.a);
    decSextMultiply(&r, &o.a, &o.b, &o.set);
    benchmark::DoNotOptimize(r);
  }
}
BENCHMARK(BM_Sext_Multiply);

void BM_Sext_AddMoney(benchmark::State& state) {
  Sext o(kPrice, kQuantity);
  decSext r;
  for (auto _ : state) {
    benchmark::DoNotOptimize(o.a);
    decSextAdd(&r, &o.a, &o.b, &o.set);
    benchmark::DoNotOptimize(r);
  }
}
BENCHMARK(BM_Sext_AddMoney);

void BM_Sext_MultiplyMoney(benchmark::State& state) {
  Sext o(kPrice, kQuantity);
  decSext r;
  for (auto _ : state) {
    benchmark::DoNotOptimize(o.a);
    decSextMultiply(&r, &o.a, &o.b, &o.set);
    benchmark::DoNotOptimize(r);
  }
}
BENCHMARK(BM_Sext_MultiplyMoney);

void BM_Sext_Divide(benchmark::State& state) {
  Sext o;
  decSext r;
  for (auto _ : state) {
    benchmark::DoNotOptimize(o.a);
    decSextDivide(&r, &o.a, &o.b, &o.set);
    benchmark::DoNotOptimize(r);
  }
}
BENCHMARK(BM_Sext_Divide);

void BM_Sext_SquareRoot(benchmark::State& state) {
  Sext o;
  decSext r;
  for (auto _ : state) {
    benchmark::DoNotOptimize(o.a);
    decSextSquareRoot(&r, &o.a, &o.set);
    benchmark::DoNotOptimize(r);
  }
}
BENCHMARK(BM_Sext_SquareRoot);

void BM_Sext_FromText(benchmark::State& state) {
  Sext o;
  decSext r;
  const char* text = kA52;
  for (auto _ : state) {
    benchmark::DoNotOptimize(text);
    decSextFromString(&r, text, &o.set);
    benchmark::DoNotOptimize(r);
  }
}
BENCHMARK(BM_Sext_FromText);

void BM_Sext_ToText(benchmark::State& state) {
  Sext o;
  char text[DECSEXT_String];
  for (auto _ : state) {
    benchmark::DoNotOptimize(o.a);
    decSextToString(&o.a, text);
    benchmark::DoNotOptimize(text);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_Sext_ToText);

// --- Intel decimal library, 128-bit format -------------------------------

#if KXB_HAVE_INTEL_BID
struct Bid {
  _IDEC_flags flags = 0;
  BID_UINT128 a, b;
  Bid(const char* x = kA34, const char* y = kB34) {
    // The library's conversion takes writable text.
    std::string text = x;
    a = bid128_from_string(text.data(), BID_ROUNDING_TO_NEAREST, &flags);
    text = y;
    b = bid128_from_string(text.data(), BID_ROUNDING_TO_NEAREST, &flags);
  }
};

void BM_Bid128_Add(benchmark::State& state) {
  Bid o;
  for (auto _ : state) {
    benchmark::DoNotOptimize(o.a);
    BID_UINT128 r = bid128_add(o.a, o.b, BID_ROUNDING_TO_NEAREST, &o.flags);
    benchmark::DoNotOptimize(r);
  }
}
BENCHMARK(BM_Bid128_Add);

void BM_Bid128_Multiply(benchmark::State& state) {
  Bid o;
  for (auto _ : state) {
    benchmark::DoNotOptimize(o.a);
    BID_UINT128 r = bid128_mul(o.a, o.b, BID_ROUNDING_TO_NEAREST, &o.flags);
    benchmark::DoNotOptimize(r);
  }
}
BENCHMARK(BM_Bid128_Multiply);

void BM_Bid128_AddMoney(benchmark::State& state) {
  Bid o(kPrice, kQuantity);
  for (auto _ : state) {
    benchmark::DoNotOptimize(o.a);
    BID_UINT128 r = bid128_add(o.a, o.b, BID_ROUNDING_TO_NEAREST, &o.flags);
    benchmark::DoNotOptimize(r);
  }
}
BENCHMARK(BM_Bid128_AddMoney);

void BM_Bid128_MultiplyMoney(benchmark::State& state) {
  Bid o(kPrice, kQuantity);
  for (auto _ : state) {
    benchmark::DoNotOptimize(o.a);
    BID_UINT128 r = bid128_mul(o.a, o.b, BID_ROUNDING_TO_NEAREST, &o.flags);
    benchmark::DoNotOptimize(r);
  }
}
BENCHMARK(BM_Bid128_MultiplyMoney);

void BM_Bid128_Divide(benchmark::State& state) {
  Bid o;
  for (auto _ : state) {
    benchmark::DoNotOptimize(o.a);
    BID_UINT128 r = bid128_div(o.a, o.b, BID_ROUNDING_TO_NEAREST, &o.flags);
    benchmark::DoNotOptimize(r);
  }
}
BENCHMARK(BM_Bid128_Divide);

void BM_Bid128_SquareRoot(benchmark::State& state) {
  Bid o;
  for (auto _ : state) {
    benchmark::DoNotOptimize(o.a);
    BID_UINT128 r = bid128_sqrt(o.a, BID_ROUNDING_TO_NEAREST, &o.flags);
    benchmark::DoNotOptimize(r);
  }
}
BENCHMARK(BM_Bid128_SquareRoot);

void BM_Bid128_FromText(benchmark::State& state) {
  Bid o;
  char text[sizeof(kA34)];
  std::memcpy(text, kA34, sizeof(kA34));
  for (auto _ : state) {
    benchmark::DoNotOptimize(text);
    BID_UINT128 r = bid128_from_string(text, BID_ROUNDING_TO_NEAREST, &o.flags);
    benchmark::DoNotOptimize(r);
  }
}
BENCHMARK(BM_Bid128_FromText);

void BM_Bid128_ToText(benchmark::State& state) {
  Bid o;
  char text[64];
  for (auto _ : state) {
    benchmark::DoNotOptimize(o.a);
    bid128_to_string(text, o.a, &o.flags);
    benchmark::DoNotOptimize(text);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_Bid128_ToText);
#endif  // KXB_HAVE_INTEL_BID

// --- Boost.Multiprecision cpp_dec_float_50 -------------------------------

#if KXB_HAVE_BOOST_MP
using Float50 = boost::multiprecision::cpp_dec_float_50;

struct Boost {
  Float50 a{kA52};
  Float50 b{kB52};
};

void BM_CppDecFloat50_Add(benchmark::State& state) {
  Boost o;
  for (auto _ : state) {
    benchmark::DoNotOptimize(o.a);
    Float50 r = o.a + o.b;
    benchmark::DoNotOptimize(r);
  }
}
BENCHMARK(BM_CppDecFloat50_Add);

void BM_CppDecFloat50_Multiply(benchmark::State& state) {
  Boost o;
  for (auto _ : state) {
    benchmark::DoNotOptimize(o.a);
    Float50 r = o.a * o.b;
    benchmark::DoNotOptimize(r);
  }
}
BENCHMARK(BM_CppDecFloat50_Multiply);

void BM_CppDecFloat50_Divide(benchmark::State& state) {
  Boost o;
  for (auto _ : state) {
    benchmark::DoNotOptimize(o.a);
    Float50 r = o.a / o.b;
    benchmark::DoNotOptimize(r);
  }
}
BENCHMARK(BM_CppDecFloat50_Divide);

void BM_CppDecFloat50_SquareRoot(benchmark::State& state) {
  Boost o;
  for (auto _ : state) {
    benchmark::DoNotOptimize(o.a);
    Float50 r = sqrt(o.a);
    benchmark::DoNotOptimize(r);
  }
}
BENCHMARK(BM_CppDecFloat50_SquareRoot);

void BM_CppDecFloat50_FromText(benchmark::State& state) {
  const char* text = kA52;
  for (auto _ : state) {
    benchmark::DoNotOptimize(text);
    Float50 r(text);
    benchmark::DoNotOptimize(r);
  }
}
BENCHMARK(BM_CppDecFloat50_FromText);

void BM_CppDecFloat50_ToText(benchmark::State& state) {
  Boost o;
  for (auto _ : state) {
    benchmark::DoNotOptimize(o.a);
    std::string text = o.a.str(0, std::ios_base::scientific);
    benchmark::DoNotOptimize(text);
  }
}
BENCHMARK(BM_CppDecFloat50_ToText);
#endif  // KXB_HAVE_BOOST_MP

}  // namespace
BENCHMARK_MAIN();
