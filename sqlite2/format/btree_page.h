// B-tree pages and their cells.
//
// Every table and index is a B-tree named by its root page. Interior pages
// hold entries too: an interior cell carries a full key and data, like a
// leaf cell. A page starts with an 8-byte header:
//
//   offset size  field
//        0    4  right child: the subtree of keys greater than every key on
//                this page (0 on a leaf)
//        4    2  offset of the first cell in key order (0 = no cells)
//        6    2  offset of the first free block (0 = none)
//
// Bytes 8..1023 are covered exactly by cells and free blocks. Cells form a
// singly linked list in ascending key order; physical order means nothing.
// A cell starts on a 4-byte boundary between 8 and 1008:
//
//   offset size  field
//        0    4  left child: the subtree of keys smaller than this one (0 on
//                a leaf)
//        4    2  key size, low 16 bits
//        6    2  offset of the next cell in key order (0 = last)
//        8    1  key size, high 8 bits
//        9    1  data size, high 8 bits
//       10    2  data size, low 16 bits
//       12    .  payload: the key, then the data; when key + data exceeds 236
//                bytes only the first 236 are here, followed by the u32
//                number of the first overflow page at cell offset 248
//
// A cell occupies 12 + payload bytes rounded up to a multiple of 4, or 252
// when it overflows. A free block is u16 size (header included) and u16
// offset of the next free block, linked in ascending offset order. Every
// multi-byte field above is in the file's byte order.
#ifndef SQLITE2_FORMAT_BTREE_PAGE_H_
#define SQLITE2_FORMAT_BTREE_PAGE_H_

#include <cstdint>
#include <span>
#include <string_view>

#include "sqlite2/format/page.h"
#include "sqlite2/status.h"

namespace sqlite2::format {

inline constexpr uint32_t kPageHeaderSize = 8;
inline constexpr uint32_t kCellHeaderSize = 12;
inline constexpr uint32_t kMaxLocalPayload = 236;
inline constexpr uint32_t kMinCellSize = 16;
// The usable area 8..1023 holds at most this many of the smallest cells.
inline constexpr uint32_t kMaxCellsPerPage = (kPageSize - kPageHeaderSize) / kMinCellSize;

// The first 4 bytes of `key`, zero-padded when it is shorter, as a
// big-endian number, so that numeric order is byte order: what a rowid key
// holds, which the library reads whatever the key's size.
uint32_t KeyHead(std::string_view key);

struct Cell {
  uint16_t offset = 0;  // where the cell starts on its page
  PageNumber left_child = 0;
  uint32_t key_size = 0;
  uint32_t data_size = 0;
  // First overflow page when the payload does not fit in the cell, else 0.
  PageNumber overflow = 0;

  uint32_t payload_size() const { return key_size + data_size; }
  uint32_t local_payload_size() const {
    return payload_size() < kMaxLocalPayload ? payload_size() : kMaxLocalPayload;
  }
  // Bytes the cell takes on its page.
  uint32_t size() const;
};

// A decoded page: views into the page's bytes and into the cells decoded
// from them, valid as long as both are.
struct BtreePage {
  const Page* bytes = nullptr;
  PageNumber right_child = 0;
  std::span<const Cell> cells;  // in list (= key) order

  // Where the payload stored in the cell itself begins.
  const uint8_t* local_payload(const Cell& cell) const {
    return bytes->data() + cell.offset + kCellHeaderSize;
  }
  // KeyHead() of the cell's key, which holds all four bytes in the cell
  // itself when it is that long: the local payload is never shorter.
  uint32_t key_head(const Cell& cell) const {
    return KeyHead({reinterpret_cast<const char*>(local_payload(cell)),
                    cell.key_size < 4 ? cell.key_size : 4});
  }

  // Decodes and checks the page `bytes`, writing its cells to the start of
  // `room`. Corrupt when its cell offsets, cell sizes, free blocks or space
  // accounting are wrong or its cell list loops; a page without cells or
  // free space is empty, whether that is allowed where it was found being
  // the caller's to judge (a root may be empty, a child may not). A
  // corrupt page still lists the cells taken before the damage showed:
  // the library goes on using a page it once failed so (see
  // half_checked_pages.h).
  static Status DecodeFrom(const Page& bytes, ByteOrder order,
                           std::span<Cell, kMaxCellsPerPage> room, BtreePage* out);
};

}  // namespace sqlite2::format

#endif  // SQLITE2_FORMAT_BTREE_PAGE_H_
