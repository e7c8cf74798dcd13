// Reading a configuration file of 100,000 lines (every fifth a comment)
// with this library and with two others: inih, which hands each entry to a
// callback and keeps nothing (the benchmark stores the pairs), and GLib's
// GKeyFile, which keeps a table per group. Both need a "[group]" header, so
// they read the same lines under one group. The library keeps more than
// either: every comment and blank line and the file's order, so that the
// file can be written back unchanged.
//
// The lookup benchmarks read options of a set loaded from that file (80,000
// keys) and from a file of 1,250 lines (1,000 keys), with and without one
// macro to expand, through getOption and through the C entry kxbGetOption,
// next to GKeyFile's g_key_file_get_value on the same keys.
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

#include "library_setup.h"
#include "kxbconfigfile.h"
#include "kxbconfigoptions.h"

#if KXB_HAVE_INIH
#include <ini.h>
#endif
#if KXB_HAVE_GLIB
#include <glib.h>
#endif

namespace {

namespace fs = std::filesystem;
constexpr int kLines = 100000;
constexpr int kSmallLines = 1250;

std::string keyName(int i) {
  return "Section" + std::to_string(i % 40) + "/Key" + std::to_string(i);
}

// Writes a sample of `lines` lines: `header` first ("" for this library's
// format).
std::string writeSample(const char* name, const char* header, int lines) {
  fs::path file = fs::temp_directory_path() / name;
  std::ofstream out(file, std::ios::binary | std::ios::trunc);
  out << header << "Base/Root = /opt/kxb\n";
  for (int i = 1; i < lines; ++i) {
    if (i % 5 == 0) {
      out << "# the setting below is number " << i << "\n";
    } else {
      out << keyName(i) << " = value number " << i << " under %%Base/Root%%\n";
    }
  }
  return file.string();
}

const std::string& kxbSample(int lines = kLines) {
  static const std::string big = writeSample("kxb_compare_bench.cfg", "", kLines);
  static const std::string small =
      writeSample("kxb_compare_bench_small.cfg", "", kSmallLines);
  return lines == kLines ? big : small;
}
const std::string& groupSample(int lines = kLines) {
  static const std::string big =
      writeSample("kxb_compare_bench.ini", "[main]\n", kLines);
  static const std::string small =
      writeSample("kxb_compare_bench_small.ini", "[main]\n", kSmallLines);
  return lines == kLines ? big : small;
}

void setUp() {
  static const bool ready = kxb_bench::setUpLibrary();
  (void)ready;
}

void BM_ReadKxbConfigFile(benchmark::State& state) {
  setUp();
  KxbString path(kxbSample().c_str());
  for (auto _ : state) {
    KxbConfigFile config;
    if (!config.read(path)) state.SkipWithError("read failed");
    benchmark::DoNotOptimize(config.getEntryCount());
  }
  state.SetItemsProcessed(state.iterations() * kLines);
}
BENCHMARK(BM_ReadKxbConfigFile)->Unit(benchmark::kMillisecond);

#if KXB_HAVE_INIH
int storePair(void* user, const char* section, const char* name, const char* value) {
  (void)section;
  static_cast<std::vector<std::pair<std::string, std::string>>*>(user)->emplace_back(
      name, value);
  return 1;
}

void BM_ReadInih(benchmark::State& state) {
  const std::string& path = groupSample();
  for (auto _ : state) {
    std::vector<std::pair<std::string, std::string>> pairs;
    if (ini_parse(path.c_str(), storePair, &pairs) != 0) {
      state.SkipWithError("ini_parse failed");
    }
    benchmark::DoNotOptimize(pairs.size());
  }
  state.SetItemsProcessed(state.iterations() * kLines);
}
BENCHMARK(BM_ReadInih)->Unit(benchmark::kMillisecond);
#endif

#if KXB_HAVE_GLIB
void readKeyFile(benchmark::State& state, GKeyFileFlags flags) {
  const std::string& path = groupSample();
  for (auto _ : state) {
    GKeyFile* file = g_key_file_new();
    if (!g_key_file_load_from_file(file, path.c_str(), flags, nullptr)) {
      state.SkipWithError("g_key_file_load_from_file failed");
    }
    g_key_file_free(file);
  }
  state.SetItemsProcessed(state.iterations() * kLines);
}
void BM_ReadGKeyFile(benchmark::State& state) { readKeyFile(state, G_KEY_FILE_NONE); }
BENCHMARK(BM_ReadGKeyFile)->Unit(benchmark::kMillisecond);
// Asked to keep comments, as this library always does.
void BM_ReadGKeyFileKeepComments(benchmark::State& state) {
  readKeyFile(state, G_KEY_FILE_KEEP_COMMENTS);
}
BENCHMARK(BM_ReadGKeyFileKeepComments)->Unit(benchmark::kMillisecond);
#endif

// Every seventh key of a file of `lines` lines, in lookup order.
std::vector<std::string> lookupKeys(int lines) {
  std::vector<std::string> keys;
  for (int i = 1; i < lines; i += 7) {
    if (i % 5 != 0) keys.push_back(keyName(i));
  }
  return keys;
}

// The set loaded from the file of `lines` lines, named after it.
KxbConfigOptions* loadedSet(int lines) {
  static KxbConfigOptions* big = nullptr;
  static KxbConfigOptions* small = nullptr;
  KxbConfigOptions*& set = lines == kLines ? big : small;
  if (set == nullptr) {
    KxbConfigFile config;
    config.read(KxbString(kxbSample(lines).c_str()));
    set = kxbGetConfigOptions(KxbString(lines == kLines ? "compare" : "compare_small"));
    set->loadConfigFile(&config);
  }
  return set;
}

// Args: expand (0 the value as stored, 1 with its one macro expanded) and
// the lines of the file the set was loaded from.
void BM_KxbGetOption(benchmark::State& state) {
  setUp();
  const int lines = static_cast<int>(state.range(1));
  KxbConfigOptions* set = loadedSet(lines);
  std::vector<KxbString> keys;
  for (const std::string& key : lookupKeys(lines)) keys.emplace_back(key.c_str());
  const bool expand = state.range(0) != 0;
  size_t next = 0;
  for (auto _ : state) {
    KxbString value;
    set->getOption(keys[next], &value, expand);
    benchmark::DoNotOptimize(value);
    if (++next == keys.size()) next = 0;
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_KxbGetOption)
    ->ArgNames({"expand", "lines"})
    ->Args({0, kLines})
    ->Args({1, kLines})
    ->Args({0, kSmallLines});

// The C entry point: set by name, value copied into the caller's buffer.
void BM_KxbGetOptionC(benchmark::State& state) {
  setUp();
  const int lines = static_cast<int>(state.range(0));
  loadedSet(lines);
  const char* name = lines == kLines ? "compare" : "compare_small";
  std::vector<std::string> keys = lookupKeys(lines);
  char buffer[256];
  size_t next = 0;
  for (auto _ : state) {
    int result = kxbGetOption(name, keys[next].c_str(), buffer, sizeof buffer);
    benchmark::DoNotOptimize(result);
    benchmark::DoNotOptimize(buffer);
    if (++next == keys.size()) next = 0;
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_KxbGetOptionC)->ArgName("lines")->Arg(kLines)->Arg(kSmallLines);

#if KXB_HAVE_GLIB
void BM_GKeyFileGetValue(benchmark::State& state) {
  const int lines = static_cast<int>(state.range(0));
  GKeyFile* file = g_key_file_new();
  g_key_file_load_from_file(file, groupSample(lines).c_str(), G_KEY_FILE_NONE,
                            nullptr);
  std::vector<std::string> keys = lookupKeys(lines);
  size_t next = 0;
  for (auto _ : state) {
    gchar* value = g_key_file_get_value(file, "main", keys[next].c_str(), nullptr);
    benchmark::DoNotOptimize(value);
    g_free(value);
    if (++next == keys.size()) next = 0;
  }
  state.SetItemsProcessed(state.iterations());
  g_key_file_free(file);
}
BENCHMARK(BM_GKeyFileGetValue)->ArgName("lines")->Arg(kLines)->Arg(kSmallLines);
#endif

}  // namespace

BENCHMARK_MAIN();
