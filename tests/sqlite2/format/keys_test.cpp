#include "sqlite2/format/keys.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <optional>
#include <string>

namespace sqlite2::format {
namespace {

std::string Sortable(double value) {
  std::string out;
  AppendSortableNumber(value, &out);
  return out;
}

TEST(SortableNumberTest, MatchesKeysReadFromRealIndices) {
  const struct {
    double value;
    const char* encoding;
  } kCases[] = {
      {0, "000W"},
      {0.5, "0G1WW"},
      {1, "0G1X"},
      {2, "0G1Y"},
      {5, "0G1b"},
      {10, "0G1g"},
      {12, "0G1i"},
      {64, "0G2X"},
      {100, "0G2Xa"},
      {-0.5, "-F~VW"},
      {-1, "-F~V"},
      {-1e10, "-FwMhz1m"},
      {0.1, "0G0cPcPcPcPc"},
      {1e-5, "0F|YdnQn76qU"},
      {3.14159, "0G1Z93y|0t3E"},
      {123456789, "0G5dMyqL"},
      {2147483647, "0G6X~~~~~"},
      {1e300, "0IdXVaF8W0TQ"},
      // Negative zero is not below zero.
      {-0.0, "000W"},
      {std::numeric_limits<double>::infinity(), "0~~~~~~~~~~~~"},
      {-std::numeric_limits<double>::infinity(), "-01"},
  };
  for (const auto& c : kCases) {
    EXPECT_EQ(Sortable(c.value), c.encoding) << c.value;
  }
}

TEST(SortableNumberTest, ByteOrderIsNumericOrder) {
  const double kAscending[] = {-std::numeric_limits<double>::max(),
                               -1e10,
                               -64,
                               -1.5,
                               -1,
                               -std::numeric_limits<double>::denorm_min(),
                               0,
                               std::numeric_limits<double>::denorm_min(),
                               1e-300,
                               0.0078125,
                               0.5,
                               1,
                               63.99,
                               64,
                               1e15,
                               std::numeric_limits<double>::max()};
  for (size_t i = 1; i < std::size(kAscending); ++i) {
    EXPECT_LT(Sortable(kAscending[i - 1]), Sortable(kAscending[i]))
        << kAscending[i - 1] << " vs " << kAscending[i];
  }
}

TEST(IndexFieldTest, ColumnClassDecidesBetweenNumberAndText) {
  const struct {
    std::optional<std::string_view> value;
    bool text_column;
    std::string field;
  } kCases[] = {
      {std::nullopt, false, std::string("a\0", 2)},
      {std::nullopt, true, std::string("a\0", 2)},
      {"12", false, std::string("b0G1i\0", 6)},
      {"05", false, std::string("b0G1b\0", 6)},
      {"+5.0", false, std::string("b0G1b\0", 6)},
      {"05", true, std::string("c05\0", 4)},
      {" 5", false, std::string("c 5\0", 4)},
      {"5.", false, std::string("c5.\0", 4)},
      {"", false, std::string("c\0", 2)},
      {"1e999", false, std::string("b0~~~~~~~~~~~~\0", 15)},
      {"-1e999", false, std::string("b-01\0", 5)},
      {"1e-999", false, std::string("b000W\0", 6)},
  };
  for (const auto& c : kCases) {
    std::string field;
    AppendIndexField(c.value, c.text_column, &field);
    EXPECT_EQ(field, c.field) << c.value.value_or("NULL") << (c.text_column ? " text" : " numeric");
  }
}

TEST(RowidKeyTest, FlipsTheSignBitAndIsBigEndian) {
  const struct {
    int32_t rowid;
    std::string key;
  } kCases[] = {
      {std::numeric_limits<int32_t>::min(), std::string("\x00\x00\x00\x00", 4)},
      {-5, "\x7f\xff\xff\xfb"},
      {0, std::string("\x80\x00\x00\x00", 4)},
      {1, std::string("\x80\x00\x00\x01", 4)},
      {std::numeric_limits<int32_t>::max(), "\xff\xff\xff\xff"},
  };
  for (const auto& c : kCases) {
    EXPECT_EQ(EncodeRowidKey(c.rowid), c.key) << c.rowid;
    EXPECT_EQ(DecodeRowidKey(c.key.data()), c.rowid);
  }
}

}  // namespace
}  // namespace sqlite2::format
