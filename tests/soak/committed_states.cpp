#include "tests/soak/committed_states.h"

#include <algorithm>

namespace qbfa_soak {

size_t CommittedStates::Add(std::string xml) {
  states_.push_back(std::move(xml));
  return count() - 1;
}

std::optional<size_t> CommittedStates::Match(std::string_view publication) {
  const auto found = std::find(states_.begin(), states_.end(), publication);
  if (found == states_.end())
    return std::nullopt;
  const size_t passed = static_cast<size_t>(found - states_.begin());
  states_.erase(states_.begin(), found);
  first_kept_ += passed;
  return first_kept_;
}

}  // namespace qbfa_soak
