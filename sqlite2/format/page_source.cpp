#include "sqlite2/format/page_source.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace sqlite2::format {

Status FilePageSource::Open(const std::string& path, std::unique_ptr<FilePageSource>* out) {
  int fd;
  do {
    fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  } while (fd < 0 && errno == EINTR);
  if (fd < 0) {
    return Status::CantOpen(path);
  }
  struct stat st;
  if (::fstat(fd, &st) != 0 || S_ISDIR(st.st_mode)) {
    ::close(fd);
    return Status::IoError();
  }
  out->reset(new FilePageSource(fd));
  return Status::Ok();
}

FilePageSource::~FilePageSource() {
  ::close(fd_);
}

Status FilePageSource::CountPages(uint32_t* count) {
  struct stat st;
  if (::fstat(fd_, &st) != 0) {
    return Status::IoError();
  }
  const auto pages = static_cast<uint64_t>(st.st_size) / kPageSize;
  // Page numbers are 32-bit; a larger file cannot be addressed past that.
  *count = pages > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(pages);
  return Status::Ok();
}

Status PageSource::ReadPages(PageNumber first, size_t count, Page* out) {
  for (size_t i = 0; i < count; ++i) {
    if (Status status = ReadPage(static_cast<PageNumber>(first + i), &out[i]); !status.ok()) {
      return status;
    }
  }
  return Status::Ok();
}

Status FilePageSource::ReadPage(PageNumber number, Page* out) {
  return ReadPages(number, 1, out);
}

Status FilePageSource::ReadPages(PageNumber first, size_t count, Page* out) {
  static_assert(sizeof(Page) == kPageSize, "pages in an array are consecutive bytes");
  auto* bytes = reinterpret_cast<uint8_t*>(out);
  const size_t size = count * kPageSize;
  const off_t start = static_cast<off_t>(first - 1) * static_cast<off_t>(kPageSize);
  size_t done = 0;
  while (done < size) {
    const ssize_t n = ::pread(fd_, bytes + done, size - done, start + static_cast<off_t>(done));
    if (n < 0 && errno == EINTR) {
      continue;
    }
    if (n < 0) {
      return Status::IoError();
    }
    if (n == 0) {
      break;
    }
    done += static_cast<size_t>(n);
  }
  std::memset(bytes + done, 0, size - done);
  return Status::Ok();
}

}  // namespace sqlite2::format
