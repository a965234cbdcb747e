#include "tests/support/tmpfs_runtime_folder.h"

#include <linux/magic.h>
#include <stdlib.h>
#include <sys/vfs.h>

#include <cstdio>
#include <filesystem>

namespace qbfa_test {

TmpfsRuntimeFolder::TmpfsRuntimeFolder() {
  struct statfs shared;
  std::string pattern = "/dev/shm/qbfa-runtime-XXXXXX";
  if (statfs("/dev/shm", &shared) != 0 || shared.f_type != TMPFS_MAGIC ||
      mkdtemp(pattern.data()) == nullptr) {
    std::fprintf(stderr,
                 "no tmpfs at /dev/shm: the pasteboard stays on the temporary home's disk\n");
    return;
  }
  path_ = pattern;
  variable_.emplace("XDG_RUNTIME_DIR", path_);
}

TmpfsRuntimeFolder::~TmpfsRuntimeFolder() {
  variable_.reset();
  if (!path_.empty()) {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
}

}  // namespace qbfa_test
