// Builds a whole B-tree from sorted entries, bottom up.
//
// These are true B-trees: an interior cell carries a full entry, and all keys
// under its left child are smaller than its own. So the builder fills a row
// of pages with consecutive entries and lifts the single entry between two
// neighbouring pages into the level above, where it becomes a cell whose left
// child is the page before it; the page after the last lifted entry is the
// parent's right child. Levels repeat until one page holds what is left,
// which goes into the root page.
#ifndef TESTS_SQLITE2_WRITER_BTREE_BUILDER_H_
#define TESTS_SQLITE2_WRITER_BTREE_BUILDER_H_

#include <span>

#include "tests/sqlite2_writer/btree_page_writer.h"
#include "tests/sqlite2_writer/page_file.h"

namespace sqlite2::writer {

struct TreeLayout {
  // How much of a page's 1016 usable bytes the builder fills before it
  // starts the next page. 1 packs pages the way appending rows in key order
  // does in the library; small values give narrow, deep trees from few rows.
  double page_fill = 1.0;
  // Stores cells out of physical order with free blocks between them.
  bool scatter_cells = false;
};

// Writes `entries`, sorted in ascending key order, as the B-tree rooted at
// page `root` (already allocated); every other page comes from `file`.
void WriteBtree(PageFile& file, PageNumber root, std::span<const Entry> entries,
                const TreeLayout& layout);

}  // namespace sqlite2::writer

#endif  // TESTS_SQLITE2_WRITER_BTREE_BUILDER_H_
