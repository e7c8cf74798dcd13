// Reading a configuration file of 100,000 lines (every fifth a comment)
// with this library and with two others: inih, which hands each entry to a
// callback and keeps nothing (the benchmark stores the pairs), and GLib's
// GKeyFile, which keeps a table per group. Both need a "[group]" header, so
// they read the same lines under one group. The library keeps more than
// either: every comment and blank line and the file's order, so that the
// file can be written back unchanged.
//
// The lookup benchmarks read options of a set loaded from that file, with
// and without one macro to expand, next to GKeyFile's g_key_file_get_value.
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

std::string keyName(int i) {
  return "Section" + std::to_string(i % 40) + "/Key" + std::to_string(i);
}

// Writes the sample once: `header` first ("" for this library's format).
std::string writeSample(const char* name, const char* header) {
  fs::path file = fs::temp_directory_path() / name;
  std::ofstream out(file, std::ios::binary | std::ios::trunc);
  out << header << "Base/Root = /opt/kxb\n";
  for (int i = 1; i < kLines; ++i) {
    if (i % 5 == 0) {
      out << "# the setting below is number " << i << "\n";
    } else {
      out << keyName(i) << " = value number " << i << " under %%Base/Root%%\n";
    }
  }
  return file.string();
}

const std::string& kxbSample() {
  static const std::string path = writeSample("kxb_compare_bench.cfg", "");
  return path;
}
const std::string& groupSample() {
  static const std::string path = writeSample("kxb_compare_bench.ini", "[main]\n");
  return path;
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

// Every seventh key of the file, in lookup order.
std::vector<std::string> lookupKeys() {
  std::vector<std::string> keys;
  for (int i = 1; i < kLines; i += 7) {
    if (i % 5 != 0) keys.push_back(keyName(i));
  }
  return keys;
}

KxbConfigOptions* loadedSet() {
  static KxbConfigOptions* set = [] {
    KxbConfigFile config;
    config.read(KxbString(kxbSample().c_str()));
    KxbConfigOptions* loaded = kxbGetConfigOptions(KxbString("compare"));
    loaded->loadConfigFile(&config);
    return loaded;
  }();
  return set;
}

// Arg 0: the value as stored; 1: with its one macro expanded.
void BM_KxbGetOption(benchmark::State& state) {
  setUp();
  KxbConfigOptions* set = loadedSet();
  std::vector<KxbString> keys;
  for (const std::string& key : lookupKeys()) keys.emplace_back(key.c_str());
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
BENCHMARK(BM_KxbGetOption)->Arg(0)->Arg(1);

#if KXB_HAVE_GLIB
void BM_GKeyFileGetValue(benchmark::State& state) {
  GKeyFile* file = g_key_file_new();
  g_key_file_load_from_file(file, groupSample().c_str(), G_KEY_FILE_NONE, nullptr);
  std::vector<std::string> keys = lookupKeys();
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
BENCHMARK(BM_GKeyFileGetValue);
#endif

}  // namespace

BENCHMARK_MAIN();
