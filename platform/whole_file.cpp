#include "platform/whole_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>

namespace {

// Closes a descriptor when it goes out of scope.
class FileDescriptor {
 public:
  explicit FileDescriptor(int fd) : fd_(fd) {}
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  ~FileDescriptor() {
    if (fd_ >= 0)
      close(fd_);
  }
  int get() const { return fd_; }
  // Closes now and reports close's own error, which can be the first sign of
  // a failed write on some file systems.
  int Close() {
    int result = close(fd_);
    fd_ = -1;
    return result == 0 ? 0 : errno;
  }

 private:
  int fd_;
};

int WriteAll(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    ssize_t written = write(fd, bytes.data(), bytes.size());
    if (written < 0) {
      if (errno == EINTR)
        continue;
      return errno;
    }
    bytes.remove_prefix(static_cast<size_t>(written));
  }
  return 0;
}

// Creates a fresh temporary file beside `name`. Its name holds the process id
// and a counter, and O_EXCL makes a leftover of a crashed process with the
// same id a collision to step over rather than a file to reuse.
int CreateTemporary(int dir_fd, const std::string& name, std::string* temporary) {
  static std::atomic<unsigned> counter{0};
  for (int attempt = 0; attempt < 100; ++attempt) {
    *temporary = "." + name + "." + std::to_string(getpid()) + "." + std::to_string(counter++);
    int fd = openat(dir_fd, temporary->c_str(),
                    O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd >= 0 || errno != EEXIST)
      return fd;
  }
  errno = EEXIST;
  return -1;
}

}  // namespace

int ReadWholeFile(int dir_fd, const std::string& name, size_t limit, std::string* bytes,
                  FinalLink link) {
  // O_NONBLOCK keeps the open itself from waiting on a FIFO planted in our place.
  const int flags =
      O_RDONLY | O_NONBLOCK | O_CLOEXEC | (link == FinalLink::kRefuse ? O_NOFOLLOW : 0);
  FileDescriptor file(openat(dir_fd, name.c_str(), flags));
  if (file.get() < 0)
    return errno;
  struct stat info;
  if (fstat(file.get(), &info) != 0)
    return errno;
  if (!S_ISREG(info.st_mode))
    return EINVAL;
  if (static_cast<unsigned long long>(info.st_size) > limit)
    return EFBIG;
  bytes->clear();
  bytes->reserve(static_cast<size_t>(info.st_size));
  char buffer[65536];
  for (;;) {
    ssize_t got = read(file.get(), buffer, sizeof buffer);
    if (got < 0) {
      if (errno == EINTR)
        continue;
      return errno;
    }
    if (got == 0)
      return 0;
    // The file may grow while we read it; the limit still holds.
    if (bytes->size() + static_cast<size_t>(got) > limit)
      return EFBIG;
    bytes->append(buffer, static_cast<size_t>(got));
  }
}

int WriteWholeFileAtomically(int dir_fd, const std::string& name, std::string_view bytes) {
  std::string temporary;
  FileDescriptor file(CreateTemporary(dir_fd, name, &temporary));
  if (file.get() < 0)
    return errno;
  int error = WriteAll(file.get(), bytes);
  if (error == 0 && fsync(file.get()) != 0)
    error = errno;
  if (error == 0)
    error = file.Close();
  if (error == 0 && renameat(dir_fd, temporary.c_str(), dir_fd, name.c_str()) != 0)
    error = errno;
  if (error != 0)
    unlinkat(dir_fd, temporary.c_str(), 0);
  return error;
}
