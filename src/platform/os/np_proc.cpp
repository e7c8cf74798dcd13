// np_proc: starting external programs with posix_spawn and waiting for them.
#include "np_proc.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <string.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <climits>
#include <new>
#include <vector>

#include "kx_fault.h"
#include "np_env.h"
#include "np_fio.h"
#include "np_mem.h"
#include "np_proc_internal.h"

struct np_proc {
  pid_t pid = 0;    // 0 when the start failed
  int pidfd = -1;   // -1 when the kernel has no pidfds
  bool ended = false;
  int state = 0;
  int exitCode = 0;
  char error[256] = "";
};

namespace {

constexpr int kKnownFlags =
    NP_PROC_NULL_INPUT | NP_PROC_ENVIRONMENT | NP_PROC_OUTPUT_FILE;
constexpr int kFallbackPollMs = 10;

int fail(np_proc* proc, int code) {
  np_fio_errdesc(code, proc->error, sizeof proc->error);
  return code;
}

// Length of the name part of "NAME=VALUE" (all of it when there is no "=").
size_t nameLength(const char* entry) {
  const char* equals = strchr(entry, '=');
  return equals != nullptr ? static_cast<size_t>(equals - entry) : strlen(entry);
}

bool sameName(const char* a, const char* b) {
  size_t length = nameLength(a);
  return length == nameLength(b) && memcmp(a, b, length) == 0;
}

// The child's environment: a snapshot of the process's (np_env_block), with
// `added` entries replacing those of the same name when given. The pointers
// point into `block`, which the caller frees.
int buildEnvironment(const char* const* added, char** block,
                     std::vector<char*>* envp) {
  *block = np_env_block();
  if (*block == nullptr) return ENOMEM;
  try {
    for (char* entry = *block; *entry != '\0'; entry += strlen(entry) + 1) {
      bool replaced = false;
      for (const char* const* a = added; a != nullptr && *a != nullptr; ++a) {
        if (sameName(entry, *a)) {
          replaced = true;
          break;
        }
      }
      if (!replaced) envp->push_back(entry);
    }
    for (const char* const* a = added; a != nullptr && *a != nullptr; ++a) {
      // A name given twice: the later entry wins.
      bool later = false;
      for (const char* const* b = a + 1; *b != nullptr; ++b) {
        if (sameName(*a, *b)) later = true;
      }
      if (!later) envp->push_back(const_cast<char*>(*a));
    }
    envp->push_back(nullptr);
  } catch (const std::bad_alloc&) {
    np_mem_note_failure();
    return ENOMEM;
  }
  return 0;
}

// Frees what a start prepared, whatever happened.
struct SpawnSetup {
  posix_spawn_file_actions_t actions;
  posix_spawnattr_t attributes;
  bool haveActions = false;
  bool haveAttributes = false;
  char* environmentBlock = nullptr;
  ~SpawnSetup() {
    if (haveActions) posix_spawn_file_actions_destroy(&actions);
    if (haveAttributes) posix_spawnattr_destroy(&attributes);
    np_env_block_free(environmentBlock);
  }
};

int prepare(SpawnSetup* setup, int flags, const char* outputPath) {
  int result = posix_spawn_file_actions_init(&setup->actions);
  if (result != 0) return result;
  setup->haveActions = true;
  if (flags & NP_PROC_NULL_INPUT) {
    result = posix_spawn_file_actions_addopen(&setup->actions, 0, "/dev/null",
                                              O_RDONLY, 0);
    if (result != 0) return result;
  }
  if (flags & NP_PROC_OUTPUT_FILE) {
    result = posix_spawn_file_actions_addopen(
        &setup->actions, 1, outputPath, O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (result == 0) {
      result = posix_spawn_file_actions_adddup2(&setup->actions, 1, 2);
    }
    if (result != 0) return result;
  }
  // Nothing of the caller's beyond the three standard streams reaches the
  // program.
  result = posix_spawn_file_actions_addclosefrom_np(&setup->actions, 3);
  if (result != 0) return result;

  result = posix_spawnattr_init(&setup->attributes);
  if (result != 0) return result;
  setup->haveAttributes = true;
  sigset_t empty;
  sigset_t defaults;
  sigemptyset(&empty);
  sigemptyset(&defaults);
  sigaddset(&defaults, SIGPIPE);
  result = posix_spawnattr_setsigmask(&setup->attributes, &empty);
  if (result == 0) {
    result = posix_spawnattr_setsigdefault(&setup->attributes, &defaults);
  }
  if (result == 0) {
    result = posix_spawnattr_setflags(
        &setup->attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  }
  return result;
}

int openPidfd(pid_t pid) {
#ifdef SYS_pidfd_open
  long fd = syscall(SYS_pidfd_open, pid, 0);
  if (fd >= 0) {
    // pidfds are close-on-exec from the kernel.
    return static_cast<int>(fd);
  }
#else
  (void)pid;
#endif
  return -1;
}

int start(const char* const* argv, int flags, const char* const* environment,
          const char* outputPath, np_proc** out) {
  if (out == nullptr) return EINVAL;
  np_proc* proc = np_mem_new<np_proc>();
  *out = proc;
  if (proc == nullptr) return ENOMEM;
  if (argv == nullptr || argv[0] == nullptr || (flags & ~kKnownFlags) != 0 ||
      ((flags & NP_PROC_OUTPUT_FILE) && outputPath == nullptr)) {
    return fail(proc, EINVAL);
  }
  if (kxFaultHit(KX_FAULT_PROC_START)) return fail(proc, EAGAIN);

  SpawnSetup setup;
  int result = prepare(&setup, flags, outputPath);
  if (result != 0) return fail(proc, result);
  std::vector<char*> envp;
  result = buildEnvironment(
      (flags & NP_PROC_ENVIRONMENT) ? environment : nullptr,
      &setup.environmentBlock, &envp);
  if (result != 0) return fail(proc, result);

  pid_t pid = 0;
  char* const* args = const_cast<char* const*>(argv);
  if (strchr(argv[0], '/') != nullptr) {
    result = posix_spawn(&pid, argv[0], &setup.actions, &setup.attributes,
                         args, envp.data());
  } else {
    result = posix_spawnp(&pid, argv[0], &setup.actions, &setup.attributes,
                          args, envp.data());
  }
  if (result != 0) return fail(proc, result);
  proc->pid = pid;
  proc->pidfd = openPidfd(pid);
  return 0;
}

// Reaps the child without blocking: true when it has ended (state set).
bool tryReap(np_proc* proc, int* error) {
  int status = 0;
  pid_t done;
  do {
    done = waitpid(proc->pid, &status, WNOHANG);
  } while (done < 0 && errno == EINTR);
  if (done < 0) {
    *error = errno;
    return false;
  }
  *error = 0;
  if (done == 0) return false;
  proc->ended = true;
  proc->exitCode = np_proc_detail::exitCodeOf(status);
  proc->state = proc->exitCode == 0 ? NP_PROC_SUCCEEDED : NP_PROC_FAILED;
  return true;
}

void closePidfd(np_proc* proc) {
  if (proc->pidfd >= 0) close(proc->pidfd);
  proc->pidfd = -1;
}

// Waits for the child to end within `seconds` (negative: no bound).
int waitFor(np_proc* proc, int seconds) {
  int error = 0;
  if (seconds < 0) {
    int status = 0;
    pid_t done;
    do {
      done = waitpid(proc->pid, &status, 0);
    } while (done < 0 && errno == EINTR);
    if (done < 0) return errno;
    proc->ended = true;
    proc->exitCode = np_proc_detail::exitCodeOf(status);
    proc->state = proc->exitCode == 0 ? NP_PROC_SUCCEEDED : NP_PROC_FAILED;
    return 0;
  }
  using Clock = std::chrono::steady_clock;
  const Clock::time_point deadline = Clock::now() + std::chrono::seconds(seconds);
  for (;;) {
    if (tryReap(proc, &error) || error != 0) return error;
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                    deadline - Clock::now())
                    .count();
    if (left <= 0) return 0;
    int timeout = left > INT_MAX ? INT_MAX : static_cast<int>(left);
    if (proc->pidfd >= 0) {
      // Readable once the child has ended; interrupted polls go round again.
      pollfd fd = {proc->pidfd, POLLIN, 0};
      poll(&fd, 1, timeout);
    } else {
      pollfd none;
      poll(&none, 0, timeout < kFallbackPollMs ? timeout : kFallbackPollMs);
    }
  }
}

}  // namespace

extern "C" int np_proc_execute(const char* const* argv, int flags,
                               const char* const* environment,
                               const char* outputPath, np_proc** out) {
  return start(argv, flags, environment, outputPath, out);
}

extern "C" int np_proc_shellexec(const char* commandLine, int flags,
                                 const char* const* environment,
                                 const char* outputPath, np_proc** out) {
  const char* argv[] = {"/bin/sh", "-c", commandLine, nullptr};
  if (commandLine == nullptr) argv[0] = nullptr;
  return start(argv, flags, environment, outputPath, out);
}

extern "C" int np_proc_wait(np_proc* proc, int seconds, int* state,
                            int* exitCode) {
  if (proc == nullptr) return EINVAL;
  if (proc->pid == 0) return fail(proc, EINVAL);
  if (!proc->ended) {
    int error = waitFor(proc, seconds);
    if (error != 0) return fail(proc, error);
    if (proc->ended) closePidfd(proc);
  }
  if (state != nullptr) *state = proc->ended ? proc->state : NP_PROC_RUNNING;
  if (exitCode != nullptr) *exitCode = proc->ended ? proc->exitCode : 0;
  return 0;
}

extern "C" const char* np_proc_geterr(np_proc* proc) {
  if (proc == nullptr) return "Cannot allocate memory";
  return proc->error;
}

extern "C" int np_proc_pid(np_proc* proc) {
  return proc != nullptr ? static_cast<int>(proc->pid) : 0;
}

extern "C" void np_proc_destroy(np_proc* proc) {
  if (proc == nullptr) return;
  if (proc->pid != 0 && !proc->ended) {
    int error = 0;
    if (tryReap(proc, &error) || error != 0) {
      closePidfd(proc);
    } else {
      np_proc_detail::abandon(proc->pid, proc->pidfd);
      proc->pidfd = -1;
    }
  }
  closePidfd(proc);
  delete proc;
}
