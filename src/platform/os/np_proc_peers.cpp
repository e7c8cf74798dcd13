// Reference ways of running a program, for benchmarks.
#include "np_proc_peers.h"

#include <errno.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace {

int waitStatus(pid_t pid) {
  int status = 0;
  while (waitpid(pid, &status, 0) < 0) {
    if (errno != EINTR) return -1;
  }
  return status;
}

}  // namespace

extern "C" int np_peer_spawn_wait(const char* path, char* const argv[]) {
  pid_t pid;
  if (posix_spawn(&pid, path, nullptr, nullptr, argv, environ) != 0) return -1;
  return waitStatus(pid);
}

extern "C" int np_peer_fork_exec_wait(const char* path, char* const argv[]) {
  pid_t pid = fork();
  if (pid < 0) return -1;
  if (pid == 0) {
    execv(path, argv);
    _exit(127);
  }
  return waitStatus(pid);
}
