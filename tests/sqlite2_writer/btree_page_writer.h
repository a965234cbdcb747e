// Lays out one B-tree page: its header, its cells linked in key order, their
// overflow chains, and free blocks covering the rest of the 1016 usable
// bytes. See sqlite2/format/btree_page.h for the layout itself.
#ifndef TESTS_SQLITE2_WRITER_BTREE_PAGE_WRITER_H_
#define TESTS_SQLITE2_WRITER_BTREE_PAGE_WRITER_H_

#include <cstdint>
#include <span>
#include <string>

#include "tests/sqlite2_writer/page_file.h"

namespace sqlite2::writer {

// One B-tree entry: a table row (4-byte rowid key, record as data) or an
// index entry (encoded fields and rowid as key, no data).
struct Entry {
  std::string key;
  std::string data;
  // When not 0, the first of the consecutive pages already set aside for
  // this entry's overflow chain; otherwise they are allocated as it is
  // written.
  PageNumber overflow_start = 0;
};

// An entry placed on a page, with the subtree of smaller keys (0 on a leaf).
struct PlacedCell {
  const Entry* entry;
  PageNumber left_child;
};

// Bytes a cell for `entry` takes on its page.
uint32_t CellSize(const Entry& entry);

// Writes page `number` holding `cells` (in ascending key order, fitting in
// the usable area) and `right_child`, allocating overflow pages from `file`.
// With `scatter`, cells are stored in reverse physical order with free
// blocks between them, the way pages look after deletes and rebalancing;
// otherwise they are packed in key order and one free block ends the page.
void WriteBtreePage(PageFile& file, PageNumber number, std::span<const PlacedCell> cells,
                    PageNumber right_child, bool scatter);

}  // namespace sqlite2::writer

#endif  // TESTS_SQLITE2_WRITER_BTREE_PAGE_WRITER_H_
