// The loop every read(2)- or write(2)-style call needs to move a whole
// buffer: such a call may move fewer bytes than asked, or be interrupted by
// a signal before moving any.
#ifndef TESTS_SQLITE2_WRITER_TRANSFER_ALL_H_
#define TESTS_SQLITE2_WRITER_TRANSFER_ALL_H_

#include <sys/types.h>

#include <cerrno>
#include <cstddef>

namespace sqlite2::writer {

// Moves `size` bytes through `transfer(done, remaining)`, one call that
// moves up to `remaining` bytes starting `done` bytes in and returns what
// it moved, as read(2) does. Interrupted calls are repeated. False when a
// call fails or moves nothing (the end of a file, a peer that has gone).
template <class Transfer>
bool TransferAll(size_t size, Transfer transfer) {
  size_t done = 0;
  while (done < size) {
    const ssize_t n = transfer(done, size - done);
    if (n < 0 && errno == EINTR)
      continue;
    if (n <= 0)
      return false;
    done += static_cast<size_t>(n);
  }
  return true;
}

}  // namespace sqlite2::writer

#endif  // TESTS_SQLITE2_WRITER_TRANSFER_ALL_H_
