#include "sqlite2/writer/rowid_value.h"

#include <gtest/gtest.h>

namespace sqlite2::writer {
namespace {

TEST(RowidFromText, AcceptsExactlyTheWhole32BitNumbers) {
  const struct {
    const char* text;
    std::optional<int32_t> rowid;
  } cases[] = {
      {"5", 5},
      {"05", 5},
      {"+5", 5},
      {"00000000005", 5},  // eleven characters: no longer the plain form
      {"5.0", 5},
      {"0.5e1", 5},
      {"1e1", 10},
      {"-0", 0},
      {"2147483647", 2147483647},
      {"-2147483648", INT32_MIN},  // only through the conversion
      {"2147483648", std::nullopt},
      {"-2147483649", std::nullopt},
      {"1e10", std::nullopt},
      {"5.5", std::nullopt},
      {" 5", std::nullopt},
      {"5 ", std::nullopt},
      {"", std::nullopt},
      {"abc", std::nullopt},
      {"0x10", std::nullopt},
  };
  for (const auto& c : cases)
    EXPECT_EQ(RowidFromText(c.text), c.rowid) << '"' << c.text << '"';
}

}  // namespace
}  // namespace sqlite2::writer
