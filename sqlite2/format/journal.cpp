#include "sqlite2/format/journal.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <vector>

namespace sqlite2::format {
namespace {

constexpr size_t kMagicSize = 8;
constexpr uint8_t kMagic3[kMagicSize] = {0xd9, 0xd5, 0x05, 0xf9, 0x20, 0xa1, 0x63, 0xd6};
constexpr uint8_t kMagic2[kMagicSize] = {0xd9, 0xd5, 0x05, 0xf9, 0x20, 0xa1, 0x63, 0xd5};
constexpr uint8_t kMagic1[kMagicSize] = {0xd9, 0xd5, 0x05, 0xf9, 0x20, 0xa1, 0x63, 0xd4};

// Formats 1 and 2: magic and original size.
constexpr off_t kOldHeaderSize = kMagicSize + 4;
// Format 3 adds the record count and the checksum seed.
constexpr off_t kHeaderSize = kOldHeaderSize + 8;
constexpr uint32_t kCountFromSize = 0xffffffff;

// Reads a file front to back through a buffer, so that walking thousands of
// records costs a few system calls.
class SequentialReader {
 public:
  SequentialReader(int fd, off_t start) : fd_(fd), offset_(start) {}

  // Copies the next `size` bytes to `out` (or skips them when it is null);
  // false when the file ends first or cannot be read.
  bool Read(void* out, size_t size) {
    auto* bytes = static_cast<uint8_t*>(out);
    while (size > 0) {
      if (next_ == buffer_.size() && !Fill()) {
        return false;
      }
      const size_t n = std::min(size, buffer_.size() - next_);
      if (bytes != nullptr) {
        std::memcpy(bytes, buffer_.data() + next_, n);
        bytes += n;
      }
      next_ += n;
      offset_ += static_cast<off_t>(n);
      size -= n;
    }
    return true;
  }
  // The file offset of the next byte Read() returns.
  off_t offset() const { return offset_; }

 private:
  static constexpr size_t kChunk = 64 * 1024;

  bool Fill() {
    buffer_.resize(kChunk);
    ssize_t n;
    do {
      n = ::pread(fd_, buffer_.data(), kChunk, offset_);
    } while (n < 0 && errno == EINTR);
    buffer_.resize(n > 0 ? static_cast<size_t>(n) : 0);
    next_ = 0;
    return n > 0;
  }

  int fd_;
  off_t offset_;
  std::vector<uint8_t> buffer_;
  size_t next_ = 0;
};

enum class Order { kBig, kNative };

uint32_t Decode32(const uint8_t* p, Order order) {
  if (order == Order::kNative) {
    uint32_t value;
    std::memcpy(&value, p, sizeof value);
    return value;
  }
  return (uint32_t{p[0]} << 24) | (uint32_t{p[1]} << 16) | (uint32_t{p[2]} << 8) | p[3];
}

bool ReadU32(SequentialReader& reader, Order order, uint32_t* out) {
  uint8_t bytes[4];
  if (!reader.Read(bytes, sizeof bytes)) {
    return false;
  }
  *out = Decode32(bytes, order);
  return true;
}

}  // namespace

Status JournalOverlay::Open(const std::string& journal_path, PageSource* file,
                            std::unique_ptr<JournalOverlay>* out) {
  out->reset();
  int fd;
  do {
    fd = ::open(journal_path.c_str(), O_RDONLY | O_CLOEXEC);
  } while (fd < 0 && errno == EINTR);
  if (fd < 0) {
    return errno == ENOENT || errno == ENOTDIR ? Status::Ok() : Status::Busy();
  }
  std::unique_ptr<JournalOverlay> overlay(new JournalOverlay(fd, file));
  struct stat st;
  if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
    return Status::Busy();
  }
  bool hot = false;
  Status status = overlay->Load(st.st_size, &hot);
  if (status.ok() && hot) {
    *out = std::move(overlay);
  }
  return status;
}

JournalOverlay::~JournalOverlay() {
  ::close(fd_);
}

Status JournalOverlay::Load(off_t journal_size, bool* hot) {
  if (journal_size < kOldHeaderSize) {
    return Status::Ok();
  }
  SequentialReader reader(fd_, 0);
  uint8_t magic[kMagicSize];
  if (!reader.Read(magic, sizeof magic)) {
    return Status::Busy();
  }
  int format;
  if (std::memcmp(magic, kMagic3, kMagicSize) == 0) {
    format = 3;
  } else if (std::memcmp(magic, kMagic2, kMagicSize) == 0) {
    format = 2;
  } else if (std::memcmp(magic, kMagic1, kMagicSize) == 0) {
    format = 1;
  } else {
    return Status::Ok();
  }
  const Order order = format == 1 ? Order::kNative : Order::kBig;

  uint64_t record_count;
  uint32_t checksum_seed = 0;
  if (format == 3) {
    if (journal_size < kHeaderSize) {
      return Status::Ok();
    }
    uint32_t count;
    if (!ReadU32(reader, order, &count) || !ReadU32(reader, order, &checksum_seed)) {
      return Status::Busy();
    }
    record_count = count != kCountFromSize
                       ? count
                       : static_cast<uint64_t>(journal_size - kHeaderSize) / (kPageSize + 8);
  } else {
    record_count = static_cast<uint64_t>(journal_size - kOldHeaderSize) / (kPageSize + 4);
  }
  uint32_t original_pages;
  if (!ReadU32(reader, order, &original_pages)) {
    return Status::Busy();
  }

  // The header alone already cuts the database back, even to nothing. A count larger than
  // the records present ends at the journal's end; the library stops there
  // too, having restored the records before it.
  for (uint64_t i = 0; i < record_count; ++i) {
    uint32_t number;
    if (!ReadU32(reader, order, &number)) {
      break;
    }
    const off_t data = reader.offset();
    if (number == 0 || !reader.Read(nullptr, kPageSize)) {
      break;
    }
    if (number > original_pages) {
      continue;  // its checksum word is left unread: see the header comment
    }
    if (format == 3) {
      uint32_t checksum;
      if (!ReadU32(reader, order, &checksum) || checksum != checksum_seed + number) {
        break;
      }
    }
    records_[number] = data;
  }
  original_pages_ = original_pages;
  *hot = true;
  return Status::Ok();
}

Status JournalOverlay::CountPages(uint32_t* count) {
  *count = original_pages_;
  return Status::Ok();
}

Status JournalOverlay::ReadPage(PageNumber number, Page* out) {
  auto it = records_.find(number);
  return it == records_.end() ? file_->ReadPage(number, out) : ReadRecord(it->second, out);
}

Status JournalOverlay::ReadPages(PageNumber first, size_t count, Page* out) {
  if (Status status = file_->ReadPages(first, count, out); !status.ok()) {
    return status;
  }
  for (size_t i = 0; i < count; ++i) {
    auto it = records_.find(static_cast<PageNumber>(first + i));
    if (it != records_.end()) {
      if (Status status = ReadRecord(it->second, &out[i]); !status.ok()) {
        return status;
      }
    }
  }
  return Status::Ok();
}

Status JournalOverlay::ReadRecord(off_t offset, Page* out) {
  size_t done = 0;
  while (done < kPageSize) {
    const ssize_t n =
        ::pread(fd_, out->data() + done, kPageSize - done, offset + static_cast<off_t>(done));
    if (n < 0 && errno == EINTR) {
      continue;
    }
    if (n <= 0) {
      return Status::IoError();
    }
    done += static_cast<size_t>(n);
  }
  return Status::Ok();
}

}  // namespace sqlite2::format
