// libFuzzer target for the configuration file reader and writer: arbitrary
// bytes are written to a file and read, the model is written back and read
// again, and the second model must list the same entries (keys compared as
// the library compares them, without regard to case) with the same values
// and comments (nothing lost, nothing invented). Any violation aborts.
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "../bench/library_setup.h"
#include "kxbconfigfile.h"
#include "fuzz_util.h"

namespace {


struct Entry {
  std::string key, value, comment;
};

std::string text(const KxbString& s) {
  return std::string(s.asCstr(), static_cast<size_t>(s.cStrSize() - 1));
}

std::vector<Entry> entriesOf(KxbConfigFile& file) {
  std::vector<Entry> entries;
  KxbString key, value;
  for (bool first = true; file.getNextEntry(first, &key, &value); first = false) {
    entries.push_back({text(key), text(value), text(file.getEntryComment(key))});
  }
  CHECK(static_cast<int>(entries.size()) == file.getEntryCount());
  return entries;
}

const std::string& scratch(const char* name) {
  static const std::string directory = [] {
    std::filesystem::path dir = std::filesystem::temp_directory_path() /
                                ("kxb_configfile_fuzz." + std::to_string(std::random_device()()));
    std::filesystem::create_directories(dir);
    return dir.string();
  }();
  static std::string paths[2] = {directory + "/in.cfg", directory + "/out.cfg"};
  return paths[name[0] == 'o' ? 1 : 0];
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const bool ready = kxb_bench::setUpLibrary();
  (void)ready;
  {
    std::ofstream out(scratch("in"), std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    CHECK(out.good());
  }
  KxbConfigFile first;
  if (!first.read(KxbString(scratch("in").c_str()))) {
    // Bytes the text layer refuses: a clear error, no entries half kept
    // beyond what was read.
    CHECK(!first.getErrorMessage().isNull());
    return 0;
  }
  std::vector<Entry> before = entriesOf(first);
  CHECK(first.write(KxbString(scratch("out").c_str())));
  CHECK(entriesOf(first).size() == before.size());  // writing changes nothing

  KxbConfigFile second;
  CHECK(second.read(KxbString(scratch("out").c_str())));
  std::vector<Entry> after = entriesOf(second);
  CHECK(after.size() == before.size());
  for (size_t i = 0; i < before.size(); ++i) {
    // Keys are case-insensitive everywhere: a key keeps its first spelling,
    // while the live line that is written back may spell it otherwise.
    CHECK(KxbString(after[i].key.c_str())
              .compare(KxbString(before[i].key.c_str()), false) == 0);
    CHECK(after[i].value == before[i].value);
    CHECK(after[i].comment == before[i].comment);
  }
  return 0;
}
