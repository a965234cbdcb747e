#include "tests/sqlite2_writer/record.h"

#include "sqlite2/format/record.h"

namespace sqlite2::writer {

std::string EncodeRecord(std::span<const Value> values) {
  size_t text_bytes = 0;
  for (const Value& value : values) {
    if (value)
      text_bytes += value->size() + 1;
  }
  // A reader picks the width from the finished length, so take the narrowest
  // width whose finished record a reader would read with that same width.
  const size_t offset_count = values.size() + 1;
  size_t width = 1;
  while (width < 3 && format::RecordOffsetWidth(width * offset_count + text_bytes) != width) {
    ++width;
  }

  std::string record;
  record.reserve(width * offset_count + text_bytes);
  size_t position = width * offset_count;
  auto put_offset = [&](size_t offset) {
    for (size_t i = 0; i < width; ++i)
      record.push_back(static_cast<char>(offset >> (8 * i)));
  };
  for (const Value& value : values) {
    put_offset(position);
    if (value)
      position += value->size() + 1;
  }
  put_offset(position);
  for (const Value& value : values) {
    if (!value)
      continue;
    record += *value;
    record.push_back('\0');
  }
  return record;
}

}  // namespace sqlite2::writer
