// Keys shared across a document's dictionaries, and the dictionaries built
// of them, including when a hostile document makes key texts collide.
#include "platform/key_table.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "platform/value_stack.h"

namespace {

uint64_t EverythingCollides(std::string_view) {
  return 7;
}

TEST(KeyTableTest, OneKeyPerText) {
  KeyTable table;
  std::vector<InternedKey*> first;
  for (int i = 0; i < 5000; ++i)
    first.push_back(table.Intern("key " + std::to_string(i)));
  for (int i = 0; i < 5000; ++i) {
    InternedKey* again = table.Intern("key " + std::to_string(i));
    EXPECT_EQ(again, first[i]) << i;
    EXPECT_TRUE(again->unique);
    EXPECT_EQ(again->key.view(), "key " + std::to_string(i));
  }
  EXPECT_EQ(table.Intern(""), table.Intern(""));
}

// The key tried first - the one that followed the previous key last time -
// is only a guess: whatever the order, each text gets its one key.
TEST(KeyTableTest, KeysInAnyOrder) {
  KeyTable table;
  std::map<std::string, InternedKey*> seen;
  std::mt19937 random(7);
  for (int i = 0; i < 3000; ++i) {
    const std::string text =
        std::string("k").append(std::to_string(random() % 6 == 0 ? random() % 40 : i % 5));
    InternedKey* key = table.Intern(text);
    EXPECT_EQ(key->key.view(), text);
    EXPECT_EQ(seen.emplace(text, key).first->second, key) << text;
  }
}

TEST(KeyTableTest, TextsThatCollideCostBoundedProbesAndStayApart) {
  KeyTable table(EverythingCollides);
  std::vector<InternedKey*> keys;
  for (int round = 0; round < 2; ++round) {
    for (int i = 0; i < 200; ++i)
      keys.push_back(table.Intern(std::to_string(i)));
  }
  // No two unique keys of one text: identity tells texts apart among them.
  std::map<std::string_view, std::set<InternedKey*>> unique_by_text;
  for (InternedKey* key : keys) {
    if (key->unique)
      unique_by_text[key->key.view()].insert(key);
  }
  for (const auto& [text, unique] : unique_by_text)
    EXPECT_EQ(unique.size(), 1u) << text;
  EXPECT_FALSE(unique_by_text.empty());
  EXPECT_FALSE(keys.back()->unique);
  EXPECT_EQ(keys[0], keys[200]);
}

// A dictionary whose keys cannot all be told apart by identity still keeps
// a repeated key's first place and last value, in whichever order the
// unique key and another of the same text come.
TEST(KeyTableTest, DictionariesOfKeysNotUniqueKeepOneEntryPerText) {
  InternedKey unique("a", true), other("a", false), b("b", true);
  for (const auto& [first, second] : {std::pair{&unique, &other}, std::pair{&other, &unique}}) {
    ValueStack values;
    values.Push(first, cf::MakeString("1"));
    values.Push(&b, cf::MakeString("2"));
    values.PushText(second, "3");
    ASSERT_TRUE(values.CloseDictionary(0, nullptr));
    const cf::Ref<cf::Object> made = values.Take(0);
    const cf::Dictionary& dictionary = *made->AsDictionary();
    ASSERT_EQ(dictionary.size(), 2u);
    EXPECT_EQ(dictionary.begin()[0].key.view(), "a");
    EXPECT_EQ(dictionary.GetString("a")->utf8(), "3");
  }
}

}  // namespace
