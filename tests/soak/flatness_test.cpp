#include "tests/soak/flatness.h"

#include <gtest/gtest.h>

#include <vector>

namespace qbfa_soak {
namespace {

struct Case {
  const char* name;
  // One sample a second; each quarter of eight samples repeats its values.
  std::vector<size_t> resident_kb_by_quarter;
  std::vector<size_t> descriptors_by_quarter;
  bool memory_flat;
  bool descriptors_flat;
};

std::vector<UsageSample> Samples(const Case& c) {
  std::vector<UsageSample> samples;
  for (size_t quarter = 0; quarter < 4; ++quarter) {
    for (int i = 0; i < 8; ++i) {
      const size_t second = quarter * 8 + static_cast<size_t>(i);
      ProcessUsage usage{c.resident_kb_by_quarter[quarter], 0, c.descriptors_by_quarter[quarter]};
      // A refresh holds two more descriptors for a moment, now and then.
      if (i == 3)
        usage.descriptors += 2;
      samples.push_back({std::chrono::seconds(second), usage});
    }
  }
  return samples;
}

class FlatnessTest : public testing::TestWithParam<Case> {};

TEST_P(FlatnessTest, JudgesTheLastQuarterAgainstTheSecond) {
  const Case& c = GetParam();
  const std::optional<Flatness> flatness = JudgeFlatness(Samples(c));
  ASSERT_TRUE(flatness);
  EXPECT_EQ(flatness->memory_flat, c.memory_flat);
  EXPECT_EQ(flatness->descriptors_flat, c.descriptors_flat);
  EXPECT_EQ(flatness->second.peak_resident_kb, c.resident_kb_by_quarter[1]);
  EXPECT_EQ(flatness->last.fewest_descriptors, c.descriptors_by_quarter[3]);
}

INSTANTIATE_TEST_SUITE_P(
    Runs, FlatnessTest,
    testing::Values(
        Case{"Flat", {10000, 20000, 20000, 20000}, {9, 12, 12, 12}, true, true},
        // The warm-up's growth does not count.
        Case{"GrowsOnlyWhileWarmingUp", {5000, 20000, 20100, 20000}, {9, 12, 12, 12}, true, true},
        Case{"WithinTheLeastMargin", {20000, 20000, 20000, 21024}, {12, 12, 12, 11}, true, true},
        Case{"PastTheLeastMargin", {20000, 20000, 20000, 21025}, {12, 12, 12, 12}, false, true},
        Case{"WithinFivePercent", {100000, 100000, 100000, 105000}, {12, 12, 12, 12}, true, true},
        Case{"PastFivePercent", {100000, 100000, 100000, 105001}, {12, 12, 12, 12}, false, true},
        Case{"ADescriptorLeaked", {20000, 20000, 20000, 20000}, {12, 12, 12, 13}, true, false}),
    [](const testing::TestParamInfo<Case>& info) { return info.param.name; });

TEST(Flatness, CannotJudgeWithoutSamplesInBothQuarters) {
  EXPECT_FALSE(JudgeFlatness({}));
  const ProcessUsage usage{1000, 1000, 10};
  EXPECT_FALSE(JudgeFlatness({{std::chrono::seconds(0), usage}}));
  // Samples at the start and the end only: none in the second quarter.
  EXPECT_FALSE(JudgeFlatness({{std::chrono::seconds(0), usage}, {std::chrono::seconds(8), usage}}));
}

}  // namespace
}  // namespace qbfa_soak
