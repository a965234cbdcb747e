#include "platform/reserved_buffer.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>

namespace {

// Memory is committed in steps that double, from this size, so that a
// large document takes few system calls and a small one little memory.
constexpr size_t kFirstCommit = size_t{64} << 10;

size_t PageSize() {
  static const size_t size = static_cast<size_t>(sysconf(_SC_PAGESIZE));
  return size;
}

size_t RoundUpToPage(size_t bytes) {
  const size_t page = PageSize();
  return (bytes + page - 1) / page * page;
}

}  // namespace

ReservedBuffer::ReservedBuffer(size_t limit) {
  // PROT_NONE reserves addresses without charging them as memory in use, so
  // even a strict overcommit policy lets the reservation through.
  const size_t size = RoundUpToPage(std::max<size_t>(limit, 1));
  void* region = mmap(nullptr, size, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (region == MAP_FAILED)
    return;  // Every Reserve fails.
  begin_ = cursor_ = committed_end_ = static_cast<char*>(region);
  reserved_ = size;
}

ReservedBuffer::~ReservedBuffer() {
  if (begin_ != nullptr)
    munmap(begin_, reserved_);
}

bool ReservedBuffer::Commit(size_t bytes) {
  const size_t committed = static_cast<size_t>(committed_end_ - begin_);
  const size_t needed = static_cast<size_t>(cursor_ - begin_) + bytes;
  if (begin_ == nullptr || bytes > reserved_ || needed > reserved_)
    return false;
  const size_t target =
      std::min(reserved_, RoundUpToPage(std::max({needed, 2 * committed, kFirstCommit})));
  if (mprotect(committed_end_, target - committed, PROT_READ | PROT_WRITE) != 0)
    return false;
  committed_end_ = begin_ + target;
  return true;
}

void ReservedBuffer::Seal() {
  if (begin_ == nullptr)
    return;
  const size_t keep = RoundUpToPage(static_cast<size_t>(cursor_ - begin_));
  if (keep < reserved_) {
    munmap(begin_ + keep, reserved_ - keep);
    reserved_ = keep;
  }
  committed_end_ = cursor_;
}
