#include "sqlite2/format/page_cache.h"

namespace sqlite2::format {

PageCache::PageCache() = default;
PageCache::~PageCache() = default;

PageCache::Entry& PageCache::Make(size_t index) {
  const size_t table = index >> (kSlabBits + kTableBits);
  if (table >= tables_.size())
    tables_.resize(table + 1);
  if (tables_[table] == nullptr)
    tables_[table] = std::make_unique<SlabTable>();
  std::unique_ptr<Slab>& slab = (*tables_[table])[(index >> kSlabBits) & kTableMask];
  if (slab == nullptr)
    slab.reset(new Slab);  // default-initialised: the page bytes stay unset
  return (*slab)[index & kSlabMask];
}

std::span<Cell, kMaxCellsPerPage> PageCache::CellRoom() {
  if (kCellsPerBlock - cells_used_ < kMaxCellsPerPage) {
    cell_blocks_.emplace_back(new Cell[kCellsPerBlock]);
    cells_used_ = 0;
  }
  return std::span<Cell, kMaxCellsPerPage>(cell_blocks_.back().get() + cells_used_,
                                           kMaxCellsPerPage);
}

}  // namespace sqlite2::format
