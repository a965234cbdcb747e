#include "sqlite2/format/table_cursor.h"

namespace sqlite2::format {

Status TableCursor::Next(bool* has_row) {
  Status status = cursor_.Next(has_row);
  if (status.ok() && *has_row) {
    DecodeKey();
  }
  return status;
}

Status TableCursor::MoveTo(BtreeCursor::Position position) {
  Status status = cursor_.MoveTo(position);
  if (status.ok()) {
    DecodeKey();
  }
  return status;
}

Status TableCursor::SeekRowid(int32_t rowid, bool* found) {
  char key[kRowidKeySize];
  EncodeRowidKey(rowid, key);
  rowid_ = rowid;
  return cursor_.SeekAtLeast({key, kRowidKeySize}, found);
}

}  // namespace sqlite2::format
