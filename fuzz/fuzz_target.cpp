// The entry point of every fuzz target: the target's check (checks.h),
// named by QBFA_FUZZ_CHECK at build time, over each input. A complaint ends
// the run like a crash, so that libFuzzer keeps the input as a finding.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "fuzz/checks.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string problem =
      qbfa_fuzz::QBFA_FUZZ_CHECK({reinterpret_cast<const char*>(data), size});
  if (!problem.empty()) {
    std::fprintf(stderr, "%s\n", problem.c_str());
    std::abort();
  }
  return 0;
}
