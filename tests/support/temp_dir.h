// TempDir: a fresh directory for one test, removed with everything in it
// when the object goes.
//
//   kxb_test::TempDir dir;
//   dir.write("a.cfg", "key=value\n");
//   std::string path = dir.path("a.cfg");
//   EXPECT_EQ("key=value\n", dir.read("a.cfg"));
//   EXPECT_EQ(std::vector<std::string>{"a.cfg"}, dir.names());
#ifndef KXB_TESTS_SUPPORT_TEMP_DIR_H_
#define KXB_TESTS_SUPPORT_TEMP_DIR_H_

#include <string>
#include <vector>

namespace kxb_test {

class TempDir {
 public:
  // Made under the system's temporary directory; the test fails (fatally
  // for the constructor's caller only through path() being empty) when it
  // cannot be made.
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  // The directory itself, or `name` inside it.
  const std::string& path() const { return root_; }
  std::string path(const std::string& name) const;
  // Writes `bytes` to `name` exactly (binary), replacing it.
  void write(const std::string& name, const std::string& bytes) const;
  // The bytes of `name` ("" when it cannot be read).
  std::string read(const std::string& name) const;
  bool exists(const std::string& name) const;
  // The names in the directory, sorted.
  std::vector<std::string> names() const;
  // Makes a subdirectory.
  void mkdir(const std::string& name) const;

 private:
  std::string root_;
};

// True when the process can read files whose permissions forbid it (it runs
// as root), so that tests of permission failures must be skipped.
bool ignoresPermissions(const TempDir& dir);

}  // namespace kxb_test

#endif  // KXB_TESTS_SUPPORT_TEMP_DIR_H_
