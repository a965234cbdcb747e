#include "tests/sqlite2_writer/image_inspector.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace sqlite2::writer::testing {
namespace {

using format::kPageSize;

constexpr size_t kHeaderSize = 8;
constexpr uint32_t kMaxLocal = 236;
constexpr uint32_t kOverflowBytes = 1020;

uint32_t CellSize(uint32_t payload) {
  return payload > kMaxLocal ? 252 : (12 + payload + 3) / 4 * 4;
}

}  // namespace

ImageInspector::ImageInspector(std::span<const uint8_t> image) : image_(image) {
  use_count_.assign(image.size() / kPageSize, 0);
  if (image.size() < kPageSize) {
    ADD_FAILURE() << "the image has no page 1";
    return;
  }
  const uint8_t le[] = {0x28, 0x75, 0xe3, 0xda};
  order_ =
      std::equal(le, le + 4, image.data() + 48) ? ByteOrder::kLittleEndian : ByteOrder::kBigEndian;
  // Magic integer, free list, meta 1 to 9.
  for (size_t offset = 48; offset < 96; offset += 4)
    fields_.push_back({offset, 4});
  use_count_[0] = 1;
}

const uint8_t* ImageInspector::Page(PageNumber number) const {
  return image_.data() + size_t{number - 1} * kPageSize;
}

void ImageInspector::Use(PageNumber number) {
  ++use_count_[number - 1];
}

void ImageInspector::Note(const uint8_t* at, size_t width) {
  fields_.push_back({static_cast<size_t>(at - image_.data()), width});
}

void ImageInspector::ExpectEveryPageUsedOnce() const {
  for (size_t i = 1; i < use_count_.size(); ++i) {
    EXPECT_EQ(use_count_[i], 1) << "page " << i + 1;
  }
}

TreeReport ImageInspector::Walk(PageNumber root) {
  TreeReport report;
  size_t leaf_depth = 0;
  WalkPage(root, 0, &report, &leaf_depth);
  for (size_t i = 1; i < report.entries.size(); ++i) {
    EXPECT_LT(report.entries[i - 1].first, report.entries[i].first)
        << "keys out of order at entry " << i << " of the tree at page " << root;
  }
  return report;
}

void ImageInspector::WalkPage(PageNumber number, size_t depth, TreeReport* report,
                              size_t* leaf_depth) {
  if (number < 2 || number > page_count() || use_count_[number - 1] != 0) {
    ADD_FAILURE() << "page " << number << " is out of range or already used";
    return;
  }
  Use(number);
  if (report->pages_per_level.size() <= depth)
    report->pages_per_level.resize(depth + 1);
  ++report->pages_per_level[depth];

  const uint8_t* page = Page(number);
  Note(page, 4);
  Note(page + 4, 2);
  Note(page + 6, 2);
  const PageNumber right_child = Load32(page);

  // Every byte after the header must belong to exactly one cell or block.
  std::vector<int> cover(kPageSize, 0);
  auto claim = [&](uint32_t begin, uint32_t size, const char* what) {
    if (begin < kHeaderSize || begin % 4 != 0 || size % 4 != 0 || begin + size > kPageSize) {
      ADD_FAILURE() << what << " at " << begin << " (size " << size << ") misplaced on page "
                    << number;
      return false;
    }
    for (uint32_t i = begin; i < begin + size; ++i)
      ++cover[i];
    return true;
  };

  struct CellInfo {
    uint32_t offset;
    PageNumber left_child;
    std::string key, data;
  };
  std::vector<CellInfo> cells;
  uint32_t used = 0;
  for (uint32_t offset = Load16(page + 4); offset != 0; offset = Load16(page + offset + 6)) {
    if (cells.size() == 63 || offset > kPageSize - 16) {
      ADD_FAILURE() << "cell list too long or cell misplaced on page " << number;
      return;
    }
    const uint8_t* cell = page + offset;
    for (size_t at : {0, 4, 6, 10})
      Note(cell + at, at == 0 ? 4 : 2);
    const uint32_t key_size = Load16(cell + 4) + 65536 * cell[8];
    const uint32_t data_size = Load16(cell + 10) + 65536 * cell[9];
    const uint32_t size = CellSize(key_size + data_size);
    if (!claim(offset, size, "cell"))
      return;
    used += size;
    std::string payload = ReadPayload(cell, key_size + data_size, report);
    cells.push_back({offset, Load32(cell), payload.substr(0, key_size), payload.substr(key_size)});
  }
  uint32_t previous_end = 0;
  for (uint32_t offset = Load16(page + 6); offset != 0; offset = Load16(page + offset + 2)) {
    if (offset <= previous_end || offset > kPageSize - 4) {
      ADD_FAILURE() << "free blocks not ascending, touching or misplaced on page " << number;
      return;
    }
    Note(page + offset, 2);
    Note(page + offset + 2, 2);
    const uint32_t size = Load16(page + offset);
    if (size < 4 || !claim(offset, size, "free block"))
      return;
    previous_end = offset + size;
  }
  for (size_t i = kHeaderSize; i < kPageSize; ++i) {
    if (cover[i] != 1) {
      ADD_FAILURE() << "byte " << i << " of page " << number << " is covered " << cover[i]
                    << " times";
      return;
    }
  }

  const bool leaf = right_child == 0;
  if (depth > 0) {
    EXPECT_FALSE(cells.empty()) << "child page " << number << " has no cells";
    report->child_page_use.push_back(used);
  }
  for (size_t i = 1; i < cells.size(); ++i) {
    report->scattered = report->scattered || cells[i].offset < cells[i - 1].offset;
  }
  for (const CellInfo& cell : cells) {
    EXPECT_EQ(cell.left_child == 0, leaf) << "page " << number << " mixes leaf and interior";
    if (cell.left_child != 0)
      WalkPage(cell.left_child, depth + 1, report, leaf_depth);
    report->entries.emplace_back(cell.key, cell.data);
  }
  if (leaf) {
    if (*leaf_depth == 0)
      *leaf_depth = depth + 1;
    EXPECT_EQ(*leaf_depth, depth + 1) << "leaf page " << number << " is at another depth";
  } else {
    WalkPage(right_child, depth + 1, report, leaf_depth);
  }
}

std::string ImageInspector::ReadPayload(const uint8_t* cell, uint32_t size, TreeReport* report) {
  std::string payload(reinterpret_cast<const char*>(cell) + 12, std::min(size, kMaxLocal));
  if (size <= kMaxLocal)
    return payload;
  Note(cell + 248, 4);
  const uint32_t expected_pages = (size - kMaxLocal + kOverflowBytes - 1) / kOverflowBytes;
  PageNumber next = Load32(cell + 248);
  for (uint32_t i = 0; i < expected_pages; ++i) {
    if (next < 2 || next > page_count() || use_count_[next - 1] != 0) {
      ADD_FAILURE() << "overflow chain broken at link " << i << " (page " << next << ")";
      return payload;
    }
    Use(next);
    ++report->overflow_pages;
    const uint8_t* page = Page(next);
    Note(page, 4);
    const size_t n = std::min<size_t>(kOverflowBytes, size - payload.size());
    payload.append(reinterpret_cast<const char*>(page) + 4, n);
    next = Load32(page);
  }
  EXPECT_EQ(next, 0u) << "overflow chain longer than its payload needs";
  return payload;
}

}  // namespace sqlite2::writer::testing
