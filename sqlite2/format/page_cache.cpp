#include "sqlite2/format/page_cache.h"

#include <new>

namespace sqlite2::format {

static_assert(alignof(BtreePage) <= __STDCPP_DEFAULT_NEW_ALIGNMENT__ &&
                  sizeof(BtreePage) % alignof(Cell) == 0,
              "a view's cells follow it in a block without padding");

PageCache::PageCache() = default;
PageCache::~PageCache() = default;

PageCache::TreeRoom PageCache::NextTreeRoom() {
  if (kTreeBlockSize - tree_bytes_used_ < kLargestTree) {
    tree_blocks_.emplace_back(new std::byte[kTreeBlockSize]);
    tree_bytes_used_ = 0;
  }
  std::byte* at = tree_blocks_.back().get() + tree_bytes_used_;
  return {new (at) BtreePage,
          std::span<Cell, kMaxCellsPerPage>(reinterpret_cast<Cell*>(at + sizeof(BtreePage)),
                                            kMaxCellsPerPage)};
}

const BtreePage* PageCache::KeepTree(PageNumber number, const TreeRoom& room) {
  const size_t end = tree_bytes_used_ + sizeof(BtreePage) + room.tree->cells.size() * sizeof(Cell);
  // The next view starts where a view may.
  tree_bytes_used_ = (end + alignof(BtreePage) - 1) / alignof(BtreePage) * alignof(BtreePage);
  trees_.Make(number - 1).trees[(number - 1) & kTreeChunkMask] = room.tree;
  return room.tree;
}

}  // namespace sqlite2::format
