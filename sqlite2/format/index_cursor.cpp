#include "sqlite2/format/index_cursor.h"

#include "sqlite2/format/keys.h"

namespace sqlite2::format {

Status IndexCursor::SeekPrefix(std::string_view prefix) {
  prefix_ = prefix;
  past_prefix_ = false;
  return cursor_.SeekAtLeast(prefix);
}

void IndexCursor::Rewind() {
  prefix_.clear();
  past_prefix_ = false;
  cursor_.Rewind();
}

Status IndexCursor::Next(bool* has_entry) {
  *has_entry = false;
  if (past_prefix_) {
    return Status::Ok();
  }
  Status status = cursor_.Next(has_entry);
  if (!status.ok() || !*has_entry) {
    return status;
  }
  const std::string_view key = cursor_.key();
  // Keys are ordered, so the first key without the prefix ends the matches.
  if (!key.starts_with(prefix_)) {
    past_prefix_ = true;
    *has_entry = false;
    return Status::Ok();
  }
  // The rowid is the key's last bytes, which a broken chain leaves out.
  if (key.size() < kRowidKeySize || key.size() != cursor_.cell().key_size) {
    *has_entry = false;
    return cursor_.FailCorrupt();
  }
  rowid_ = DecodeRowidKey(key.data() + key.size() - kRowidKeySize);
  return Status::Ok();
}

}  // namespace sqlite2::format
