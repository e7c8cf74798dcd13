// Internals shared by the np_proc units. Internal to the platform layer.
#ifndef KXB_PLATFORM_NP_PROC_INTERNAL_H_
#define KXB_PLATFORM_NP_PROC_INTERNAL_H_

#include <sys/types.h>

namespace np_proc_detail {

// Hands a child that has not been waited for to the background reaper,
// which collects it when it ends. `pidfd` (may be -1) becomes the reaper's.
void abandon(pid_t pid, int pidfd);

// Exit code of a waitpid status: the exit status, or 128 + the signal.
int exitCodeOf(int status);

}  // namespace np_proc_detail

#endif  // KXB_PLATFORM_NP_PROC_INTERNAL_H_
