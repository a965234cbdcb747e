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
//
// A process's peak memory starts from its parent's at the fork and survives
// exec, and a benchmark's own is large; so the program is started by a
// launcher of small size: this program again, run as LaunchTimed.
ProcessCost RunToEnd(const std::vector<std::string>& argv);

// The launcher's side, called first thing in main(): when `argv` asks for a
// launch, runs the program it names and prints its cost for RunToEnd, and
// returns the exit code for main(); otherwise returns -1.
int LaunchTimed(int argc, char** argv);

}  // namespace qbfa_bench

#endif  // BENCH_TIMED_PROCESS_H_
