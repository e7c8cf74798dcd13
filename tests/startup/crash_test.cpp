// A configuration file write killed at any moment leaves the file whole.
//
// A child process writes a large configuration file over an existing one and
// is killed with SIGKILL after a random delay, many times over. After every
// kill the file must hold, byte for byte, either its old text or the new
// one, never a mixture or a cut copy.
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
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "kxbconfigfile.h"
#include "np_proc.h"
#include "support/temp_dir.h"
#include "support/textio_env.h"

namespace {

const bool kTextIO = kxb_test::useTextIO();

constexpr int kEntries = 20000;
constexpr int kKills = 50;
constexpr const char* kTarget = "big.cfg";

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

struct WriteJob {
  KxbConfigFile* model;
  KxbString path;
};

void writeInChild(void* arg) {
  auto* job = static_cast<WriteJob*>(arg);
  job->model->write(job->path);
}

bool isTemporaryOf(const std::string& name, const std::string& target) {
  std::string prefix = "." + target + ".";
  return name.size() > prefix.size() && name.compare(0, prefix.size(), prefix) == 0;
}

TEST(ConfigFileCrashTest, KilledWriterLeavesOldOrNewTextAndHarmlessTemporaries) {
  kxb_test::TempDir dir;
  ASSERT_FALSE(dir.path().empty());

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

  // Delays spread over the time one write takes here, so that kills land
  // before, during and after the rename.
  auto started = std::chrono::steady_clock::now();
  ASSERT_TRUE(newModel.write(KxbString(dir.path("timing.cfg").c_str())));
  auto writeTime = std::chrono::duration_cast<std::chrono::microseconds>(
      std::chrono::steady_clock::now() - started);
  std::mt19937 random(20260101u);
  std::uniform_int_distribution<long> delay(0, writeTime.count() * 3 / 2 + 1000);

  bool holdsNew = false;
  int interrupted = 0;
  int finished = 0;
  size_t temporaries = 0;
  for (int kill = 0; kill < kKills; ++kill) {
    SCOPED_TRACE("kill " + std::to_string(kill));
    WriteJob job{holdsNew ? &oldModel : &newModel, target};
    np_proc_handle child = 0;
    ASSERT_EQ(0, np_proc_fork_call(&writeInChild, &job, &child));
    std::this_thread::sleep_for(std::chrono::microseconds(delay(random)));
    ASSERT_EQ(0, np_proc_kill(child, 1));
    int exitCode = -1;
    ASSERT_EQ(0, np_proc_fork_wait(child, &exitCode));

    const std::string now = dir.read(kTarget);
    const std::string& before = holdsNew ? newText : oldText;
    const std::string& after = holdsNew ? oldText : newText;
    if (now == after) {
      holdsNew = !holdsNew;
      ++finished;
    } else {
      ASSERT_TRUE(now == before)
          << "the file holds " << now.size() << " bytes that are neither the "
          << "old text (" << before.size() << ") nor the new ("
          << after.size() << ")";
    }

    // Only the files made above, the target and its temporaries are there.
    size_t count = 0;
    for (const std::string& name : dir.names()) {
      if (isTemporaryOf(name, kTarget)) {
        ++count;
      } else {
        EXPECT_TRUE(name == kTarget || name.find(".src") != std::string::npos ||
                    name.find(".ref") != std::string::npos || name == "timing.cfg")
            << "unexpected file " << name;
      }
    }
    EXPECT_GE(count, temporaries) << "a temporary file was removed";
    EXPECT_LE(count, static_cast<size_t>(kill + 1));
    if (count > temporaries) ++interrupted;
    temporaries = count;
  }
  RecordProperty("writes_interrupted", interrupted);
  RecordProperty("writes_finished", finished);

  // The file still reads as a whole model.
  KxbConfigFile reread;
  ASSERT_TRUE(reread.read(target));
  EXPECT_EQ(kEntries, reread.getEntryCount());
  EXPECT_STREQ(holdsNew ? "new value 7" : "old value 7",
               reread.getEntry(KxbString("group7/key7")).asCstr());

  // The leftovers do not stop the next write, and it leaves them alone.
  const std::string expected = holdsNew ? oldText : newText;
  ASSERT_TRUE((holdsNew ? oldModel : newModel).write(target));
  EXPECT_EQ(expected, dir.read(kTarget));
  size_t left = 0;
  for (const std::string& name : dir.names()) {
    if (isTemporaryOf(name, kTarget)) ++left;
  }
  EXPECT_EQ(temporaries, left);
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
