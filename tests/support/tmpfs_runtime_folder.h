// $XDG_RUNTIME_DIR on a tmpfs for the length of a scope, as a desktop session
// has it (/run/user/UID). The pasteboard lives there and is synced to its
// file system at every publication: on a disk that costs milliseconds to
// seconds that a session never pays.
#ifndef TESTS_SUPPORT_TMPFS_RUNTIME_FOLDER_H_
#define TESTS_SUPPORT_TMPFS_RUNTIME_FOLDER_H_

#include <optional>
#include <string>

#include "tests/support/environment.h"

namespace qbfa_test {

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
  std::optional<ScopedEnvironmentVariable> variable_;
};

}  // namespace qbfa_test

#endif  // TESTS_SUPPORT_TMPFS_RUNTIME_FOLDER_H_
