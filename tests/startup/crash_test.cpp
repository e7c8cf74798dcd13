// A file replaced in write mode and killed at any moment is left whole:
// configuration files (KxbConfigFile::write) and text files written through
// KxbTxtFile in write mode, here as UTF-16.
//
// A child process writes a large file over an existing one and is killed
// with SIGKILL after a random delay, many times over. After every kill the
// file must hold, byte for byte, either its old text or the new one, never a
// mixture or a cut copy. The default run kills each writer 50 times; with
// KXB_LONG_TESTS=1 in the environment, 1,000 times (a few minutes).
//
// Temporary files: a write goes to a hidden temporary beside the target
// (".<name>.<random>") that is renamed over it at the end. A writer killed
// before the rename leaves its temporary behind, and nothing removes it: not
// the next write (which cannot tell a dead writer's temporary from one a live
// process is still filling) and not a read. Such leftovers are harmless: their
// names are unique, so later writes succeed, and they never end like the
// target, so readers picking files by extension pass them by. Cleaning them
// up is the business of whoever owns the directory.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "kxbconfigfile.h"
#include "kxbtxtfile.h"
#include "np_proc.h"
#include "support/temp_dir.h"
#include "support/textio_env.h"

namespace {

const bool kTextIO = kxb_test::useTextIO();

constexpr int kEntries = 20000;

// 1,000 kills when KXB_LONG_TESTS=1, else 50.
int killCount() {
  const char* longTests = std::getenv("KXB_LONG_TESTS");
  return longTests != nullptr && std::strcmp(longTests, "1") == 0 ? 1000 : 50;
}

// The text of a file of kEntries entries, each with `tag` in its value and
// a comment above every tenth.
std::string fileText(const std::string& tag) {
  std::string text;
  text.reserve(kEntries * 40);
  for (int i = 0; i < kEntries; ++i) {
    if (i % 10 == 0) text += "# entry " + std::to_string(i) + "\n";
    text += "Group" + std::to_string(i % 20) + "/Key" + std::to_string(i) +
            "=" + tag + " value " + std::to_string(i) + "\n";
  }
  return text;
}

void callInChild(void* arg) { (*static_cast<std::function<void()>*>(arg))(); }

bool isTemporaryOf(const std::string& name, const std::string& target) {
  std::string prefix = "." + target + ".";
  return name.size() > prefix.size() && name.compare(0, prefix.size(), prefix) == 0;
}

// What a series of kills saw.
struct Kills {
  int interrupted = 0;  // kills that left a temporary behind
  int finished = 0;     // writes that got their text in before the kill
  size_t temporaries = 0;
  bool holdsNew = false;
};

// Kills `kills` writers of `target` in `dir`: each writes the text the
// target does not hold (write(true) the new one, write(false) the old one)
// and is killed after a random delay of up to one and a half times
// `writeTime`, so that kills land before, during and after the rename. After
// every kill the target must hold exactly `oldText` or `newText`, and only
// the target, its temporaries and the files listed in `others` may be in
// the directory.
Kills killWriters(const kxb_test::TempDir& dir, const std::string& target,
                  const std::function<void(bool toNew)>& write,
                  const std::string& oldText, const std::string& newText,
                  std::chrono::microseconds writeTime,
                  const std::vector<std::string>& others, int kills) {
  Kills seen;
  // A write in a child takes longer than one here (the fork, a cold
  // cache): time one, rewriting the text the target holds, and spread
  // the kills over the longer of the two.
  {
    std::function<void()> same = [&write] { write(false); };
    const auto started = std::chrono::steady_clock::now();
    np_proc_handle child = 0;
    EXPECT_EQ(0, np_proc_fork_call(&callInChild, &same, &child));
    int exitCode = -1;
    if (child != 0) {
      EXPECT_EQ(0, np_proc_fork_wait(child, &exitCode));
    }
    const auto inChild = std::chrono::duration_cast<std::chrono::microseconds>(
        std::chrono::steady_clock::now() - started);
    if (inChild > writeTime) writeTime = inChild;
    EXPECT_EQ(oldText, dir.read(target));
  }
  std::mt19937 random(20260101u);
  std::uniform_int_distribution<long> delay(0, writeTime.count() * 3 / 2 + 1000);
  for (int kill = 0; kill < kills; ++kill) {
    SCOPED_TRACE("kill " + std::to_string(kill));
    const bool toNew = !seen.holdsNew;
    std::function<void()> job = [&write, toNew] { write(toNew); };
    np_proc_handle child = 0;
    EXPECT_EQ(0, np_proc_fork_call(&callInChild, &job, &child));
    if (child == 0) return seen;
    std::this_thread::sleep_for(std::chrono::microseconds(delay(random)));
    EXPECT_EQ(0, np_proc_kill(child, 1));
    int exitCode = -1;
    EXPECT_EQ(0, np_proc_fork_wait(child, &exitCode));

    const std::string now = dir.read(target);
    const std::string& before = seen.holdsNew ? newText : oldText;
    const std::string& after = seen.holdsNew ? oldText : newText;
    if (now == after) {
      seen.holdsNew = !seen.holdsNew;
      ++seen.finished;
    } else if (now != before) {
      ADD_FAILURE() << "torn file: it holds " << now.size()
                    << " bytes that are neither the old text (" << before.size()
                    << ") nor the new (" << after.size() << ")";
      return seen;
    }

    size_t count = 0;
    for (const std::string& name : dir.names()) {
      if (isTemporaryOf(name, target)) {
        ++count;
      } else {
        bool listed = name == target;
        for (const std::string& other : others) listed = listed || name == other;
        EXPECT_TRUE(listed) << "unexpected file " << name;
      }
    }
    EXPECT_GE(count, seen.temporaries) << "a temporary file was removed";
    EXPECT_LE(count, static_cast<size_t>(kill + 1));
    if (count > seen.temporaries) ++seen.interrupted;
    seen.temporaries = count;
    if (::testing::Test::HasFailure()) return seen;
  }
  return seen;
}

template <class Write>
std::chrono::microseconds timeOf(Write write) {
  auto started = std::chrono::steady_clock::now();
  write();
  return std::chrono::duration_cast<std::chrono::microseconds>(
      std::chrono::steady_clock::now() - started);
}

TEST(ConfigFileCrashTest, KilledWriterLeavesOldOrNewTextAndHarmlessTemporaries) {
  kxb_test::TempDir dir;
  ASSERT_FALSE(dir.path().empty());
  const std::string kTarget = "big.cfg";

  // The two models, and the exact bytes a finished write of each produces.
  dir.write("old.src", fileText("old"));
  dir.write("new.src", fileText("new"));
  KxbConfigFile oldModel;
  KxbConfigFile newModel;
  ASSERT_TRUE(oldModel.read(KxbString(dir.path("old.src").c_str())));
  ASSERT_TRUE(newModel.read(KxbString(dir.path("new.src").c_str())));
  ASSERT_EQ(kEntries, oldModel.getEntryCount());
  ASSERT_TRUE(oldModel.write(KxbString(dir.path("old.ref").c_str())));
  ASSERT_TRUE(newModel.write(KxbString(dir.path("new.ref").c_str())));
  const std::string oldText = dir.read("old.ref");
  const std::string newText = dir.read("new.ref");
  ASSERT_EQ(fileText("old"), oldText);
  ASSERT_EQ(fileText("new"), newText);

  const KxbString target(dir.path(kTarget).c_str());
  ASSERT_TRUE(oldModel.write(target));
  const auto writeTime = timeOf(
      [&] { ASSERT_TRUE(newModel.write(KxbString(dir.path("timing.cfg").c_str()))); });

  const int kills = killCount();
  Kills seen = killWriters(
      dir, kTarget, [&](bool toNew) { (toNew ? newModel : oldModel).write(target); },
      oldText, newText, writeTime,
      {"old.src", "new.src", "old.ref", "new.ref", "timing.cfg"}, kills);
  ASSERT_FALSE(HasFailure());
  RecordProperty("kills", kills);
  RecordProperty("writes_interrupted", seen.interrupted);
  RecordProperty("writes_finished", seen.finished);
  std::printf("[ kills    ] configuration file: %d kills, %d writes finished, "
              "%d interrupted, no torn file\n",
              kills, seen.finished, seen.interrupted);

  // The file still reads as a whole model.
  KxbConfigFile reread;
  ASSERT_TRUE(reread.read(target));
  EXPECT_EQ(kEntries, reread.getEntryCount());
  EXPECT_STREQ(seen.holdsNew ? "new value 7" : "old value 7",
               reread.getEntry(KxbString("group7/key7")).asCstr());

  // The leftovers do not stop the next write, and it leaves them alone.
  const std::string expected = seen.holdsNew ? oldText : newText;
  ASSERT_TRUE((seen.holdsNew ? oldModel : newModel).write(target));
  EXPECT_EQ(expected, dir.read(kTarget));
  size_t left = 0;
  for (const std::string& name : dir.names()) {
    if (isTemporaryOf(name, kTarget)) ++left;
  }
  EXPECT_EQ(seen.temporaries, left);
}

// Writes fileText(tag) line by line as UTF-16 through KxbTxtFile's write
// mode; true when close() succeeded.
bool writeUtf16(const std::string& path, const std::string& tag) {
  KxbString error;
  KxbTxtFile* file = kxbTxtFileOpen(path.c_str(), KXB_TXT_WRITE, -1,
                                    KXB_TXT_WRITE_UTF16, &error);
  if (file == nullptr) return false;
  const std::string text = fileText(tag);
  bool ok = true;
  for (size_t at = 0; ok && at < text.size();) {
    const size_t end = text.find('\n', at);
    ok = file->writeln(text.data() + at, static_cast<int>(end - at));
    at = end + 1;
  }
  ok = file->close() && ok;
  file->release();
  return ok;
}

TEST(TextFileCrashTest, KilledUtf16WriterLeavesOldOrNewText) {
  kxb_test::TempDir dir;
  ASSERT_FALSE(dir.path().empty());
  const std::string kTarget = "big.txt";
  ASSERT_TRUE(writeUtf16(dir.path("old.ref"), "old"));
  ASSERT_TRUE(writeUtf16(dir.path("new.ref"), "new"));
  const std::string oldText = dir.read("old.ref");
  const std::string newText = dir.read("new.ref");
  // UTF-16 little-endian with its byte-order mark.
  ASSERT_EQ(2 + 2 * fileText("old").size(), oldText.size());
  ASSERT_EQ(std::string("\xFF\xFE#\0", 4), oldText.substr(0, 4));
  ASSERT_NE(oldText, newText);

  ASSERT_TRUE(writeUtf16(dir.path(kTarget), "old"));
  const auto writeTime =
      timeOf([&] { ASSERT_TRUE(writeUtf16(dir.path("timing.txt"), "new")); });

  const int kills = killCount();
  const std::string target = dir.path(kTarget);
  Kills seen = killWriters(
      dir, kTarget, [&](bool toNew) { writeUtf16(target, toNew ? "new" : "old"); },
      oldText, newText, writeTime, {"old.ref", "new.ref", "timing.txt"}, kills);
  ASSERT_FALSE(HasFailure());
  RecordProperty("kills", kills);
  RecordProperty("writes_interrupted", seen.interrupted);
  RecordProperty("writes_finished", seen.finished);
  std::printf("[ kills    ] UTF-16 text file: %d kills, %d writes finished, "
              "%d interrupted, no torn file\n",
              kills, seen.finished, seen.interrupted);
  // Each kill either interrupted a write or came after it finished.
  EXPECT_GT(seen.interrupted, 0);
}

TEST(ConfigFileCrashTest, ProcessSeamReportsBadArgumentsAndExitCodes) {
  np_proc_handle child = 42;
  EXPECT_NE(0, np_proc_fork_call(nullptr, nullptr, &child));
  EXPECT_EQ(0, child);
  EXPECT_NE(0, np_proc_kill(0, 1));
  EXPECT_NE(0, np_proc_fork_wait(0, nullptr));

  // A child that ends by itself reports 0; a killed one 128 + SIGKILL (9).
  ASSERT_EQ(0, np_proc_fork_call([](void*) {}, nullptr, &child));
  int exitCode = -1;
  ASSERT_EQ(0, np_proc_fork_wait(child, &exitCode));
  EXPECT_EQ(0, exitCode);
  EXPECT_NE(0, np_proc_fork_wait(child, &exitCode)) << "waited for twice";

  ASSERT_EQ(0, np_proc_fork_call(
                   [](void*) { std::this_thread::sleep_for(std::chrono::seconds(30)); },
                   nullptr, &child));
  ASSERT_EQ(0, np_proc_kill(child, 1));
  ASSERT_EQ(0, np_proc_fork_wait(child, &exitCode));
  EXPECT_EQ(128 + 9, exitCode);
}

}  // namespace
