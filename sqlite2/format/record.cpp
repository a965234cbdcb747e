#include "sqlite2/format/record.h"

#include <cstdint>

namespace sqlite2::format {
namespace {

// Offsets are little-endian whatever the file's byte order.
size_t LoadOffset(std::string_view record, size_t index, size_t width) {
  size_t value = 0;
  for (size_t i = 0; i < width; ++i) {
    value |= size_t{static_cast<uint8_t>(record[index * width + i])} << (8 * i);
  }
  return value;
}

}  // namespace

size_t RecordOffsetWidth(size_t record_size) {
  if (record_size < 256) {
    return 1;
  }
  if (record_size < 65536) {
    return 2;
  }
  return 3;
}

Status DecodeRecord(std::string_view record, size_t column_count, RecordValues* out) {
  out->assign(column_count, std::nullopt);
  if (record.empty()) {
    return Status::Ok();
  }

  const size_t width = RecordOffsetWidth(record.size());
  const size_t header_size = (column_count + 1) * width;
  if (header_size > record.size() || LoadOffset(record, 0, width) != header_size) {
    return Status::Corrupt();
  }
  for (size_t i = 0; i < column_count; ++i) {
    const size_t begin = LoadOffset(record, i, width);
    const size_t end = LoadOffset(record, i + 1, width);
    if (end < begin || end > record.size()) {
      return Status::Corrupt();
    }
    if (end == begin) {
      continue;  // SQL NULL
    }
    // Values are C strings: they must end with a NUL and stop at the first.
    if (record[end - 1] != '\0') {
      return Status::Corrupt();
    }
    const std::string_view value = record.substr(begin, end - begin);
    (*out)[i] = value.substr(0, value.find('\0'));
  }
  return Status::Ok();
}

}  // namespace sqlite2::format
