#include "sqlite2/sql/numbers.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <string>

namespace sqlite2::sql {
namespace {

TEST(NumbersTest, LooksLikeNumberAcceptsOnlyTheWholeShape) {
  for (const char* yes : {"5", "05", "+5", "-5", "5.0", "0.5", "1e1", "1E1", "5e0", "1.0e+1", "-0",
                          "00000000005", "1e-5"})
    EXPECT_TRUE(LooksLikeNumber(yes)) << yes;
  for (const char* no :
       {" 5", "5 ", "5.", ".5", "0x10", "", "abc", "1e", "+", "-", "1e+", "1.5.2", "5\n", "1,5"})
    EXPECT_FALSE(LooksLikeNumber(no)) << no;
}

TEST(NumbersTest, AtoFReadsTheLeadingNumber) {
  const struct {
    const char* text;
    double value;
  } cases[] = {
      {"5", 5},      {"-0.5", -0.5}, {"+12.25", 12.25}, {"1e3", 1000}, {"2.5E-2", 0.025},
      {"12abc", 12}, {"abc", 0},     {"", 0},           {"1e-999", 0}, {"3.14159", 3.14159},
  };
  for (const auto& c : cases)
    EXPECT_EQ(AtoF(c.text), c.value) << c.text;
  EXPECT_TRUE(std::isinf(AtoF("1e999")));
  EXPECT_TRUE(std::isinf(AtoF("-1e999")) && AtoF("-1e999") < 0);
  // A huge exponent neither overflows nor takes long.
  EXPECT_TRUE(std::isinf(AtoF("1e99999999999999999999")));
  EXPECT_EQ(AtoF("1e-99999999999999999999"), 0);
}

TEST(NumbersTest, AtoFIsNotStrtod) {
  // Exponent forms accumulate rounding in long double, so some land one
  // unit away from the correctly rounded double; index keys carry that.
  EXPECT_NE(AtoF("-316e289"), std::strtod("-316e289", nullptr));
  // Integers and short decimals convert exactly.
  for (const char* text : {"123456789012345", "0.125", "2147483647", "9007199254740993"})
    EXPECT_EQ(AtoF(text), std::strtod(text, nullptr)) << text;
}

}  // namespace
}  // namespace sqlite2::sql
