#include "tests/sqlite2_writer/btree_builder.h"

#include <algorithm>
#include <vector>

#include "sqlite2/format/btree_page.h"

namespace sqlite2::writer {
namespace {

constexpr uint32_t kUsableBytes = format::kPageSize - format::kPageHeaderSize;

// One level of the tree: its cells in key order, each with the subtree of
// smaller keys, and the subtree of keys greater than all of them.
struct Level {
  std::vector<PlacedCell> cells;
  PageNumber right_child = 0;
};

// Splits `cells` into runs of consecutive cells, one run per page, and the
// single cells between runs that move up a level. Every run gets at least one
// cell, since the library rejects a child page without cells.
void Partition(const std::vector<PlacedCell>& cells, uint32_t target,
               std::vector<std::vector<PlacedCell>>* runs, std::vector<PlacedCell>* lifted) {
  runs->assign(1, {});
  uint32_t run_bytes = 0;
  for (size_t i = 0; i < cells.size(); ++i) {
    const uint32_t size = CellSize(*cells[i].entry);
    std::vector<PlacedCell>& run = runs->back();
    if (run.empty() || run_bytes + size <= target) {
      run.push_back(cells[i]);
      run_bytes += size;
    } else if (i + 1 < cells.size()) {
      lifted->push_back(cells[i]);
      runs->emplace_back();
      run_bytes = 0;
    } else if (run_bytes + size <= kUsableBytes) {
      // The last cell cannot move up: nothing would follow it.
      run.push_back(cells[i]);
      run_bytes += size;
    } else {
      // A run this full holds at least four cells, so lifting its last one
      // leaves it non-empty.
      lifted->push_back(run.back());
      run.pop_back();
      runs->push_back({cells[i]});
    }
  }
}

}  // namespace

void WriteBtree(PageFile& file, PageNumber root, std::span<const Entry> entries,
                const TreeLayout& layout) {
  const double fill = std::clamp(layout.page_fill, 0.0, 1.0);
  const auto target = static_cast<uint32_t>(fill * kUsableBytes);

  Level level;
  level.cells.reserve(entries.size());
  for (const Entry& entry : entries)
    level.cells.push_back({&entry, 0});

  for (;;) {
    std::vector<std::vector<PlacedCell>> runs;
    Level above;
    Partition(level.cells, target, &runs, &above.cells);
    if (runs.size() == 1) {
      WriteBtreePage(file, root, runs[0], level.right_child, layout.scatter_cells);
      return;
    }
    for (size_t r = 0; r < runs.size(); ++r) {
      const PageNumber page = file.Allocate();
      // The lifted cell's old left child holds the keys between this run and
      // the lifted cell, so it becomes this page's right child.
      const PageNumber right =
          r < above.cells.size() ? above.cells[r].left_child : level.right_child;
      WriteBtreePage(file, page, runs[r], right, layout.scatter_cells);
      if (r < above.cells.size()) {
        above.cells[r].left_child = page;
      } else {
        above.right_child = page;
      }
    }
    level = std::move(above);
  }
}

}  // namespace sqlite2::writer
