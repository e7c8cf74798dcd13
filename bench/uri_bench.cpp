// URI parsing and percent-escaping.
//
// Parsing: a typical data URI text ("kxd://" with a typed source, four path
// members and an escaped space), a repository text and a generic text with
// query and fragment, each parsed into its object and released. Escaping: a
// 1 KB text of mostly ASCII with some spaces and accented letters, escaped
// (spaces and the bytes of non-ASCII characters) and unescaped again; the
// unescaping of a 256-byte text shows the stack-buffer path against the
// 1 KB text's pool-buffer path.
#include <benchmark/benchmark.h>

#include <string>

#include "kxbmempool.h"
#include "kxburi.h"

namespace {

const bool g_pool = KxbMemPool::initialize();

void Parse(benchmark::State& state, const char* text) {
  const KxbString input(text);
  for (auto _ : state) {
    KxURI* uri = getURIFromURIString(input);
    benchmark::DoNotOptimize(uri);
    uri->release();
  }
}

void BM_ParseDataURI(benchmark::State& state) {
  Parse(state, "kxd://SalesWarehouse.MYSQL/dbo/main/2024/Order%20Lines");
}
BENCHMARK(BM_ParseDataURI);

void BM_ParseReposURI(benchmark::State& state) {
  Parse(state, "kxr://Main/Jobs/Nightly/Load%20Orders(Job)");
}
BENCHMARK(BM_ParseReposURI);

void BM_ParseGenericURI(benchmark::State& state) {
  Parse(state, "https://example.com/docs/a%20b/index.html?lang=en&v=2#top");
}
BENCHMARK(BM_ParseGenericURI);

// Parsing and asking for every member and the escaped text, as a caller
// that logs a data URI does.
void BM_DataURIMembersAndEscapedText(benchmark::State& state) {
  const KxbString input("kxd://SalesWarehouse.MYSQL/dbo/main/2024/Order%20Lines");
  for (auto _ : state) {
    KxURI* uri = getURIFromURIString(input);
    KxDataURI* data = uri->asDataURI();
    benchmark::DoNotOptimize(data->getDataSource());
    benchmark::DoNotOptimize(data->getObjectName());
    benchmark::DoNotOptimize(uri->getEscapedURIString());
    uri->release();
  }
}
BENCHMARK(BM_DataURIMembersAndEscapedText);

std::string MakeText(size_t bytes) {
  static const char kPiece[] =
      "Caf\xC3\xA9 orders/2024 report for r\xC3\xA9gion Nord ?q=1 ";
  std::string text;
  while (text.size() < bytes) text += kPiece;
  // Cut at a character boundary at or below `bytes`.
  size_t cut = bytes;
  while (cut > 0 && (static_cast<unsigned char>(text[cut]) & 0xC0) == 0x80) --cut;
  text.resize(cut);
  return text;
}

void BM_Escape1K(benchmark::State& state) {
  const KxbString input(MakeText(1024).c_str());
  for (auto _ : state) {
    KxbString out("", true);
    getEscapeStringForURI(input, " ?#", 3, &out, nullptr);
    benchmark::DoNotOptimize(out);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * 1024);
}
BENCHMARK(BM_Escape1K);

void Unescape(benchmark::State& state, size_t bytes) {
  KxbString escaped("", true);
  getEscapeStringForURI(KxbString(MakeText(bytes).c_str()), " ?#", 3, &escaped,
                        nullptr);
  for (auto _ : state) {
    KxbString out;
    getUnEscapeStringFromURI(escaped, &out);
    benchmark::DoNotOptimize(out);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                          (escaped.cStrSize() - 1));
}

void BM_Unescape1K(benchmark::State& state) { Unescape(state, 1024); }
BENCHMARK(BM_Unescape1K);

void BM_Unescape256(benchmark::State& state) { Unescape(state, 256); }
BENCHMARK(BM_Unescape256);

}  // namespace

BENCHMARK_MAIN();
