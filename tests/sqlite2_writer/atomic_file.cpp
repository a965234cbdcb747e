#include "tests/sqlite2_writer/atomic_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>

#include "tests/sqlite2_writer/transfer_all.h"

namespace sqlite2::writer {
namespace {

Status Failed(const std::string& what, const std::string& path, int error) {
  return Status::Error(SQLITE_IOERR, what + " " + path + ": " + std::strerror(error));
}

bool WriteAll(int fd, std::span<const uint8_t> bytes) {
  return TransferAll(bytes.size(), [&](size_t done, size_t remaining) {
    return write(fd, bytes.data() + done, remaining);
  });
}

// Creates a file no one else uses, next to `path`. Creating it with open()
// lets the kernel apply the umask to 0644 without touching the process's
// umask, which other threads may rely on at the same moment.
int CreateTemporary(const std::string& path, std::string* temporary) {
  static std::atomic<unsigned> counter{0};
  for (;;) {
    *temporary = path + ".tmp-" + std::to_string(getpid()) + "-" + std::to_string(counter++);
    const int fd = open(temporary->c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    if (fd >= 0 || errno != EEXIST)
      return fd;
  }
}

}  // namespace

Status WriteFileAtomically(const std::string& path, std::span<const uint8_t> bytes) {
  std::string temporary;
  const int fd = CreateTemporary(path, &temporary);
  if (fd < 0)
    return Failed("cannot create a temporary file for", path, errno);

  bool ok = WriteAll(fd, bytes) && fsync(fd) == 0;
  int error = errno;
  if (close(fd) != 0 && ok) {
    ok = false;
    error = errno;
  }
  if (!ok) {
    unlink(temporary.c_str());
    return Failed("cannot write", temporary, error);
  }
  if (rename(temporary.c_str(), path.c_str()) != 0) {
    error = errno;
    unlink(temporary.c_str());
    return Failed("cannot replace", path, error);
  }
  return Status::Ok();
}

}  // namespace sqlite2::writer
