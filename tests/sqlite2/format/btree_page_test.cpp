#include "sqlite2/format/btree_page.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "sqlite2/format/keys.h"
#include "tests/sqlite2/format/test_image.h"

namespace sqlite2::format {
namespace {

using testing::MakeRecord;
using testing::TestCell;
using testing::TestImage;

constexpr ByteOrder kBothOrders[] = {ByteOrder::kLittleEndian, ByteOrder::kBigEndian};
constexpr PageNumber kPage = 2;

// A page decoded from a copy of the image's page, with the storage its
// view points into.
struct DecodedPage : BtreePage {
  Page copy;
  std::array<Cell, kMaxCellsPerPage> room;
};

Status Decode(TestImage& image, DecodedPage* out) {
  std::memcpy(out->copy.data(), image.page(kPage), kPageSize);
  return BtreePage::DecodeFrom(out->copy, image.order(), out->room, out);
}

TestCell Row(int32_t rowid, PageNumber left_child = 0) {
  return {left_child, EncodeRowidKey(rowid), MakeRecord({std::to_string(rowid)})};
}

TEST(BtreePageTest, CellsComeInListOrderWithTheirHeaders) {
  for (ByteOrder order : kBothOrders) {
    TestImage image(order, 2);
    image.WriteBtreePage(kPage, 77, {Row(1, 10), Row(2, 11), Row(3, 12)});
    DecodedPage page;
    ASSERT_TRUE(Decode(image, &page).ok());
    EXPECT_EQ(page.right_child, 77u);
    ASSERT_EQ(page.cells.size(), 3u);
    for (int i = 0; i < 3; ++i) {
      const Cell& cell = page.cells[i];
      EXPECT_EQ(cell.left_child, 10u + i);
      EXPECT_EQ(cell.key_size, 4u);
      EXPECT_EQ(cell.data_size, 4u);
      EXPECT_EQ(cell.size(), 20u);
      EXPECT_EQ(DecodeRowidKey(reinterpret_cast<const char*>(page.local_payload(cell))), i + 1);
    }
    // Physical order is the reverse of list order.
    EXPECT_GT(page.cells[0].offset, page.cells[2].offset);
  }
}

// What a rowid seek orders a page's cells by: each key's first four bytes,
// zero-padded, as a big-endian number, whatever the key's length and the
// file's byte order.
TEST(BtreePageTest, KeyHeadsAreEachKeysFirstFourBytes) {
  const struct {
    std::string key;
    uint32_t head;
  } kCases[] = {
      {"", 0},
      {"\x01", 0x01000000},
      {"\x01\x02\x03", 0x01020300},
      {EncodeRowidKey(-5), 0x7ffffffb},
      {EncodeRowidKey(1) + "c-tail", 0x80000001},
      {std::string(200, '\xfe'), 0xfefefefe},
  };
  for (ByteOrder order : kBothOrders) {
    std::vector<TestCell> cells;
    for (const auto& c : kCases)
      cells.push_back({0, c.key, "data"});
    TestImage image(order, 2);
    image.WriteBtreePage(kPage, 0, cells);
    DecodedPage page;
    ASSERT_TRUE(Decode(image, &page).ok());
    ASSERT_EQ(page.cells.size(), std::size(kCases));
    for (size_t i = 0; i < std::size(kCases); ++i) {
      EXPECT_EQ(page.key_head(page.cells[i]), kCases[i].head) << "cell " << i;
      EXPECT_EQ(KeyHead(kCases[i].key), kCases[i].head) << "key " << i;
    }
  }
}

TEST(BtreePageTest, FullestPossiblePageIsAccepted) {
  for (ByteOrder order : kBothOrders) {
    TestImage image(order, 2);
    std::vector<TestCell> cells;
    for (int i = 0; i < 63; ++i) {
      cells.push_back({0, EncodeRowidKey(i), ""});
    }
    image.WriteBtreePage(kPage, 0, cells);
    DecodedPage page;
    ASSERT_TRUE(Decode(image, &page).ok());
    EXPECT_EQ(page.cells.size(), 63u);
  }
}

// Whether an empty page may stand where it was found is for the pager to
// judge (a root may be empty, a child may not).
TEST(BtreePageTest, PagesWithoutCellsOrFreeSpaceAreEmpty) {
  const struct {
    const char* what;
    std::function<void(TestImage&)> make;
  } kCases[] = {
      {"new table", [](TestImage& image) { image.WriteBtreePage(kPage, 0, {}); }},
      {"past the end of a truncated file", [](TestImage&) {}},
      {"free blocks of no size", [](TestImage& image) { image.Store16(kPage, 6, 8); }},
  };
  for (ByteOrder order : kBothOrders) {
    for (const auto& c : kCases) {
      TestImage image(order, 2);
      c.make(image);
      DecodedPage page;
      EXPECT_TRUE(Decode(image, &page).ok()) << c.what;
      EXPECT_TRUE(page.cells.empty()) << c.what;
    }
  }
}

TEST(BtreePageTest, DamagedPagesAreCorruptButListTheCellsBeforeTheDamage) {
  // Each case damages a page of three 20-byte cells stored at offsets 48
  // (rowid 1), 28 and 8 (rowid 3), with one free block at 68. The cells
  // are walked before the free blocks, and the space is added up last.
  using Offsets = std::vector<uint16_t>;
  const struct {
    const char* what;
    std::function<void(TestImage&, const Offsets&)> damage;
    size_t listed;
  } kCases[] = {
      {"cell offset below the header",
       [](TestImage& image, const Offsets&) { image.Store16(kPage, 4, 4); }, 0},
      {"cell offset beyond the last possible cell",
       [](TestImage& image, const Offsets&) { image.Store16(kPage, 4, 1012); }, 0},
      {"cell offset not on a 4-byte boundary",
       [](TestImage& image, const Offsets& cells) { image.Store16(kPage, 4, cells[0] + 2); }, 0},
      {"cell running past the page",
       [](TestImage& image, const Offsets& cells) {
         image.Store16(kPage, 1008 + 4, 4);
         image.Store16(kPage, 1008 + 10, 6);
         image.Store16(kPage, cells[0] + 6, 1008);
       },
       1},
      {"free block offset below the header",
       [](TestImage& image, const Offsets&) { image.Store16(kPage, 6, 4); }, 3},
      {"free block offset beyond the page",
       [](TestImage& image, const Offsets&) { image.Store16(kPage, 6, 1022); }, 3},
      {"free block pointing back at itself",
       [](TestImage& image, const Offsets&) { image.Store16(kPage, 68 + 2, 68); }, 3},
      {"free space not adding up",
       [](TestImage& image, const Offsets&) { image.Store16(kPage, 68, 952); }, 3},
      {"cell list looping to its start",
       [](TestImage& image, const Offsets& cells) { image.Store16(kPage, cells[2] + 6, cells[0]); },
       3},
      {"cell pointing at itself",
       [](TestImage& image, const Offsets& cells) { image.Store16(kPage, cells[0] + 6, cells[0]); },
       1},
      {"data size grown by its high byte",
       [](TestImage& image, const Offsets& cells) { image.page(kPage)[cells[1] + 9] = 0x40; }, 3},
      {"key size grown by its high byte",
       [](TestImage& image, const Offsets& cells) { image.page(kPage)[cells[1] + 8] = 0x01; }, 3},
  };
  for (ByteOrder order : kBothOrders) {
    for (const auto& c : kCases) {
      TestImage image(order, 2);
      const Offsets cells = image.WriteBtreePage(kPage, 0, {Row(1), Row(2), Row(3)});
      ASSERT_EQ(cells, (Offsets{48, 28, 8}));
      c.damage(image, cells);
      DecodedPage page;
      const Status status = Decode(image, &page);
      EXPECT_EQ(status.rc, 11) << c.what;
      EXPECT_EQ(status.message(), "database disk image is malformed") << c.what;
      EXPECT_EQ(page.cells.size(), c.listed) << c.what;
    }
  }
}

}  // namespace
}  // namespace sqlite2::format
