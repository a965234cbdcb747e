// The hand-written expectations of tests/reader/expected/*.tree (the format
// is described in the README there).
#ifndef TESTS_READER_EXPECTED_TREE_H_
#define TESTS_READER_EXPECTED_TREE_H_

#include <map>
#include <string>
#include <vector>

#include "platform/values.h"

namespace qbfa_test {

struct Expectation {
  struct LogLine {
    bool gated;  // written only with the log switch on
    std::string text;
  };

  int exit_code = 0;
  cf::Ref<cf::Array> tree;  // null: nothing on standard output
  std::vector<LogLine> log;

  // Standard error as it should read with the log switch on or off.
  std::string Log(bool logging) const;
};

// Reads one expectation file; ${NAME} is taken from `values`. Throws
// std::runtime_error, naming the line, on anything it cannot read.
Expectation ReadExpectation(const std::string& path,
                            const std::map<std::string, std::string>& values);

}  // namespace qbfa_test

#endif  // TESTS_READER_EXPECTED_TREE_H_
