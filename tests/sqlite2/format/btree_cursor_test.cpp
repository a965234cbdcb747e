#include "sqlite2/format/btree_cursor.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "sqlite2/format/index_cursor.h"
#include "sqlite2/format/keys.h"
#include "sqlite2/format/table_cursor.h"
#include "tests/sqlite2/format/test_image.h"

namespace sqlite2::format {
namespace {

using testing::MakeRecord;
using testing::MemoryPageSource;
using testing::TestCell;
using testing::TestImage;

constexpr ByteOrder kBothOrders[] = {ByteOrder::kLittleEndian, ByteOrder::kBigEndian};

TestCell Row(int32_t rowid, PageNumber left_child = 0) {
  return {left_child, EncodeRowidKey(rowid), MakeRecord({std::to_string(rowid)})};
}

// A three-level table rooted at page 2, whose interior cells are rows too:
//   2: [50 <3] >4
//   3: [20 <5] [30 <6] >7
//   5: 10 15   6: 25   7: 40 45   4: 60 70
TestImage ThreeLevelTable(ByteOrder order) {
  TestImage image(order, 7);
  image.WriteBtreePage(2, 4, {Row(50, 3)});
  image.WriteBtreePage(3, 7, {Row(20, 5), Row(30, 6)});
  image.WriteBtreePage(5, 0, {Row(10), Row(15)});
  image.WriteBtreePage(6, 0, {Row(25)});
  image.WriteBtreePage(7, 0, {Row(40), Row(45)});
  image.WriteBtreePage(4, 0, {Row(60), Row(70)});
  return image;
}

const std::vector<int32_t> kAllRows = {10, 15, 20, 25, 30, 40, 45, 50, 60, 70};

struct Scan {
  std::vector<int32_t> rowids;
  Status status;
};

// Reads rows until the end or an error, checking each record against its rowid.
Scan ScanTable(const std::string& bytes, PageNumber root) {
  MemoryPageSource source(bytes);
  Pager pager(&source);
  Scan scan;
  scan.status = pager.Refresh();
  TableCursor cursor(&pager, root);
  bool has_row = true;
  while (scan.status.ok()) {
    scan.status = cursor.Next(&has_row);
    if (!scan.status.ok() || !has_row) {
      break;
    }
    scan.rowids.push_back(cursor.rowid());
    EXPECT_EQ(cursor.record().bytes, MakeRecord({std::to_string(cursor.rowid())}));
  }
  if (!scan.status.ok()) {
    // The error stays.
    EXPECT_EQ(cursor.Next(&has_row).rc, scan.status.rc);
    EXPECT_FALSE(has_row);
  }
  return scan;
}

TEST(TableCursorTest, ScanYieldsInteriorRowsInKeyOrder) {
  for (ByteOrder order : kBothOrders) {
    const Scan scan = ScanTable(ThreeLevelTable(order).bytes(), 2);
    EXPECT_TRUE(scan.status.ok());
    EXPECT_EQ(scan.rowids, kAllRows);
  }
}

TEST(TableCursorTest, RowidsSortAsSignedNumbers) {
  constexpr int32_t kMin = std::numeric_limits<int32_t>::min();
  constexpr int32_t kMax = std::numeric_limits<int32_t>::max();
  for (ByteOrder order : kBothOrders) {
    TestImage image(order, 2);
    image.WriteBtreePage(2, 0, {Row(kMin), Row(-5), Row(0), Row(1), Row(kMax)});
    EXPECT_EQ(ScanTable(image.bytes(), 2).rowids, (std::vector<int32_t>{kMin, -5, 0, 1, kMax}));
  }
}

TEST(TableCursorTest, SeekRowidFindsRowsOnEveryLevel) {
  for (ByteOrder order : kBothOrders) {
    MemoryPageSource source(ThreeLevelTable(order).bytes());
    Pager pager(&source);
    ASSERT_TRUE(pager.Refresh().ok());
    TableCursor cursor(&pager, 2);
    for (size_t i = 0; i < kAllRows.size(); ++i) {
      bool found = false;
      ASSERT_TRUE(cursor.SeekRowid(kAllRows[i], &found).ok());
      ASSERT_TRUE(found) << kAllRows[i];
      EXPECT_EQ(cursor.record().bytes, MakeRecord({std::to_string(kAllRows[i])}));
      // The scan goes on from the row found.
      bool has_row = false;
      ASSERT_TRUE(cursor.Next(&has_row).ok());
      EXPECT_EQ(has_row, i + 1 < kAllRows.size());
      if (has_row) {
        EXPECT_EQ(cursor.rowid(), kAllRows[i + 1]);
      }
    }
    for (int32_t absent : {std::numeric_limits<int32_t>::min(), 0, 12, 22, 35, 47, 55, 65,
                           std::numeric_limits<int32_t>::max()}) {
      bool found = true;
      ASSERT_TRUE(cursor.SeekRowid(absent, &found).ok());
      EXPECT_FALSE(found) << absent;
    }
  }
}

// A rowid seek orders a 4-byte key against keys of every size in the same
// pages exactly as bytes do: shorter keys that agree with it on their
// length come before it, longer ones after.
TEST(BtreeCursorTest, FourByteSeekOrdersKeysOfEverySize) {
  using namespace std::string_literals;
  const std::string kRoot = "\x80\x00\x00\x05"s;
  const std::vector<std::string> kLeft = {""s,
                                          "\x00"s,
                                          "\x7f\xff"s,
                                          "\x80\x00\x00"s,
                                          "\x80\x00\x00\x01"s,
                                          "\x80\x00\x00\x01\x00"s,
                                          "\x80\x00\x00\x02"s,
                                          "\x80\x00\x00\x03xyz"s};
  const std::vector<std::string> kRight = {"\x80\x00\x00\x05\x00"s, "\x80\x00\x00\x06"s,
                                           "\x80\x01"s, "\xff\xff\xff\xff\xff"s};
  std::vector<std::string> keys = kLeft;
  keys.push_back(kRoot);
  keys.insert(keys.end(), kRight.begin(), kRight.end());
  ASSERT_TRUE(std::is_sorted(keys.begin(), keys.end()));

  std::vector<std::string> sought = {"\x00\x00\x00\x00"s, "\xff\xff\xff\xff"s, "\x80\x00\x00\x04"s,
                                     "\x7f\xff\xff\xff"s};
  for (const std::string& key : keys) {
    // The key cut or padded with zeros to 4 bytes, and its neighbours.
    const std::string padded = key + "\0\0\0\0"s;
    const auto* b = reinterpret_cast<const unsigned char*>(padded.data());
    const uint32_t head =
        uint32_t{b[0]} << 24 | uint32_t{b[1]} << 16 | uint32_t{b[2]} << 8 | uint32_t{b[3]};
    for (uint32_t near : {head, head + 1, head - 1}) {
      sought.push_back({static_cast<char>(near >> 24), static_cast<char>(near >> 16),
                        static_cast<char>(near >> 8), static_cast<char>(near)});
    }
  }
  const auto cells = [](const std::vector<std::string>& keys) {
    std::vector<TestCell> cells;
    for (const std::string& key : keys) {
      cells.push_back({0, key, "data"});
    }
    return cells;
  };
  for (ByteOrder order : kBothOrders) {
    TestImage image(order, 4);
    image.WriteBtreePage(2, 4, {{3, kRoot, "data"}});
    image.WriteBtreePage(3, 0, cells(kLeft));
    image.WriteBtreePage(4, 0, cells(kRight));
    MemoryPageSource source(image.bytes());
    Pager pager(&source);
    ASSERT_TRUE(pager.Refresh().ok());
    BtreeCursor cursor(&pager, 2);
    for (const std::string& key : sought) {
      ASSERT_TRUE(cursor.SeekAtLeast(key).ok());
      bool has_entry = false;
      ASSERT_TRUE(cursor.Next(&has_entry).ok());
      const auto expected = std::lower_bound(keys.begin(), keys.end(), key);
      ASSERT_EQ(has_entry, expected != keys.end()) << ::testing::PrintToString(key);
      if (has_entry) {
        EXPECT_EQ(cursor.key(), *expected) << ::testing::PrintToString(key);
        EXPECT_EQ(cursor.data(), "data");
      }
    }
  }
}

TEST(TableCursorTest, DamageEndsTheScanAfterTheRowsBeforeIt) {
  const struct {
    const char* what;
    std::function<void(TestImage&)> damage;
    std::vector<int32_t> rows_before;
  } kCases[] = {
      {"child pointing at its own page",
       [](TestImage& image) {
         image.WriteBtreePage(3, 7, {Row(20, 3), Row(30, 6)});
       },
       {}},
      {"child pointing at the root",
       [](TestImage& image) { image.Store32(3, 0, 2); },
       {10, 15, 20, 25, 30}},
      {"two pointers to one page",
       [](TestImage& image) { image.Store32(3, 0, 5); },
       {10, 15, 20, 25, 30}},
      {"child past the end",
       [](TestImage& image) { image.Store32(3, 0, 99); },
       {10, 15, 20, 25, 30}},
      {"child page without cells",
       [](TestImage& image) { image.WriteBtreePage(7, 0, {}); },
       {10, 15, 20, 25, 30}},
      {"file cut before a leaf",
       [](TestImage& image) { image.bytes().resize(3 * kPageSize + 512); },
       {}},
      {"bad free space on the last leaf",
       [](TestImage& image) { image.Store16(4, Load16(image.page(4) + 6, image.order()), 4); },
       {10, 15, 20, 25, 30, 40, 45, 50}},
  };
  for (ByteOrder order : kBothOrders) {
    for (const auto& c : kCases) {
      TestImage image = ThreeLevelTable(order);
      c.damage(image);
      const Scan scan = ScanTable(image.bytes(), 2);
      EXPECT_EQ(scan.status.rc, 11) << c.what;
      EXPECT_EQ(scan.rowids, c.rows_before) << c.what;
    }
  }
}

TEST(TableCursorTest, DepthIsLimited) {
  // A chain of pages, each one cell whose left child is the next page: a
  // valid shape, but deeper than any real tree.
  for (uint32_t depth : {uint32_t{BtreeCursor::kMaxDepth}, uint32_t{BtreeCursor::kMaxDepth + 1}}) {
    TestImage image(ByteOrder::kLittleEndian, depth + 1);
    for (uint32_t level = 0; level < depth; ++level) {
      const PageNumber child = level + 1 < depth ? level + 3 : 0;
      image.WriteBtreePage(level + 2, 0, {Row(static_cast<int32_t>(depth - level), child)});
    }
    const Scan scan = ScanTable(image.bytes(), 2);
    EXPECT_EQ(scan.status.rc, depth > BtreeCursor::kMaxDepth ? 11 : 0) << depth;
  }
}

TEST(TableCursorTest, MissingOrBlankRootIsAnEmptyTable) {
  for (PageNumber root : {PageNumber{2}, PageNumber{40}}) {
    const Scan scan = ScanTable(TestImage(ByteOrder::kBigEndian, 2).bytes(), root);
    EXPECT_TRUE(scan.status.ok());
    EXPECT_TRUE(scan.rowids.empty());
  }
}

std::string Key(std::initializer_list<std::string> fields, int32_t rowid) {
  std::string key;
  for (const std::string& field : fields) {
    key += field;
  }
  return key + EncodeRowidKey(rowid);
}
std::string Null() {
  std::string field;
  AppendNullField(&field);
  return field;
}
std::string Number(double value) {
  std::string field;
  AppendNumberField(value, &field);
  return field;
}
std::string Text(std::string_view text) {
  std::string field;
  AppendTextField(text, &field);
  return field;
}

// An index whose equal fields continue across the interior cell.
TestImage TwoLevelIndex(ByteOrder order) {
  TestImage image(order, 4);
  image.WriteBtreePage(2, 4, {{3, Key({Text("banana")}, 4), ""}});
  image.WriteBtreePage(3, 0,
                       {{0, Key({Null()}, 9), ""},
                        {0, Key({Number(5)}, 2), ""},
                        {0, Key({Number(5)}, 3), ""},
                        {0, Key({Text("apple")}, 1), ""},
                        {0, Key({Text("banana")}, 2), ""}});
  image.WriteBtreePage(4, 0,
                       {{0, Key({Text("banana")}, 7), ""}, {0, Key({Text("cherry")}, 5), ""}});
  return image;
}

std::vector<int32_t> CollectRowids(IndexCursor& cursor) {
  std::vector<int32_t> rowids;
  bool has_entry = false;
  while (cursor.Next(&has_entry).ok() && has_entry) {
    rowids.push_back(cursor.rowid());
  }
  return rowids;
}

TEST(IndexCursorTest, PrefixSeekYieldsExactlyTheMatchingEntries) {
  const struct {
    std::string prefix;
    std::vector<int32_t> rowids;
  } kCases[] = {
      {Text("banana"), {2, 4, 7}},    {Number(5), {2, 3}},   {Null(), {9}},
      {Text("apple"), {1}},           {Text("cherry"), {5}}, {Text("appl"), {}},
      {Text("apples"), {}},           {Number(6), {}},       {Text("zzz"), {}},
      {"", {9, 2, 3, 1, 2, 4, 7, 5}},
  };
  for (ByteOrder order : kBothOrders) {
    MemoryPageSource source(TwoLevelIndex(order).bytes());
    Pager pager(&source);
    ASSERT_TRUE(pager.Refresh().ok());
    IndexCursor cursor(&pager, 2);
    for (const auto& c : kCases) {
      ASSERT_TRUE(cursor.SeekPrefix(c.prefix).ok());
      EXPECT_EQ(CollectRowids(cursor), c.rowids) << c.prefix;
    }
    cursor.Rewind();
    EXPECT_EQ(CollectRowids(cursor), (std::vector<int32_t>{9, 2, 3, 1, 2, 4, 7, 5}));
  }
}

}  // namespace
}  // namespace sqlite2::format
