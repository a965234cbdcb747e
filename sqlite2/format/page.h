// Pages, page numbers and the byte-order helpers every decoder shares.
//
// A database file is a sequence of 1024-byte pages numbered from 1; page N
// starts at file offset (N-1)*1024 and page number 0 means "no page". The
// file does not record the page size. A partial page at the end of the file
// is ignored, and a page beyond the end reads as 1024 zero bytes.
//
// Integers of the B-tree layer (page 1 fields, page and cell headers, child
// and overflow pointers, free blocks) are stored in the byte order of the
// machine that wrote the file, which page 1 records. Table keys and the
// trailing rowid of index keys are always big-endian; record offsets are
// always little-endian.
#ifndef SQLITE2_FORMAT_PAGE_H_
#define SQLITE2_FORMAT_PAGE_H_

#include <array>
#include <cstddef>
#include <cstdint>

namespace sqlite2::format {

inline constexpr size_t kPageSize = 1024;

using PageNumber = uint32_t;
using Page = std::array<uint8_t, kPageSize>;

enum class ByteOrder { kLittleEndian, kBigEndian };

// Reads a 2- or 4-byte integer of the B-tree layer at `p` in `order`.
inline uint16_t Load16(const uint8_t* p, ByteOrder order) {
  return order == ByteOrder::kLittleEndian ? static_cast<uint16_t>(p[0] | (p[1] << 8))
                                           : static_cast<uint16_t>((p[0] << 8) | p[1]);
}
inline uint32_t Load32(const uint8_t* p, ByteOrder order) {
  const uint32_t b0 = p[0], b1 = p[1], b2 = p[2], b3 = p[3];
  return order == ByteOrder::kLittleEndian ? b0 | (b1 << 8) | (b2 << 16) | (b3 << 24)
                                           : (b0 << 24) | (b1 << 16) | (b2 << 8) | b3;
}

}  // namespace sqlite2::format

#endif  // SQLITE2_FORMAT_PAGE_H_
