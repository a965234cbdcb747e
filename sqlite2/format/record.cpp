#include "sqlite2/format/record.h"

#include <cstdint>
#include <cstring>
#include <type_traits>

namespace sqlite2::format {
namespace {

// The empty string, as a value that begins where the record's bytes have
// run out (they read as zero there).
constexpr char kEmpty[] = "";

// Offsets are little-endian whatever the file's byte order.
template <size_t kWidth>
size_t LoadOffset(const char* at) {
  const auto* p = reinterpret_cast<const uint8_t*>(at);
  size_t value = 0;
  for (size_t i = 0; i < kWidth; ++i) {
    value |= size_t{p[i]} << (8 * i);
  }
  return value;
}

// The same at `at` of the record, where bytes past those held read as zero.
template <size_t kWidth>
size_t LoadHeldOffset(const Record& record, size_t at) {
  char bytes[kWidth] = {};
  for (size_t i = 0; i < kWidth && at + i < record.bytes.size(); ++i) {
    bytes[i] = record.bytes[at + i];
  }
  return LoadOffset<kWidth>(bytes);
}

// The value of the bytes [begin, end) of a damaged record as a C string:
// up to its first NUL, which a byte past those held is. False when there
// is none.
bool DamagedValueAt(const Record& record, size_t begin, size_t end,
                    std::optional<std::string_view>* out) {
  const size_t held = record.bytes.size();
  if (begin >= held) {
    *out = std::string_view(kEmpty, 0);
    return true;
  }
  const char* value = record.bytes.data() + begin;
  const size_t stop = end < held ? end : held;
  const void* nul = std::memchr(value, '\0', stop - begin);
  if (nul == nullptr && stop == end) {
    return false;
  }
  *out = std::string_view(value,
                          nul != nullptr ? static_cast<const char*>(nul) - value : stop - begin);
  return true;
}

// Reads column `column` into `*out`; false when it is damaged.
template <size_t kWidth>
inline bool DecodeOne(const Record& record, size_t column, std::optional<std::string_view>* out) {
  const size_t at = kWidth * column;
  if (record.size < at + kWidth) {
    return false;
  }
  const char* bytes = record.bytes.data();
  const size_t held = record.bytes.size();
  const bool offsets_held = at + 2 * kWidth <= held;
  const size_t begin =
      offsets_held ? LoadOffset<kWidth>(bytes + at) : LoadHeldOffset<kWidth>(record, at);
  const size_t end = offsets_held ? LoadOffset<kWidth>(bytes + at + kWidth)
                                  : LoadHeldOffset<kWidth>(record, at + kWidth);
  if (end < begin || end > record.size) {
    return false;
  }
  if (end == begin) {
    *out = std::nullopt;  // SQL NULL
    return true;
  }
  // A sound value ends with its NUL; a C string stops at the first.
  if (end <= held && bytes[end - 1] == '\0') {
    *out = std::string_view(bytes + begin, std::strlen(bytes + begin));
    return true;
  }
  return DamagedValueAt(record, begin, end, out);
}

// Calls `decode` with the width of the offsets of a record of `size`
// bytes, as a constant; a record of no bytes is all NULL.
template <typename Decode, typename AllNull>
Status WithWidth(size_t size, const Decode& decode, const AllNull& all_null) {
  if (size == 0) {
    all_null();
    return Status::Ok();
  }
  switch (RecordOffsetWidth(size)) {
    case 1:
      return decode(std::integral_constant<size_t, 1>());
    case 2:
      return decode(std::integral_constant<size_t, 2>());
    default:
      return decode(std::integral_constant<size_t, 3>());
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
  return WithWidth(
      record.size,
      [&](auto width) {
        return DecodeOne<width()>(record, column, out) ? Status::Ok() : Status::Corrupt();
      },
      [&] { *out = std::nullopt; });
}

Status DecodeColumns(const Record& record, std::span<const size_t> columns, RecordValues* out) {
  return WithWidth(
      record.size,
      [&](auto width) {
        for (size_t column : columns) {
          if (!DecodeOne<width()>(record, column, &(*out)[column])) {
            return Status::Corrupt();
          }
        }
        return Status::Ok();
      },
      [&] {
        for (size_t column : columns) {
          (*out)[column] = std::nullopt;
        }
      });
}

Status DecodeRecord(const Record& record, size_t column_count, RecordValues* out) {
  out->resize(column_count);
  for (size_t column = 0; column < column_count; ++column) {
    if (Status status = DecodeColumn(record, column, &(*out)[column]); !status.ok()) {
      return status;
    }
  }
  return Status::Ok();
}

Status DecodeRecord(std::string_view record, size_t column_count, RecordValues* out) {
  return DecodeRecord(Record{record, record.size()}, column_count, out);
}

}  // namespace sqlite2::format
