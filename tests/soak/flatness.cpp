#include "tests/soak/flatness.h"

#include <algorithm>

namespace qbfa_soak {
namespace {

constexpr size_t kMarginPercent = 5;
constexpr size_t kLeastMarginKb = 1024;

// The usage of the samples from `begin` (inclusive) to `end` (exclusive);
// nothing when there are none.
std::optional<QuarterUsage> UsageBetween(const std::vector<UsageSample>& samples,
                                         std::chrono::steady_clock::duration begin,
                                         std::chrono::steady_clock::duration end) {
  std::optional<QuarterUsage> quarter;
  for (const UsageSample& sample : samples) {
    if (sample.at < begin || sample.at >= end)
      continue;
    if (!quarter) {
      quarter = QuarterUsage{sample.usage.resident_kb, sample.usage.descriptors};
      continue;
    }
    quarter->peak_resident_kb = std::max(quarter->peak_resident_kb, sample.usage.resident_kb);
    quarter->fewest_descriptors = std::min(quarter->fewest_descriptors, sample.usage.descriptors);
  }
  return quarter;
}

}  // namespace

size_t MemoryMarginKb(size_t second_quarter_peak_kb) {
  return std::max(second_quarter_peak_kb * kMarginPercent / 100, kLeastMarginKb);
}

std::optional<Flatness> JudgeFlatness(const std::vector<UsageSample>& samples) {
  if (samples.empty())
    return std::nullopt;
  const auto first = samples.front().at;
  const auto quarter = (samples.back().at - first) / 4;
  const std::optional<QuarterUsage> second =
      UsageBetween(samples, first + quarter, first + 2 * quarter);
  // The last quarter ends with the last sample.
  const std::optional<QuarterUsage> last =
      UsageBetween(samples, first + 3 * quarter, samples.back().at + quarter);
  if (!second || !last)
    return std::nullopt;
  Flatness flatness{*second, *last};
  flatness.memory_flat =
      last->peak_resident_kb <= second->peak_resident_kb + MemoryMarginKb(second->peak_resident_kb);
  flatness.descriptors_flat = last->fewest_descriptors <= second->fewest_descriptors;
  return flatness;
}

}  // namespace qbfa_soak
