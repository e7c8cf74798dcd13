// Child processes: external programs started with posix_spawn, and children
// that run a function of the calling program (fork, for tests and tools).
//
// Programs (np_proc_execute, np_proc_shellexec, np_proc_wait,
// np_proc_geterr, np_proc_destroy) are started with posix_spawn, which on
// Linux clones the caller without copying its memory, so a large host never
// pays for a fork. In the child:
//   - every descriptor above 2 is closed before the program runs (the
//     library's own are O_CLOEXEC as well; closing the rest also keeps
//     descriptors of the host and of other libraries, such as log files,
//     out of the program);
//   - the signal mask is empty and SIGPIPE has its default action, whatever
//     the caller set;
//   - the environment is a snapshot of the process's environment, taken
//     under the np_env lock, so a concurrent np_env_set cannot tear it.
//
// Flags (any combination of):
//   NP_PROC_NULL_INPUT    0x80  standard input is /dev/null (otherwise the
//                               caller's is inherited);
//   NP_PROC_ENVIRONMENT   0x20  the given NAME=VALUE entries are added to the
//                               inherited environment, replacing entries of
//                               the same name;
//   NP_PROC_OUTPUT_FILE   0x04  standard output and standard error both go
//                               to the given file, created (0600) or emptied.
// Other bits are refused with EINVAL.
//
// Waiting: the wait value is in seconds; a negative value waits until the
// program ends, 0 only looks. States:
//   NP_PROC_SUCCEEDED 0  the program ended with exit status 0;
//   NP_PROC_RUNNING   1  it was still running when the bound ran out (the
//                        exit code is then 0); wait again, or destroy the
//                        handle: the program keeps running, and once it
//                        ends a background reaper collects it, so it never
//                        stays a zombie;
//   NP_PROC_FAILED    3  it ended with a non-zero status (the exit code) or
//                        was killed by a signal (exit code 128 + signal).
// A handle that has seen its program end reports the same state again.
//
// Reaper: abandoned children are watched by one background thread through
// pidfds (poll), started when the first one is abandoned and ending when
// none is left. No SIGCHLD handler is installed, so the host's own handling
// of SIGCHLD and its own children are left alone. (A host that sets SIGCHLD
// to SIG_IGN has its children reaped by the kernel; np_proc_wait then fails
// with ECHILD.)
//
// Errors: every function returns 0 on success, else an errno value.
// np_proc_geterr(handle) gives the system's text of the last failure of that
// handle ("No such file or directory"). A program that cannot be started
// (not found, not executable) makes np_proc_execute itself fail with the
// reason posix_spawn reports; it never becomes a child that exits with 127.
// With np_proc_shellexec the program started is /bin/sh, so a command the
// shell cannot find is the shell's exit status 127, as with any shell.
//
// Fault injection (kx_fault.h): KX_FAULT_PROC_START makes a start fail with
// EAGAIN, the handle made and holding that error.
//
// Thread safety: all functions may be called from any thread; one handle is
// used by one thread at a time.
#ifndef KXB_PLATFORM_NP_PROC_H_
#define KXB_PLATFORM_NP_PROC_H_

#ifdef __cplusplus
extern "C" {
#endif

// ---------------------------------------------------------------------------
// External programs

#define NP_PROC_OUTPUT_FILE 0x04
#define NP_PROC_ENVIRONMENT 0x20
#define NP_PROC_NULL_INPUT 0x80

#define NP_PROC_SUCCEEDED 0
#define NP_PROC_RUNNING 1
#define NP_PROC_FAILED 3

typedef struct np_proc np_proc;

// Starts the program argv[0] (searched in PATH when it holds no "/") with
// the null-terminated argument vector `argv`. `environment` is a
// null-terminated list of "NAME=VALUE" entries used with
// NP_PROC_ENVIRONMENT (null: none); `outputPath` is the file of
// NP_PROC_OUTPUT_FILE (required with it). Whatever the result, *out receives
// a new handle (null only when memory ran out, ENOMEM) that the caller gives
// back with np_proc_destroy; after a failure it holds the reason.
int np_proc_execute(const char* const* argv, int flags,
                    const char* const* environment, const char* outputPath,
                    np_proc** out);
// As np_proc_execute, running "/bin/sh -c commandLine".
int np_proc_shellexec(const char* commandLine, int flags,
                      const char* const* environment, const char* outputPath,
                      np_proc** out);
// Waits up to `seconds` (see above) and reports the state and exit code
// (either pointer may be null). Fails with EINVAL for a handle whose start
// failed, or with the error of waitpid (its text through np_proc_geterr);
// the outputs are then untouched. Interrupted waits are resumed.
int np_proc_wait(np_proc* proc, int seconds, int* state, int* exitCode);
// The system's text for the handle's last failure ("" when none); a null
// handle (np_proc_* ran out of memory) gives the text of ENOMEM. Valid until
// the next call with the handle.
const char* np_proc_geterr(np_proc* proc);
// The process id of a started program, 0 when it did not start.
int np_proc_pid(np_proc* proc);
// Frees the handle. A program still running keeps running and is reaped in
// the background when it ends. Null is ignored.
void np_proc_destroy(np_proc* proc);

// ---------------------------------------------------------------------------
// Children that run a function of the caller (tests and tools)
//
// The child is a copy of the caller made by fork(2): only the calling thread
// exists in it, so the function it runs must not need locks that other
// threads of the parent might have held at the fork (heap and library locks
// held mid-operation stay held). Keep it to work the parent has prepared:
// libraries already loaded, paths already built.

// A forked child; 0 stands for none.
typedef int np_proc_handle;

// Starts a child that calls fn(arg) and then ends with exit code 0 (without
// running the parent's atexit handlers or flushing its stdio buffers). On
// success returns 0 and sets *out; otherwise returns the errno value
// (EINVAL for null arguments, EAGAIN or ENOMEM from fork) and sets *out to
// 0 when `out` is not null. The child must be waited for with
// np_proc_fork_wait.
int np_proc_fork_call(void (*fn)(void*), void* arg, np_proc_handle* out);

// Sends the child SIGKILL when `hard` is non-zero, SIGTERM otherwise.
// 0 on success (also when the child has ended but was not yet waited for);
// the errno value otherwise (EINVAL for handle 0).
int np_proc_kill(np_proc_handle child, int hard);

// Waits for the child to end and releases it. *exitCode (when not null) is
// its exit code, or 128 plus the signal number when a signal ended it.
// 0 on success; the errno value otherwise (ECHILD for an unknown child,
// EINVAL for handle 0), *exitCode then untouched. Retries interrupted waits.
int np_proc_fork_wait(np_proc_handle child, int* exitCode);

#ifdef __cplusplus
}
#endif

#endif  // KXB_PLATFORM_NP_PROC_H_
