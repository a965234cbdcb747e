// Rows of a table B-tree: a 4-byte key holding the rowid (see keys.h) and
// the row record as data. A cell whose key size is damaged is read as the
// library reads it: the rowid from the key's first four bytes, the record
// from where the claimed key ends.
#ifndef SQLITE2_FORMAT_TABLE_CURSOR_H_
#define SQLITE2_FORMAT_TABLE_CURSOR_H_

#include <cstdint>
#include <string_view>

#include "sqlite2/format/btree_cursor.h"
#include "sqlite2/format/keys.h"
#include "sqlite2/format/pager.h"
#include "sqlite2/format/record.h"
#include "sqlite2/status.h"

namespace sqlite2::format {

class TableCursor {
 public:
  // `pager` must outlive the cursor. The cursor starts before the first row.
  TableCursor(Pager* pager, PageNumber root) : cursor_(pager, root) {}

  // Moves to the next row in ascending rowid order; `*has_row` is false at
  // the end.
  Status Next(bool* has_row);
  // Moves to the row with `rowid`; `*found` says whether it exists. When it
  // does, Next() continues with the rows after it. A damaged page on the
  // way to it means the row is not there (BtreeCursor::SeekAtLeast).
  Status SeekRowid(int32_t rowid, bool* found);
  // Where the row that Next() just yielded is, and back to it, as in
  // BtreeCursor.
  BtreeCursor::Position position() const { return cursor_.position(); }
  Status MoveTo(BtreeCursor::Position position);

  // The current row; valid until the cursor moves.
  int32_t rowid() const { return rowid_; }
  Record record() const { return {cursor_.data(), cursor_.cell().data_size}; }

 private:
  // Takes the rowid from the entry the cursor is on.
  void DecodeKey() { rowid_ = DecodeRowidKeyHead(KeyHead(cursor_.key())); }

  BtreeCursor cursor_;
  int32_t rowid_ = 0;
};

}  // namespace sqlite2::format

#endif  // SQLITE2_FORMAT_TABLE_CURSOR_H_
