// Templates: a 4 KB text with 50 variables, parsed, and rendered once its
// values are cached, next to fmt::format of the same text with the same 50
// named arguments (fmt's replacement fields "{name}" are spelled as this
// library's variables, and the plain text holds no braces, so one text
// serves both).
#include <array>
#include <string>
#include <utility>

#include <benchmark/benchmark.h>
#include <fmt/args.h>
#include <fmt/format.h>

#include "kxbtemplate.h"
#include "library_setup.h"

namespace {

constexpr int kVariables = 50;

struct Sample {
  std::string text;
  std::array<std::string, kVariables> names;
  std::array<std::string, kVariables> values;
};

const Sample& sample() {
  static const Sample s = [] {
    kxb_bench::setUpLibrary();
    Sample made;
    // 50 pieces of about 82 bytes: 4 KB.
    const std::string filler =
        "Lorem ipsum dolor sit amet, consectetur adipiscing elit, sed do eiu ";
    for (int i = 0; i < kVariables; ++i) {
      made.names[i] = "field" + std::to_string(i);
      made.values[i] = "value of field number " + std::to_string(i);
      made.text += filler + "{" + made.names[i] + "}\n";
    }
    made.text.resize(4096, '.');
    return made;
  }();
  return s;
}

class SampleValues : public KxbTemplateValueCB {
 public:
  bool lookup(const KxbString& name, KxbString* value, KxbString*) override {
    const Sample& s = sample();
    for (int i = 0; i < kVariables; ++i) {
      if (s.names[i] == name.asCstr()) {
        *value = KxbString(s.values[i].c_str());
        return true;
      }
    }
    return false;
  }
};

void BM_KxbTemplateParse(benchmark::State& state) {
  const Sample& s = sample();
  const KxbString text(s.text.c_str());
  SampleValues values;
  KxbTemplate* t = kxbCreateBasicTemplate(&values, nullptr);
  for (auto _ : state) {
    bool ok = t->parse(text, nullptr);
    benchmark::DoNotOptimize(ok);
  }
  t->release();
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(s.text.size()));
}
BENCHMARK(BM_KxbTemplateParse);

void BM_KxbTemplateRenderCached(benchmark::State& state) {
  const Sample& s = sample();
  SampleValues values;
  KxbTemplate* t = kxbCreateBasicTemplate(&values, nullptr);
  KxbString error;
  if (!t->parse(KxbString(s.text.c_str()), &error) ||
      t->render(&error).isNull()) {
    state.SkipWithError("the sample does not render");
  }
  for (auto _ : state) {
    KxbString out = t->render(nullptr);
    benchmark::DoNotOptimize(out.asCstr());
  }
  t->release();
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(s.text.size()));
}
BENCHMARK(BM_KxbTemplateRenderCached);

template <size_t... I>
std::string formatAll(const Sample& s, std::index_sequence<I...>) {
  return fmt::format(fmt::runtime(s.text),
                     fmt::arg(s.names[I].c_str(), s.values[I])...);
}

void BM_FmtFormatNamed(benchmark::State& state) {
  const Sample& s = sample();
  for (auto _ : state) {
    std::string out = formatAll(s, std::make_index_sequence<kVariables>());
    benchmark::DoNotOptimize(out.data());
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(s.text.size()));
}
BENCHMARK(BM_FmtFormatNamed);

// The same through fmt's run-time argument store, as a program would do
// with names known only at run time.
void BM_FmtVformatDynamicNamed(benchmark::State& state) {
  const Sample& s = sample();
  fmt::dynamic_format_arg_store<fmt::format_context> store;
  for (int i = 0; i < kVariables; ++i) {
    store.push_back(fmt::arg(s.names[i].c_str(), s.values[i]));
  }
  for (auto _ : state) {
    std::string out = fmt::vformat(s.text, store);
    benchmark::DoNotOptimize(out.data());
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(s.text.size()));
}
BENCHMARK(BM_FmtVformatDynamicNamed);

}  // namespace

BENCHMARK_MAIN();
