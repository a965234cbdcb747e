#include "tests/sqlite2_writer/btree_builder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "sqlite2/format/keys.h"
#include "tests/sqlite2_writer/engine_reader.h"
#include "tests/sqlite2_writer/image_inspector.h"

namespace sqlite2::writer {
namespace {

using testing::ImageInspector;
using testing::TreeReport;

constexpr PageNumber kRoot = 3;

std::vector<uint8_t> BuildImage(ByteOrder order, const std::vector<Entry>& entries,
                                const TreeLayout& layout) {
  PageFile file(order);
  file.Allocate();
  const PageNumber master = file.Allocate();
  const PageNumber root = file.Allocate();
  WriteBtree(file, master, {}, layout);
  WriteBtree(file, root, entries, layout);
  file.WriteHeader(0, 4);
  return file.Bytes();
}

// Rows keyed by rowids 1..count whose record sizes come from `size_of`.
std::vector<Entry> TableEntries(int count, const std::function<size_t(int)>& size_of) {
  std::vector<Entry> entries;
  for (int rowid = 1; rowid <= count; ++rowid) {
    std::string data(size_of(rowid), static_cast<char>('a' + rowid % 26));
    entries.push_back({format::EncodeRowidKey(rowid), std::move(data)});
  }
  return entries;
}

// Index-like entries: keys of varied lengths with a shared prefix, no data.
std::vector<Entry> IndexEntries(int count, const std::function<size_t(int)>& size_of) {
  std::vector<Entry> entries;
  for (int i = 0; i < count; ++i) {
    std::string key = std::string("c").append(std::to_string(100000 + i));
    key.resize(std::max(key.size(), size_of(i)), 'k');
    entries.push_back({key + format::EncodeRowidKey(i), ""});
  }
  std::sort(entries.begin(), entries.end(),
            [](const Entry& a, const Entry& b) { return a.key < b.key; });
  return entries;
}

uint32_t OverflowPagesFor(const Entry& entry) {
  const size_t payload = entry.key.size() + entry.data.size();
  return payload <= 236 ? 0 : static_cast<uint32_t>((payload - 236 + 1019) / 1020);
}

struct TreeCase {
  const char* name;
  std::vector<Entry> entries;
  TreeLayout layout;
  size_t min_levels;
};

void PrintTo(const TreeCase& tree, std::ostream* out) {
  *out << tree.name;
}

std::vector<TreeCase> TreeCases() {
  auto fixed = [](size_t n) { return [n](int) { return n; }; };
  return {
      {"empty", {}, {}, 1},
      {"one_row", TableEntries(1, fixed(10)), {}, 1},
      {"one_full_page", TableEntries(1016 / 32, fixed(16)), {}, 1},
      {"one_row_more_than_a_page", TableEntries(1016 / 32 + 1, fixed(16)), {}, 2},
      {"many_small_rows", TableEntries(5000, [](int r) { return size_t(5 + r % 40); }), {}, 3},
      {"payload_boundaries",
       TableEntries(400,
                    [](int r) {
                      // Key (4) + data around the local limit and whole
                      // overflow pages.
                      const size_t sizes[] = {231, 232, 233, 1252, 1253, 2273, 5, 70010};
                      return sizes[r % 8];
                    }),
       {},
       2},
      {"narrow_and_deep", TableEntries(2000, fixed(8)), {.page_fill = 0}, 10},
      {"half_full_pages", TableEntries(3000, fixed(30)), {.page_fill = 0.5}, 3},
      {"scattered_cells",
       TableEntries(3000, [](int r) { return size_t(r % 300); }),
       {.page_fill = 0.7, .scatter_cells = true},
       3},
      {"index_keys",
       IndexEntries(4000, [](int i) { return size_t(i % 7 == 0 ? 400 : 12); }),
       {},
       3},
      {"huge_index_keys", IndexEntries(40, [](int i) { return size_t(65536 + i * 50); }), {}, 2},
  };
}

class TreeTest : public ::testing::TestWithParam<std::tuple<TreeCase, ByteOrder>> {};

TEST_P(TreeTest, HoldsEveryEntryInValidPages) {
  const auto& [tree, order] = GetParam();
  const std::vector<uint8_t> image = BuildImage(order, tree.entries, tree.layout);

  ImageInspector inspector(image);
  EXPECT_EQ(inspector.byte_order(), order);
  EXPECT_TRUE(inspector.Walk(2).entries.empty());
  const TreeReport report = inspector.Walk(kRoot);
  inspector.ExpectEveryPageUsedOnce();

  ASSERT_EQ(report.entries.size(), tree.entries.size());
  for (size_t i = 0; i < tree.entries.size(); ++i) {
    ASSERT_EQ(report.entries[i].first, tree.entries[i].key) << i;
    ASSERT_EQ(report.entries[i].second, tree.entries[i].data) << i;
  }
  EXPECT_GE(report.pages_per_level.size(), tree.min_levels);
  uint32_t overflow = 0;
  for (const Entry& entry : tree.entries)
    overflow += OverflowPagesFor(entry);
  EXPECT_EQ(report.overflow_pages, overflow);
  EXPECT_EQ(report.scattered, tree.layout.scatter_cells && !tree.entries.empty());

  // The engine must accept every page and give the same entries back.
  std::vector<std::pair<std::string, std::string>> read;
  const Status status = testing::ReadTree(image, kRoot, &read);
  ASSERT_TRUE(status.ok()) << status.message();
  EXPECT_EQ(read, report.entries);
}

INSTANTIATE_TEST_SUITE_P(Shapes, TreeTest,
                         ::testing::Combine(::testing::ValuesIn(TreeCases()),
                                            ::testing::Values(ByteOrder::kLittleEndian,
                                                              ByteOrder::kBigEndian)),
                         [](const auto& info) {
                           return std::string(std::get<0>(info.param).name) +
                                  (std::get<1>(info.param) == ByteOrder::kBigEndian ? "_big_endian"
                                                                                    : "");
                         });

TEST(TreeFill, PacksPagesLikeAppendedRows) {
  const std::vector<Entry> entries = TableEntries(6000, [](int r) { return size_t(20 + r % 50); });
  const std::vector<uint8_t> image = BuildImage(ByteOrder::kLittleEndian, entries, {});
  ImageInspector inspector(image);
  const TreeReport report = inspector.Walk(kRoot);
  // Appending rows in key order leaves the library's pages about 95% full;
  // only the last page of each level may fall short of the next cell.
  const uint32_t largest_cell = 12 + 4 + 70;
  size_t short_pages = 0;
  for (uint32_t use : report.child_page_use)
    short_pages += use + largest_cell <= 1016;
  EXPECT_LE(short_pages, report.pages_per_level.size());
}

TEST(TreeByteOrder, SwapsExactlyTheBtreeIntegers) {
  const std::vector<Entry> entries =
      TableEntries(1500, [](int r) { return size_t(r % 97 == 0 ? 3000 : r % 60); });
  const TreeLayout layout = {.page_fill = 0.8, .scatter_cells = true};
  std::vector<uint8_t> little = BuildImage(ByteOrder::kLittleEndian, entries, layout);
  const std::vector<uint8_t> big = BuildImage(ByteOrder::kBigEndian, entries, layout);

  ImageInspector inspector(little);
  inspector.Walk(2);
  inspector.Walk(kRoot);
  // Swapping every B-tree-layer integer of the little-endian file must give
  // the big-endian file byte for byte: keys, records and payload stay put.
  for (const testing::Field& field : inspector.ordered_fields()) {
    std::reverse(little.begin() + static_cast<ptrdiff_t>(field.offset),
                 little.begin() + static_cast<ptrdiff_t>(field.offset + field.width));
  }
  EXPECT_TRUE(little == big);
}

}  // namespace
}  // namespace sqlite2::writer
