#include "tests/sqlite2_writer/journaled_rewrite.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "sqlite2/format/page.h"
#include "tests/sqlite2_writer/page_file.h"
#include "tests/sqlite2_writer/transfer_all.h"

namespace sqlite2::writer {
namespace {

using format::kPageSize;

constexpr uint8_t kJournalMagic[8] = {0xd9, 0xd5, 0x05, 0xf9, 0x20, 0xa1, 0x63, 0xd6};
constexpr size_t kJournalHeaderSize = 20;

Status SystemError(const std::string& what) {
  return Status::Error(SQLITE_IOERR, what + ": " + std::strerror(errno));
}

bool WriteAllAt(int fd, const uint8_t* bytes, size_t size, off_t offset) {
  return TransferAll(size, [&](size_t done, size_t remaining) {
    return pwrite(fd, bytes + done, remaining, offset + static_cast<off_t>(done));
  });
}

Status ReadWholeFile(int fd, std::vector<uint8_t>* out) {
  struct stat st;
  if (fstat(fd, &st) != 0)
    return SystemError("cannot stat the database");
  out->assign(static_cast<size_t>(st.st_size), 0);
  const bool read_all = TransferAll(out->size(), [&](size_t done, size_t remaining) {
    return pread(fd, out->data() + done, remaining, static_cast<off_t>(done));
  });
  return read_all ? Status::Ok() : SystemError("cannot read the database");
}

// Page `number` of `image`, zero-filled past its end.
std::vector<uint8_t> PageOf(const std::vector<uint8_t>& image, uint32_t number) {
  std::vector<uint8_t> page(kPageSize, 0);
  const size_t begin = size_t{number - 1} * kPageSize;
  if (begin < image.size()) {
    std::copy_n(image.begin() + static_cast<ptrdiff_t>(begin),
                std::min(kPageSize, image.size() - begin), page.begin());
  }
  return page;
}

}  // namespace

Status JournaledRewrite::Open(const std::string& path, std::vector<uint8_t> new_image,
                              JournalOptions options, std::unique_ptr<JournaledRewrite>* out) {
  const int fd = open(path.c_str(), O_RDWR | O_CLOEXEC);
  if (fd < 0)
    return SystemError("cannot open " + path);
  out->reset(new JournaledRewrite(path, fd, std::move(new_image), options));
  return Status::Ok();
}

JournaledRewrite::~JournaledRewrite() {
  close(fd_);
}

Status JournaledRewrite::SetLock(short type) {
  struct flock lock = {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  lock.l_start = 0;
  lock.l_len = 0;
  if (fcntl(fd_, F_SETLK, &lock) == 0)
    return Status::Ok();
  if (errno == EAGAIN || errno == EACCES)
    return Status::Busy();
  return SystemError("cannot lock " + path_);
}

Status JournaledRewrite::Lock() {
  // A 2.8 writer reads first and upgrades its read lock when it starts to
  // change the file.
  if (Status status = SetLock(F_RDLCK); !status.ok())
    return status;
  if (Status status = SetLock(F_WRLCK); !status.ok()) {
    SetLock(F_UNLCK);
    return status;
  }
  return Status::Ok();
}

Status JournaledRewrite::Unlock() {
  return SetLock(F_UNLCK);
}

Status JournaledRewrite::WriteJournal() {
  std::vector<uint8_t> old_image;
  if (Status status = ReadWholeFile(fd_, &old_image); !status.ok())
    return status;
  const auto old_pages = static_cast<uint32_t>(old_image.size() / kPageSize);
  const auto new_pages = static_cast<uint32_t>(new_image_.size() / kPageSize);

  journaled_.clear();
  to_write_.clear();
  for (uint32_t n = 1; n <= std::max(old_pages, new_pages); ++n) {
    const bool differs = PageOf(old_image, n) != PageOf(new_image_, n);
    // Pages past the original end are new: a rollback cuts them off, so
    // they need no journal record.
    if (n <= old_pages && (differs || n > new_pages))
      journaled_.push_back(n);
    if (n <= new_pages && (differs || n > old_pages))
      to_write_.push_back(n);
  }
  std::reverse(to_write_.begin(), to_write_.end());

  std::vector<uint8_t> journal(kJournalHeaderSize);
  std::copy(std::begin(kJournalMagic), std::end(kJournalMagic), journal.begin());
  uint32_t record_count = static_cast<uint32_t>(journaled_.size());
  if (options_.record_count == JournalOptions::RecordCount::kNotYetSynced)
    record_count = 0;
  if (options_.record_count == JournalOptions::RecordCount::kFromFileSize) {
    record_count = 0xffffffff;
  }
  StoreBigEndian32(&journal[8], record_count);
  StoreBigEndian32(&journal[12], options_.checksum_seed);
  StoreBigEndian32(&journal[16], old_pages);
  for (uint32_t n : journaled_) {
    const size_t at = journal.size();
    journal.resize(at + 4 + kPageSize + 4);
    StoreBigEndian32(&journal[at], n);
    const std::vector<uint8_t> page = PageOf(old_image, n);
    std::copy(page.begin(), page.end(), journal.begin() + static_cast<ptrdiff_t>(at + 4));
    StoreBigEndian32(&journal[at + 4 + kPageSize], options_.checksum_seed + n);
  }

  const std::string name = journal_path();
  const int fd = open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (fd < 0)
    return SystemError("cannot create " + name);
  const bool ok = WriteAllAt(fd, journal.data(), journal.size(), 0) && fsync(fd) == 0;
  const Status status = ok ? Status::Ok() : SystemError("cannot write " + name);
  close(fd);
  journal_written_ = ok;
  return status;
}

Status JournaledRewrite::WritePages(size_t limit) {
  if (!journal_written_) {
    return Status::Error(SQLITE_MISUSE, "the journal must be written before the pages");
  }
  for (; limit > 0 && !to_write_.empty(); --limit) {
    const uint32_t n = to_write_.back();
    const off_t offset = off_t{n - 1} * static_cast<off_t>(kPageSize);
    if (!WriteAllAt(fd_, new_image_.data() + offset, kPageSize, offset)) {
      return SystemError("cannot write " + path_);
    }
    to_write_.pop_back();
  }
  if (!to_write_.empty())
    return Status::Ok();
  if (ftruncate(fd_, static_cast<off_t>(new_image_.size())) != 0 || fsync(fd_) != 0) {
    return SystemError("cannot resize " + path_);
  }
  return Status::Ok();
}

Status JournaledRewrite::DeleteJournal() {
  if (unlink(journal_path().c_str()) != 0)
    return SystemError("cannot delete " + journal_path());
  return Status::Ok();
}

Status JournaledRewrite::Commit() {
  Status status = Lock();
  if (status.ok())
    status = WriteJournal();
  if (status.ok())
    status = WritePages();
  if (status.ok())
    status = DeleteJournal();
  if (status.ok())
    status = Unlock();
  return status;
}

}  // namespace sqlite2::writer
