#include "platform/values.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace cf {
namespace {

Ref<Array> ArrayOf(std::initializer_list<const char*> items) {
  Ref<Array> array = Array::Create();
  for (const char* item : items)
    array->Append(MakeString(item));
  return array;
}

std::vector<std::string> Keys(const Dictionary& dictionary) {
  std::vector<std::string> keys;
  for (const auto& entry : dictionary)
    keys.emplace_back(entry.key);
  return keys;
}

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

TEST(EqualTest, FollowsContentNotIdentity) {
  Ref<Dictionary> ab = Dictionary::Create(), ba = Dictionary::Create();
  ab->Set("a", MakeString("1"));
  ab->Set("b", ArrayOf({"x", "y"}));
  ba->Set("b", ArrayOf({"x", "y"}));
  ba->Set("a", MakeString("1"));
  Ref<Dictionary> other_value = Dictionary::Create();
  other_value->Set("a", MakeString("1"));
  other_value->Set("b", ArrayOf({"y", "x"}));
  Ref<Dictionary> other_key = Dictionary::Create();
  other_key->Set("a", MakeString("1"));
  other_key->Set("c", ArrayOf({"x", "y"}));

  struct Case {
    const char* name;
    Ref<Object> a, b;
    bool equal;
  };
  const Case cases[] = {
      {"nulls", nullptr, nullptr, true},
      {"null and value", nullptr, MakeString("a"), false},
      {"strings by content", MakeString("a"), MakeString("a"), true},
      {"different strings", MakeString("a"), MakeString("A"), false},
      // Strings compare eight bytes at a time, the first eight padded.
      {"empty strings", MakeString(""), MakeString(""), true},
      {"a prefix", MakeString("abc"), MakeString("abcd"), false},
      {"seven bytes", MakeString("abcdefg"), MakeString("abcdefg"), true},
      {"eight bytes, the last differs", MakeString("abcdefgh"), MakeString("abcdefgx"), false},
      {"nine bytes", MakeString("abcdefgh1"), MakeString("abcdefgh1"), true},
      {"nine bytes, the last differs", MakeString("abcdefgh1"), MakeString("abcdefgh2"), false},
      {"long, a middle byte differs", MakeString("/Library/Fonts/Korvel Sans.otf"),
       MakeString("/Library/Fonts/Korvel Sanz.otf"), false},
      {"a NUL inside", MakeString(std::string_view("a\0b", 3)),
       MakeString(std::string_view("a\0c", 3)), false},
      {"a NUL against the end", MakeString(std::string_view("ab\0", 3)), MakeString("ab"), false},
      {"booleans", Boolean::True(), Boolean::True(), true},
      {"true and false", Boolean::True(), Boolean::False(), false},
      {"string and array", MakeString("a"), ArrayOf({"a"}), false},
      {"arrays", ArrayOf({"a", "b"}), ArrayOf({"a", "b"}), true},
      {"arrays in other order", ArrayOf({"a", "b"}), ArrayOf({"b", "a"}), false},
      {"array prefix", ArrayOf({"a"}), ArrayOf({"a", "b"}), false},
      {"empty array and dictionary", Array::Create(), Dictionary::Create(), false},
      {"dictionaries in other insertion order", ab, ba, true},
      {"dictionaries with different value", ab, other_value, false},
      {"dictionaries with different key", ab, other_key, false},
      {"URLs", URL::CreateWithFileSystemPath("/a/b"), URL::CreateWithFileSystemPath("/a/b/"), true},
      {"different URLs", URL::CreateWithFileSystemPath("/a"), URL::CreateWithFileSystemPath("/b"),
       false},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(Equal(c.a.get(), c.b.get()), c.equal) << c.name;
    EXPECT_EQ(Equal(c.b.get(), c.a.get()), c.equal) << c.name << " (swapped)";
  }
}

TEST(EqualTest, TerminatesOnCycles) {
  // Each set is its own child; two such sets of equal content compare equal.
  auto self_child = [](const char* name) {
    Ref<Dictionary> set = Dictionary::Create();
    set->Set("SetName", MakeString(name));
    Ref<Array> children = Array::Create();
    children->Append(set);
    set->Set("Children", children);
    return set;
  };
  Ref<Dictionary> a = self_child("A"), b = self_child("A"), c = self_child("C");
  EXPECT_TRUE(Equal(a.get(), b.get()));
  EXPECT_FALSE(Equal(a.get(), c.get()));

  // Two arrays holding each other against one array holding itself.
  Ref<Array> x = Array::Create(), y = Array::Create(), z = Array::Create();
  x->Append(y);
  y->Append(x);
  z->Append(z);
  EXPECT_TRUE(Equal(x.get(), z.get()));
  EXPECT_TRUE(x->ContainsValue(z.get()));

  // Cycles met only below the top, against each other and against a tree of
  // the same depth that ends where they go round.
  Ref<Array> outer = ArrayOf({"top"}), inner = Array::Create(), inner2 = Array::Create();
  outer->Append(inner);
  inner->Append(inner2);
  inner2->Append(inner);
  Ref<Array> other_outer = ArrayOf({"top"}), loop = Array::Create();
  other_outer->Append(loop);
  loop->Append(loop);
  EXPECT_TRUE(Equal(outer.get(), other_outer.get()));
  EXPECT_FALSE(Equal(outer.get(), ArrayOf({"top"}).get()));
  // A difference inside a cycle is still found.
  inner2->Append(MakeString("end"));
  EXPECT_FALSE(Equal(outer.get(), other_outer.get()));
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

class CollectorTest : public ::testing::Test {
 protected:
  void SetUp() override {
    CollectCycles();
    baseline_ = LiveObjectCount();
  }
  size_t Extra() {
    CollectCycles();
    return LiveObjectCount() - baseline_;
  }
  size_t baseline_ = 0;
};

TEST_F(CollectorTest, FreesDroppedCycles) {
  {
    Ref<Array> self = Array::Create();
    self->Append(self);
    self->Append(MakeString("inside"));

    Ref<Dictionary> a = Dictionary::Create(), b = Dictionary::Create();
    a->Set("other", b);
    b->Set("other", a);
    a->Set("name", MakeString("A"));

    // A longer ring through arrays and dictionaries.
    Ref<Dictionary> set = Dictionary::Create();
    Ref<Array> children = Array::Create();
    set->Set("Children", children);
    Ref<Dictionary> child = Dictionary::Create();
    children->Append(child);
    Ref<Array> grandchildren = Array::Create();
    child->Set("Children", grandchildren);
    grandchildren->Append(set);

    // Released above zero while it held no container, so no candidate
    // then; the cycle it joins afterwards must still be found.
    Ref<Array> late = Array::Create(), partner = Array::Create();
    { Ref<Array> another = late; }
    late->Append(partner);
    partner->Append(late);
  }
  EXPECT_EQ(Extra(), 0u);
}

TEST_F(CollectorTest, KeepsWhatIsStillReachable) {
  Ref<Array> kept = ArrayOf({"font"});
  Ref<Dictionary> held_cycle = Dictionary::Create();
  {
    Ref<Dictionary> garbage = Dictionary::Create();
    garbage->Set("self", garbage);
    garbage->Set("kept", kept);  // Reached from a dying cycle, but also from here.
    Ref<Array> ring = Array::Create();
    ring->Append(held_cycle);
    held_cycle->Set("ring", ring);
  }
  EXPECT_EQ(Extra(), 4u);  // kept and its string, held_cycle and its ring.
  kept->Append(MakeString("more"));
  EXPECT_EQ(kept->size(), 2u);
  ASSERT_NE(held_cycle->GetArray("ring"), nullptr);
  EXPECT_EQ(held_cycle->GetArray("ring")->at(0).get(), held_cycle.get());

  kept = nullptr;
  held_cycle = nullptr;
  EXPECT_EQ(Extra(), 0u);
}

TEST_F(CollectorTest, AStringLivesAsLongAsAnyHolder) {
  // A string is freed the moment its last holder lets go of it, whether that
  // is its maker, a container given up, or a container's entry replaced.
  Ref<String> name = String::Create("Korvel Sans");
  Ref<Array> first = Array::Create(1);
  first->Append(name);
  Ref<Dictionary> second = Dictionary::Create(1);
  second->Set("name", name);
  name = nullptr;
  EXPECT_EQ(Extra(), 3u);
  first = nullptr;
  EXPECT_EQ(Extra(), 2u);
  EXPECT_EQ(second->GetString("name")->utf8(), "Korvel Sans");
  second->Set("name", MakeString("Korvel Serif"));
  EXPECT_EQ(Extra(), 2u);
  EXPECT_EQ(second->GetString("name")->utf8(), "Korvel Serif");
  second = nullptr;
  EXPECT_EQ(Extra(), 0u);
}

TEST_F(CollectorTest, TheStringsOfARunGoOneByOneInAnyOrder) {
  // A run's strings share one block; each is a value of its own, and the
  // block must outlive every one of them, whichever goes last.
  const char* texts[] = {"Korvel", "Caf\xe9", "", "/Library/Fonts/Korvel Sans.otf"};
  const std::vector<std::vector<size_t>> orders = {{0, 2, 3}, {3, 2, 0}, {2, 0, 3}};
  for (const std::vector<size_t>& order : orders) {
    Ref<String> strings[4];
    String::CreateRun(texts, strings);
    EXPECT_EQ(strings[1], nullptr) << "not UTF-8";
    ASSERT_EQ(Extra(), 3u);
    Ref<Array> holder = Array::Create();
    holder->Append(strings[order.back()]);
    for (size_t released = 1; released <= order.size(); ++released) {
      const size_t i = order[released - 1];
      EXPECT_EQ(strings[i]->utf8(), texts[i]);
      EXPECT_TRUE(Equal(strings[i].get(), MakeString(texts[i]).get()));
      strings[i] = nullptr;
      // The holder, the strings not let go yet, and at the end the one it holds.
      EXPECT_EQ(Extra(), 1 + std::max<size_t>(order.size() - released, 1));
    }
    EXPECT_EQ(holder->at(0)->AsString()->utf8(), texts[order.back()]);
    holder = nullptr;
    EXPECT_EQ(Extra(), 0u);
  }
}

// A long-running process replaces one large tree with another again and
// again. The replaced trees' shared containers die as candidates, and must
// go as they die, not wait for a collection that the live tree puts off:
// it has many containers below few candidates, so collecting walks far more
// than there are candidates.
TEST_F(CollectorTest, ReplacedTreesGoAsTheyAreReplaced) {
  auto make_tree = [] {
    Ref<Array> top = Array::Create();
    // Every set is held twice for a while, as the reader's map of sets does.
    Ref<Array> index = Array::Create();
    for (int i = 0; i < 200; ++i) {
      Ref<Array> fonts = Array::Create();
      for (int j = 0; j < 100; ++j)
        fonts->Append(Dictionary::Create());
      Ref<Dictionary> set = Dictionary::Create();
      set->Set("Fonts", fonts);
      top->Append(set);
      index->Append(set);
    }
    return top;
  };
  Ref<Array> live = make_tree();
  const size_t tree = LiveObjectCount() - baseline_;
  size_t most = 0;
  for (int round = 0; round < 100; ++round) {
    live = make_tree();
    most = std::max(most, LiveObjectCount() - baseline_);
  }
  EXPECT_LT(most, tree + 3000);
  live = nullptr;
  EXPECT_EQ(Extra(), 0u);
}

TEST_F(CollectorTest, CollectsOnItsOwnWhenCandidatesPileUp) {
  for (int i = 0; i < 100000; ++i) {
    Ref<Array> self = Array::Create();
    self->Append(self);
  }
  // Without an explicit collection at most a bounded batch may linger.
  EXPECT_LT(LiveObjectCount() - baseline_, 50000u);
  EXPECT_EQ(Extra(), 0u);
}

TEST_F(CollectorTest, DeepNestingNeitherOverflowsNorLeaks) {
  constexpr int kDepth = 200000;
  auto chain = [] {
    Ref<Array> top = Array::Create();
    Array* tail = top.get();
    for (int i = 0; i < kDepth; ++i) {
      Ref<Array> next = Array::Create();
      tail->Append(next);
      tail = next.get();
    }
    return top;
  };
  Ref<Array> a = chain(), b = chain();
  EXPECT_TRUE(Equal(a.get(), b.get()));
  // Close the deep chain into a ring so the collector has to walk it too.
  Array* tail = a.get();
  while (!tail->empty())
    tail = tail->at(0)->AsArray();
  tail->Append(a);
  a = nullptr;
  b = nullptr;
  EXPECT_EQ(Extra(), 0u);
}

TEST(URLTest, FileURLs) {
  EXPECT_EQ(URL::CreateWithFileSystemPath("Library/FontAgent.db"), nullptr);
  EXPECT_EQ(URL::CreateWithFileSystemPath(""), nullptr);

  struct Case {
    const char* path;
    const char* component;  // Appended when not null.
    const char* expected_path;
    const char* expected_string;
  };
  const Case cases[] = {
      {"/Library", "FontAgent Pro/FontAgent.db", "/Library/FontAgent Pro/FontAgent.db",
       "file:///Library/FontAgent%20Pro/FontAgent.db"},
      {"/Library/", "x", "/Library/x", "file:///Library/x"},
      {"/", "x", "/x", "file:///x"},
      {"/", nullptr, "/", "file:///"},
      {"/a/b//", nullptr, "/a/b", "file:///a/b"},
      {"/-._~!$&'()*+,;=:@", nullptr, "/-._~!$&'()*+,;=:@", "file:///-._~!$&'()*+,;=:@"},
      {"/a#b?c%d\"e<f>g[h]^`{|}\\", nullptr, "/a#b?c%d\"e<f>g[h]^`{|}\\",
       "file:///a%23b%3Fc%25d%22e%3Cf%3Eg%5Bh%5D%5E%60%7B%7C%7D%5C"},
      {"/caf\xC3\xA9\t", nullptr, "/caf\xC3\xA9\t", "file:///caf%C3%A9%09"},
  };
  for (const Case& c : cases) {
    Ref<URL> url = URL::CreateWithFileSystemPath(c.path);
    ASSERT_NE(url, nullptr) << c.path;
    if (c.component)
      url = url->CopyAppendingPathComponent(c.component);
    EXPECT_EQ(url->path(), c.expected_path) << c.path;
    EXPECT_EQ(url->AbsoluteString(), c.expected_string) << c.path;
  }
}

}  // namespace
}  // namespace cf
