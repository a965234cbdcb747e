// Running the built `qbfa` command.
#ifndef TESTS_READER_QBFA_PROCESS_H_
#define TESTS_READER_QBFA_PROCESS_H_

#include <string>
#include <vector>

namespace qbfa_test {

struct CommandResult {
  int exit_code = -1;  // -1 when it did not exit normally
  std::string out;
  std::string err;
};

// Runs `qbfa` with `arguments` in this process's environment and waits for it.
CommandResult RunQbfa(const std::vector<std::string>& arguments);

}  // namespace qbfa_test

#endif  // TESTS_READER_QBFA_PROCESS_H_
