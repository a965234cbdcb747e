// Reference counting and the cycle collector: what is freed, and when.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "platform/values.h"
#include "tests/platform/values/builders.h"

namespace cf {
namespace {

using testing_values::ArrayOf;

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

}  // namespace
}  // namespace cf
