// Whether a long-running process's memory and descriptors stay flat.
//
// The first quarter of a run is its warm-up: caches fill and the allocator
// takes what it keeps. After that, a process that lets go of what it no
// longer needs stays at what it reached by the second quarter:
// - memory is flat when the last quarter's peak resident size is at most
//   the second quarter's plus a margin (5%, at least 1 MiB) that the
//   allocator's ups and downs stay under;
// - descriptors are flat when the fewest open in the last quarter are no
//   more than the fewest in the second. A refresh holds a few for a moment,
//   which a sample may or may not catch; a leaked one stays open for good
//   and raises the floor.
#ifndef TESTS_SOAK_FLATNESS_H_
#define TESTS_SOAK_FLATNESS_H_

#include <chrono>
#include <cstddef>
#include <optional>
#include <vector>

#include "tests/soak/process_usage.h"

namespace qbfa_soak {

struct UsageSample {
  std::chrono::steady_clock::duration at;  // since the run began
  ProcessUsage usage;
};

struct QuarterUsage {
  size_t peak_resident_kb = 0;
  size_t fewest_descriptors = 0;
};

struct Flatness {
  QuarterUsage second;
  QuarterUsage last;
  bool memory_flat = false;
  bool descriptors_flat = false;
};

// The most memory the last quarter may reach past the second quarter's peak.
size_t MemoryMarginKb(size_t second_quarter_peak_kb);

// Quarters by time, from the first sample to the last. Nothing when the
// second or the last quarter holds no sample.
std::optional<Flatness> JudgeFlatness(const std::vector<UsageSample>& samples);

}  // namespace qbfa_soak

#endif  // TESTS_SOAK_FLATNESS_H_
