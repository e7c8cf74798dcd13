// np_proc: fork, kill and wait for a child that runs one function.
#include "np_proc.h"

#include <errno.h>
#include <signal.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

extern "C" int np_proc_fork_call(void (*fn)(void*), void* arg,
                                 np_proc_handle* out) {
  if (out != nullptr) *out = 0;
  if (fn == nullptr || out == nullptr) return EINVAL;
  pid_t pid = fork();
  if (pid < 0) return errno;
  if (pid == 0) {
    // The child: run the function, then leave without the parent's exit
    // handlers and buffered output, which belong to the parent.
    fn(arg);
    _exit(0);
  }
  *out = static_cast<np_proc_handle>(pid);
  return 0;
}

extern "C" int np_proc_kill(np_proc_handle child, int hard) {
  if (child <= 0) return EINVAL;
  if (kill(static_cast<pid_t>(child), hard != 0 ? SIGKILL : SIGTERM) != 0) {
    return errno;
  }
  return 0;
}

extern "C" int np_proc_fork_wait(np_proc_handle child, int* exitCode) {
  if (child <= 0) return EINVAL;
  int status = 0;
  pid_t done;
  do {
    done = waitpid(static_cast<pid_t>(child), &status, 0);
  } while (done < 0 && errno == EINTR);
  if (done < 0) return errno;
  if (exitCode != nullptr) {
    if (WIFEXITED(status)) {
      *exitCode = WEXITSTATUS(status);
    } else if (WIFSIGNALED(status)) {
      *exitCode = 128 + WTERMSIG(status);
    } else {
      *exitCode = -1;
    }
  }
  return 0;
}
