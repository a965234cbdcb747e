// The shared lock the engine holds on the database file while a statement
// runs, so that a writer in another process never changes pages under it
// and it never sees a writer's half-done work.
//
// The lock is a read lock over the whole file (start 0, length 0), as every
// 2.8 process takes it; a 2.8 writer holds a write lock over the same range
// for its whole transaction.
//
// It is an open-file-description lock (F_OFD_SETLK), not a classic POSIX
// record lock. The two kinds conflict with each other, so a 2.8 writer and
// this engine shut each other out exactly as two 2.8 processes do. But a
// classic lock belongs to the process and vanishes as soon as any
// descriptor of the file is closed anywhere in it - and the rest of the
// process may well keep descriptors of the same file, opening and closing
// them at any time - while this one belongs to our descriptor alone and
// stays until we release it. Two handles in one process hold locks of
// their own, with no table of shared descriptors to keep.
#ifndef SQLITE2_FORMAT_FILE_LOCK_H_
#define SQLITE2_FORMAT_FILE_LOCK_H_

#include <chrono>

#include "sqlite2/status.h"

namespace sqlite2::format {

class SharedFileLock {
 public:
  SharedFileLock() = default;
  ~SharedFileLock() { Release(); }
  SharedFileLock(const SharedFileLock&) = delete;
  SharedFileLock& operator=(const SharedFileLock&) = delete;

  // Takes the lock on the file behind `fd`. While another process holds a
  // write lock it tries again until `wait` has passed, then fails with
  // "database is locked"; the caller is usually the main thread, so the wait
  // must stay short. `fd` must stay open until Release().
  Status Acquire(int fd, std::chrono::milliseconds wait);
  // Lets go of the lock, if held.
  void Release();
  bool held() const { return fd_ >= 0; }

 private:
  int fd_ = -1;
};

}  // namespace sqlite2::format

#endif  // SQLITE2_FORMAT_FILE_LOCK_H_
