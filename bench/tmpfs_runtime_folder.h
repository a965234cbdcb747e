// $XDG_RUNTIME_DIR on a tmpfs for the length of a scope, as a desktop session
// has it (/run/user/UID). The pasteboard lives there and is synced to its
// file system at every publication: on a disk that costs milliseconds to
// seconds that a session never pays.
#ifndef BENCH_TMPFS_RUNTIME_FOLDER_H_
#define BENCH_TMPFS_RUNTIME_FOLDER_H_

#include <optional>
#include <string>

#include "tests/support/environment.h"

namespace qbfa_bench {

class TmpfsRuntimeFolder {
 public:
  // A fresh folder (mode 0700) under /dev/shm. Without a tmpfs there, says
  // so on standard error and leaves XDG_RUNTIME_DIR as it is.
  TmpfsRuntimeFolder();
  TmpfsRuntimeFolder(const TmpfsRuntimeFolder&) = delete;
  TmpfsRuntimeFolder& operator=(const TmpfsRuntimeFolder&) = delete;
  // Puts XDG_RUNTIME_DIR back and removes the folder.
  ~TmpfsRuntimeFolder();

 private:
  std::string path_;
  std::optional<qbfa_test::ScopedEnvironmentVariable> variable_;
};

}  // namespace qbfa_bench

#endif  // BENCH_TMPFS_RUNTIME_FOLDER_H_
