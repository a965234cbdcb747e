// The XML writer against the libplist-based writer it replaced, on random
// trees: every byte must be the same, and so must every refusal.
#include "platform/plist_xml_writer.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "platform/xml.h"
#include "tests/platform/libplist_oracle.h"

namespace cf {
namespace {

// Random trees of the shapes that matter to a writer: text of every kind of
// character, shared children, dictionaries that share their keys and ones
// that do not, nesting near and past the limit, and the odd value that
// cannot be written at all.
class TreeMaker {
 public:
  explicit TreeMaker(uint32_t seed) : random_(seed) {}

  Ref<Object> Tree() {
    made_.clear();
    return Value(0);
  }

 private:
  bool OneIn(uint32_t n) { return std::uniform_int_distribution<uint32_t>(1, n)(random_) == 1; }
  uint32_t Below(uint32_t n) { return std::uniform_int_distribution<uint32_t>(0, n - 1)(random_); }

  // A code point from one of the ranges a writer treats apart.
  char32_t CodePoint() {
    static constexpr std::pair<char32_t, char32_t> kRanges[] = {
        {'a', 'z'},    {' ', '~'},      {'&', '&'},       {'<', '>'},          {0x01, 0x1F},
        {0x7F, 0x7FF}, {0x800, 0xD7FF}, {0xE000, 0xFFFF}, {0x10000, 0x10FFFF},
    };
    const auto& [low, high] = kRanges[Below(std::size(kRanges))];
    return low + Below(high - low + 1);
  }

  static void AppendUtf8(char32_t c, std::string* out) {
    if (c < 0x80) {
      *out += static_cast<char>(c);
    } else if (c < 0x800) {
      *out += static_cast<char>(0xC0 | (c >> 6));
      *out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
      *out += static_cast<char>(0xE0 | (c >> 12));
      *out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
      *out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
      *out += static_cast<char>(0xF0 | (c >> 18));
      *out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
      *out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
      *out += static_cast<char>(0x80 | (c & 0x3F));
    }
  }

  std::string Text() {
    std::string text;
    for (uint32_t n = OneIn(6) ? 0 : Below(24); n > 0; --n)
      AppendUtf8(CodePoint(), &text);
    if (OneIn(400))
      text.insert(text.size() / 2, 1, '\0');
    return text;
  }

  std::string KeyText() {
    // Mostly from a few names, so that many dictionaries share their keys.
    static const char* const kNames[] = {
        "SetName",          "Fonts", "Children", "HasParents", "\xEF\xBC\xA1",
        "\xF0\x9F\x98\x80", "a&b",   "z"};
    if (OneIn(600))
      return "\xC3";  // not UTF-8
    return OneIn(3) ? Text() : kNames[Below(std::size(kNames))];
  }

  Ref<Object> Value(int level) {
    if (!made_.empty() && OneIn(12))
      return made_[Below(static_cast<uint32_t>(made_.size()))];  // shared, rarely a cycle
    if (OneIn(300))
      return URL::CreateWithFileSystemPath("/Library");
    if (OneIn(400))
      return Chain(500 + Below(30));
    const uint32_t kind = level > 5 ? Below(2) : Below(4);
    Ref<Object> value;
    if (kind == 0) {
      value = String::Create(Text());
    } else if (kind == 1) {
      value = OneIn(2) ? Boolean::True() : Boolean::False();
    } else if (kind == 2) {
      Ref<Array> array = Array::Create();
      made_.push_back(array);
      for (uint32_t n = Below(6); n > 0; --n)
        array->Append(Value(level + 1));
      value = array;
    } else {
      Ref<Dictionary> dictionary = Dictionary::Create();
      made_.push_back(dictionary);
      for (uint32_t n = OneIn(10) ? 20 + Below(20) : Below(7); n > 0; --n)
        dictionary->Set(KeyText(), Value(level + 1));
      value = dictionary;
    }
    return value;
  }

  // Arrays nested `depth` deep, around the deepest nesting allowed.
  static Ref<Object> Chain(uint32_t depth) {
    Ref<Array> top = Array::Create();
    Array* tail = top.get();
    for (uint32_t i = 0; i < depth; ++i) {
      Ref<Array> next = Array::Create();
      tail->Append(next);
      tail = next.get();
    }
    return top;
  }

  std::mt19937 random_;
  std::vector<Ref<Object>> made_;
};

TEST(PlistXmlWriterTest, WritesWhatLibplistWroteForRandomTrees) {
  int written = 0, refused = 0;
  for (uint32_t seed = 1; seed <= 1500; ++seed) {
    const Ref<Object> tree = TreeMaker(seed).Tree();
    const std::optional<Data> xml = WriteXmlPropertyList(tree.get());
    const std::optional<std::string> expected = oracle::LibplistXml(tree.get());
    ASSERT_EQ(xml.has_value(), expected.has_value()) << "seed " << seed;
    if (!xml) {
      ++refused;
      continue;
    }
    ++written;
    ASSERT_EQ(*xml, *expected) << "seed " << seed;
    const Ref<Object> back = CFPropertyListCreateFromXMLData(*xml);
    ASSERT_NE(back, nullptr) << "seed " << seed;
    EXPECT_TRUE(Equal(back.get(), tree.get())) << "seed " << seed;
  }
  // Both outcomes were tried often enough to mean something.
  EXPECT_GT(written, 500);
  EXPECT_GT(refused, 50);
}

// Rows of one table share their keys; a dictionary nested inside another
// with a different set of keys must not disturb the outer one's order.
TEST(PlistXmlWriterTest, NestedDictionariesWithManyKeySetsKeepTheirOrder) {
  Ref<Array> rows = Array::Create();
  for (int i = 0; i < 300; ++i) {
    Ref<Dictionary> outer = Dictionary::Create();
    outer->Set("b" + std::to_string(i % 97), MakeString("outer"));
    Ref<Dictionary> inner = Dictionary::Create();
    inner->Set("k" + std::to_string(i), MakeString("inner"));
    inner->Set("a", Boolean::True());
    outer->Set("a" + std::to_string(i % 89), inner);
    outer->Set("c", MakeString("last"));
    rows->Append(outer);
  }
  EXPECT_EQ(WriteXmlPropertyList(rows.get()), oracle::LibplistXml(rows.get()));
}

// Text far longer than any line's markup, all of it escaped, as a value and
// as a key, at the deepest level a key can sit.
TEST(PlistXmlWriterTest, LongTextIsEscapedWhole) {
  const std::string text(100000, '&');
  Ref<Dictionary> dictionary = Dictionary::Create();
  dictionary->Set(text, MakeString(text));
  Ref<Array> top = Array::Create();
  Array* tail = top.get();
  for (int level = 1; level < kMaxPropertyListDepth - 1; ++level) {
    Ref<Array> next = Array::Create();
    tail->Append(next);
    tail = next.get();
  }
  tail->Append(dictionary);
  const std::optional<Data> xml = WriteXmlPropertyList(top.get());
  ASSERT_TRUE(xml.has_value());
  EXPECT_EQ(*xml, oracle::LibplistXml(top.get()).value());
}

}  // namespace
}  // namespace cf
