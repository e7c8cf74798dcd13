// Configuration files of 10,000 entries: reading them, looking keys up in
// the file model and in an option set, and writing them back.
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "kxbconfigfile.h"
#include "kxbconfigoptions.h"
#include "kxbmempool.h"
#include "kxlog.h"
#include "services/kxbtextio_loader.h"
#include "startup/kxbconfigstore.h"

namespace {

namespace fs = std::filesystem;
constexpr int kEntries = 10000;

std::string binDirectory() {
  const char* bin = std::getenv("KXB_BIN_DIR");
  if (bin != nullptr && bin[0] != '\0') return bin;
  return fs::read_symlink("/proc/self/exe").parent_path().string();
}

std::string keyName(int i) { return "SECTION" + std::to_string(i % 50) + "/Key" + std::to_string(i); }

const std::string& sampleFile() {
  static const std::string path = [] {
    fs::path file = fs::temp_directory_path() / "kxb_config_bench.cfg";
    std::ofstream out(file, std::ios::binary | std::ios::trunc);
    out << "BASE/ROOT = /opt/kxb\n";
    for (int i = 0; i < kEntries; ++i) {
      if (i % 10 == 0) out << "# comment for entry " << i << "\n";
      out << keyName(i) << " = value number " << i << " under %%BASE/ROOT%%\n";
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
    if (!kxbLoadTextIO(binDirectory().c_str(), error, sizeof error) ||
        !kxbCreateConfigOptionStore()) {
      std::fprintf(stderr, "cannot start the library: %s\n", error);
      std::exit(1);
    }
  }
};
Library& library() {
  static Library instance;
  return instance;
}

void BM_ConfigFileRead(benchmark::State& state) {
  library();
  KxbString path(sampleFile().c_str());
  for (auto _ : state) {
    KxbConfigFile config;
    if (!config.read(path)) state.SkipWithError("read failed");
    benchmark::DoNotOptimize(config.getEntryCount());
  }
  state.SetItemsProcessed(state.iterations() * kEntries);
}
BENCHMARK(BM_ConfigFileRead)->Unit(benchmark::kMillisecond);

void BM_ConfigFileWrite(benchmark::State& state) {
  library();
  KxbConfigFile config;
  config.read(KxbString(sampleFile().c_str()));
  KxbString out((fs::temp_directory_path() / "kxb_config_bench.out").c_str());
  for (auto _ : state) {
    if (!config.write(out)) state.SkipWithError("write failed");
  }
  state.SetItemsProcessed(state.iterations() * kEntries);
}
BENCHMARK(BM_ConfigFileWrite)->Unit(benchmark::kMillisecond);

void BM_ConfigFileGetEntry(benchmark::State& state) {
  library();
  KxbConfigFile config;
  config.read(KxbString(sampleFile().c_str()));
  std::vector<KxbString> keys;
  for (int i = 0; i < kEntries; i += 7) keys.emplace_back(keyName(i).c_str());
  size_t next = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(config.getEntry(keys[next]));
    next = (next + 1) % keys.size();
  }
}
BENCHMARK(BM_ConfigFileGetEntry);

void BM_OptionsLoadConfigFile(benchmark::State& state) {
  library();
  KxbConfigFile config;
  config.read(KxbString(sampleFile().c_str()));
  for (auto _ : state) {
    KxbConfigOptions* set = kxbGetConfigOptions(KxbString("bench"));
    set->loadConfigFile(&config);
    state.PauseTiming();
    kxbClearConfigOptions(KxbString("bench"));
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * kEntries);
}
BENCHMARK(BM_OptionsLoadConfigFile)->Unit(benchmark::kMillisecond);

void BM_OptionsGetOption(benchmark::State& state) {
  library();
  KxbConfigFile config;
  config.read(KxbString(sampleFile().c_str()));
  KxbConfigOptions* set = kxbGetConfigOptions(KxbString("lookup"));
  set->loadConfigFile(&config);
  std::vector<KxbString> keys;
  for (int i = 0; i < kEntries; i += 7) keys.emplace_back(keyName(i).c_str());
  bool expand = state.range(0) != 0;
  size_t next = 0;
  for (auto _ : state) {
    KxbString value;
    set->getOption(keys[next], &value, expand);
    benchmark::DoNotOptimize(value);
    next = (next + 1) % keys.size();
  }
}
BENCHMARK(BM_OptionsGetOption)->Arg(0)->Arg(1);

void BM_KxbGetOption(benchmark::State& state) {
  library();
  KxbConfigFile config;
  config.read(KxbString(sampleFile().c_str()));
  kxbGetConfigOptions(KxbString(""))->loadConfigFile(&config);
  std::vector<std::string> keys;
  for (int i = 0; i < kEntries; i += 7) keys.push_back(keyName(i));
  char buffer[256];
  size_t next = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(kxbGetOption(nullptr, keys[next].c_str(), buffer,
                                          sizeof buffer));
    next = (next + 1) % keys.size();
  }
}
BENCHMARK(BM_KxbGetOption);

}  // namespace

BENCHMARK_MAIN();
