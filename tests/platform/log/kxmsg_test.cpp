#include "kxmsg.h"

#include <atomic>
#include <cstdarg>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "kx_fault.h"
#include "np_env.h"
#include "support/log_capture.h"
#include "support/source_tree.h"

namespace {

namespace fs = std::filesystem;

using kxb_test::sourceDirectory;

std::string repositoryCatalogue() { return sourceDirectory() + "/share/msg"; }

// Message `number` of `set` formatted with the arguments; *found receives
// whether the catalogue had it.
std::string message(bool* found, const char* set, int number, ...) {
  char buffer[2048];
  va_list args;
  va_start(args, number);
  int result = kxmsg112_get_vmessage(set, number, "kxmsg_test", 42, buffer,
                                     sizeof buffer, args);
  va_end(args);
  if (found != nullptr) *found = result == 0;
  return buffer;
}

// kxmsg112_get_vmessage into a caller's buffer, with no arguments.
int rawMessage(const char* set, int number, char* buffer, size_t size, ...) {
  va_list args;
  va_start(args, size);
  int result = kxmsg112_get_vmessage(set, number, "u", 1, buffer, size, args);
  va_end(args);
  return result;
}

class ScratchCatalogue {
 public:
  ScratchCatalogue() {
    std::random_device random;
    root_ = fs::temp_directory_path() /
            ("kxmsg_test_" + std::to_string(random()) + std::to_string(random()));
    fs::create_directories(root_);
  }
  ~ScratchCatalogue() {
    std::error_code ignored;
    fs::remove_all(root_, ignored);
  }
  std::string location() const { return root_.string(); }
  std::string write(const std::string& locale, const std::string& file,
                    const std::string& text) const {
    fs::create_directories(root_ / locale);
    std::string path = (root_ / locale / file).string();
    std::ofstream(path, std::ios::binary) << text;
    return path;
  }

 private:
  fs::path root_;
};

// Each test starts with the repository's catalogue as location, no locale in
// the environment and nothing open.
class KxmsgTest : public ::testing::Test {
 protected:
  void SetUp() override {
    np_env_set("KAXEL_ERROR_LOCATION", repositoryCatalogue().c_str());
    np_env_set("KAXEL_ERROR_LOCALE", nullptr);
    kxmsg112_terminate();
  }
  void TearDown() override {
    kxFaultReset();
    kxmsg112_terminate();
    np_env_set("KAXEL_ERROR_LOCALE", nullptr);
  }
};

TEST_F(KxmsgTest, EnglishMessagesAndFragmentsAreFormattedWithTheirArguments) {
  const char* error = "untouched";
  ASSERT_EQ(0, kxmsg112_initialize(&error));
  EXPECT_EQ(nullptr, error);
  EXPECT_STREQ("en", kxmsg112_get_locale());

  bool found = false;
  EXPECT_EQ("A column named \"Price\" already exists.",
            message(&found, "Base Services", 1776, "column", "Price"));
  EXPECT_TRUE(found);
  EXPECT_EQ("Empty template variable name at line 7.",
            message(&found, "Base Services", 1763, 7));
  EXPECT_EQ("Failed to create the file for the program's output (error 13): "
            "Permission denied",
            message(&found, "Event Plugin", 332, 13, "", "Permission denied"));
  EXPECT_TRUE(found);
  // Set names match ignoring case.
  EXPECT_EQ("Out of memory.", message(&found, "base services", 444));
  EXPECT_TRUE(found);

  char fragment[256];
  EXPECT_EQ(0, kxmsg112_get_fragment(444, fragment, sizeof fragment));
  EXPECT_STRNE("", fragment);
  EXPECT_NE(0, kxmsg112_get_fragment(445, fragment, sizeof fragment));
  EXPECT_NE(std::string::npos, std::string(fragment).find("445")) << fragment;
}

TEST_F(KxmsgTest, FrenchLocaleFromSetLocaleOrEnvironment) {
  ASSERT_EQ(0, kxmsg112_initialize(nullptr));
  ASSERT_EQ(0, kxmsg112_set_locale("fr"));
  EXPECT_STREQ("fr", kxmsg112_get_locale());
  bool found = false;
  EXPECT_EQ("Un objet column nommé « Price » existe déjà.",
            message(&found, "Base Services", 1776, "column", "Price"));
  EXPECT_TRUE(found);
  EXPECT_EQ("Impossible de lancer le programme : no such program",
            message(&found, "Event Plugin", 380, "no such program"));

  ASSERT_EQ(0, kxmsg112_set_locale("en"));
  EXPECT_EQ("Out of memory.", message(&found, "Base Services", 444));
  kxmsg112_terminate();

  // After the last terminate the environment decides again.
  np_env_set("KAXEL_ERROR_LOCALE", "fr");
  ASSERT_EQ(0, kxmsg112_initialize(nullptr));
  EXPECT_STREQ("fr", kxmsg112_get_locale());
  EXPECT_EQ("Mémoire insuffisante.", message(&found, "Base Services", 444));
}

TEST_F(KxmsgTest, UnknownOrInvalidLocaleIsRefusedAndTheCurrentOneKept) {
  ASSERT_EQ(0, kxmsg112_initialize(nullptr));
  const char* refused[] = {"xx", "", "..", ".", "../en", "en/", nullptr};
  for (const char* locale : refused) {
    EXPECT_NE(0, kxmsg112_set_locale(locale)) << (locale ? locale : "(null)");
  }
  EXPECT_STREQ("en", kxmsg112_get_locale());
  bool found = false;
  EXPECT_EQ("Out of memory.", message(&found, "Base Services", 444));
  EXPECT_TRUE(found);

  // Also with French in force.
  ASSERT_EQ(0, kxmsg112_set_locale("fr"));
  EXPECT_NE(0, kxmsg112_set_locale("de"));
  EXPECT_STREQ("fr", kxmsg112_get_locale());
  EXPECT_EQ("Mémoire insuffisante.", message(&found, "Base Services", 444));

  // An unknown locale from the environment makes the open fail.
  kxmsg112_terminate();
  kxmsg112_terminate();
  np_env_set("KAXEL_ERROR_LOCALE", "xx");
  const char* error = nullptr;
  EXPECT_NE(0, kxmsg112_initialize(&error));
  ASSERT_NE(nullptr, error);
  EXPECT_NE(std::string::npos, std::string(error).find("/xx")) << error;
}

TEST_F(KxmsgTest, MissingNumberOrSetGivesFallbackNamingSetNumberAndPlace) {
  ASSERT_EQ(0, kxmsg112_initialize(nullptr));
  bool found = true;
  EXPECT_EQ("Base Services message 987654 (kxmsg_test:42)",
            message(&found, "Base Services", 987654, "unused"));
  EXPECT_FALSE(found);
  EXPECT_EQ("No Such Set message 444 (kxmsg_test:42)",
            message(&found, "No Such Set", 444));
  EXPECT_FALSE(found);
  EXPECT_EQ("(no set) message 5 (kxmsg_test:42)", message(&found, nullptr, 5));

  // Small buffers are cut and terminated; no buffer at all writes nothing.
  char small[8];
  EXPECT_NE(0, rawMessage("Base Services", 987654, small, sizeof small));
  EXPECT_EQ("Base Se", std::string(small));
  EXPECT_NE(0, rawMessage("Base Services", 444, nullptr, 16));
  EXPECT_NE(0, kxmsg112_get_fragment(444, small, 0));
}

TEST_F(KxmsgTest, EveryLocaleHasEveryMessageWithTheSameArguments) {
  // The conversions of a text, in order: what callers must pass.
  auto signature = [](const std::string& text) {
    std::string kinds;
    for (size_t i = 0; i + 1 < text.size(); ++i) {
      if (text[i] != '%') continue;
      char c = text[++i];
      if (c == 's' || c == 'S' || c == 'd' || c == 'g') kinds += c;
      if (c != '%' && c != 's' && c != 'S' && c != 'd' && c != 'g') {
        kinds += '?';  // nothing else is used by these catalogues
      }
    }
    return kinds;
  };
  auto readCatalogue = [&](const std::string& path) {
    std::map<int, std::string> signatures;
    std::ifstream in(path);
    EXPECT_TRUE(in.good()) << path;
    for (std::string line; std::getline(in, line);) {
      if (line.empty() || line[0] == '#') continue;
      size_t blank = line.find(' ');
      signatures[std::stoi(line.substr(0, blank))] = signature(line.substr(blank + 1));
    }
    return signatures;
  };
  const std::map<std::string, std::set<int>> required = {
      {"base_services.msg",
       {29, 97, 332, 333, 377, 378, 380, 444, 448, 449, 450, 451, 452, 453, 454,
        471, 654, 1420, 1516, 1666, 1758, 1759, 1760, 1761, 1762, 1763, 1776,
        1778, 1795}},
      {"event_plugin.msg", {29, 332, 377, 378, 380}},
      {"fragments.msg", {444}},
  };
  for (const auto& [file, numbers] : required) {
    auto en = readCatalogue(repositoryCatalogue() + "/en/" + file);
    auto fr = readCatalogue(repositoryCatalogue() + "/fr/" + file);
    for (int number : numbers) {
      ASSERT_TRUE(en.count(number)) << file << " en lacks " << number;
      ASSERT_TRUE(fr.count(number)) << file << " fr lacks " << number;
      EXPECT_EQ(en[number], fr[number]) << file << " " << number;
      EXPECT_EQ(std::string::npos, en[number].find('?')) << file << " " << number;
    }
  }
  // The library loads what the files hold.
  auto signatures = readCatalogue(repositoryCatalogue() + "/en/base_services.msg");
  ASSERT_EQ(0, kxmsg112_initialize(nullptr));
  for (const char* locale : {"en", "fr"}) {
    ASSERT_EQ(0, kxmsg112_set_locale(locale));
    for (int number : required.at("base_services.msg")) {
      if (!signatures[number].empty()) continue;  // takes arguments
      bool found = false;
      std::string text = message(&found, "Base Services", number);
      EXPECT_TRUE(found) << locale << " " << number;
      EXPECT_FALSE(text.empty());
    }
  }
}

TEST_F(KxmsgTest, MalformedLinesAreSkippedWithAWarningAndTheRestIsUsable) {
  ScratchCatalogue catalogue;
  std::string path = catalogue.write("en", "base_services.msg",
      "# header\n"
      "1 First line\n"
      "no number here\n"
      "2\n"
      "3x glued to the number\n"
      "   \n"
      "4 \xff\xfe not UTF-8\n"
      "5 Tab\\there, break\\nthere, backslash \\\\ and \\q kept   \r\n"
      "1 Second text for one\n"
      "99999999999 too large\n"
      "  6 Indented %s\n");
  np_env_set("KAXEL_ERROR_LOCATION", catalogue.location().c_str());
  kxb_test::LogCapture capture;
  ASSERT_EQ(0, kxmsg112_initialize(nullptr));

  bool found = false;
  EXPECT_EQ("First line", message(&found, "Base Services", 1));
  EXPECT_TRUE(found);
  EXPECT_EQ("Tab\there, break\nthere, backslash \\ and \\q kept",
            message(&found, "Base Services", 5));
  EXPECT_EQ("Indented arg", message(&found, "Base Services", 6, "arg"));
  for (int skipped : {2, 3, 4}) {
    message(&found, "Base Services", skipped);
    EXPECT_FALSE(found) << skipped;
  }
  // Lines 3, 4, 5, 7 and 10 are malformed, line 9 repeats number 1.
  for (const char* line : {"line 3 ", "line 4 ", "line 5 ", "line 7 ", "line 10 "}) {
    EXPECT_TRUE(capture.hasRecord(std::string("malformed ") + line, KXLOG_RECOVERABLE,
                                  "KX.Base.Messages"));
  }
  EXPECT_TRUE(capture.hasRecord("message 1 at line 9"));
  EXPECT_EQ(6u, capture.count(path));
  // Event Plugin has no file here: a locale needs only one of its files.
  message(&found, "Event Plugin", 29);
  EXPECT_FALSE(found);
}

TEST_F(KxmsgTest, MissingLocationOrUnreadableFileFailsTheOpenWithItsReason) {
  np_env_set("KAXEL_ERROR_LOCATION", nullptr);
  const char* error = nullptr;
  EXPECT_NE(0, kxmsg112_initialize(&error));
  ASSERT_NE(nullptr, error);
  EXPECT_NE(std::string::npos, std::string(error).find("KAXEL_ERROR_LOCATION")) << error;
  bool found = true;
  EXPECT_EQ("Base Services message 444 (kxmsg_test:42)",
            message(&found, "Base Services", 444));
  EXPECT_FALSE(found);
  char fragment[256];
  EXPECT_NE(0, kxmsg112_get_fragment(444, fragment, sizeof fragment));
  EXPECT_NE(std::string::npos, std::string(fragment).find("KAXEL_ERROR_LOCATION"));
  EXPECT_NE(0, kxmsg112_set_locale("en"));

  // A location holding no catalogue for the locale.
  ScratchCatalogue empty;
  np_env_set("KAXEL_ERROR_LOCATION", empty.location().c_str());
  EXPECT_NE(0, kxmsg112_initialize(&error));
  EXPECT_NE(std::string::npos, std::string(error).find(empty.location() + "/en")) << error;

  // A file that exists but cannot be read.
  np_env_set("KAXEL_ERROR_LOCATION", repositoryCatalogue().c_str());
  kxFaultArm(KX_FAULT_OPEN, 1);
  EXPECT_NE(0, kxmsg112_initialize(&error));
  EXPECT_NE(std::string::npos, std::string(error).find("base_services.msg")) << error;
  EXPECT_NE(std::string::npos, std::string(error).find("Permission denied")) << error;

  // The same while switching locales: the open catalogue stays.
  ASSERT_EQ(0, kxmsg112_initialize(nullptr));
  kxFaultArm(KX_FAULT_OPEN, 2);
  EXPECT_NE(0, kxmsg112_set_locale("fr"));
  EXPECT_STREQ("en", kxmsg112_get_locale());
  EXPECT_EQ("Out of memory.", message(&found, "Base Services", 444));
}

TEST_F(KxmsgTest, CatalogueOpensLazilyAndStaysOpenWhileCounted) {
  // No initialize: first use opens it.
  bool found = false;
  EXPECT_EQ("Out of memory.", message(&found, "Base Services", 444));
  EXPECT_TRUE(found);
  kxmsg112_terminate();  // uncounted: closes it

  ASSERT_EQ(0, kxmsg112_initialize(nullptr));
  ASSERT_EQ(0, kxmsg112_initialize(nullptr));
  // Files are read at open: later changes of the location do not matter.
  np_env_set("KAXEL_ERROR_LOCATION", nullptr);
  kxmsg112_terminate();
  message(&found, "Base Services", 444);
  EXPECT_TRUE(found);
  kxmsg112_terminate();
  message(&found, "Base Services", 444);
  EXPECT_FALSE(found);  // closed, and cannot be opened again
}

TEST_F(KxmsgTest, ConcurrentLookupsDuringLocaleSwitchesSeeOneLocaleOrTheOther) {
  ASSERT_EQ(0, kxmsg112_initialize(nullptr));
  const std::string english = "A column named \"c\" already exists.";
  const std::string french = "Un objet column nommé « c » existe déjà.";
  std::vector<std::thread> readers;
  std::atomic<int> bad{0};
  for (int t = 0; t < 3; ++t) {
    readers.emplace_back([&] {
      for (int i = 0; i < 2000; ++i) {
        bool found = false;
        std::string text = message(&found, "Base Services", 1776, "column", "c");
        if (!found || (text != english && text != french)) ++bad;
        kxmsg112_get_locale();
      }
    });
  }
  for (int i = 0; i < 100; ++i) {
    EXPECT_EQ(0, kxmsg112_set_locale(i % 2 == 0 ? "fr" : "en"));
  }
  for (auto& reader : readers) reader.join();
  EXPECT_EQ(0, bad.load());
}

}  // namespace
