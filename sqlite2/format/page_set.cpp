#include "sqlite2/format/page_set.h"

#include <algorithm>
#include <cstdint>
#include <utility>

namespace sqlite2::format {

size_t PageSet::Home(PageNumber number) const {
  // Fibonacci hashing: the top bits of the product spread consecutive
  // page numbers, which a tree's pages often are, over the table.
  return static_cast<size_t>((uint64_t{number} * 0x9e3779b97f4a7c15u) >> (64 - bits_));
}

bool PageSet::Insert(PageNumber number) {
  if (number == 0) {
    return !std::exchange(has_zero_, true);
  }
  // At most half full, so that probes stay short and always end.
  if (2 * (size_ + 1) > slots_.size()) {
    Grow();
  }
  const size_t mask = slots_.size() - 1;
  for (size_t i = Home(number);; i = (i + 1) & mask) {
    if (slots_[i] == number) {
      return false;
    }
    if (slots_[i] == 0) {
      slots_[i] = number;
      ++size_;
      return true;
    }
  }
}

void PageSet::Clear() {
  if (size_ != 0) {
    std::fill(slots_.begin(), slots_.end(), 0);
    size_ = 0;
  }
  has_zero_ = false;
}

void PageSet::Grow() {
  std::vector<PageNumber> old = std::move(slots_);
  bits_ = std::max(bits_ + 1, 4);
  slots_.assign(size_t{1} << bits_, 0);
  size_ = 0;
  for (PageNumber number : old) {
    if (number != 0) {
      Insert(number);
    }
  }
}

}  // namespace sqlite2::format
