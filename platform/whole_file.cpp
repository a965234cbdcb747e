#include "platform/whole_file.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <memory>
#include <utility>
#include <vector>

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
  // Hands the descriptor over to the caller.
  int Release() { return std::exchange(fd_, -1); }
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

// Writes the pieces one after another, as few system calls as the kernel
// allows: a large payload goes out from where it lies, uncopied.
int WriteAll(int fd, std::span<const std::string_view> pieces) {
  std::vector<iovec> rest;
  for (std::string_view piece : pieces) {
    if (!piece.empty())
      rest.push_back({const_cast<char*>(piece.data()), piece.size()});
  }
  size_t first = 0;
  while (first < rest.size()) {
    const int count = static_cast<int>(std::min<size_t>(rest.size() - first, IOV_MAX));
    ssize_t written = writev(fd, rest.data() + first, count);
    if (written < 0) {
      if (errno == EINTR)
        continue;
      return errno;
    }
    // Step over what went out, which may end inside a piece.
    for (auto left = static_cast<size_t>(written); left > 0;) {
      const size_t taken = std::min(left, rest[first].iov_len);
      rest[first].iov_base = static_cast<char*>(rest[first].iov_base) + taken;
      rest[first].iov_len -= taken;
      left -= taken;
      if (rest[first].iov_len == 0)
        ++first;
    }
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
    int fd = openat(dir_fd, temporary->c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                    0600);
    if (fd >= 0 || errno != EEXIST)
      return fd;
  }
  errno = EEXIST;
  return -1;
}

}  // namespace

int OpenRegularFile(int dir_fd, const std::string& name, FinalLink link, int* fd) {
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
  *fd = file.Release();
  return 0;
}

int ReadOpenFile(int fd, size_t limit, cf::Data* bytes) {
  struct stat info;
  if (fstat(fd, &info) != 0)
    return errno;
  if (static_cast<unsigned long long>(info.st_size) > limit)
    return EFBIG;
  // One read straight into a buffer of the file's size; the file may still
  // change size under us, so the reads go on until its end (within the limit).
  size_t capacity = static_cast<size_t>(info.st_size) + 1;
  std::shared_ptr<char[]> buffer(new char[capacity]);
  size_t size = 0;
  for (;;) {
    if (size == capacity) {
      if (capacity > limit)
        return EFBIG;
      const size_t larger = std::min(2 * capacity, limit + 1);
      std::shared_ptr<char[]> grown(new char[larger]);
      std::copy_n(buffer.get(), size, grown.get());
      buffer = std::move(grown);
      capacity = larger;
    }
    ssize_t got = pread(fd, buffer.get() + size, capacity - size, static_cast<off_t>(size));
    if (got < 0) {
      if (errno == EINTR)
        continue;
      return errno;
    }
    if (got == 0)
      break;
    size += static_cast<size_t>(got);
  }
  if (size > limit)
    return EFBIG;
  const std::string_view view(buffer.get(), size);
  *bytes = cf::Data(std::move(buffer), view);
  return 0;
}

int ReadWholeFile(int dir_fd, const std::string& name, size_t limit, std::string* bytes,
                  FinalLink link) {
  int fd = -1;
  if (int error = OpenRegularFile(dir_fd, name, link, &fd); error != 0)
    return error;
  FileDescriptor file(fd);
  cf::Data data;
  if (int error = ReadOpenFile(fd, limit, &data); error != 0)
    return error;
  bytes->assign(data.view());
  return 0;
}

int WriteWholeFileAtomically(int dir_fd, const std::string& name, std::string_view bytes) {
  return WriteWholeFileAtomically(dir_fd, name, std::span(&bytes, 1));
}

int WriteWholeFileAtomically(int dir_fd, const std::string& name,
                             std::span<const std::string_view> pieces, int* reader) {
  std::string temporary;
  FileDescriptor file(CreateTemporary(dir_fd, name, &temporary));
  if (file.get() < 0)
    return errno;
  int error = WriteAll(file.get(), pieces);
  if (error == 0 && fsync(file.get()) != 0)
    error = errno;
  int kept = -1;
  if (error == 0 && reader != nullptr && (kept = fcntl(file.get(), F_DUPFD_CLOEXEC, 0)) < 0)
    error = errno;
  if (error == 0)
    error = file.Close();
  if (error == 0 && renameat(dir_fd, temporary.c_str(), dir_fd, name.c_str()) != 0)
    error = errno;
  if (error != 0) {
    unlinkat(dir_fd, temporary.c_str(), 0);
    if (kept >= 0)
      close(kept);
    return error;
  }
  if (reader != nullptr)
    *reader = kept;
  return 0;
}
