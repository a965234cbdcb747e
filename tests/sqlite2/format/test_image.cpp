#include "tests/sqlite2/format/test_image.h"

#include <cstring>

#include "sqlite2/format/btree_page.h"
#include "sqlite2/format/payload.h"

namespace sqlite2::format::testing {

TestImage::TestImage(ByteOrder order, uint32_t page_count)
    : order_(order), bytes_(page_count * kPageSize, '\0') {
  static constexpr char kMagic[] = "** This file contains an SQLite 2.1 database **";
  std::memcpy(page(1), kMagic, sizeof kMagic);
  Store32(1, 48, 0xdae37528);
  Store32(1, 64, 4);
}

void TestImage::Store16(PageNumber number, size_t offset, uint16_t value) {
  uint8_t* p = page(number) + offset;
  if (order_ == ByteOrder::kLittleEndian) {
    p[0] = value & 0xff, p[1] = value >> 8;
  } else {
    p[0] = value >> 8, p[1] = value & 0xff;
  }
}

void TestImage::Store32(PageNumber number, size_t offset, uint32_t value) {
  if (order_ == ByteOrder::kLittleEndian) {
    Store16(number, offset, value & 0xffff);
    Store16(number, offset + 2, value >> 16);
  } else {
    Store16(number, offset, value >> 16);
    Store16(number, offset + 2, value & 0xffff);
  }
}

PageNumber TestImage::AppendOverflowChain(const std::string& bytes) {
  const PageNumber first = static_cast<PageNumber>(bytes_.size() / kPageSize) + 1;
  for (size_t done = 0; done < bytes.size(); done += kOverflowPayloadPerPage) {
    const PageNumber number = static_cast<PageNumber>(bytes_.size() / kPageSize) + 1;
    bytes_.resize(bytes_.size() + kPageSize, '\0');
    const size_t n = std::min(bytes.size() - done, size_t{kOverflowPayloadPerPage});
    std::memcpy(page(number) + 4, bytes.data() + done, n);
    if (done + n < bytes.size()) {
      Store32(number, 0, number + 1);
    }
  }
  return first;
}

std::vector<uint16_t> TestImage::WriteBtreePage(PageNumber number, PageNumber right_child,
                                                const std::vector<TestCell>& cells) {
  std::memset(page(number), 0, kPageSize);
  Store32(number, 0, right_child);
  // Place cells from the end of the list first so physical order is reversed.
  std::vector<uint16_t> offsets(cells.size());
  uint32_t next_free = kPageHeaderSize;
  for (size_t i = cells.size(); i-- > 0;) {
    const TestCell& c = cells[i];
    const std::string payload = c.key + c.data;
    Cell header;
    header.key_size = static_cast<uint32_t>(c.key.size());
    header.data_size = static_cast<uint32_t>(c.data.size());
    const uint16_t offset = static_cast<uint16_t>(next_free);
    offsets[i] = offset;
    next_free += header.size();
    Store32(number, offset, c.left_child);
    Store16(number, offset + 4, header.key_size & 0xffff);
    Store16(number, offset + 6, i + 1 < cells.size() ? offsets[i + 1] : 0);
    page(number)[offset + 8] = static_cast<uint8_t>(header.key_size >> 16);
    page(number)[offset + 9] = static_cast<uint8_t>(header.data_size >> 16);
    Store16(number, offset + 10, header.data_size & 0xffff);
    const size_t local = header.local_payload_size();
    std::memcpy(page(number) + offset + kCellHeaderSize, payload.data(), local);
    if (payload.size() > local) {
      const PageNumber chain = AppendOverflowChain(payload.substr(local));
      Store32(number, offset + kCellHeaderSize + kMaxLocalPayload, chain);
    }
  }
  Store16(number, 4, cells.empty() ? 0 : offsets[0]);
  if (next_free < kPageSize) {
    Store16(number, 6, static_cast<uint16_t>(next_free));
    Store16(number, next_free, static_cast<uint16_t>(kPageSize - next_free));
  }
  return offsets;
}

Status MemoryPageSource::CountPages(uint32_t* count) {
  *count = static_cast<uint32_t>(bytes_.size() / kPageSize);
  return Status::Ok();
}

Status MemoryPageSource::ReadPage(PageNumber number, Page* out) {
  out->fill(0);
  const size_t start = size_t{number - 1} * kPageSize;
  if (start < bytes_.size()) {
    std::memcpy(out->data(), bytes_.data() + start, std::min(kPageSize, bytes_.size() - start));
  }
  return Status::Ok();
}

std::string MakeRecord(const std::vector<std::optional<std::string>>& values) {
  size_t body = 0;
  for (const auto& v : values) {
    body += v ? v->size() + 1 : 0;
  }
  size_t width = 1;
  while ((values.size() + 1) * width + body >= (size_t{1} << (8 * width))) {
    ++width;
  }
  std::string record;
  size_t offset = (values.size() + 1) * width;
  auto put = [&](size_t value) {
    for (size_t i = 0; i < width; ++i) {
      record.push_back(static_cast<char>(value >> (8 * i)));
    }
  };
  for (const auto& v : values) {
    put(offset);
    offset += v ? v->size() + 1 : 0;
  }
  put(offset);
  for (const auto& v : values) {
    if (v) {
      record.append(*v).push_back('\0');
    }
  }
  return record;
}

}  // namespace sqlite2::format::testing
