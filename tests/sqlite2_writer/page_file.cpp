#include "tests/sqlite2_writer/page_file.h"

#include <algorithm>

namespace sqlite2::writer {
namespace {

constexpr char kMagicText[] = "** This file contains an SQLite 2.1 database **";
constexpr uint32_t kMagicInteger = 0xdae37528;

}  // namespace

PageNumber PageFile::Allocate() {
  pages_.emplace_back();
  pages_.back().fill(0);
  return page_count();
}

void PageFile::WriteHeader(int32_t schema_cookie, uint32_t file_format) {
  uint8_t* header = Page(1);
  std::copy_n(kMagicText, sizeof kMagicText, header);  // the NUL included
  // The magic integer in the writer's own order is how readers learn it.
  Store32(header + 48, kMagicInteger);
  Store32(header + 60, static_cast<uint32_t>(schema_cookie));
  Store32(header + 64, file_format);
}

void PageFile::Store16(uint8_t* at, uint16_t value) const {
  if (order_ == ByteOrder::kLittleEndian) {
    at[0] = static_cast<uint8_t>(value);
    at[1] = static_cast<uint8_t>(value >> 8);
  } else {
    at[0] = static_cast<uint8_t>(value >> 8);
    at[1] = static_cast<uint8_t>(value);
  }
}

void PageFile::Store32(uint8_t* at, uint32_t value) const {
  if (order_ == ByteOrder::kLittleEndian) {
    for (int i = 0; i < 4; ++i)
      at[i] = static_cast<uint8_t>(value >> (8 * i));
  } else {
    StoreBigEndian32(at, value);
  }
}

std::vector<uint8_t> PageFile::Bytes() const {
  std::vector<uint8_t> bytes;
  bytes.reserve(pages_.size() * format::kPageSize);
  for (const format::Page& page : pages_)
    bytes.insert(bytes.end(), page.begin(), page.end());
  return bytes;
}

void StoreBigEndian32(uint8_t* at, uint32_t value) {
  for (int i = 0; i < 4; ++i)
    at[i] = static_cast<uint8_t>(value >> (8 * (3 - i)));
}

}  // namespace sqlite2::writer
