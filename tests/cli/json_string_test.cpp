// JSON string literals of any bytes. Text is checked eight bytes at a time,
// so every case is tried at each place within and across those words.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "cli/json_row.h"

namespace {

struct Case {
  std::string bytes;
  std::string json;  // between the quotes
};

std::vector<Case> ControlCharacters() {
  std::vector<Case> cases;
  for (int c = 0; c < 0x20; ++c) {
    char escaped[8];
    std::snprintf(escaped, sizeof escaped, "\\u%04x", c);
    cases.push_back({std::string(1, static_cast<char>(c)), escaped});
  }
  const Case named[] = {{"\b", "\\b"}, {"\t", "\\t"}, {"\n", "\\n"}, {"\f", "\\f"}, {"\r", "\\r"}};
  for (const Case& c : named)
    cases[static_cast<unsigned char>(c.bytes[0])] = c;
  return cases;
}

TEST(JsonString, EscapesWhatJsonNeedsAndShowsBytesThatAreNotUtf8) {
  std::vector<Case> cases = ControlCharacters();
  const std::vector<Case> others = {
      {"\"", "\\\""},
      {"\\", "\\\\"},
      {"\x7f", "\x7f"},
      {" /'", " /'"},
      {"\xc3\xa9", "\xc3\xa9"},                  // U+00E9
      {"\xc2\x80", "\xc2\x80"},                  // U+0080
      {"\xe2\x82\xac", "\xe2\x82\xac"},          // U+20AC
      {"\xed\x9f\xbf", "\xed\x9f\xbf"},          // U+D7FF
      {"\xee\x80\x80", "\xee\x80\x80"},          // U+E000
      {"\xef\xbf\xbf", "\xef\xbf\xbf"},          // U+FFFF
      {"\xf0\x9f\x98\x80", "\xf0\x9f\x98\x80"},  // U+1F600
      {"\xf4\x8f\xbf\xbf", "\xf4\x8f\xbf\xbf"},  // U+10FFFF
      {"\x80", "\\\\x80"},
      {"\xbf", "\\\\xbf"},
      {"\xc0\x80", "\\\\xc0\\\\x80"},                        // overlong NUL
      {"\xc1\xbf", "\\\\xc1\\\\xbf"},                        // overlong
      {"\xe0\x80\xaf", "\\\\xe0\\\\x80\\\\xaf"},             // overlong
      {"\xed\xa0\x80", "\\\\xed\\\\xa0\\\\x80"},             // a surrogate
      {"\xf4\x90\x80\x80", "\\\\xf4\\\\x90\\\\x80\\\\x80"},  // past U+10FFFF
      {"\xf5\x80", "\\\\xf5\\\\x80"},
      {"\xff\xfe", "\\\\xff\\\\xfe"},
      {"\xe2\x82"
       "a",
       "\\\\xe2\\\\x82a"},  // cut short by ASCII
      {"\xc3\"", "\\\\xc3\\\""},
  };
  cases.insert(cases.end(), others.begin(), others.end());
  for (const Case& c : cases) {
    for (size_t before = 0; before <= 9; ++before) {
      const std::string lead(before, 'a'), tail = "bcdefghijk";
      SCOPED_TRACE("after " + std::to_string(before) + " bytes: " + c.json);
      EXPECT_EQ(JsonString(lead + c.bytes + tail), "\"" + lead + c.json + tail + "\"");
      // Last in the text, where a sequence may be cut off by its end.
      EXPECT_EQ(JsonString(lead + c.bytes), "\"" + lead + c.json + "\"");
    }
  }
}

TEST(JsonString, ShowsASequenceCutOffByTheEndByteByByte) {
  const Case cases[] = {
      {"\xc3", "\\\\xc3"},
      {"\xe2\x82", "\\\\xe2\\\\x82"},
      {"\xf0\x9f\x98", "\\\\xf0\\\\x9f\\\\x98"},
  };
  for (const Case& c : cases) {
    for (const std::string& lead : {std::string(), std::string("abcdefg"), std::string(13, 'x')}) {
      SCOPED_TRACE(c.json + " after " + std::to_string(lead.size()) + " bytes");
      EXPECT_EQ(JsonString(lead + c.bytes), "\"" + lead + c.json + "\"");
    }
  }
}

TEST(JsonString, AppendsToWhatIsThere) {
  std::string out = "[";
  AppendJsonString("a\"b", &out);
  AppendJsonString("", &out);
  EXPECT_EQ(out, "[\"a\\\"b\"\"\"");
}

}  // namespace
