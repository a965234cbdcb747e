#include "sqlite2/format/btree_page.h"

#include <bitset>

namespace sqlite2::format {
namespace {

constexpr uint32_t kUsableSize = kPageSize - kPageHeaderSize;
constexpr uint32_t kLargestCellOffset = kPageSize - kMinCellSize;
constexpr uint32_t kLargestFreeBlockOffset = kPageSize - 4;
constexpr uint32_t kOverflowPointerOffset = kCellHeaderSize + kMaxLocalPayload;

Cell DecodeCellHeader(const uint8_t* p, uint16_t offset, ByteOrder order, uint16_t* next) {
  Cell cell;
  cell.offset = offset;
  cell.left_child = Load32(p, order);
  cell.key_size = Load16(p + 4, order) + (uint32_t{p[8]} << 16);
  *next = Load16(p + 6, order);
  cell.data_size = Load16(p + 10, order) + (uint32_t{p[9]} << 16);
  return cell;
}

}  // namespace

uint32_t KeyHead(std::string_view key) {
  uint32_t head = 0;
  for (size_t i = 0; i < key.size() && i < 4; ++i)
    head |= uint32_t{static_cast<uint8_t>(key[i])} << (24 - 8 * i);
  return head;
}

uint32_t Cell::size() const {
  if (payload_size() > kMaxLocalPayload) {
    return kOverflowPointerOffset + 4;
  }
  return (kCellHeaderSize + payload_size() + 3) & ~3u;
}

Status BtreePage::DecodeFrom(const Page& bytes, ByteOrder order,
                             std::span<Cell, kMaxCellsPerPage> room, BtreePage* out) {
  const uint8_t* p = bytes.data();
  out->bytes = &bytes;
  out->right_child = Load32(p, order);
  const uint16_t first_cell = Load16(p + 4, order);
  const uint16_t first_free = Load16(p + 6, order);

  // A loop in the cell list would otherwise never end; the list can hold at
  // most kMaxCellsPerPage cells, and no cell may be reached twice.
  std::bitset<kPageSize / 4> seen;
  uint32_t cell_bytes = 0;
  size_t count = 0;
  // Whatever the verdict, the page lists the cells taken so far.
  const auto verdict = [&](bool sound) {
    out->cells = room.first(count);
    return sound ? Status::Ok() : Status::Corrupt();
  };
  for (uint16_t offset = first_cell; offset != 0;) {
    if (offset < kPageHeaderSize || offset > kLargestCellOffset || offset % 4 != 0 ||
        seen[offset / 4] || count == kMaxCellsPerPage) {
      return verdict(false);
    }
    seen[offset / 4] = true;
    uint16_t next;
    Cell cell = DecodeCellHeader(p + offset, offset, order, &next);
    if (offset + cell.size() > kPageSize) {
      return verdict(false);
    }
    if (cell.payload_size() > kMaxLocalPayload) {
      cell.overflow = Load32(p + offset + kOverflowPointerOffset, order);
    }
    cell_bytes += cell.size();
    room[count++] = cell;
    offset = next;
  }

  // Free blocks are linked in strictly ascending order, which also bounds
  // the walk.
  uint32_t free_bytes = 0;
  for (uint16_t offset = first_free; offset != 0;) {
    if (offset < kPageHeaderSize || offset > kLargestFreeBlockOffset) {
      return verdict(false);
    }
    const uint16_t next = Load16(p + offset + 2, order);
    if (next != 0 && next <= offset) {
      return verdict(false);
    }
    free_bytes += Load16(p + offset, order);
    offset = next;
  }

  // A page without cells or free space - all zeros, as a root past the end
  // of a truncated file reads - is an empty page, not a damaged one.
  return verdict((count == 0 && free_bytes == 0) || cell_bytes + free_bytes == kUsableSize);
}

}  // namespace sqlite2::format
