#include "tests/soak/committed_states.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace qbfa_soak {
namespace {

struct Case {
  const char* name;
  std::vector<std::string> states;
  std::vector<std::string> publications;
  // The state each publication is, in order; nullopt: none.
  std::vector<std::optional<size_t>> matches;
  size_t kept_at_end;
};

class CommittedStatesTest : public testing::TestWithParam<Case> {};

TEST_P(CommittedStatesTest, MatchesPublicationsGoingForward) {
  const Case& c = GetParam();
  CommittedStates states;
  for (const std::string& state : c.states)
    states.Add(state);
  ASSERT_EQ(states.count(), c.states.size());
  std::vector<std::optional<size_t>> matches;
  for (const std::string& publication : c.publications)
    matches.push_back(states.Match(publication));
  EXPECT_EQ(matches, c.matches);
  EXPECT_EQ(states.kept(), c.kept_at_end);
  EXPECT_EQ(states.count(), c.states.size());
}

INSTANTIATE_TEST_SUITE_P(
    Sequences, CommittedStatesTest,
    testing::Values(Case{"EveryState", {"a", "b", "c"}, {"a", "b", "c"}, {0, 1, 2}, 1},
                    Case{"SkippedStatesAreLetGo", {"a", "b", "c", "d"}, {"c"}, {2}, 2},
                    Case{"TheSameStateTwice", {"a", "b"}, {"b", "b"}, {1, 1}, 1},
                    // Once c is published, a is history: the host never reads back.
                    Case{"NoWayBack", {"a", "b", "c"}, {"c", "a"}, {2, std::nullopt}, 1},
                    Case{"NoStateAtAll", {"a", "b"}, {"x"}, {std::nullopt}, 2},
                    // A font moved away and back gives an earlier tree again: the oldest
                    // equal state from the last match on is the one.
                    Case{"AnEqualLaterState", {"a", "b", "a", "c"}, {"b", "a", "c"}, {1, 2, 3}, 1}),
    [](const testing::TestParamInfo<Case>& info) { return info.param.name; });

TEST(CommittedStates, KnowsTheNewestStateAfterMatches) {
  CommittedStates states;
  EXPECT_EQ(states.Add("a"), 0u);
  EXPECT_EQ(states.Add("b"), 1u);
  EXPECT_EQ(states.Match("b"), 1u);
  EXPECT_EQ(states.Add("c"), 2u);
  EXPECT_EQ(states.newest(), "c");
  EXPECT_EQ(states.kept(), 2u);
}

}  // namespace
}  // namespace qbfa_soak
