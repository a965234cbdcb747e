// Equality lookups on a column that neither is the rowid nor leads an
// index, without scanning the table once per lookup.
//
// The font reader runs one "... WHERE id = '<id>'" per relationship, all
// of them inside the scan of another table, under one shared lock. While
// that lock is held the file cannot change, so one pass over the table can
// hash the column and serve every lookup after it; the hashes go when the
// lock does, since another process may commit in between.
//
// A lookup answers with the rows a scan would test positive, in scan
// (rowid) order. Equality is the comparison's own: bytes for a text
// comparison; for a numeric one, numbers (as the library converts them) by
// value - so '-0' equals '0' and '1e0' equals '01' - and anything else by
// bytes. A hash only narrows the rows down: the caller tests each candidate
// as a scan would, so colliding hashes cost time, never answers.
//
// The scan also notes where each row is, in pages the pager keeps for as
// long as the lock (pager.h), so a lookup loads its rows without seeking
// them again.
#ifndef SQLITE2_COLUMN_HASH_H_
#define SQLITE2_COLUMN_HASH_H_

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string_view>
#include <tuple>
#include <vector>

#include "sqlite2/format/btree_cursor.h"
#include "sqlite2/format/pager.h"
#include "sqlite2/schema.h"
#include "sqlite2/status.h"

namespace sqlite2 {

class ColumnHash {
 public:
  // Scans `table` once. Damage met on the way ends the scan; the hash then
  // holds the rows before it, and error() is what the scan failed with.
  static std::unique_ptr<ColumnHash> Build(format::Pager* pager, const TableInfo& table,
                                           size_t column, bool numeric);

  using Position = format::BtreeCursor::Position;

  // Appends where the rows whose value may equal `literal` are, in scan
  // order. Returns false when the hash cannot narrow the rows down (a
  // number that equals every number) and the caller must scan.
  bool Find(std::string_view literal, std::vector<Position>* rows) const;
  // Nonzero when the table could not be read to its end.
  const Status& error() const { return error_; }
  // Whether the scan ended on a page that failed its check for the first
  // time: the library's next scan takes that page as it is and reads on,
  // so the hash must be built again.
  bool ended_on_new_damage() const { return ended_on_new_damage_; }

 private:
  struct Entry {
    uint64_t hash;
    const format::BtreePage* page;  // where the row is
    uint32_t cell;
    uint32_t order;  // in the scan
  };

  explicit ColumnHash(bool numeric) : numeric_(numeric) {}
  // The hash of `value` under this comparison; false for a number that
  // equals every number (NaN, which compares neither below nor above).
  bool HashOf(std::string_view value, uint64_t* hash) const;

  // Entries whose hash starts with the top bits b are entries_[buckets_[b]]
  // up to entries_[buckets_[b + 1]]: a lookup searches only those few,
  // rather than the whole table's entries, whose probes would each miss
  // the cache.
  void MakeBuckets();

  bool numeric_;
  std::vector<Entry> entries_;  // by hash, then order
  std::vector<uint32_t> buckets_;
  int bucket_shift_ = 0;          // a hash's top bits are hash >> bucket_shift_
  std::vector<Entry> wildcards_;  // values equal to every number, by order
  Status error_;
  bool ended_on_new_damage_ = false;
};

// The hashes built under one shared lock.
class ColumnHashes {
 public:
  // The hash of `column` of `table` for an equality that is numeric or not,
  // built on first use, and again when the last build ended on new damage.
  const ColumnHash& Get(format::Pager* pager, const TableInfo& table, size_t column, bool numeric);

 private:
  // Keyed by the table itself: the schema cannot be reloaded under the lock.
  std::map<std::tuple<const TableInfo*, size_t, bool>, std::unique_ptr<ColumnHash>> hashes_;
};

}  // namespace sqlite2

#endif  // SQLITE2_COLUMN_HASH_H_
