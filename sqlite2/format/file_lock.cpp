#include "sqlite2/format/file_lock.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <thread>

namespace sqlite2::format {
namespace {

// Whole-file lock of `type` through the open file description.
int SetLock(int fd, short type) {
  struct flock lock = {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  lock.l_start = 0;
  lock.l_len = 0;
  int rc;
  do {
    rc = ::fcntl(fd, F_OFD_SETLK, &lock);
  } while (rc != 0 && errno == EINTR);
  return rc;
}

}  // namespace

Status SharedFileLock::Acquire(int fd, std::chrono::milliseconds wait) {
  Release();
  using Clock = std::chrono::steady_clock;
  const Clock::time_point deadline = Clock::now() + wait;
  // Writers usually finish within milliseconds: poll often at first, then
  // back off so a long transaction does not keep this thread spinning.
  std::chrono::milliseconds pause(1);
  for (;;) {
    if (SetLock(fd, F_RDLCK) == 0) {
      fd_ = fd;
      return Status::Ok();
    }
    if (errno != EAGAIN && errno != EACCES) {
      return Status::Busy();
    }
    const Clock::time_point now = Clock::now();
    if (now >= deadline) {
      return Status::Busy();
    }
    std::this_thread::sleep_for(std::min<Clock::duration>(pause, deadline - now));
    pause = std::min(pause * 2, std::chrono::milliseconds(20));
  }
}

void SharedFileLock::Release() {
  if (fd_ >= 0) {
    SetLock(fd_, F_UNLCK);
    fd_ = -1;
  }
}

}  // namespace sqlite2::format
