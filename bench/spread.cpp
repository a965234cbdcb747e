#include "bench/spread.h"

#include <algorithm>
#include <cstdio>

namespace qbfa_bench {

double Samples::Median() const {
  if (values_.empty())
    return 0;
  std::vector<double> sorted = values_;
  std::sort(sorted.begin(), sorted.end());
  const size_t middle = sorted.size() / 2;
  return sorted.size() % 2 == 1 ? sorted[middle] : (sorted[middle - 1] + sorted[middle]) / 2;
}

std::string Samples::Spread(int decimals) const {
  if (values_.empty())
    return "-";
  const auto [min, max] = std::minmax_element(values_.begin(), values_.end());
  char text[96];
  std::snprintf(text, sizeof text, "%.*f / %.*f / %.*f", decimals, *min, decimals, Median(),
                decimals, *max);
  return text;
}

}  // namespace qbfa_bench
