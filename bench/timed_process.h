// A whole program run as a user runs it, timed from start to exit.
#ifndef BENCH_TIMED_PROCESS_H_
#define BENCH_TIMED_PROCESS_H_

#include <string>
#include <vector>

namespace qbfa_bench {

struct ProcessCost {
  double seconds = 0;  // wall time from fork to exit
  double peak_rss_mb = 0;
};

// Runs `argv` with its output thrown away, as `... > /dev/null 2>&1` does,
// and waits for it. Throws std::runtime_error when it does not exit with 0.
ProcessCost RunToEnd(const std::vector<std::string>& argv);

}  // namespace qbfa_bench

#endif  // BENCH_TIMED_PROCESS_H_
