// Reference ways of running a program, for benchmarks only (not part of
// libkxb; bench/CMakeLists.txt compiles it into the programs that compare
// against it): posix_spawn and waitpid written directly, and fork with
// execv. Each runs `path` with `argv` and the process's environment,
// inheriting every descriptor, and returns the waitpid status, or -1 when
// the program could not be started.
#ifndef KXB_PLATFORM_NP_PROC_PEERS_H_
#define KXB_PLATFORM_NP_PROC_PEERS_H_

#ifdef __cplusplus
extern "C" {
#endif

int np_peer_spawn_wait(const char* path, char* const argv[]);
int np_peer_fork_exec_wait(const char* path, char* const argv[]);

#ifdef __cplusplus
}
#endif

#endif  // KXB_PLATFORM_NP_PROC_PEERS_H_
