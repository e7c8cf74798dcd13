// Reading a 10 MB text file line by line: the text IO library's readLine
// against std::getline on an std::ifstream, with and without UTF-8 repair.
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include <benchmark/benchmark.h>

#include "kxbmempool.h"
#include "kxbtxtfile.h"
#include "kxlog.h"
#include "services/kxbtextio_loader.h"

namespace {

namespace fs = std::filesystem;

std::string binDirectory() {
  const char* bin = std::getenv("KXB_BIN_DIR");
  if (bin != nullptr && bin[0] != '\0') return bin;
  return fs::read_symlink("/proc/self/exe").parent_path().string();
}

// A 10 MB file of lines between 1 and 160 characters, with some non-ASCII
// text, made once per run.
const std::string& sampleFile() {
  static const std::string path = [] {
    fs::path file = fs::temp_directory_path() / "kxb_textfile_bench.txt";
    std::ofstream out(file, std::ios::binary | std::ios::trunc);
    size_t written = 0;
    unsigned seed = 12345;
    while (written < 10 * 1024 * 1024) {
      seed = seed * 1103515245 + 12345;
      size_t length = 1 + (seed >> 16) % 160;
      std::string line(length, 'a' + static_cast<char>(seed % 26));
      if (seed % 5 == 0) line += "\xC3\xA9\xE2\x82\xAC";
      line += '\n';
      out << line;
      written += line.size();
    }
    return file.string();
  }();
  return path;
}

struct Library {
  Library() {
    kxlogInitialize();
    KxbMemPool::initialize();
    char error[512];
    if (!kxbLoadTextIO(binDirectory().c_str(), error, sizeof error)) {
      std::fprintf(stderr, "cannot load the text IO library: %s\n", error);
      std::exit(1);
    }
  }
};

void BM_TxtFileReadLine(benchmark::State& state) {
  static Library library;
  const std::string& path = sampleFile();
  int64_t bytes = 0;
  for (auto _ : state) {
    KxbTxtFile* file = kxbTxtFileOpen(path.c_str(), KXB_TXT_READ, -1,
                                      static_cast<int>(state.range(0)), nullptr);
    KxbString line;
    bool sawLineEnd;
    int64_t lines = 0;
    while (file->readLine(-1, &line, &sawLineEnd) > 0 || sawLineEnd) ++lines;
    benchmark::DoNotOptimize(lines);
    bytes += file->getByteCount();
    file->release();
  }
  state.SetBytesProcessed(bytes);
}
BENCHMARK(BM_TxtFileReadLine)->Arg(0)->Arg(KXB_TXT_VALID_UTF8)
    ->Unit(benchmark::kMillisecond);

void BM_IfstreamGetline(benchmark::State& state) {
  const std::string& path = sampleFile();
  int64_t bytes = 0;
  for (auto _ : state) {
    std::ifstream in(path, std::ios::binary);
    std::string line;
    int64_t lines = 0;
    while (std::getline(in, line)) {
      ++lines;
      bytes += static_cast<int64_t>(line.size()) + 1;
    }
    benchmark::DoNotOptimize(lines);
  }
  state.SetBytesProcessed(bytes);
}
BENCHMARK(BM_IfstreamGetline)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
