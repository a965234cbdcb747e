// A set of page numbers, for a walk to notice a page it reaches twice.
//
// Open addressing in one power-of-two array with linear probing: adding a
// page allocates nothing except when the set doubles, and clearing keeps
// the room for the next walk. It holds at most the pages of one walk.
#ifndef SQLITE2_FORMAT_PAGE_SET_H_
#define SQLITE2_FORMAT_PAGE_SET_H_

#include <cstddef>
#include <vector>

#include "sqlite2/format/page.h"

namespace sqlite2::format {

class PageSet {
 public:
  // Adds `number`; false when it is there already.
  bool Insert(PageNumber number);
  void Clear();

 private:
  // Where the probe for `number` starts in a table of 2^bits_ slots.
  size_t Home(PageNumber number) const;
  void Grow();

  // 0 marks a free slot, so page 0 is kept apart.
  std::vector<PageNumber> slots_;
  int bits_ = 0;
  size_t size_ = 0;
  bool has_zero_ = false;
};

}  // namespace sqlite2::format

#endif  // SQLITE2_FORMAT_PAGE_SET_H_
