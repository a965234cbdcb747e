// Repeated measurements of one thing, reported as their spread.
#ifndef BENCH_SPREAD_H_
#define BENCH_SPREAD_H_

#include <chrono>
#include <string>
#include <vector>

namespace qbfa_bench {

class Samples {
 public:
  void Add(double value) { values_.push_back(value); }
  void Add(std::chrono::steady_clock::duration elapsed) {
    Add(std::chrono::duration<double, std::milli>(elapsed).count());
  }
  double Median() const;
  // "min / median / max", each with `decimals` digits after the point.
  std::string Spread(int decimals = 1) const;

 private:
  std::vector<double> values_;
};

}  // namespace qbfa_bench

#endif  // BENCH_SPREAD_H_
