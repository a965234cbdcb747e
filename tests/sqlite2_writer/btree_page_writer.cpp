#include "tests/sqlite2_writer/btree_page_writer.h"

#include <algorithm>
#include <vector>

#include "sqlite2/format/btree_page.h"
#include "sqlite2/format/payload.h"

namespace sqlite2::writer {
namespace {

using format::kCellHeaderSize;
using format::kMaxLocalPayload;
using format::kPageHeaderSize;
using format::kPageSize;

constexpr uint32_t kUsableBytes = kPageSize - kPageHeaderSize;
constexpr uint32_t kFreeBlockHeaderSize = 4;

format::Cell CellShape(const Entry& entry) {
  format::Cell cell;
  cell.key_size = static_cast<uint32_t>(entry.key.size());
  cell.data_size = static_cast<uint32_t>(entry.data.size());
  return cell;
}

// Stores the payload bytes beyond the cell's local part on a chain of
// overflow pages and returns the first of them.
PageNumber WriteOverflowChain(PageFile& file, const std::string& payload, PageNumber start) {
  const uint32_t count = format::OverflowPageCount(static_cast<uint32_t>(payload.size()));
  std::vector<PageNumber> chain(count);
  for (uint32_t i = 0; i < count; ++i)
    chain[i] = start != 0 ? start + i : file.Allocate();
  size_t position = kMaxLocalPayload;
  for (uint32_t i = 0; i < count; ++i) {
    uint8_t* page = file.Page(chain[i]);
    file.Store32(page, i + 1 < count ? chain[i + 1] : 0);
    const size_t n = std::min<size_t>(format::kOverflowPayloadPerPage, payload.size() - position);
    std::copy_n(payload.data() + position, n, page + 4);
    position += n;
  }
  return chain.front();
}

void WriteCell(PageFile& file, uint8_t* at, const PlacedCell& placed, uint16_t next) {
  const Entry& entry = *placed.entry;
  const auto key_size = static_cast<uint32_t>(entry.key.size());
  const auto data_size = static_cast<uint32_t>(entry.data.size());
  file.Store32(at, placed.left_child);
  file.Store16(at + 4, static_cast<uint16_t>(key_size));
  file.Store16(at + 6, next);
  at[8] = static_cast<uint8_t>(key_size >> 16);
  at[9] = static_cast<uint8_t>(data_size >> 16);
  file.Store16(at + 10, static_cast<uint16_t>(data_size));

  const std::string payload = entry.key + entry.data;
  const size_t local = std::min<size_t>(payload.size(), kMaxLocalPayload);
  std::copy_n(payload.data(), local, at + kCellHeaderSize);
  if (payload.size() > kMaxLocalPayload) {
    file.Store32(at + kCellHeaderSize + kMaxLocalPayload,
                 WriteOverflowChain(file, payload, entry.overflow_start));
  }
}

}  // namespace

uint32_t CellSize(const Entry& entry) {
  return CellShape(entry).size();
}

void WriteBtreePage(PageFile& file, PageNumber number, std::span<const PlacedCell> cells,
                    PageNumber right_child, bool scatter) {
  const size_t n = cells.size();
  std::vector<uint32_t> sizes(n);
  uint32_t used = 0;
  for (size_t i = 0; i < n; ++i)
    used += sizes[i] = CellSize(*cells[i].entry);
  const uint32_t spare = kUsableBytes - used;
  const uint32_t gap = scatter ? spare / (n + 1) / 4 * 4 : 0;

  // Physical placement first, so that every cell knows where its successor
  // in key order lives.
  std::vector<uint16_t> offsets(n);
  std::vector<std::pair<uint16_t, uint16_t>> free_blocks;  // offset, size
  uint32_t position = kPageHeaderSize;
  for (size_t k = 0; k < n; ++k) {
    const size_t i = scatter ? n - 1 - k : k;
    if (gap >= kFreeBlockHeaderSize) {
      free_blocks.emplace_back(position, gap);
      position += gap;
    }
    offsets[i] = static_cast<uint16_t>(position);
    position += sizes[i];
  }
  if (position < kPageSize)
    free_blocks.emplace_back(position, kPageSize - position);

  uint8_t* page = file.Page(number);
  file.Store32(page, right_child);
  file.Store16(page + 4, n == 0 ? 0 : offsets[0]);
  file.Store16(page + 6, free_blocks.empty() ? 0 : free_blocks[0].first);
  for (size_t b = 0; b < free_blocks.size(); ++b) {
    uint8_t* block = page + free_blocks[b].first;
    file.Store16(block, free_blocks[b].second);
    file.Store16(block + 2, b + 1 < free_blocks.size() ? free_blocks[b + 1].first : 0);
  }
  for (size_t i = 0; i < n; ++i) {
    // Overflow pages are allocated while the cell is written; `page` stays
    // valid because pages never move.
    WriteCell(file, page + offsets[i], cells[i], i + 1 < n ? offsets[i + 1] : 0);
  }
}

}  // namespace sqlite2::writer
