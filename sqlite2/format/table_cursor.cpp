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
  Status status = cursor_.SeekAtLeast({key, kRowidKeySize}, found);
  if (!status.ok() || *found) {
    rowid_ = rowid;
    return status;
  }
  // A rowid that is not there still reads the row after where it would
  // be, as a walk from there would, so that damage there fails the seek.
  bool has_row;
  return Next(&has_row);
}

}  // namespace sqlite2::format
