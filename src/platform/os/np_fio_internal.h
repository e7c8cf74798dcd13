// Internals shared by the np_fio units: the handle and the one place where
// interrupted system calls are repeated. Internal to the platform layer.
#ifndef KXB_PLATFORM_NP_FIO_INTERNAL_H_
#define KXB_PLATFORM_NP_FIO_INTERNAL_H_

#include <errno.h>
#include <stddef.h>

#include "np_fio.h"

struct np_fio_file {
  int fd;
  // Read-ahead for np_fio_gets: bytes [readPos, readEnd) of readBuffer were
  // read from the descriptor but not yet handed out. Any other operation
  // gives them back first (see np_fio_drop_readahead).
  char* readBuffer;
  size_t readPos;
  size_t readEnd;
  // Removed by np_fio_close when set (np_fio_remove_on_close).
  char* removePath;
};

namespace np_fio_detail {

// Runs `call` (a system call returning -1 and setting errno on failure)
// until it is not interrupted. Every system call of np_fio goes through here.
template <typename Call>
auto retryInterrupted(Call call) -> decltype(call()) {
  decltype(call()) result;
  do {
    result = call();
  } while (result == -1 && errno == EINTR);
  return result;
}

// Moves the descriptor back over read-ahead bytes not yet handed out and
// empties the read-ahead, so that the descriptor's position is the caller's.
// 0 or an error number.
int dropReadahead(np_fio_file* handle);

// Allocates a handle over `fd` (closing `fd` when that fails: ENOMEM).
int wrapDescriptor(int fd, np_fio_file** handleOut);

}  // namespace np_fio_detail

#endif  // KXB_PLATFORM_NP_FIO_INTERNAL_H_
