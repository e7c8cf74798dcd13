// kxb-dectest: runs General Decimal Arithmetic test-case files (*.decTest)
// against the library's decimal arithmetic.
//
//   kxb-dectest [-v] FILE_OR_DIRECTORY...
//
// Directories are searched (not recursively) for *.decTest files. For each
// file and in total the runner prints the numbers of cases passed, failed
// and skipped, every failure with its id, and why cases were skipped
// (-v lists each skipped id too). The last line is always the grand total,
// "TOTAL: N passed, M failed, K skipped", for scripts to read. Exit status:
// 0 when no case failed and at least one file was read; 1 on failures; 2 on
// usage or file errors.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "dectest_case.h"
#include "dectest_lexer.h"
#include "kxs_ascii.h"

namespace {

struct Totals {
  long passed = 0;
  long failed = 0;
  long skipped = 0;
  std::map<std::string, long> skip_reasons;
};

struct Options {
  bool verbose = false;
};

std::string lower(const std::string& s) { return kxs_ascii::lowered(s); }

bool parseInteger(const std::string& text, long long* out) {
  if (text.empty()) return false;
  size_t i = 0;
  bool neg = false;
  if (text[0] == '+' || text[0] == '-') {
    neg = text[0] == '-';
    i = 1;
  }
  if (i == text.size()) return false;
  long long v = 0;
  for (; i < text.size(); ++i) {
    if (text[i] < '0' || text[i] > '9') return false;
    if (v > 100000000000000ll) return false;
    v = v * 10 + (text[i] - '0');
  }
  *out = neg ? -v : v;
  return true;
}

void addSkip(Totals* t, const std::string& reason) {
  ++t->skipped;
  ++t->skip_reasons[reason];
}

void merge(Totals* into, const Totals& from) {
  into->passed += from.passed;
  into->failed += from.failed;
  into->skipped += from.skipped;
  for (const auto& [reason, count] : from.skip_reasons) {
    into->skip_reasons[reason] += count;
  }
}

void printSkips(const Totals& t, const char* indent) {
  for (const auto& [reason, count] : t.skip_reasons) {
    std::printf("%sskipped %ld: %s\n", indent, count, reason.c_str());
  }
}

bool runFile(const std::filesystem::path& path, const Options& options,
             Totals* grand, int depth);

// Applies a directive line; false (with *error) when it cannot be used.
bool applyDirective(const std::string& key, const std::string& value,
                    dectest::Settings* s, std::string* error) {
  long long v = 0;
  if (key == "version" || key == "dectest") return true;
  if (key == "rounding") {
    s->rounding = lower(value);
    return true;
  }
  if (!parseInteger(value, &v)) {
    *error = "bad value for " + key + ": " + value;
    return false;
  }
  if (key == "precision") {
    s->precision = v;
  } else if (key == "maxexponent") {
    s->max_exponent = v;
  } else if (key == "minexponent") {
    s->min_exponent = v;
  } else if (key == "clamp") {
    s->clamp = v != 0;
  } else if (key == "extended") {
    s->extended = static_cast<int>(v);
  } else {
    *error = "unknown directive " + key;
    return false;
  }
  return true;
}

bool runFile(const std::filesystem::path& path, const Options& options,
             Totals* grand, int depth) {
  std::ifstream in(path);
  if (!in) {
    std::fprintf(stderr, "kxb-dectest: cannot read %s\n", path.c_str());
    return false;
  }
  Totals totals;
  dectest::Settings settings;
  std::vector<std::string> failures;
  std::string line;
  long line_number = 0;
  std::vector<dectest::Token> tokens;
  while (std::getline(in, line)) {
    ++line_number;
    std::string error;
    if (!dectest::tokenizeLine(line, &tokens, &error)) {
      ++totals.failed;
      failures.push_back("line " + std::to_string(line_number) + ": " + error);
      continue;
    }
    if (tokens.empty()) continue;
    const std::string& first = tokens[0].text;
    if (!tokens[0].quoted && first.size() > 1 && first.back() == ':') {
      std::string key = lower(first.substr(0, first.size() - 1));
      std::string value = tokens.size() > 1 ? tokens[1].text : "";
      if (key == "dectest") {
        if (depth > 8) {
          failures.push_back("line " + std::to_string(line_number) +
                             ": includes nested too deeply");
          ++totals.failed;
        } else {
          runFile(path.parent_path() / (value + ".decTest"), options, grand,
                  depth + 1);
        }
        continue;
      }
      if (!applyDirective(key, value, &settings, &error)) {
        ++totals.failed;
        failures.push_back("line " + std::to_string(line_number) + ": " +
                           error);
      }
      continue;
    }
    dectest::Outcome outcome = dectest::runCase(settings, tokens);
    switch (outcome.verdict) {
      case dectest::Verdict::kPass:
        ++totals.passed;
        break;
      case dectest::Verdict::kFail:
        ++totals.failed;
        failures.push_back(first + ": " + line.substr(0, line.find('\r')) +
                           "\n      " + outcome.message);
        break;
      case dectest::Verdict::kSkip:
        addSkip(&totals, outcome.message);
        if (options.verbose) {
          std::printf("  skip %s: %s\n", first.c_str(),
                      outcome.message.c_str());
        }
        break;
    }
  }
  std::printf("%s: %ld passed, %ld failed, %ld skipped\n",
              path.filename().c_str(), totals.passed, totals.failed,
              totals.skipped);
  for (const std::string& f : failures) std::printf("  FAIL %s\n", f.c_str());
  printSkips(totals, "  ");
  merge(grand, totals);
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  std::vector<std::filesystem::path> files;
  bool usage_error = argc < 2;
  for (int i = 1; i < argc; ++i) {
    std::string arg = argv[i];
    if (arg == "-v") {
      options.verbose = true;
      continue;
    }
    if (!arg.empty() && arg[0] == '-') {
      usage_error = true;
      break;
    }
    std::error_code ec;
    std::filesystem::path p(arg);
    if (std::filesystem::is_directory(p, ec)) {
      std::vector<std::filesystem::path> found;
      for (const auto& entry : std::filesystem::directory_iterator(p, ec)) {
        if (entry.path().extension() == ".decTest")
          found.push_back(entry.path());
      }
      if (ec) {
        std::fprintf(stderr, "kxb-dectest: cannot list %s: %s\n", arg.c_str(),
                     ec.message().c_str());
        return 2;
      }
      std::sort(found.begin(), found.end());
      files.insert(files.end(), found.begin(), found.end());
    } else {
      files.push_back(p);
    }
  }
  if (usage_error) {
    std::fprintf(stderr, "usage: kxb-dectest [-v] FILE_OR_DIRECTORY...\n");
    return 2;
  }
  if (files.empty()) {
    std::fprintf(stderr, "kxb-dectest: no .decTest files found\n");
    return 2;
  }
  Totals grand;
  bool read_all = true;
  for (const auto& f : files)
    read_all = runFile(f, options, &grand, 0) && read_all;
  printSkips(grand, "  ");
  std::printf("TOTAL: %ld passed, %ld failed, %ld skipped\n", grand.passed,
              grand.failed, grand.skipped);
  if (!read_all) return 2;
  return grand.failed == 0 ? 0 : 1;
}
