#include "sqlite2/writer/record.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "sqlite2/format/pager.h"
#include "sqlite2/format/record.h"
#include "sqlite2/format/table_cursor.h"

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

// Every row of every undamaged fixture, decoded and encoded again, must come
// out byte for byte as the library wrote it.
TEST(Record, ReencodesEveryFixtureRowIdentically) {
  const char* fixtures[] = {"basic",        "font_edges", "indexed",         "medium",
                            "record_sizes", "rel_edges",  "record_sizes_be", "set_names",
                            "text_font_id", "untyped_ids"};
  for (const char* name : fixtures) {
    SCOPED_TRACE(name);
    std::unique_ptr<format::FilePageSource> source;
    ASSERT_TRUE(
        format::FilePageSource::Open(std::string(QBFA_FIXTURES_DIR) + "/" + name + ".db", &source)
            .ok());
    format::Pager pager(source.get());
    ASSERT_TRUE(pager.Refresh().ok());

    std::vector<format::PageNumber> roots = {2};
    size_t rows = 0;
    for (size_t t = 0; t < roots.size(); ++t) {
      format::TableCursor cursor(&pager, roots[t]);
      bool has_row = false;
      while (cursor.Next(&has_row).ok() && has_row) {
        const std::string_view record = cursor.record();
        const size_t width = format::RecordOffsetWidth(record.size());
        const size_t columns = static_cast<uint8_t>(record[0]) / width - 1;
        format::RecordValues decoded;
        ASSERT_TRUE(format::DecodeRecord(record, columns, &decoded).ok());
        std::vector<Value> values;
        for (const auto& value : decoded) {
          values.push_back(value ? Value(std::string(*value)) : std::nullopt);
        }
        EXPECT_EQ(EncodeRecord(values), record) << "row " << cursor.rowid();
        ++rows;
        if (t == 0 && values[0] == "table")
          roots.push_back(std::stoul(*values[3]));
      }
    }
    EXPECT_GT(rows, 0u);
  }
}

}  // namespace
}  // namespace sqlite2::writer
