// Arrays and dictionaries: order, lookup, shared children and deep search.
#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "platform/values.h"
#include "tests/platform/values/builders.h"

namespace cf {
namespace {

using testing_values::ArrayOf;
using testing_values::Keys;

TEST(DictionaryTest, KeepsInsertionOrderAndReplacesInPlace) {
  // Small dictionaries scan; big ones use an index. Entries start in the
  // dictionary's own block and move out when they outgrow it. All must
  // behave alike, and a key reaches its entry as text, as a shared key made
  // for it or as another key of the same text.
  // The counts cross the size at which the index is made (16) and those at
  // which it grows (32, 64, 128, 256, ...).
  for (auto [count, capacity] : {std::pair{3, 0},
                                 {3, 3},
                                 {3, 8},
                                 {5, 2},
                                 {17, 0},
                                 {33, 0},
                                 {200, 0},
                                 {200, 16},
                                 {1500, 0}}) {
    SCOPED_TRACE(testing::Message() << count << " entries, room for " << capacity);
    Ref<Dictionary> dictionary = Dictionary::Create(capacity);
    std::vector<std::string> expected;
    for (int i = count; i > 0; --i) {
      expected.push_back("key" + std::to_string(i));
      if (i % 2 == 0) {
        dictionary->Set(Key(expected.back()), MakeString(std::to_string(i)));
      } else {
        dictionary->Set(expected.back(), MakeString(std::to_string(i)));
      }
    }
    dictionary->Set(Key("key2"), MakeString("again"));
    dictionary->Set(Key(expected.front()), MakeString("first again"));
    dictionary->Set("key1", Ref<Object>());  // Ignored: nothing null is stored.
    EXPECT_EQ(Keys(*dictionary), expected);
    EXPECT_EQ(dictionary->GetString("key2")->utf8(), "again");
    EXPECT_EQ(dictionary->GetString(expected.front())->utf8(), "first again");
    EXPECT_EQ(dictionary->GetString("key1")->utf8(), "1");
    EXPECT_EQ(dictionary->Get(Key("key1")), dictionary->Get("key1"));
    EXPECT_EQ(dictionary->Get(dictionary->begin()->key), dictionary->begin()->value.get());
    EXPECT_EQ(dictionary->Get("key0"), nullptr);
    EXPECT_EQ(dictionary->Get(Key("key0")), nullptr);
    EXPECT_EQ(dictionary->GetArray("key1"), nullptr);
    for (int i = 3; i <= count; ++i) {
      const std::string key = "key" + std::to_string(i);
      ASSERT_NE(dictionary->GetString(key), nullptr) << key;
      EXPECT_EQ(dictionary->GetString(key)->utf8(), i == count ? "first again" : std::to_string(i));
      EXPECT_EQ(dictionary->Get(Key(key)), dictionary->Get(key));
      EXPECT_EQ(dictionary->Get(key + "x"), nullptr);
    }
  }
}

TEST(DictionaryTest, KeysOfTheSameTextAreOneKey) {
  // Keys made apart are told apart by their text alone, whatever their
  // hashes and lengths happen to share.
  const std::pair<std::string, std::string> cases[] = {
      {"font_family", "font_family"},
      {"", ""},
      {"id", "ID"},
      {"ab", "abc"},
      {std::string("a\0b", 3), std::string("a\0c", 3)}};
  for (const auto& [first, second] : cases) {
    Ref<Dictionary> dictionary = Dictionary::Create(2);
    dictionary->Set(Key(first), MakeString("first"));
    dictionary->Set(Key(second), MakeString("second"));
    EXPECT_EQ(dictionary->size(), first == second ? 1u : 2u) << first << " / " << second;
    EXPECT_EQ(dictionary->GetString(second)->utf8(), "second") << first << " / " << second;
  }
}

TEST(ArrayTest, KeepsOrderWhereverItsElementsLive) {
  for (auto [count, capacity] : {std::pair{0, 0}, {1, 1}, {3, 1}, {2, 4}, {40, 0}, {40, 8}}) {
    SCOPED_TRACE(testing::Message() << count << " elements, room for " << capacity);
    Ref<Array> array = Array::Create(capacity);
    for (int i = 0; i < count; ++i)
      array->Append(MakeString(std::to_string(i)));
    ASSERT_EQ(array->size(), static_cast<size_t>(count));
    for (int i = 0; i < count; ++i)
      EXPECT_EQ(array->at(i)->AsString()->utf8(), std::to_string(i));
    EXPECT_THROW(array->at(count), std::out_of_range);
  }
}

TEST(DictionaryTest, SharedChildIsSeenThroughEveryParent) {
  Ref<Dictionary> child = Dictionary::Create();
  child->Set("SetName", MakeString("Child"));
  Ref<Dictionary> first = Dictionary::Create(), second = Dictionary::Create();
  for (Dictionary* parent : {first.get(), second.get()}) {
    Ref<Array> children = Array::Create();
    children->Append(child);
    parent->Set("Children", children);
  }
  Ref<Array> fonts = Array::Create();
  child->Set("Fonts", fonts);
  fonts->Append(MakeString("Font"));
  child = nullptr;

  for (Dictionary* parent : {first.get(), second.get()}) {
    Dictionary* seen = parent->GetArray("Children")->at(0)->AsDictionary();
    ASSERT_NE(seen, nullptr);
    ASSERT_EQ(seen->GetArray("Fonts")->size(), 1u);
  }
  EXPECT_EQ(first->GetArray("Children")->at(0), second->GetArray("Children")->at(0));
}

TEST(ArrayTest, ContainsValueComparesDeeply) {
  // Rows as the reader makes them share their keys; other dictionaries spell
  // theirs out, perhaps in another order.
  const Key id("id"), name("name");
  auto shared = [&](const char* id_text, Ref<Object> second) {
    Ref<Dictionary> row = Dictionary::Create();
    row->Set(id, MakeString(id_text));
    row->Set(name, std::move(second));
    return row;
  };
  auto spelled = [](std::initializer_list<std::pair<const char*, Ref<Object>>> entries) {
    Ref<Dictionary> row = Dictionary::Create();
    for (const auto& [key, value] : entries)
      row->Set(key, value);
    return row;
  };
  Ref<Array> rows = Array::Create();
  rows->Append(shared("1", MakeString("Helvetica")));
  rows->Append(shared("2", MakeString("Times")));
  rows->Append(spelled({{"list", ArrayOf({"a"})}, {"id", MakeString("3")}}));
  rows->Append(MakeString("plain"));
  rows->Append(nullptr);
  EXPECT_EQ(rows->size(), 4u);

  const std::pair<const char*, Ref<Object>> cases[] = {
      {"a row of shared keys", shared("2", MakeString("Times"))},
      {"the same row spelled out in another order",
       spelled({{"name", MakeString("Helvetica")}, {"id", MakeString("1")}})},
      {"a first entry that is no string",
       spelled({{"list", ArrayOf({"a"})}, {"id", MakeString("3")}})},
      {"a plain value", MakeString("plain")},
  };
  for (const auto& [label, value] : cases)
    EXPECT_TRUE(rows->ContainsValue(value.get())) << label;

  const std::pair<const char*, Ref<Object>> absent[] = {
      {"the same first entry, another second", shared("1", MakeString("Times"))},
      {"another first entry", shared("3", MakeString("Times"))},
      {"a row of another size", spelled({{"id", MakeString("1")}})},
      {"a key no row has", spelled({{"id", MakeString("1")}, {"style", MakeString("Helvetica")}})},
      {"another list", spelled({{"list", ArrayOf({"b"})}, {"id", MakeString("3")}})},
      {"null", nullptr},
  };
  for (const auto& [label, value] : absent)
    EXPECT_FALSE(rows->ContainsValue(value.get())) << label;
}

// A dictionary's hash only rules dictionaries out; those of one hash are
// still compared in full.
TEST(ArrayTest, ContainsValueComparesDictionariesOfOneHash) {
  auto row = [](std::initializer_list<std::pair<const char*, Ref<Object>>> entries) {
    Ref<Dictionary> dictionary = Dictionary::Create();
    for (const auto& [key, value] : entries)
      dictionary->Set(key, value);
    return dictionary;
  };
  // Texts whose size and first and last words agree.
  const char* middle_a = "/Library/Fonts/A/Helvetica.ttf";
  const char* middle_b = "/Library/Fonts/B/Helvetica.ttf";
  struct Case {
    const char* name;
    Ref<Dictionary> held, sought;
    bool same_hash;
    bool found;
  };
  const Case cases[] = {
      {"equal, entries in another order",
       row({{"id", MakeString("1")}, {"name", MakeString("Times")}}),
       row({{"name", MakeString("Times")}, {"id", MakeString("1")}}), true, true},
      {"lists that differ", row({{"list", ArrayOf({"a"})}}), row({{"list", ArrayOf({"b"})}}), true,
       false},
      {"dictionaries that differ", row({{"font", row({{"id", MakeString("1")}})}}),
       row({{"font", row({{"id", MakeString("2")}})}}), true, false},
      {"texts that differ in the middle", row({{"path", MakeString(middle_a)}}),
       row({{"path", MakeString(middle_b)}}), true, false},
      {"a true against a false", row({{"on", Boolean::True()}}), row({{"on", Boolean::False()}}),
       false, false},
      {"values swapped between keys", row({{"a", MakeString("1")}, {"b", MakeString("2")}}),
       row({{"a", MakeString("2")}, {"b", MakeString("1")}}), false, false},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(c.held->Hash() == c.sought->Hash(), c.same_hash) << c.name;
    Ref<Array> array = Array::Create();
    array->Append(MakeString("not a dictionary"));
    array->Append(c.held);
    EXPECT_EQ(array->ContainsValue(c.sought.get()), c.found) << c.name;
  }
}

TEST(ArrayTest, ContainsValueSeesChangesMadeAfterAHashWasTaken) {
  Ref<Dictionary> held = Dictionary::Create(), sought = Dictionary::Create();
  const Key id("id");
  held->Set(id, MakeString("1"));
  sought->Set(id, MakeString("2"));
  Ref<Array> list = Array::Create();
  held->Set("list", list);
  sought->Set("list", ArrayOf({}));
  Ref<Array> array = Array::Create();
  array->Append(held);
  EXPECT_FALSE(array->ContainsValue(sought.get())) << "both hashes taken now";

  const std::pair<const char*, std::function<void()>> steps[] = {
      {"a value replaced in the held one", [&] { held->Set(id, MakeString("2")); }},
      {"an entry added to the sought one", [&] { sought->Set("style", MakeString("Bold")); }},
      {"the same entry added to the held one", [&] { held->Set("style", MakeString("Bold")); }},
      {"a nested list grown", [&] { list->Append(MakeString("x")); }},
      {"the other nested list grown alike",
       [&] { sought->GetArray("list")->Append(MakeString("x")); }},
  };
  const bool found_after[] = {true, false, true, false, true};
  for (size_t i = 0; i < std::size(steps); ++i) {
    steps[i].second();
    EXPECT_EQ(array->ContainsValue(sought.get()), found_after[i]) << steps[i].first;
    EXPECT_EQ(Equal(held.get(), sought.get()), found_after[i]) << steps[i].first;
  }
}

}  // namespace
}  // namespace cf
