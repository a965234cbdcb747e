#include "sqlite2/format/record.h"

#include <gtest/gtest.h>

#include <string>

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

TEST(RecordTest, DamagedRecordsAreCorrupt) {
  const struct {
    const char* what;
    std::string record;
    size_t columns;
  } kCases[] = {
      {"header longer than the record", std::string("\x03\x03", 2), 2},
      {"off[0] disagrees with the column count", std::string("\x04\x04\x04\x04", 4), 2},
      {"offsets decrease", std::string("\x03\x05\x04x\0", 5), 2},
      {"offset past the end", std::string("\x03\x04\x09x\0", 5), 2},
      {"value without its NUL", std::string("\x02\x04xy", 4), 1},
  };
  for (const auto& c : kCases) {
    RecordValues values;
    Status status = DecodeRecord(c.record, c.columns, &values);
    EXPECT_EQ(status.rc, 11) << c.what;
    EXPECT_EQ(status.message(), "database disk image is malformed") << c.what;
  }
}

}  // namespace
}  // namespace sqlite2::format
