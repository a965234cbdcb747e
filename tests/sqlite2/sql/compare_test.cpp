#include "sqlite2/sql/compare.h"

#include <gtest/gtest.h>

#include <cstring>
#include <optional>
#include <string>
#include <vector>

namespace sqlite2::sql {
namespace {

// Values stored in a column, numbered as rowids 1-20; 9 is NULL.
const std::vector<std::optional<std::string>> kStored = {
    "5",  "05", " 5",  "5.0", "1e1", "10", "abc", "",  std::nullopt, "+5",
    "5.", ".5", "0.5", "5e0", "-0",  "0",  "5 ",  "5", "5.0",        "10"};

std::vector<int> Matches(const std::string& literal, bool numeric) {
  std::vector<int> rowids;
  for (size_t i = 0; i < kStored.size(); ++i) {
    const std::optional<std::string_view> stored =
        kStored[i] ? std::optional<std::string_view>(*kStored[i]) : std::nullopt;
    if (Compare(CompareOp::kEq, stored, literal, numeric) == true)
      rowids.push_back(static_cast<int>(i) + 1);
  }
  return rowids;
}

TEST(CompareTest, EqualityByColumnClass) {
  const struct {
    std::string literal;
    std::vector<int> text_column, numeric_column;
  } cases[] = {
      {"5", {1, 18}, {1, 2, 4, 10, 14, 18, 19}},
      {"05", {2}, {1, 2, 4, 10, 14, 18, 19}},
      {"5.0", {4, 19}, {1, 2, 4, 10, 14, 18, 19}},
      {"+5", {10}, {1, 2, 4, 10, 14, 18, 19}},
      {" 5", {3}, {3}},
      {"5 ", {17}, {17}},
      {"5.", {11}, {11}},
      {"1e1", {5}, {5, 6, 20}},
      {"10", {6, 20}, {5, 6, 20}},
      {"0", {16}, {15, 16}},
      {".5", {12}, {12}},
      {"abc", {7}, {7}},
      {"", {8}, {8}},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Matches(c.literal, false), c.text_column) << "text column = '" << c.literal << "'";
    EXPECT_EQ(Matches(c.literal, true), c.numeric_column)
        << "numeric column = '" << c.literal << "'";
  }
}

TEST(CompareTest, OrderingPutsNumbersBeforeText) {
  const struct {
    std::string a, b;
    bool numeric;
    int sign;
  } cases[] = {
      {"9", "10", true, -1},
      {"9", "10", false, 1},
      {"abc", "5", true, 1},
      {"5", "abc", true, -1},
      {"Apple", "apple", true, -1},
      {"-1", "0", true, -1},
      {"1e1", "9.5", true, 1},
      {"\xe9", "z", false, 1},
      {"9007199254740993", "9007199254740992", true, 0},
  };
  for (const auto& c : cases) {
    const auto sign = [](bool less, bool greater) { return less ? -1 : (greater ? 1 : 0); };
    EXPECT_EQ(sign(Compare(CompareOp::kLt, c.a, c.b, c.numeric) == true,
                   Compare(CompareOp::kGt, c.a, c.b, c.numeric) == true),
              c.sign)
        << c.a << " vs " << c.b;
  }
}

// Equality classes tell equal values apart exactly as Compare() does, for
// every pair of values that look alike: the classes are what an automatic
// index files values by, so any disagreement is a lookup that misses a row
// a scan finds, or finds one it does not.
TEST(CompareTest, EqualityClassesAgreeWithCompare) {
  const std::string kValues[] = {"5",
                                 "05",
                                 "+5",
                                 "5.0",
                                 "5e0",
                                 "0.5e1",
                                 " 5",
                                 "5 ",
                                 "5.",
                                 "1e1",
                                 "10",
                                 "-0",
                                 "0",
                                 "0.0",
                                 "+0",
                                 "-0e5",
                                 "1e0",
                                 "01",
                                 "1.0",
                                 "0e99999",
                                 "1e99999",
                                 "-1e99999",
                                 "9007199254740993",
                                 "9007199254740992",
                                 "abc",
                                 "ABC",
                                 "",
                                 "a'b",
                                 "\xe9",
                                 "1e-400"};
  using Kind = EqualityClass::Kind;
  for (const bool numeric : {false, true}) {
    for (const std::string& a : kValues) {
      for (const std::string& b : kValues) {
        const EqualityClass x = EqualityClassOf(a, numeric), y = EqualityClassOf(b, numeric);
        const bool every_number = (x.kind == Kind::kEveryNumber && y.IsNumber()) ||
                                  (y.kind == Kind::kEveryNumber && x.IsNumber());
        EXPECT_EQ(x == y || every_number, Compare(CompareOp::kEq, a, b, numeric) == true)
            << "'" << a << "' = '" << b << "', " << (numeric ? "numeric" : "text");
      }
    }
  }
}

// Values of one class can be hashed alike: a class carries no trace of how
// the value was written.
TEST(CompareTest, EqualNumbersHaveOneClass) {
  const struct {
    std::string a, b;
  } kCases[] = {{"-0", "0"}, {"0.0", "-0e5"}, {"5", "0.5e1"}, {"1e1", "10.0"}};
  for (const auto& c : kCases) {
    const EqualityClass x = EqualityClassOf(c.a, true), y = EqualityClassOf(c.b, true);
    ASSERT_EQ(x.kind, EqualityClass::Kind::kNumber) << c.a;
    EXPECT_EQ(std::memcmp(&x.number, &y.number, sizeof x.number), 0) << c.a << " and " << c.b;
  }
}

TEST(CompareTest, NullIsNeverEqualNorUnequal) {
  for (CompareOp op : {CompareOp::kEq, CompareOp::kNe, CompareOp::kLt, CompareOp::kGe}) {
    EXPECT_EQ(Compare(op, std::nullopt, "1", true), std::nullopt);
    EXPECT_EQ(Compare(op, "", std::nullopt, false), std::nullopt);
  }
}

TEST(CompareTest, RowidFromLiteral) {
  const struct {
    std::optional<std::string> literal;
    std::optional<int32_t> rowid;
  } cases[] = {
      {"5", 5},
      {"05", 5},
      {"+5", 5},
      {"+05", 5},
      {"5.0", 5},
      {"5e0", 5},
      {"0.5e1", 5},
      {"00000000005", 5},
      {"1e1", 10},
      {"-7", -7},
      {"2147483647", 2147483647},
      {"-2147483648", -2147483647 - 1},
      {" 5", std::nullopt},
      {"5 ", std::nullopt},
      {"5.5", std::nullopt},
      {"abc", std::nullopt},
      {"", std::nullopt},
      {"2147483648", std::nullopt},
      {"1e999", std::nullopt},
      {std::nullopt, std::nullopt},
  };
  for (const auto& c : cases)
    EXPECT_EQ(RowidFromLiteral(c.literal), c.rowid) << c.literal.value_or("NULL");
}

}  // namespace
}  // namespace sqlite2::sql
