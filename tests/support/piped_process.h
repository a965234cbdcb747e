// A program running beside the caller, one of whose outputs comes through a
// pipe to a thread of the caller's as it is written, for programs that
// write for as long as they run: a host's log, a listener's publications.
#ifndef TESTS_SUPPORT_PIPED_PROCESS_H_
#define TESTS_SUPPORT_PIPED_PROCESS_H_

#include <sys/types.h>
#include <unistd.h>

#include <functional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace qbfa_test {

class PipedProcess {
 public:
  struct Streams {
    int piped = STDERR_FILENO;        // STDOUT_FILENO or STDERR_FILENO
    std::string other = "/dev/null";  // where the other one goes (truncated)
  };

  // Starts `argv` in this process's environment. The reading thread calls
  // `on_output` with each piece of the piped output as it comes, then
  // `on_end` once the pipe closes. The program is stopped should this
  // process end first. Throws std::runtime_error when it cannot start.
  PipedProcess(const std::vector<std::string>& argv, Streams streams,
               std::function<void(std::string_view)> on_output, std::function<void()> on_end);
  PipedProcess(const PipedProcess&) = delete;
  PipedProcess& operator=(const PipedProcess&) = delete;
  ~PipedProcess();

  pid_t pid() const { return pid_; }

  // Stops the program with SIGTERM, waits for it and for the end of its
  // output. Its exit status, -1 when it did not exit by itself; once
  // stopped, the status of that stop.
  int Stop();

 private:
  pid_t pid_ = -1;
  int exit_status_ = -1;
  std::thread reader_;
};

}  // namespace qbfa_test

#endif  // TESTS_SUPPORT_PIPED_PROCESS_H_
