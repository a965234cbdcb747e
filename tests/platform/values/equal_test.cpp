// Deep equality, cycles included.
#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "platform/values.h"
#include "tests/platform/values/builders.h"

namespace cf {
namespace {

using testing_values::ArrayOf;

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

}  // namespace
}  // namespace cf
