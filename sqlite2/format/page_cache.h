// Where a Pager keeps the pages it has read: each page's bytes and, once
// it has been decoded as a B-tree page, its decoded view.
//
// Pages live in slabs of consecutive page numbers, found through a
// two-level table, so that finding a page costs two indexed loads and a
// statement that touches a few pages of a huge file allocates a few slabs,
// never a table the size of the file. Nothing is ever evicted: a page, a
// view and the cells the view points at stay where they are until the
// cache is destroyed, which lets cursors hold plain pointers into it.
//
// A seek reads a view and its cells on every level, and of the page bytes
// only the keys it compares, so the views are kept apart from the bytes:
// each view sits right before its cells, and the pointers to the views are
// a table of their own, dense enough to stay in the cache.
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

// A sparse array of `Leaf`s, each for 2^kLeafBits consecutive page
// numbers: finding one costs two indexed loads, and only the leaves in use
// and their tables are ever allocated.
template <typename Leaf, size_t kLeafBits>
class PageTable {
 public:
  // The leaf of page index `index` (page number - 1), or null.
  Leaf* Find(size_t index) const {
    const size_t table = index >> (kLeafBits + kTableBits);
    if (table < tables_.size() && tables_[table] != nullptr)
      return (*tables_[table])[(index >> kLeafBits) & kTableMask].get();
    return nullptr;
  }
  // The same, made default-initialised on first use.
  Leaf& Make(size_t index) {
    const size_t table = index >> (kLeafBits + kTableBits);
    if (table >= tables_.size())
      tables_.resize(table + 1);
    if (tables_[table] == nullptr)
      tables_[table] = std::make_unique<Table>();
    std::unique_ptr<Leaf>& leaf = (*tables_[table])[(index >> kLeafBits) & kTableMask];
    if (leaf == nullptr)
      leaf.reset(new Leaf);
    return *leaf;
  }

 private:
  static constexpr size_t kTableBits = 10;
  static constexpr size_t kTableMask = (size_t{1} << kTableBits) - 1;
  using Table = std::array<std::unique_ptr<Leaf>, size_t{1} << kTableBits>;

  std::vector<std::unique_ptr<Table>> tables_;
};

class PageCache {
 public:
  static constexpr size_t kSlabBits = 5;  // 32 pages (33 KB) per slab
  static constexpr size_t kSlabPages = size_t{1} << kSlabBits;

  // Pages 32k+1 to 32k+32.
  struct Slab {
    std::array<bool, kSlabPages> read{};
    std::array<Page, kSlabPages> pages;  // left unset until read
  };

  // Where page `number` is in its slab.
  static size_t SlabIndex(PageNumber number) { return (number - 1) & kSlabMask; }

  PageCache();
  ~PageCache();
  PageCache(const PageCache&) = delete;
  PageCache& operator=(const PageCache&) = delete;

  // The slab of page `number` (>= 1), made on first use with no page read.
  Slab& SlabOf(PageNumber number) { return slabs_.Make(number - 1); }
  // The decoded view of page `number` (>= 1), or null when none is kept.
  const BtreePage* TreeAt(PageNumber number) const {
    const TreeChunk* chunk = trees_.Find(number - 1);
    return chunk != nullptr ? chunk->trees[(number - 1) & kTreeChunkMask] : nullptr;
  }

  // Room for one decoded view and its cells. KeepTree() then keeps the
  // view decoded there, with the cells it spans, as page `number`'s, and
  // the next room starts after them; a room not kept is handed out again.
  struct TreeRoom {
    BtreePage* tree;
    std::span<Cell, kMaxCellsPerPage> cells;
  };
  TreeRoom NextTreeRoom();
  const BtreePage* KeepTree(PageNumber number, const TreeRoom& room);

 private:
  static constexpr size_t kSlabMask = kSlabPages - 1;
  // The pointers to the views of 1024 pages, 8 KB: a few of them cover the
  // pages of the trees a statement walks.
  static constexpr size_t kTreeChunkBits = 10;
  static constexpr size_t kTreeChunkMask = (size_t{1} << kTreeChunkBits) - 1;
  struct TreeChunk {
    std::array<const BtreePage*, size_t{1} << kTreeChunkBits> trees{};  // null until decoded
  };
  // The views and cells of 10 full pages or more.
  static constexpr size_t kTreeBlockSize = 16384;
  static constexpr size_t kLargestTree = sizeof(BtreePage) + kMaxCellsPerPage * sizeof(Cell);

  PageTable<Slab, kSlabBits> slabs_;
  PageTable<TreeChunk, kTreeChunkBits> trees_;
  std::vector<std::unique_ptr<std::byte[]>> tree_blocks_;
  size_t tree_bytes_used_ = kTreeBlockSize;  // in the last block
};

}  // namespace sqlite2::format

#endif  // SQLITE2_FORMAT_PAGE_CACHE_H_
