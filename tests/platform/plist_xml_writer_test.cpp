// The XML writer against the libplist-based writer it replaced, on random
// trees: every byte must be the same, and so must every refusal.
#include "platform/plist_xml_writer.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/xml.h"
#include "tests/platform/libplist_oracle.h"
#include "tests/platform/random_plist.h"

namespace cf {
namespace {

// Random trees of the shapes that matter to a writer: RandomPlist's text,
// keys and chains, with shared children, the odd cycle, and now and then a
// value that cannot be written at all (a URL, U+0000, a key that is not
// UTF-8, nesting past the limit).
class TreeMaker {
 public:
  explicit TreeMaker(uint32_t seed) : random_(seed) {}

  Ref<Object> Tree() {
    made_.clear();
    return Value(0);
  }

 private:
  std::string Text() {
    std::string text = random_.Chance(6) ? "" : random_.RandomText(24);
    if (random_.Chance(400))
      text.insert(text.size() / 2, 1, '\0');
    return text;
  }

  std::string Key() { return random_.Chance(600) ? "\xC3" : random_.Key(); }

  Ref<Object> Value(int level) {
    if (!made_.empty() && random_.Chance(12))
      return made_[random_.Below(static_cast<int>(made_.size()))];  // shared, rarely a cycle
    if (random_.Chance(300))
      return URL::CreateWithFileSystemPath("/Library");
    if (random_.Chance(400))
      return random_.Chain(500 + random_.Below(30));
    const int kind = level > 5 ? random_.Below(2) : random_.Below(4);
    if (kind == 0)
      return String::Create(Text());
    if (kind == 1)
      return random_.Chance(2) ? Boolean::True() : Boolean::False();
    if (kind == 2) {
      Ref<Array> array = Array::Create();
      made_.push_back(array);
      for (int n = random_.Below(6); n > 0; --n)
        array->Append(Value(level + 1));
      return array;
    }
    Ref<Dictionary> dictionary = Dictionary::Create();
    made_.push_back(dictionary);
    for (int n = random_.Chance(10) ? 20 + random_.Below(20) : random_.Below(7); n > 0; --n)
      dictionary->Set(Key(), Value(level + 1));
    return dictionary;
  }

  RandomPlist random_;
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
    outer->Set(std::string("b").append(std::to_string(i % 97)), MakeString("outer"));
    Ref<Dictionary> inner = Dictionary::Create();
    inner->Set(std::string("k").append(std::to_string(i)), MakeString("inner"));
    inner->Set("a", Boolean::True());
    outer->Set(std::string("a").append(std::to_string(i % 89)), inner);
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
