// np_proc: the background reaper of programs whose handles were destroyed
// while they still ran.
//
// One thread polls the pidfds of the abandoned children and collects each
// with waitpid when it becomes readable. It is started by the first
// abandoned child and ends when none is left, so a process that never
// abandons a child never has it. An eventfd wakes it when a child is added;
// it is closed when the thread ends.
// Where pidfds are missing (kernels before 5.3) it looks every 100 ms.
#include <errno.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <mutex>
#include <new>
#include <system_error>
#include <thread>
#include <vector>

#include "np_mem.h"
#include "np_proc_internal.h"

namespace {

constexpr int kFallbackPollMs = 100;

struct Orphan {
  pid_t pid;
  int pidfd;
};

struct Reaper {
  std::mutex mutex;
  std::vector<Orphan> orphans;
  bool running = false;
  int wakeFd = -1;
};

// Never destroyed: the thread may still run while the process exits.
Reaper& reaper() {
  static Reaper* instance = new Reaper;
  return *instance;
}

// Collects every orphan that has ended. Called with the mutex held.
void collectEnded(Reaper& r) {
  size_t kept = 0;
  for (const Orphan& orphan : r.orphans) {
    int status = 0;
    pid_t done;
    do {
      done = waitpid(orphan.pid, &status, WNOHANG);
    } while (done < 0 && errno == EINTR);
    if (done == 0) {
      r.orphans[kept++] = orphan;
    } else if (orphan.pidfd >= 0) {
      // Ended and collected, or not ours any more (ECHILD).
      close(orphan.pidfd);
    }
  }
  r.orphans.resize(kept);
}

void reapLoop() {
  Reaper& r = reaper();
  std::vector<pollfd> fds;
  for (;;) {
    bool blind = false;
    int wake = -1;
    {
      std::lock_guard<std::mutex> lock(r.mutex);
      collectEnded(r);
      if (r.orphans.empty()) {
        // Nothing left to wait for: the process keeps no descriptor of the
        // reaper while it does not run (the next orphan makes a new one).
        if (r.wakeFd >= 0) close(r.wakeFd);
        r.wakeFd = -1;
        r.running = false;
        return;
      }
      fds.clear();
      try {
        if (r.wakeFd >= 0) fds.push_back({r.wakeFd, POLLIN, 0});
        for (const Orphan& orphan : r.orphans) {
          if (orphan.pidfd >= 0) {
            fds.push_back({orphan.pidfd, POLLIN, 0});
          } else {
            blind = true;
          }
        }
      } catch (const std::bad_alloc&) {
        np_mem_note_failure();
        blind = true;
      }
      wake = r.wakeFd;
      if (wake < 0) blind = true;
    }
    int result = poll(fds.data(), fds.size(), blind ? kFallbackPollMs : -1);
    if (result > 0 && wake >= 0 && (fds[0].revents & POLLIN) != 0) {
      uint64_t count;
      ssize_t ignored = read(wake, &count, sizeof count);
      (void)ignored;
    }
  }
}

}  // namespace

namespace np_proc_detail {

void abandon(pid_t pid, int pidfd) {
  Reaper& r = reaper();
  std::lock_guard<std::mutex> lock(r.mutex);
  try {
    r.orphans.push_back({pid, pidfd});
  } catch (const std::bad_alloc&) {
    np_mem_note_failure();
    // Cannot remember it: wait here rather than leave a zombie behind.
    if (pidfd >= 0) close(pidfd);
    int status;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    return;
  }
  if (r.wakeFd < 0) r.wakeFd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (r.running) {
    uint64_t one = 1;
    if (r.wakeFd >= 0) {
      ssize_t ignored = write(r.wakeFd, &one, sizeof one);
      (void)ignored;
    }
    return;
  }
  try {
    std::thread(reapLoop).detach();
    r.running = true;
  } catch (const std::system_error&) {
    // No thread now: the next abandoned child tries again, and this one is
    // collected then.
  }
}

int exitCodeOf(int status) {
  if (WIFEXITED(status)) return WEXITSTATUS(status);
  if (WIFSIGNALED(status)) return 128 + WTERMSIG(status);
  return -1;
}

}  // namespace np_proc_detail
