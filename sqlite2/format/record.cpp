#include "sqlite2/format/record.h"

#include <cstdint>
#include <cstring>

namespace sqlite2::format {
namespace {

// The empty string, as a value that begins where the record's bytes have
// run out (they read as zero there).
constexpr char kEmpty[] = "";

// Offsets are little-endian whatever the file's byte order.
template <size_t kWidth>
size_t LoadOffset(const Record& record, size_t at) {
  const auto* p = reinterpret_cast<const uint8_t*>(record.bytes.data());
  const size_t held = record.bytes.size();
  size_t value = 0;
  if (at + kWidth <= held) {
    for (size_t i = 0; i < kWidth; ++i) {
      value |= size_t{p[at + i]} << (8 * i);
    }
    return value;
  }
  for (size_t i = 0; at + i < held && i < kWidth; ++i) {
    value |= size_t{p[at + i]} << (8 * i);
  }
  return value;
}

// The value of the bytes [begin, end) as a C string: up to its first NUL,
// which a byte past those held is.
Status ValueAt(const Record& record, size_t begin, size_t end,
               std::optional<std::string_view>* out) {
  const size_t held = record.bytes.size();
  if (begin >= held) {
    *out = std::string_view(kEmpty, 0);
    return Status::Ok();
  }
  const char* value = record.bytes.data() + begin;
  const size_t stop = end < held ? end : held;
  const void* nul = std::memchr(value, '\0', stop - begin);
  if (nul == nullptr && stop == end) {
    return Status::Corrupt();
  }
  *out = std::string_view(value,
                          nul != nullptr ? static_cast<const char*>(nul) - value : stop - begin);
  return Status::Ok();
}

template <size_t kWidth>
Status DecodeOne(const Record& record, size_t column, std::optional<std::string_view>* out) {
  if (record.size < kWidth * (column + 1)) {
    return Status::Corrupt();
  }
  const size_t begin = LoadOffset<kWidth>(record, kWidth * column);
  const size_t end = LoadOffset<kWidth>(record, kWidth * (column + 1));
  if (end < begin || end > record.size) {
    return Status::Corrupt();
  }
  if (end == begin) {
    *out = std::nullopt;  // SQL NULL
    return Status::Ok();
  }
  return ValueAt(record, begin, end, out);
}

// Reads the `count` columns column(0) to column(count - 1), each into
// *place(column), stopping at the first that is corrupt.
template <size_t kWidth, typename Column, typename Place>
Status DecodeEachWide(const Record& record, size_t count, const Column& column,
                      const Place& place) {
  for (size_t i = 0; i < count; ++i) {
    if (Status status = DecodeOne<kWidth>(record, column(i), place(column(i))); !status.ok()) {
      return status;
    }
  }
  return Status::Ok();
}

template <typename Column, typename Place>
Status DecodeEach(const Record& record, size_t count, const Column& column, const Place& place) {
  if (record.size == 0) {
    for (size_t i = 0; i < count; ++i) {
      *place(column(i)) = std::nullopt;
    }
    return Status::Ok();
  }
  switch (RecordOffsetWidth(record.size)) {
    case 1:
      return DecodeEachWide<1>(record, count, column, place);
    case 2:
      return DecodeEachWide<2>(record, count, column, place);
    default:
      return DecodeEachWide<3>(record, count, column, place);
  }
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

Status DecodeColumn(const Record& record, size_t column, std::optional<std::string_view>* out) {
  return DecodeEach(
      record, 1, [column](size_t) { return column; }, [out](size_t) { return out; });
}

Status DecodeColumns(const Record& record, std::span<const size_t> columns, RecordValues* out) {
  return DecodeEach(
      record, columns.size(), [columns](size_t i) { return columns[i]; },
      [out](size_t column) { return &(*out)[column]; });
}

Status DecodeRecord(const Record& record, size_t column_count, RecordValues* out) {
  out->resize(column_count);
  return DecodeEach(
      record, column_count, [](size_t i) { return i; },
      [out](size_t column) { return &(*out)[column]; });
}

Status DecodeRecord(std::string_view record, size_t column_count, RecordValues* out) {
  return DecodeRecord(Record{record, record.size()}, column_count, out);
}

}  // namespace sqlite2::format
