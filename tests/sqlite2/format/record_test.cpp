#include "sqlite2/format/record.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "tests/sqlite2/format/test_image.h"

namespace sqlite2::format {
namespace {

using testing::MakeRecord;

TEST(RecordTest, OffsetWidthFollowsTheRecordLength) {
  for (const auto& [length, width] :
       {std::pair<size_t, size_t>{255, 1}, {256, 2}, {65535, 2}, {65536, 3}, {70010, 3}}) {
    // One column whose text makes the record exactly `length` bytes long.
    const std::string text(length - 2 * width - 1, 'x');
    std::string record;
    for (size_t offset : {2 * width, length}) {
      for (size_t i = 0; i < width; ++i) {
        record.push_back(static_cast<char>(offset >> (8 * i)));
      }
    }
    record.append(text).push_back('\0');
    ASSERT_EQ(record.size(), length);
    EXPECT_EQ(RecordOffsetWidth(length), width);
    RecordValues values;
    ASSERT_TRUE(DecodeRecord(record, 1, &values).ok()) << length;
    EXPECT_EQ(values[0], text) << length;
  }
}

TEST(RecordTest, WriterAndReaderAgreeOnTheWidthNearItsLimits) {
  // The writer picks the narrowest offsets that keep the record under the
  // width's limit, so lengths just past a limit jump by the extra offset bytes.
  for (size_t text : {252, 253, 65530, 65531}) {
    const std::string record = MakeRecord({std::string(text, 'y'), std::nullopt});
    RecordValues values;
    ASSERT_TRUE(DecodeRecord(record, 2, &values).ok()) << text;
    EXPECT_EQ(values[0]->size(), text);
    EXPECT_FALSE(values[1].has_value());
  }
}

TEST(RecordTest, NullIsNotTheEmptyString) {
  const std::string record = MakeRecord({std::nullopt, "", "apple", std::nullopt});
  RecordValues values;
  ASSERT_TRUE(DecodeRecord(record, 4, &values).ok());
  ASSERT_EQ(values.size(), 4u);
  EXPECT_FALSE(values[0].has_value());
  EXPECT_EQ(values[1], "");
  EXPECT_EQ(values[2], "apple");
  EXPECT_FALSE(values[3].has_value());
}

TEST(RecordTest, EmptyRecordIsAllNull) {
  RecordValues values;
  ASSERT_TRUE(DecodeRecord("", 3, &values).ok());
  EXPECT_EQ(values, RecordValues(3));
}

TEST(RecordTest, ValueWithInnerNulEndsThere) {
  RecordValues values;
  const std::string record(
      "\x02\x08"
      "ab\0cd\0",
      8);
  ASSERT_TRUE(DecodeRecord(record, 1, &values).ok());
  EXPECT_EQ(values[0], "ab");
}

TEST(RecordTest, EachColumnIsCheckedOnlyForWhatReadingItNeeds) {
  using Values = std::vector<std::optional<std::string>>;
  const struct {
    const char* what;
    Record record;
    std::vector<size_t> columns;   // read in this order
    std::optional<Values> values;  // nullopt: corrupt
  } kCases[] = {
      {"header longer than the record", {std::string_view("\x03\x03", 2), 2}, {0}, {}},
      {"offsets decrease", {std::string_view("\x03\x05\x04x\0", 5), 5}, {0, 1}, {}},
      {"offset past the end", {std::string_view("\x03\x04\x09x\0", 5), 5}, {0, 1}, {}},
      {"value without any NUL", {std::string_view("\x02\x04xy", 4), 4}, {0}, {}},
      {"value whose NUL is not its last byte",
       {std::string_view("\x02\x05"
                         "a\0b",
                         5),
        5},
       {0},
       Values{"a"}},
      // Nothing compares off[0] with the column count.
      {"off[0] disagreeing with the column count",
       {std::string_view("\x04\x04\x04\x04", 4), 4},
       {0, 1},
       Values{std::nullopt, std::nullopt}},
      // A column not read is not checked: columns 0 and 1 are damaged.
      {"damage in the columns not read",
       {std::string_view("\x04\x09\x04\x06x\0", 6), 6},
       {2},
       Values{"x"}},
      // The width follows the length the cell claims: two-byte offsets
      // 0x0402 and 0x0078 decrease.
      {"length claimed past 255", {std::string_view("\x02\x04x\0", 4), 300}, {0}, {}},
      // Read as zeros, column 1's offsets would make it NULL.
      {"record too short to hold the column's offset", {std::string_view("\x01", 1), 1}, {1}, {}},
      // A broken overflow chain holds fewer bytes than claimed; the rest
      // read as zeros.
      {"value past the bytes held",
       {std::string_view("\x03\x05\x09"
                         "a\0",
                         5),
        9},
       {0, 1},
       Values{"a", ""}},
      {"value running into the bytes not held",
       {std::string_view("\x02\x06"
                         "abc",
                         5),
        6},
       {0},
       Values{"abc"}},
      {"offset among the bytes not held", {std::string_view("\x02", 1), 4}, {0}, {}},
  };
  for (const auto& c : kCases) {
    RecordValues values(3);
    const Status status = DecodeColumns(c.record, c.columns, &values);
    if (!c.values) {
      EXPECT_EQ(status.rc, 11) << c.what;
      EXPECT_EQ(status.message(), "database disk image is malformed") << c.what;
      continue;
    }
    ASSERT_TRUE(status.ok()) << c.what;
    for (size_t i = 0; i < c.columns.size(); ++i) {
      EXPECT_EQ(values[c.columns[i]], (*c.values)[i]) << c.what << ", column " << c.columns[i];
    }
  }
}

}  // namespace
}  // namespace sqlite2::format
