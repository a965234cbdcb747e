#include "sqlite2/format/record.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace sqlite2::format {
namespace {

// Offsets are little-endian whatever the file's byte order.
template <size_t kWidth>
size_t LoadOffset(const uint8_t* p) {
  size_t value = 0;
  for (size_t i = 0; i < kWidth; ++i) {
    value |= size_t{p[i]} << (8 * i);
  }
  return value;
}

template <size_t kWidth>
Status DecodeValues(std::string_view record, size_t column_count, RecordValues* out) {
  const auto* offsets = reinterpret_cast<const uint8_t*>(record.data());
  const size_t header_size = (column_count + 1) * kWidth;
  if (header_size > record.size() || LoadOffset<kWidth>(offsets) != header_size) {
    return Status::Corrupt();
  }
  size_t begin = header_size;
  for (size_t i = 0; i < column_count; ++i) {
    const size_t end = LoadOffset<kWidth>(offsets + (i + 1) * kWidth);
    if (end < begin || end > record.size()) {
      return Status::Corrupt();
    }
    if (end == begin) {
      (*out)[i] = std::nullopt;  // SQL NULL
      continue;
    }
    // Values are C strings: they must end with a NUL and stop at the first,
    // which that NUL keeps inside the value.
    if (record[end - 1] != '\0') {
      return Status::Corrupt();
    }
    (*out)[i] = std::string_view(record.data() + begin, std::strlen(record.data() + begin));
    begin = end;
  }
  return Status::Ok();
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
  out->resize(column_count);
  if (record.empty()) {
    std::fill(out->begin(), out->end(), std::nullopt);
    return Status::Ok();
  }
  switch (RecordOffsetWidth(record.size())) {
    case 1:
      return DecodeValues<1>(record, column_count, out);
    case 2:
      return DecodeValues<2>(record, column_count, out);
    default:
      return DecodeValues<3>(record, column_count, out);
  }
}

}  // namespace sqlite2::format
