// Environment variables of the process.
//
// The library's readers and writers of the environment go through these
// functions, which serialise on one process-wide mutex, so that they never
// race with each other (the C library's getenv does not lock against
// setenv). Code outside the library that calls setenv directly is not
// covered.
//
// Thread safety: all functions may be called from any thread.
#ifndef KXB_PLATFORM_NP_ENV_H_
#define KXB_PLATFORM_NP_ENV_H_

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

// Results of np_env_get.
#define NP_ENV_FOUND 0
#define NP_ENV_ABSENT 1     // no such variable
#define NP_ENV_TOO_SMALL 2  // the value and its terminator exceed `size`
#define NP_ENV_BAD_ARGUMENT 3

// Copies the value of `name` and its terminator into `buffer` (size bytes).
// Every result other than NP_ENV_FOUND leaves the empty text in `buffer` (when
// size >= 1), so a caller that only asks "set and non-empty?" may look at the
// buffer alone. A variable set to the empty text is FOUND.
int np_env_get(const char* name, char* buffer, size_t size);

// Sets `name` to `value`, replacing an existing value; a null `value` removes
// the variable. 0 on success; EINVAL for a null, empty or "="-holding name;
// ENOMEM when the system cannot store it.
int np_env_set(const char* name, const char* value);

// A copy of the whole environment as one block of "NAME=VALUE" texts, each
// terminated, the block ended by an empty text ("A=1\0B=2\0\0"), in the
// order the system keeps them and in the environment's own character set.
// Null when memory ran out. Free it with np_env_block_free.
char* np_env_block(void);
void np_env_block_free(char* block);

#ifdef __cplusplus
}
#endif

#endif  // KXB_PLATFORM_NP_ENV_H_
