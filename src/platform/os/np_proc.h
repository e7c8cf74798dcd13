// Child processes that run a function of the calling program: made by
// fork, stopped with a signal, waited for. Used where a test or tool needs a
// second process it can kill at any moment (for example to prove that an
// interrupted file write leaves no damage).
//
// The child is a copy of the caller made by fork(2): only the calling thread
// exists in it, so the function it runs must not need locks that other
// threads of the parent might have held at the fork (heap and library locks
// held mid-operation stay held). Keep it to work the parent has prepared:
// libraries already loaded, paths already built.
//
// Thread safety: all functions may be called from any thread; one handle is
// used by one thread at a time.
#ifndef KXB_PLATFORM_NP_PROC_H_
#define KXB_PLATFORM_NP_PROC_H_

#ifdef __cplusplus
extern "C" {
#endif

// A child process; 0 stands for none.
typedef int np_proc_handle;

// Starts a child that calls fn(arg) and then ends with exit code 0 (without
// running the parent's atexit handlers or flushing its stdio buffers). On
// success returns 0 and sets *out; otherwise returns the errno value
// (EINVAL for null arguments, EAGAIN or ENOMEM from fork) and sets *out to
// 0 when `out` is not null. The child must be waited for with np_proc_wait.
int np_proc_fork_call(void (*fn)(void*), void* arg, np_proc_handle* out);

// Sends the child SIGKILL when `hard` is non-zero, SIGTERM otherwise.
// 0 on success (also when the child has ended but was not yet waited for);
// the errno value otherwise (EINVAL for handle 0).
int np_proc_kill(np_proc_handle child, int hard);

// Waits for the child to end and releases it. *exitCode (when not null) is
// its exit code, or 128 plus the signal number when a signal ended it.
// 0 on success; the errno value otherwise (ECHILD for an unknown child,
// EINVAL for handle 0), *exitCode then untouched. Retries interrupted waits.
int np_proc_wait(np_proc_handle child, int* exitCode);

#ifdef __cplusplus
}
#endif

#endif  // KXB_PLATFORM_NP_PROC_H_
