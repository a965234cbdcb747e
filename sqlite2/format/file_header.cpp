#include "sqlite2/format/file_header.h"

#include <cstring>

namespace sqlite2::format {
namespace {

constexpr char kMagicText[] = "** This file contains an SQLite 2.1 database **";  // + its NUL
constexpr uint32_t kMagicInteger = 0xdae37528;

constexpr size_t kMagicIntegerOffset = 48;
constexpr size_t kFreeListTrunkOffset = 52;
constexpr size_t kFreePageCountOffset = 56;
constexpr size_t kSchemaCookieOffset = 60;
constexpr size_t kFileFormatOffset = 64;

}  // namespace

Status FileHeader::DecodeFrom(const Page* page1, FileHeader* out) {
  *out = FileHeader();
  if (page1 == nullptr) {
    return Status::Ok();
  }

  const uint8_t* p = page1->data();
  if (std::memcmp(p, kMagicText, sizeof kMagicText) != 0) {
    return Status::NotADatabase();
  }
  // The magic integer reads as itself only in the writer's byte order.
  if (Load32(p + kMagicIntegerOffset, ByteOrder::kLittleEndian) == kMagicInteger) {
    out->byte_order = ByteOrder::kLittleEndian;
  } else if (Load32(p + kMagicIntegerOffset, ByteOrder::kBigEndian) == kMagicInteger) {
    out->byte_order = ByteOrder::kBigEndian;
  } else {
    return Status::NotADatabase();
  }

  const ByteOrder order = out->byte_order;
  out->free_list_trunk = Load32(p + kFreeListTrunkOffset, order);
  out->free_page_count = Load32(p + kFreePageCountOffset, order);
  out->schema_cookie = static_cast<int32_t>(Load32(p + kSchemaCookieOffset, order));
  const auto format = static_cast<int32_t>(Load32(p + kFileFormatOffset, order));
  // The library compares the format as a signed number.
  if (format > kCurrentFileFormat) {
    return Status::Error(SQLITE_ERROR, "unsupported file format");
  }
  out->file_format = format == 0 ? kCurrentFileFormat : format;
  return Status::Ok();
}

Status RequireUpgradedFormat(const FileHeader& header) {
  if (header.file_format >= 3) {
    return Status::Ok();
  }
  return Status::Error(SQLITE_READONLY,
                       "unable to upgrade database to the version 2.6 format: attempt to write a "
                       "readonly database");
}

}  // namespace sqlite2::format
