// Strings: which bytes make one, their length, hash and equality alone and in runs.
#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "platform/values.h"

namespace cf {
namespace {

TEST(StringTest, AcceptsOnlyWellFormedUtf8) {
  struct Case {
    const char* name;
    std::string bytes;
    bool valid;
  };
  const Case cases[] = {
      {"empty", "", true},
      {"ascii", "Helvetica Neue", true},
      {"two bytes", "\xC3\xA9", true},
      {"three bytes", "\xE2\x82\xAC", true},
      {"last before surrogates", "\xED\x9F\xBF", true},
      {"first after surrogates", "\xEE\x80\x80", true},
      {"four bytes", "\xF0\x9F\x98\x80", true},
      {"highest code point", "\xF4\x8F\xBF\xBF", true},
      {"overlong NUL", std::string("\xC0\x80"), false},
      {"overlong two bytes", "\xC1\xBF", false},
      {"overlong three bytes", "\xE0\x9F\xBF", false},
      {"overlong four bytes", "\xF0\x8F\xBF\xBF", false},
      {"high surrogate", "\xED\xA0\x80", false},
      {"low surrogate", "\xED\xBF\xBF", false},
      {"past U+10FFFF", "\xF4\x90\x80\x80", false},
      {"lead F5", "\xF5\x80\x80\x80", false},
      {"byte FF", "a\xFF", false},
      {"stray continuation", "\x80", false},
      {"truncated two bytes", "abc\xC3", false},
      {"truncated four bytes", "\xF0\x9F\x98", false},
      {"ascii where trail expected", "\xE2\x28\xA1", false},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(String::Create(c.bytes) != nullptr, c.valid) << c.name;
  }
}

TEST(StringTest, FindsANonAsciiByteWhereverItIs) {
  // ASCII is told a word at a time, the last word overlapping the one before
  // it; every place in and around those words, in a string alone and in a run.
  for (size_t size = 1; size <= 33; ++size) {
    for (size_t at = 0; at < size; ++at) {
      const std::string where = std::to_string(at) + " of " + std::to_string(size);
      std::string stray(size, 'a');
      stray[at] = '\x80';  // a trail byte with no lead
      std::string pair(size, 'a');
      pair[at] = '\xC3';  // "é" when a trail byte follows, cut short when none does
      if (at + 1 < size)
        pair[at + 1] = '\xA9';
      const bool pair_valid = at + 1 < size;
      EXPECT_FALSE(String::Create(stray)) << where;
      EXPECT_EQ(String::Create(pair) != nullptr, pair_valid) << where;
      const char* texts[] = {stray.c_str(), pair.c_str()};
      Ref<String> run[2];
      String::CreateRun(texts, run);
      EXPECT_FALSE(run[0]) << where;
      EXPECT_EQ(run[1] != nullptr, pair_valid) << where;
    }
  }
}

TEST(StringTest, LengthCountsUtf16Units) {
  const std::pair<const char*, size_t> cases[] = {
      {"", 0}, {"abc", 3}, {"caf\xC3\xA9", 4}, {"\xE2\x82\xAC", 1}, {"a\xF0\x9F\x98\x80", 3}};
  for (const auto& [text, units] : cases)
    EXPECT_EQ(String::Create(text)->length(), units) << text;
}

TEST(StringTest, EqualTextsHashAlikeHoweverMade) {
  // Every length around the word boundaries, alone and in a run, so that
  // whatever the padding after the text held before it was made would show.
  const std::string long_text = "0123456789abcdefghijklmnopqrstuvwxyz";
  for (size_t size = 0; size <= long_text.size(); ++size) {
    const std::string text = long_text.substr(0, size);
    const char* texts[] = {"x", text.c_str()};
    Ref<String> run[2];
    String::CreateRun(texts, run);
    Ref<String> alone = String::Create(text);
    EXPECT_EQ(alone->Hash(), run[1]->Hash()) << size;
    EXPECT_TRUE(*alone == *run[1]) << size;
  }
}

}  // namespace
}  // namespace cf
