#include "tests/sqlite2_writer/record.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "sqlite2/format/record.h"

namespace sqlite2::writer {
namespace {

// The rows of the annotated "items" page in the format notes, as the library
// stored them.
TEST(Record, MatchesTheLibrarysBytes) {
  const struct {
    std::vector<Value> values;
    std::string bytes;
  } cases[] = {
      {{std::nullopt, "apple", "12", std::nullopt},
       std::string("\x05\x05\x0b\x0e\x0e"
                   "apple\0"
                   "12\0",
                   14)},
      {{std::nullopt, "", "5", "x"},
       std::string("\x05\x05\x06\x08\x0a\0"
                   "5\0"
                   "x\0",
                   10)},
      {{}, std::string("\x01", 1)},
  };
  for (const auto& c : cases)
    EXPECT_EQ(EncodeRecord(c.values), c.bytes);
}

TEST(Record, OffsetWidthFollowsTheFinishedLength) {
  // One value of `text` bytes and a NULL: offsets w*3, text + NUL.
  const struct {
    size_t text;
    size_t width;
    size_t length;
  } cases[] = {
      {251, 1, 255},      // the longest record with 1-byte offsets
      {252, 2, 259},      // 256 with 1-byte offsets, so 2 bytes wide
      {65528, 2, 65535},  // the longest with 2-byte offsets
      {65529, 3, 65539},  // 65536 with 2-byte offsets
      {1000000, 3, 1000010},
  };
  for (const auto& c : cases) {
    const std::vector<Value> values = {std::string(c.text, 'x'), std::nullopt};
    const std::string record = EncodeRecord(values);
    EXPECT_EQ(record.size(), c.length) << c.text;
    EXPECT_EQ(static_cast<uint8_t>(record[0]), 3 * c.width) << c.text;
    EXPECT_EQ(format::RecordOffsetWidth(record.size()), c.width) << c.text;

    format::RecordValues decoded;
    ASSERT_TRUE(format::DecodeRecord(record, 2, &decoded).ok()) << c.text;
    EXPECT_EQ(decoded[0]->size(), c.text);
    EXPECT_FALSE(decoded[1].has_value());
  }
}

}  // namespace
}  // namespace sqlite2::writer
