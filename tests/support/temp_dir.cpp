#include "support/temp_dir.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>

#include <gtest/gtest.h>

namespace fs = std::filesystem;

namespace kxb_test {

TempDir::TempDir() {
  std::random_device random;
  std::error_code error;
  fs::path base = fs::temp_directory_path(error);
  if (error) base = "/tmp";
  for (int attempt = 0; attempt < 100; ++attempt) {
    std::ostringstream name;
    name << "kxb-test-" << std::hex << random() << random();
    fs::path candidate = base / name.str();
    if (fs::create_directory(candidate, error) && !error) {
      root_ = candidate.string();
      return;
    }
  }
  ADD_FAILURE() << "cannot make a temporary directory under " << base;
}

TempDir::~TempDir() {
  if (root_.empty()) return;
  std::error_code error;
  // Give back permissions a test may have taken away, so that removal works.
  for (auto it = fs::recursive_directory_iterator(root_, error);
       !error && it != fs::recursive_directory_iterator(); it.increment(error)) {
    fs::permissions(it->path(), fs::perms::owner_all, fs::perm_options::add,
                    error);
  }
  fs::remove_all(root_, error);
}

std::string TempDir::path(const std::string& name) const {
  return (fs::path(root_) / name).string();
}

void TempDir::write(const std::string& name, const std::string& bytes) const {
  std::ofstream out(path(name), std::ios::binary | std::ios::trunc);
  out << bytes;
  EXPECT_TRUE(out.good()) << "cannot write " << path(name);
}

std::string TempDir::read(const std::string& name) const {
  std::ifstream in(path(name), std::ios::binary);
  std::ostringstream bytes;
  bytes << in.rdbuf();
  return bytes.str();
}

bool TempDir::exists(const std::string& name) const {
  std::error_code error;
  return fs::exists(path(name), error);
}

std::vector<std::string> TempDir::names() const {
  std::vector<std::string> result;
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(root_, error)) {
    result.push_back(entry.path().filename().string());
  }
  std::sort(result.begin(), result.end());
  return result;
}

void TempDir::mkdir(const std::string& name) const {
  std::error_code error;
  fs::create_directory(path(name), error);
  EXPECT_FALSE(error) << "cannot make " << path(name);
}

bool ignoresPermissions(const TempDir& dir) {
  dir.write(".probe", "x");
  std::error_code error;
  fs::permissions(dir.path(".probe"), fs::perms::none, error);
  std::ifstream in(dir.path(".probe"));
  bool readable = in.is_open();
  in.close();
  fs::permissions(dir.path(".probe"), fs::perms::owner_all, error);
  fs::remove(dir.path(".probe"), error);
  return readable;
}

}  // namespace kxb_test
