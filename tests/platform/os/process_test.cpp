// The platform's process calls: starting programs with posix_spawn, their
// standard streams and environment, waiting, and reaping abandoned children.
#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "kx_fault.h"
#include "np_env.h"
#include "np_fio.h"
#include "np_proc.h"
#include "support/temp_dir.h"

namespace {

struct Outcome {
  int started = -1;
  int waited = -1;
  int state = -1;
  int exitCode = -1;
  std::string error;
};

Outcome runToEnd(std::vector<const char*> argv, int flags = NP_PROC_NULL_INPUT,
                 const char* const* environment = nullptr,
                 const char* output = nullptr) {
  argv.push_back(nullptr);
  Outcome outcome;
  np_proc* proc = nullptr;
  outcome.started = np_proc_execute(argv.data(), flags, environment, output, &proc);
  if (outcome.started == 0) {
    outcome.waited = np_proc_wait(proc, -1, &outcome.state, &outcome.exitCode);
  }
  outcome.error = np_proc_geterr(proc);
  np_proc_destroy(proc);
  return outcome;
}

std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream bytes;
  bytes << in.rdbuf();
  return bytes.str();
}

// The state letter of /proc/<pid>/stat ("R", "S", "Z", ...), or "" once the
// process is gone.
std::string processState(int pid) {
  std::string stat = readFile("/proc/" + std::to_string(pid) + "/stat");
  size_t close = stat.rfind(')');
  if (close == std::string::npos || close + 2 >= stat.size()) return "";
  return stat.substr(close + 2, 1);
}

// Waits up to 10 s for `pid` to disappear from /proc; its last state.
std::string awaitGone(int pid) {
  auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  std::string state = processState(pid);
  while (!state.empty() && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    state = processState(pid);
  }
  return state;
}

TEST(Process, ExitStatusesAndSignalsGiveStatesAndExitCodes) {
  Outcome ok = runToEnd({"/bin/true"});
  EXPECT_EQ(0, ok.started);
  EXPECT_EQ(0, ok.waited);
  EXPECT_EQ(NP_PROC_SUCCEEDED, ok.state);
  EXPECT_EQ(0, ok.exitCode);

  Outcome status = runToEnd({"sh", "-c", "exit 7"});  // found through PATH
  EXPECT_EQ(NP_PROC_FAILED, status.state);
  EXPECT_EQ(7, status.exitCode);

  Outcome killed = runToEnd({"/bin/sh", "-c", "kill -KILL $$"});
  EXPECT_EQ(NP_PROC_FAILED, killed.state);
  EXPECT_EQ(128 + 9, killed.exitCode);
  Outcome terminated = runToEnd({"/bin/sh", "-c", "kill -TERM $$"});
  EXPECT_EQ(128 + 15, terminated.exitCode);

  // Through the shell the program is /bin/sh: what it cannot find is its
  // own status 127.
  np_proc* proc = nullptr;
  ASSERT_EQ(0, np_proc_shellexec("kxb-no-such-program-here", NP_PROC_NULL_INPUT,
                                 nullptr, nullptr, &proc));
  int state = -1;
  int exitCode = -1;
  ASSERT_EQ(0, np_proc_wait(proc, -1, &state, &exitCode));
  EXPECT_EQ(NP_PROC_FAILED, state);
  EXPECT_EQ(127, exitCode);
  // An ended program reports the same again.
  ASSERT_EQ(0, np_proc_wait(proc, 0, &state, &exitCode));
  EXPECT_EQ(127, exitCode);
  np_proc_destroy(proc);
}

TEST(Process, ProgramThatCannotRunFailsTheStartItself) {
  kxb_test::TempDir dir;
  Outcome missing = runToEnd({"kxb-no-such-program-here"});
  EXPECT_EQ(ENOENT, missing.started);
  EXPECT_EQ("No such file or directory", missing.error);
  EXPECT_EQ(ENOENT, runToEnd({"/no/such/dir/prog"}).started);

  dir.write("plain.txt", "echo not a program\n");  // no execute permission
  Outcome denied = runToEnd({dir.path("plain.txt").c_str()});
  EXPECT_EQ(EACCES, denied.started);
  EXPECT_EQ("Permission denied", denied.error);

  // The failed handle has no process to wait for.
  np_proc* proc = nullptr;
  const char* argv[] = {"kxb-no-such-program-here", nullptr};
  ASSERT_EQ(ENOENT, np_proc_execute(argv, 0, nullptr, nullptr, &proc));
  ASSERT_NE(nullptr, proc);
  EXPECT_EQ(0, np_proc_pid(proc));
  EXPECT_EQ(EINVAL, np_proc_wait(proc, -1, nullptr, nullptr));
  np_proc_destroy(proc);
}

TEST(Process, BadArgumentsAndTheStartFaultPoint) {
  np_proc* proc = nullptr;
  const char* argv[] = {"/bin/true", nullptr};
  EXPECT_EQ(EINVAL, np_proc_execute(argv, 0, nullptr, nullptr, nullptr));
  EXPECT_EQ(EINVAL, np_proc_execute(argv, 0x100, nullptr, nullptr, &proc));
  np_proc_destroy(proc);
  EXPECT_EQ(EINVAL, np_proc_execute(argv, NP_PROC_OUTPUT_FILE, nullptr, nullptr,
                                    &proc));
  np_proc_destroy(proc);
  const char* empty[] = {nullptr};
  EXPECT_EQ(EINVAL, np_proc_execute(empty, 0, nullptr, nullptr, &proc));
  np_proc_destroy(proc);
  EXPECT_EQ(EINVAL, np_proc_shellexec(nullptr, 0, nullptr, nullptr, &proc));
  np_proc_destroy(proc);
  EXPECT_EQ(EINVAL, np_proc_wait(nullptr, 0, nullptr, nullptr));
  EXPECT_STRNE("", np_proc_geterr(nullptr));
  np_proc_destroy(nullptr);

  kxFaultArm(KX_FAULT_PROC_START, 1);
  Outcome refused = runToEnd({"/bin/true"});
  EXPECT_EQ(EAGAIN, refused.started);
  EXPECT_EQ("Resource temporarily unavailable", refused.error);
  EXPECT_EQ(0, runToEnd({"/bin/true"}).started) << "the fault fires once";
}

TEST(Process, InputIsNullAndOutputAndErrorShareTheFile) {
  kxb_test::TempDir dir;
  std::string output = dir.path("out.txt");
  dir.write("out.txt", "old content that must go\n");
  // cat would wait forever on an inherited terminal or pipe.
  Outcome both = runToEnd({"/bin/sh", "-c", "cat; echo out; echo err >&2"},
                          NP_PROC_NULL_INPUT | NP_PROC_OUTPUT_FILE, nullptr,
                          output.c_str());
  EXPECT_EQ(NP_PROC_SUCCEEDED, both.state);
  EXPECT_EQ("out\nerr\n", dir.read("out.txt"));

  // A missing output directory fails the start.
  Outcome nowhere = runToEnd({"/bin/true"}, NP_PROC_OUTPUT_FILE, nullptr,
                             dir.path("no/such/out.txt").c_str());
  EXPECT_EQ(ENOENT, nowhere.started);
}

TEST(Process, EnvironmentEntriesAreAddedAndOverride) {
  kxb_test::TempDir dir;
  std::string output = dir.path("env.txt");
  ASSERT_EQ(0, np_env_set("KXB_PROC_TEST_A", "inherited"));
  ASSERT_EQ(0, np_env_set("KXB_PROC_TEST_C", "kept"));
  const char* entries[] = {"KXB_PROC_TEST_A=given", "KXB_PROC_TEST_B=new value",
                           "KXB_PROC_TEST_B=later wins", nullptr};
  const char* script =
      "echo \"$KXB_PROC_TEST_A|$KXB_PROC_TEST_B|$KXB_PROC_TEST_C\";"
      "env | grep -c '^KXB_PROC_TEST_A='";
  runToEnd({"/bin/sh", "-c", script},
           NP_PROC_ENVIRONMENT | NP_PROC_OUTPUT_FILE, entries, output.c_str());
  EXPECT_EQ("given|later wins|kept\n1\n", dir.read("env.txt"));

  // Without the flag the entries are not used.
  runToEnd({"/bin/sh", "-c", script}, NP_PROC_OUTPUT_FILE, entries,
           output.c_str());
  EXPECT_EQ("inherited||kept\n1\n", dir.read("env.txt"));
  np_env_set("KXB_PROC_TEST_A", nullptr);
  np_env_set("KXB_PROC_TEST_C", nullptr);
}

TEST(Process, NoDescriptorOfTheCallerReachesTheProgram) {
  kxb_test::TempDir dir;
  np_fio_file* library = nullptr;
  ASSERT_EQ(0, np_fio_open(dir.path("held.txt").c_str(),
                           NP_FIO_READWRITE | NP_FIO_CREATE, 0600, &library));
  char tmpPath[1024];
  np_fio_file* temporary = nullptr;
  ASSERT_EQ(0, np_fio_tmpfile(dir.path().c_str(), "held", tmpPath,
                              sizeof tmpPath, &temporary));
  // A descriptor the host opened without close-on-exec.
  std::FILE* host = std::fopen(dir.path("host.txt").c_str(), "w");
  ASSERT_NE(nullptr, host);

  std::string output = dir.path("fds.txt");
  Outcome listed = runToEnd({"/bin/ls", "-l", "/proc/self/fd"},
                            NP_PROC_NULL_INPUT | NP_PROC_OUTPUT_FILE, nullptr,
                            output.c_str());
  ASSERT_EQ(NP_PROC_SUCCEEDED, listed.state) << dir.read("fds.txt");
  std::istringstream lines(dir.read("fds.txt"));
  std::string line;
  int descriptors = 0;
  while (std::getline(lines, line)) {
    size_t arrow = line.find(" -> ");
    if (arrow == std::string::npos) continue;
    ++descriptors;
    std::string target = line.substr(arrow + 4);
    size_t space = line.rfind(' ', arrow - 1);
    int fd = std::stoi(line.substr(space + 1, arrow - space - 1));
    // 0 is /dev/null, 1 and 2 the output file; anything else is ls's own
    // listing of the directory.
    if (fd == 0) {
      EXPECT_EQ("/dev/null", target);
    } else if (fd <= 2) {
      EXPECT_EQ(output, target);
    } else {
      EXPECT_EQ(0u, target.rfind("/proc/", 0)) << line;
    }
  }
  EXPECT_GE(descriptors, 3);
  std::fclose(host);
  np_fio_close(temporary);
  np_fio_close(library);
}

TEST(Process, WaitBoundRunsOutAndTheAbandonedChildIsReaped) {
  const char* argv[] = {"/bin/sleep", "0.3", nullptr};
  np_proc* proc = nullptr;
  ASSERT_EQ(0, np_proc_execute(argv, NP_PROC_NULL_INPUT, nullptr, nullptr, &proc));
  int pid = np_proc_pid(proc);
  ASSERT_GT(pid, 0);
  int state = -1;
  int exitCode = -1;
  ASSERT_EQ(0, np_proc_wait(proc, 0, &state, &exitCode));
  EXPECT_EQ(NP_PROC_RUNNING, state);
  EXPECT_EQ(0, exitCode);
  np_proc_destroy(proc);
  // It still runs after the handle went, then nobody waits for it here: the
  // reaper must collect it, or it would stay in /proc as a zombie ("Z").
  EXPECT_EQ("", awaitGone(pid)) << "pid " << pid;

  // A bounded wait ends before a long program does; a second wait on the
  // same handle goes on until it ends.
  const char* longer[] = {"/bin/sleep", "1", nullptr};
  ASSERT_EQ(0, np_proc_execute(longer, 0, nullptr, nullptr, &proc));
  ASSERT_EQ(0, np_proc_wait(proc, 0, &state, nullptr));
  EXPECT_EQ(NP_PROC_RUNNING, state);
  ASSERT_EQ(0, np_proc_wait(proc, 30, &state, &exitCode));
  EXPECT_EQ(NP_PROC_SUCCEEDED, state);
  np_proc_destroy(proc);

  // Several children abandoned at once, and one that ended unwaited.
  std::vector<int> pids;
  for (int i = 0; i < 4; ++i) {
    ASSERT_EQ(0, np_proc_execute(argv, 0, nullptr, nullptr, &proc));
    pids.push_back(np_proc_pid(proc));
    np_proc_destroy(proc);
  }
  const char* quick[] = {"/bin/true", nullptr};
  ASSERT_EQ(0, np_proc_execute(quick, 0, nullptr, nullptr, &proc));
  pids.push_back(np_proc_pid(proc));
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  np_proc_destroy(proc);
  for (int child : pids) EXPECT_EQ("", awaitGone(child)) << "pid " << child;
}

TEST(Process, ChildrenAbandonedFromSeveralThreadsAreAllReaped) {
  std::vector<int> pids(16, 0);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t, &pids] {
      const char* argv[] = {"/bin/sleep", "0.1", nullptr};
      for (int i = 0; i < 4; ++i) {
        np_proc* proc = nullptr;
        if (np_proc_execute(argv, 0, nullptr, nullptr, &proc) == 0) {
          pids[t * 4 + i] = np_proc_pid(proc);
        }
        np_proc_destroy(proc);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (int pid : pids) {
    ASSERT_GT(pid, 0);
    EXPECT_EQ("", awaitGone(pid)) << "pid " << pid;
  }
}

}  // namespace
