// UTF-8 text handling: UTF-8 -> UTF-16 conversion against glibc's iconv, and
// the character counting and case mapping every string append or edit uses.
//
// Texts: about 4 KB of mostly ASCII prose with some accented Latin and CJK
// characters ("mixed"), and 4 KB of pure ASCII.
#include <benchmark/benchmark.h>
#include <iconv.h>  // the baseline only; the library itself never uses iconv

#include <string>
#include <vector>

#include "np_uchar.h"

namespace {

constexpr size_t kTextBytes = 4096;

std::string MakeText(const char* piece) {
  std::string s;
  while (s.size() < kTextBytes) s += piece;
  return s;
}

const std::string& MixedText() {
  static const std::string text = MakeText(
      "The quick brown fox jumps over the lazy dog near the river bank. "
      "Caf\xC3\xA9 cr\xC3\xA8me br\xC3\xBBl\xC3\xA9" "e, na\xC3\xAFve Gr\xC3\xB6\xC3\x9F" "e; "
      "\xE6\x9D\xB1\xE4\xBA\xAC (T\xC5\x8Dky\xC5\x8D) and \xE4\xB8\xAD\xE6\x96\x87. "
      "Numbers 0123456789, symbols #$%&*+-/<=>@[]^_{|}~ and more plain text.\n");
  return text;
}

const std::string& AsciiText() {
  static const std::string text = MakeText(
      "Plain ASCII configuration text: key = value; path = /usr/local/share; "
      "Lorem ipsum dolor sit amet, consectetur adipiscing elit. 0123456789\n");
  return text;
}

void MbToWide(benchmark::State& state, const std::string& text) {
  const int len = static_cast<int>(text.size());
  const int units = np_mb_to_wide(NP_CP_UTF8, 0, text.data(), len, nullptr, 0);
  std::vector<unsigned short> out(static_cast<size_t>(units));
  for (auto _ : state) {
    int n = np_mb_to_wide(NP_CP_UTF8, 0, text.data(), len, out.data(), units);
    benchmark::DoNotOptimize(n);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * len);
}

void Iconv(benchmark::State& state, const std::string& text) {
  iconv_t cd = iconv_open("UTF-16LE", "UTF-8");
  if (cd == reinterpret_cast<iconv_t>(-1)) {
    state.SkipWithError("iconv_open(UTF-16LE, UTF-8) failed");
    return;
  }
  std::vector<char> out(text.size() * 2 + 16);
  for (auto _ : state) {
    iconv(cd, nullptr, nullptr, nullptr, nullptr);  // initial state
    char* in = const_cast<char*>(text.data());
    size_t inLeft = text.size();
    char* o = out.data();
    size_t outLeft = out.size();
    size_t r = iconv(cd, &in, &inLeft, &o, &outLeft);
    benchmark::DoNotOptimize(r);
    benchmark::ClobberMemory();
  }
  iconv_close(cd);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                          static_cast<int64_t>(text.size()));
}

void WideToMb(benchmark::State& state, const std::string& text) {
  const int len = static_cast<int>(text.size());
  std::vector<unsigned short> wide(static_cast<size_t>(
      np_mb_to_wide(NP_CP_UTF8, 0, text.data(), len, nullptr, 0)));
  const int units = static_cast<int>(wide.size());
  np_mb_to_wide(NP_CP_UTF8, 0, text.data(), len, wide.data(), units);
  std::string out(text.size(), '\0');
  for (auto _ : state) {
    int n = np_wide_to_mb(NP_CP_UTF8, 0, wide.data(), units, out.data(), len);
    benchmark::DoNotOptimize(n);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * len);
}

void UcharLength(benchmark::State& state, const std::string& text) {
  for (auto _ : state) {
    int n = np_uchar_length(text.c_str());
    benchmark::DoNotOptimize(n);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                          static_cast<int64_t>(text.size()));
}

void UcharLower(benchmark::State& state, const std::string& text) {
  std::string out(text.size() * 3 + 1, '\0');
  for (auto _ : state) {
    int n = np_uchar_lower(text.c_str(), out.data(), static_cast<int>(out.size()));
    benchmark::DoNotOptimize(n);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                          static_cast<int64_t>(text.size()));
}

void BM_MbToWide_Mixed(benchmark::State& s) { MbToWide(s, MixedText()); }
void BM_Iconv_Mixed(benchmark::State& s) { Iconv(s, MixedText()); }
void BM_MbToWide_Ascii(benchmark::State& s) { MbToWide(s, AsciiText()); }
void BM_Iconv_Ascii(benchmark::State& s) { Iconv(s, AsciiText()); }
void BM_WideToMb_Mixed(benchmark::State& s) { WideToMb(s, MixedText()); }
void BM_UcharLength_Ascii(benchmark::State& s) { UcharLength(s, AsciiText()); }
void BM_UcharLength_Mixed(benchmark::State& s) { UcharLength(s, MixedText()); }
void BM_UcharLower_Ascii(benchmark::State& s) { UcharLower(s, AsciiText()); }
void BM_UcharLower_Mixed(benchmark::State& s) { UcharLower(s, MixedText()); }

BENCHMARK(BM_MbToWide_Mixed);
BENCHMARK(BM_Iconv_Mixed);
BENCHMARK(BM_MbToWide_Ascii);
BENCHMARK(BM_Iconv_Ascii);
BENCHMARK(BM_WideToMb_Mixed);
BENCHMARK(BM_UcharLength_Ascii);
BENCHMARK(BM_UcharLength_Mixed);
BENCHMARK(BM_UcharLower_Ascii);
BENCHMARK(BM_UcharLower_Mixed);

}  // namespace

BENCHMARK_MAIN();
