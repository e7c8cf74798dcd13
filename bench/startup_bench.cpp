// A host's whole life with the library: kxbInitialize + kxbStartup +
// kxbShutdown over a realistic installation home (an app.cfg of 200, 2,000
// or 20,000 keys, 10 macro files of 20 keys, 100 extra environment
// variables, a message catalogue and a logging configuration writing to a
// file), beside its parts: initialisation and shutdown alone, and reading
// the same configuration files into an option set without start-up.
// Every iteration after the first is a second initialisation in the same
// process, which does not load the dependency library again: its start-up
// then logs the assertion "startup func was not registered" instead of
// running the dependency start-up (about a seventh of the 200-key time).
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>

#include <benchmark/benchmark.h>

#include "kxbb.h"
#include "kxbconfigfile.h"
#include "kxbconfigoptions.h"
#include "kxbstartup.h"
#include "kxlog.h"
#include "np_env.h"

namespace {

namespace fs = std::filesystem;

constexpr int kMacroFiles = 10;
constexpr int kMacroKeys = 20;
constexpr int kEnvironmentVariables = 100;

std::string self() {
  char path[4096];
  if (kxbbSelfPath(path, sizeof path) != 0) std::abort();
  return path;
}

void write(const fs::path& file, const std::string& text) {
  fs::create_directories(file.parent_path());
  std::ofstream(file, std::ios::binary | std::ios::trunc) << text;
}

// The home for `keys` keys, made once per size.
const fs::path& home(int keys) {
  static std::map<int, fs::path> homes;
  auto found = homes.find(keys);
  if (found != homes.end()) return found->second;
  fs::path root = fs::temp_directory_path() /
                  ("kxb_startup_bench_" + std::to_string(keys));
  fs::remove_all(root);
  std::string app = "BASE/TEMP=" + fs::temp_directory_path().string() + "\n"
                    "BASE/LOGCONFIG_PATH=%%KXEXEC_HOME%%/etc/logging.cfg\n"
                    "BASE/DATE_FORMAT=ISO8601\n";
  for (int i = 0; i < keys; ++i) {
    if (i % 10 == 0) app += "# group " + std::to_string(i / 10) + "\n";
    app += "APP" + std::to_string(i % 20) + "/Key" + std::to_string(i) +
           "=value " + std::to_string(i) + " in %%BASE/TEMP%%\n";
  }
  write(root / "etc/app.cfg", app);
  for (int f = 0; f < kMacroFiles; ++f) {
    std::string macros;
    for (int k = 0; k < kMacroKeys; ++k) {
      macros += "MACRO" + std::to_string(f) + "/K" + std::to_string(k) +
                "=%%APP0/Key0%%/" + std::to_string(k) + "\n";
    }
    write(root / "etc/macros" / ("m" + std::to_string(f) + ".cfg"), macros);
  }
  write(root / "etc/macros.cfg", "SITE/NAME=bench\n");
  write(root / "etc/logging.cfg",
        "level = 4\ndestination = file:" + (root / "kxb.log").string() + "\n");
  std::string catalogue = "444 Base Services message catalogue\n";
  for (int i = 1; i < 400; ++i) {
    catalogue += std::to_string(1000 + i) + " Fragment text number " +
                 std::to_string(i) + " with %s\n";
  }
  write(root / "share/msg/en/fragments.msg", catalogue);
  fs::create_directories(root / "etc/repositories");
  return homes.emplace(keys, root).first->second;
}

void prepareEnvironment(int keys) {
  static bool once = [] {
    for (int i = 0; i < kEnvironmentVariables; ++i) {
      std::string name = "KXB_BENCH_VAR_" + std::to_string(i);
      np_env_set(name.c_str(), ("environment value " + std::to_string(i)).c_str());
    }
    // Logging stays initialised across iterations, writing to a file, so
    // that records before start-up configures logging go there too.
    kxlogInitialize();
    return true;
  }();
  (void)once;
  np_env_set("KXEXEC_HOME", home(keys).string().c_str());
  np_env_set("KAXEL_ERROR_LOCATION", nullptr);
  kxlogConfigure((home(keys) / "etc/logging.cfg").string().c_str());
}

void fail(const char* what, const char* error) {
  std::fprintf(stderr, "%s: %s\n", what, error != nullptr ? error : "");
  std::exit(1);
}

void BM_InitialiseStartupShutdown(benchmark::State& state) {
  int keys = static_cast<int>(state.range(0));
  prepareEnvironment(keys);
  std::string exe = self();
  for (auto _ : state) {
    const char* error = nullptr;
    if (kxbInitialize(exe.c_str(), &error) != 0) fail("kxbInitialize", error);
    if (kxbStartup(&error, 0) != 0) fail("kxbStartup", error);
    kxbShutdown();
  }
  state.SetItemsProcessed(state.iterations() * keys);
}
BENCHMARK(BM_InitialiseStartupShutdown)
    ->Arg(200)->Arg(2000)->Arg(20000)->Unit(benchmark::kMicrosecond);

// The floor: what start-up adds to initialisation is everything beyond it.
void BM_InitialiseShutdown(benchmark::State& state) {
  prepareEnvironment(200);
  std::string exe = self();
  for (auto _ : state) {
    const char* error = nullptr;
    if (kxbInitialize(exe.c_str(), &error) != 0) fail("kxbInitialize", error);
    kxbShutdown();
  }
}
BENCHMARK(BM_InitialiseShutdown)->Unit(benchmark::kMicrosecond);

// The same files read into an option set by hand, inside one initialised
// library: the reading that start-up cannot avoid.
void BM_ReadSourcesOnly(benchmark::State& state) {
  int keys = static_cast<int>(state.range(0));
  prepareEnvironment(keys);
  std::string exe = self();
  const char* error = nullptr;
  if (kxbInitialize(exe.c_str(), &error) != 0) fail("kxbInitialize", error);
  KxbString app((home(keys) / "etc/app.cfg").string().c_str());
  KxbString macros((home(keys) / "etc/macros").string().c_str());
  for (auto _ : state) {
    KxbConfigOptions* options = kxbGetConfigOptions(KxbString("bench"));
    KxbConfigFile file;
    file.read(app);
    options->loadConfigFile(&file);
    options->loadDirectory(macros, KxbString("CFG"));
    options->loadEnvironment();
    benchmark::DoNotOptimize(options->count());
    kxbClearConfigOptions(KxbString("bench"));
  }
  kxbShutdown();
  state.SetItemsProcessed(state.iterations() * keys);
}
BENCHMARK(BM_ReadSourcesOnly)
    ->Arg(200)->Arg(2000)->Arg(20000)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
