// Where a Pager keeps the pages it has read: each page's bytes and, once
// it has been decoded as a B-tree page, its decoded view beside them.
//
// Pages live in slabs of consecutive page numbers, found through a
// two-level table, so that finding a page costs two indexed loads and a
// statement that touches a few pages of a huge file allocates a few slabs,
// never a table the size of the file. Nothing is ever evicted: an entry,
// and the cells its view points at, stay where they are until the cache is
// destroyed, which lets cursors hold plain pointers into it.
#ifndef SQLITE2_FORMAT_PAGE_CACHE_H_
#define SQLITE2_FORMAT_PAGE_CACHE_H_

#include <array>
#include <cstddef>
#include <memory>
#include <span>
#include <vector>

#include "sqlite2/format/btree_page.h"
#include "sqlite2/format/page.h"

namespace sqlite2::format {

class PageCache {
 public:
  struct Entry {
    Page bytes;  // left unset until `read`, so that a new slab costs no clearing
    BtreePage tree;
    bool read = false;
    bool decoded = false;  // `tree` holds the page decoded and checked
  };

  PageCache();
  ~PageCache();
  PageCache(const PageCache&) = delete;
  PageCache& operator=(const PageCache&) = delete;

  // The entry of page `number` (>= 1), made unread on first use.
  Entry& At(PageNumber number) {
    const size_t index = number - 1;
    const size_t table = index >> (kSlabBits + kTableBits);
    if (table < tables_.size() && tables_[table] != nullptr) {
      Slab* slab = (*tables_[table])[(index >> kSlabBits) & kTableMask].get();
      if (slab != nullptr)
        return (*slab)[index & kSlabMask];
    }
    return Make(index);
  }

  // Room for the cells of one page; KeepCells() then keeps the first
  // `count` of them where they are, and the next CellRoom() starts after.
  std::span<Cell, kMaxCellsPerPage> CellRoom();
  void KeepCells(size_t count) { cells_used_ += count; }

 private:
  static constexpr size_t kSlabBits = 5;    // 32 pages (34 KB) per slab
  static constexpr size_t kTableBits = 10;  // 1024 slabs (32 MB of file) per table
  static constexpr size_t kSlabMask = (size_t{1} << kSlabBits) - 1;
  static constexpr size_t kTableMask = (size_t{1} << kTableBits) - 1;
  static constexpr size_t kCellsPerBlock = 512;  // 10 KB, the cells of 8 full pages or more

  using Slab = std::array<Entry, size_t{1} << kSlabBits>;
  using SlabTable = std::array<std::unique_ptr<Slab>, size_t{1} << kTableBits>;

  Entry& Make(size_t index);

  std::vector<std::unique_ptr<SlabTable>> tables_;
  std::vector<std::unique_ptr<Cell[]>> cell_blocks_;
  size_t cells_used_ = kCellsPerBlock;  // in the last block
};

}  // namespace sqlite2::format

#endif  // SQLITE2_FORMAT_PAGE_CACHE_H_
