#include "platform/strings.h"

#include <gtest/gtest.h>
#include <unicode/uchar.h>

#include <climits>

namespace {

CFComparisonResult Compare(const char* a, const char* b, CFStringCompareFlags flags) {
  return CFStringCompare(*cf::String::Create(a), *cf::String::Create(b), flags);
}

TEST(StringCompareTest, OrdersByCodeUnitsOrByFoldedCase) {
  struct Case {
    const char* a;
    const char* b;
    CFStringCompareFlags flags;
    CFComparisonResult expected;
  };
  const Case cases[] = {
      {"Last Import", "Last Import", kCFCompareNone, kCFCompareEqualTo},
      {"Last Import", "LAST IMPORT", kCFCompareNone, kCFCompareGreaterThan},
      {"Last Import", "LAST IMPORT", kCFCompareCaseInsensitive, kCFCompareEqualTo},
      {"stra\xC3\x9F"
       "e",
       "STRASSE", kCFCompareCaseInsensitive, kCFCompareEqualTo},
      {"\xC3\x9F", "SS", kCFCompareNone, kCFCompareGreaterThan},
      {"\xC3\x89t\xC3\xA9", "\xC3\xA9T\xC3\x89", kCFCompareCaseInsensitive, kCFCompareEqualTo},
      {"a", "B", kCFCompareNone, kCFCompareGreaterThan},
      {"a", "B", kCFCompareCaseInsensitive, kCFCompareLessThan},
      {"Last Import2", "last import", kCFCompareCaseInsensitive, kCFCompareGreaterThan},
      {"", "a", kCFCompareNone, kCFCompareLessThan},
      {"ab", "a", kCFCompareNone, kCFCompareGreaterThan},
      // A character past U+FFFF is a surrogate pair in UTF-16, so it sorts
      // before U+E000-U+FFFF although its code point is higher.
      {"\xF0\x9F\x98\x80", "\xEF\xBC\xA1", kCFCompareNone, kCFCompareLessThan},
      {"\xF0\x9F\x98\x80", "\xED\x9F\xBF", kCFCompareNone, kCFCompareGreaterThan},
      {"\xF0\x9F\x98\x80", "\xF0\x9F\x98\x81", kCFCompareNone, kCFCompareLessThan},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(Compare(c.a, c.b, c.flags), c.expected) << c.a << " vs " << c.b;
    EXPECT_EQ(Compare(c.b, c.a, c.flags), -c.expected) << c.b << " vs " << c.a;
  }
}

TEST(StringGetIntValueTest, ReadsTheLeadingInteger) {
  const std::pair<const char*, int> cases[] = {
      {"1", 1},
      {"2", 2},
      {" 12abc", 12},
      {"\t\n 3", 3},
      {"+7", 7},
      {"-0", 0},
      {"-15", -15},
      {"007", 7},
      {"abc", 0},
      {"", 0},
      {"-", 0},
      {"+-1", 0},
      {"1 2", 1},
      {"2147483647", INT_MAX},
      {"-2147483648", INT_MIN},
      {"99999999999", INT_MAX},
      {"-99999999999", INT_MIN},
      {"123456789012345678901234567890", INT_MAX},
      {"\xEF\xBC\x91", 0},  // A full-width digit is no decimal digit here.
  };
  for (const auto& [text, expected] : cases) {
    EXPECT_EQ(CFStringGetIntValue(*cf::String::Create(text)), expected) << '"' << text << '"';
  }
}

TEST(IntValue, SkipsTheAsciiWhiteSpaceUnicodeKnows) {
  // Every ASCII byte before a digit: skipped exactly when ICU calls it white
  // space, else read as a sign, a digit or the end of the number.
  for (int byte = 0; byte < 0x80; ++byte) {
    const std::string text = std::string(1, static_cast<char>(byte)) + "5";
    int expected = 0;
    if (u_isUWhiteSpace(byte) || byte == '+') {
      expected = 5;
    } else if (byte == '-') {
      expected = -5;
    } else if (byte >= '0' && byte <= '9') {
      expected = (byte - '0') * 10 + 5;
    }
    EXPECT_EQ(cf::IntValue(text), expected) << "byte " << byte;
  }
}

}  // namespace
