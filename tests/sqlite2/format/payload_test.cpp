#include "sqlite2/format/payload.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "sqlite2/format/index_cursor.h"
#include "sqlite2/format/keys.h"
#include "sqlite2/format/table_cursor.h"
#include "tests/sqlite2/format/test_image.h"

namespace sqlite2::format {
namespace {

using testing::MemoryPageSource;
using testing::TestImage;

constexpr ByteOrder kBothOrders[] = {ByteOrder::kLittleEndian, ByteOrder::kBigEndian};

// Bytes that differ from page to page, so a misplaced chunk shows.
std::string Pattern(size_t size) {
  std::string bytes(size, '\0');
  for (size_t i = 0; i < size; ++i) {
    bytes[i] = static_cast<char>('A' + (i * 7 + i / 1020) % 26);
  }
  return bytes;
}

// Scans the one-row table on page 2 and returns its record: the bytes read
// and the length the cell claims.
Status ReadOnlyRow(std::string bytes, std::string* record, size_t* claimed = nullptr) {
  MemoryPageSource source(std::move(bytes));
  Pager pager(&source);
  Status status = pager.Refresh();
  if (!status.ok()) {
    return status;
  }
  TableCursor cursor(&pager, 2);
  bool has_row = false;
  status = cursor.Next(&has_row);
  if (!status.ok()) {
    return status;
  }
  EXPECT_TRUE(has_row);
  EXPECT_EQ(cursor.rowid(), 7);
  *record = cursor.record().bytes;
  if (claimed != nullptr) {
    *claimed = cursor.record().size;
  }
  return Status::Ok();
}

TEST(PayloadTest, PayloadsAroundEveryStorageBoundaryReadBack) {
  const struct {
    uint32_t payload;  // 4 key bytes included
    uint32_t cell_size;
    uint32_t overflow_pages;
  } kCases[] = {
      {4, 16, 0},
      {5, 20, 0},
      {236, 248, 0},
      {237, 252, 1},
      {236 + 1020, 252, 1},
      {236 + 1021, 252, 2},
      {236 + 2 * 1020, 252, 2},
      {70010, 252, 69},
  };
  for (ByteOrder order : kBothOrders) {
    for (const auto& c : kCases) {
      const std::string data = Pattern(c.payload - 4);
      TestImage image(order, 2);
      image.WriteBtreePage(2, 0, {{0, EncodeRowidKey(7), data}});
      Cell cell;
      cell.key_size = 4;
      cell.data_size = c.payload - 4;
      EXPECT_EQ(cell.size(), c.cell_size) << c.payload;
      EXPECT_EQ(OverflowPageCount(c.payload), c.overflow_pages) << c.payload;
      EXPECT_EQ(image.bytes().size(), (2 + c.overflow_pages) * kPageSize) << c.payload;
      std::string record;
      ASSERT_TRUE(ReadOnlyRow(image.bytes(), &record).ok()) << c.payload;
      EXPECT_EQ(record, data) << c.payload;
    }
  }
}

// The payload bytes an overflow page holds, junk tail included.
std::string OverflowBytes(TestImage& image, PageNumber number) {
  return std::string(reinterpret_cast<const char*>(image.page(number)) + 4, 1020);
}

TEST(PayloadTest, BrokenOverflowChainsGiveWhatTheLibraryReads) {
  // The row's 1,500 data bytes need exactly the overflow pages 3 and 4:
  // data bytes 0-231 are in the cell at offset 8 (whose overflow pointer
  // is at cell offset 248), 232-1251 on page 3 and 1252-1499 on page 4,
  // whose other 772 bytes are junk (zeros here).
  const std::string data = Pattern(1500);
  const std::string zeros(1020, '\0');
  const struct {
    const char* what;
    std::function<void(TestImage&)> damage;
    size_t claimed;  // the data size the cell is left with
    // The record read, from the pages as they were before the damage.
    std::function<std::string(const std::string& page3, const std::string& page4)> record;
  } kCases[] = {
      {"chain ending early", [](TestImage& image) { image.Store32(3, 0, 0); }, 1500,
       [&](auto&, auto&) { return data.substr(0, 1252); }},
      {"first overflow page 0", [](TestImage& image) { image.Store32(2, 8 + 248, 0); }, 1500,
       [&](auto&, auto&) { return data.substr(0, 232); }},
      {"overflow page past the end", [](TestImage& image) { image.Store32(3, 0, 99); }, 1500,
       [&](auto&, auto&) { return data.substr(0, 1252) + zeros.substr(0, 248); }},
      {"file cut inside the chain",
       [](TestImage& image) { image.bytes().resize(3 * kPageSize + 100); }, 1500,
       [&](auto&, auto&) { return data.substr(0, 1252) + zeros.substr(0, 248); }},
      {"chain looping", [](TestImage& image) { image.Store32(3, 0, 3); }, 1500,
       [&](auto& page3, auto&) { return data.substr(0, 1252) + page3.substr(0, 248); }},
      {"chain going on after the payload", [](TestImage& image) { image.Store32(4, 0, 3); }, 1500,
       [&](auto&, auto&) { return data; }},
      // The walk reads page 4 whole, then the chain ends.
      {"data size grown past the file by its high byte",
       [](TestImage& image) { image.page(2)[8 + 9] = 0x10; }, 0x100000 + 1500,
       [&](auto&, auto& page4) { return data.substr(0, 1252) + page4; }},
      // Twenty pages' worth from a file of four: round the loop of 3 and 4.
      {"data size grown, chain looping longer than the file",
       [](TestImage& image) {
         image.Store16(2, 8 + 10, 20000);
         image.Store32(4, 0, 3);
       },
       20000,
       [&](auto& page3, auto& page4) {
         std::string record = data.substr(0, 232);
         while (record.size() < 20000) {
           record += page3 + page4;
         }
         return record.substr(0, 20000);
       }},
  };
  for (ByteOrder order : kBothOrders) {
    for (const auto& c : kCases) {
      TestImage image(order, 2);
      image.WriteBtreePage(2, 0, {{0, EncodeRowidKey(7), data}});
      ASSERT_EQ(image.bytes().size(), 4 * kPageSize);
      const std::string page3 = OverflowBytes(image, 3), page4 = OverflowBytes(image, 4);
      c.damage(image);
      std::string record;
      size_t claimed = 0;
      ASSERT_TRUE(ReadOnlyRow(image.bytes(), &record, &claimed).ok()) << c.what;
      EXPECT_EQ(claimed, c.claimed) << c.what;
      EXPECT_EQ(record, c.record(page3, page4)) << c.what;
    }
  }
}

// A loop standing for megabytes would have a scan copy far more than the
// file holds; the cursor's overflow budget stops it.
TEST(PayloadTest, LoopStandingForMoreThanTheBudgetIsCorrupt) {
  for (ByteOrder order : kBothOrders) {
    TestImage image(order, 2);
    image.WriteBtreePage(2, 0, {{0, EncodeRowidKey(7), Pattern(1500)}});
    image.page(2)[8 + 9] = 0x40;  // 4 MB of data
    image.Store32(4, 0, 3);
    std::string record;
    EXPECT_EQ(ReadOnlyRow(image.bytes(), &record).rc, 11);
  }
}

TEST(PayloadTest, OverflowingIndexKeysAreComparedAcrossTheChain) {
  // Keys longer than 64 KiB use the key size's high byte and span pages.
  for (ByteOrder order : kBothOrders) {
    std::string low_key;
    AppendTextField(Pattern(70000), &low_key);
    std::string high_key = low_key;
    high_key[69000] = 'z';
    TestImage image(order, 2);
    image.WriteBtreePage(
        2, 0, {{0, low_key + EncodeRowidKey(3), ""}, {0, high_key + EncodeRowidKey(1), ""}});
    MemoryPageSource source(image.bytes());
    Pager pager(&source);
    ASSERT_TRUE(pager.Refresh().ok());
    IndexCursor cursor(&pager, 2);
    for (const auto& [prefix, rowid] : {std::pair{high_key, 1}, std::pair{low_key, 3}}) {
      ASSERT_TRUE(cursor.SeekPrefix(prefix).ok());
      bool has_entry = false;
      ASSERT_TRUE(cursor.Next(&has_entry).ok());
      ASSERT_TRUE(has_entry);
      EXPECT_EQ(cursor.rowid(), rowid);
      EXPECT_EQ(cursor.key(), prefix + EncodeRowidKey(rowid));
      ASSERT_TRUE(cursor.Next(&has_entry).ok());
      EXPECT_FALSE(has_entry);
    }
  }
}

}  // namespace
}  // namespace sqlite2::format
