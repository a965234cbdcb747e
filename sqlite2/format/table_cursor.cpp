#include "sqlite2/format/table_cursor.h"

#include "sqlite2/format/keys.h"

namespace sqlite2::format {

Status TableCursor::Next(bool* has_row) {
  Status status = cursor_.Next(has_row);
  if (!status.ok() || !*has_row) {
    return status;
  }
  status = DecodeKey();
  *has_row = status.ok();
  return status;
}

Status TableCursor::MoveTo(BtreeCursor::Position position) {
  Status status = cursor_.MoveTo(position);
  return status.ok() ? DecodeKey() : status;
}

Status TableCursor::DecodeKey() {
  if (cursor_.key().size() != kRowidKeySize) {
    return cursor_.FailCorrupt();
  }
  rowid_ = DecodeRowidKey(cursor_.key().data());
  return Status::Ok();
}

Status TableCursor::SeekRowid(int32_t rowid, bool* found) {
  char key[kRowidKeySize];
  EncodeRowidKey(rowid, key);
  rowid_ = rowid;
  return cursor_.SeekAtLeast({key, kRowidKeySize}, found);
}

}  // namespace sqlite2::format
