// Entries of an index B-tree: the key is the encoded column fields (see
// keys.h) followed by the row's 4-byte rowid; the data is empty.
#ifndef SQLITE2_FORMAT_INDEX_CURSOR_H_
#define SQLITE2_FORMAT_INDEX_CURSOR_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "sqlite2/format/btree_cursor.h"
#include "sqlite2/format/pager.h"
#include "sqlite2/status.h"

namespace sqlite2::format {

class IndexCursor {
 public:
  // `pager` must outlive the cursor. The cursor starts before the first
  // entry of a full scan.
  IndexCursor(Pager* pager, PageNumber root) : cursor_(pager, root) {}

  // Restricts the following Next() calls to the entries whose key starts
  // with `prefix` (whole encoded fields, without a rowid), in key order.
  // Since every field ends with NUL, this is exact equality on those fields.
  Status SeekPrefix(std::string_view prefix);
  // Back to a full scan from the first entry.
  void Rewind();
  // Moves to the next entry; `*has_entry` is false at the end.
  Status Next(bool* has_entry);

  // The current entry; valid until the cursor moves.
  std::string_view key() const { return cursor_.key(); }
  int32_t rowid() const { return rowid_; }

 private:
  BtreeCursor cursor_;
  std::string prefix_;
  bool past_prefix_ = false;
  int32_t rowid_ = 0;
};

}  // namespace sqlite2::format

#endif  // SQLITE2_FORMAT_INDEX_CURSOR_H_
