// An automatic index: one the engine builds by itself, for as long as one
// read lock lasts, to answer an equality lookup that would otherwise scan a
// table.
//
// When. A statement of the form "... WHERE column = <literal>", whose
// column is neither the rowid nor the leading column of an index, scans its
// table (prepared_select.h). Run once, a scan is the cheapest way; run many
// times under one lock - a statement nested in the row handler of another,
// which shares the outer statement's snapshot (snapshot.h) - each run would
// scan the whole table again. So for a nested statement the engine scans the
// table once, keeps where each row's value is, and answers every later
// lookup on that column from it. An outermost statement never builds one:
// its lock, and the index with it, would end with the statement, after a
// scan that costs more than the plain one.
//
// Valid for one read lock. While the shared lock is held no writer can
// commit, so the rows, and the pages they sit on, cannot change. The index
// belongs to the snapshot that holds the lock and goes with it: the next
// statement to take the lock may find another file. The positions it keeps
// point into the snapshot's pager, which keeps every page it has read for as
// long as the snapshot lives (format/pager.h).
//
// Same answers as a scan. A lookup gives the rows a scan would test
// positive, in scan (rowid) order, and the statement still tests each of
// them as a scan would: the index only narrows the rows down, so a hash
// collision costs time, never an answer. Values are filed by the
// comparison's own notion of equality (sql::EqualityClassOf, beside the
// comparison rules in sql/compare.h): bytes under a text comparison;
// numbers by value under a numeric one, so '-0' finds '0' and '1e0' finds
// '01'. A literal that equals every number (NaN) cannot be narrowed down,
// and its statement scans.
//
// Damaged tables. The build reads the table as a scan would; damage met on
// the way ends it, and the index holds the rows before it. Every lookup then
// gives those rows and fails as the scan would have (error()). A page that
// failed its check for the first time is taken as it is by the next
// statement to read it under the same snapshot (format/half_checked_pages.h), so an index that
// ended on such a page is built again on its next use.
#ifndef SQLITE2_AUTOMATIC_INDEX_H_
#define SQLITE2_AUTOMATIC_INDEX_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "sqlite2/format/btree_cursor.h"
#include "sqlite2/format/table_cursor.h"
#include "sqlite2/sql/compare.h"
#include "sqlite2/status.h"

namespace sqlite2 {

class AutomaticIndex {
 public:
  // Where a row is, for TableCursor::MoveTo.
  using RowPosition = format::BtreeCursor::Position;

  // Reads every row of `rows`, a cursor before its first row, and files
  // `column` of each by its class under a numeric comparison or a text one.
  static std::unique_ptr<AutomaticIndex> Build(format::TableCursor* rows, size_t column,
                                               bool numeric);

  // Appends where the rows whose value may equal `literal` are, in scan
  // order. False when the index cannot narrow the rows down (a literal that
  // equals every number): the caller then scans.
  bool Find(std::string_view literal, std::vector<RowPosition>* rows) const;
  // Nonzero when the table could not be read to its end.
  const Status& error() const { return error_; }

 private:
  // A RowPosition's fields apart, so that an entry takes 24 bytes.
  struct Entry {
    uint64_t hash;
    const format::BtreePage* page;
    uint32_t cell;
    uint32_t order;  // in the scan

    RowPosition row() const { return {page, cell}; }
  };
  static Entry EntryOf(uint64_t hash, RowPosition row, uint32_t order) {
    return {hash, row.page, row.cell, order};
  }

  explicit AutomaticIndex(bool numeric) : numeric_(numeric) {}
  // Entries whose hash starts with the top bits b are entries_[buckets_[b]]
  // up to entries_[buckets_[b + 1]]: a lookup searches only those few,
  // rather than all of the table's entries, whose probes would each miss
  // the cache.
  void MakeBuckets();

  bool numeric_;
  std::vector<Entry> entries_;  // by hash, then order
  std::vector<uint32_t> buckets_;
  int bucket_shift_ = 0;             // a hash's top bits are hash >> bucket_shift_
  std::vector<Entry> every_number_;  // values equal to every number, by order
  Status error_;
};

}  // namespace sqlite2

#endif  // SQLITE2_AUTOMATIC_INDEX_H_
