// A program running beside the test: started, watched through its output,
// signalled and waited for.
#ifndef TESTS_SUPPORT_BACKGROUND_PROCESS_H_
#define TESTS_SUPPORT_BACKGROUND_PROCESS_H_

#include <sys/types.h>

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qbfa_test {

// Long enough for a loaded machine; only ever reached when something is wrong.
constexpr std::chrono::seconds kOutputWait(20);

class BackgroundProcess {
 public:
  // Starts `argv` with this process's environment, changed by `environment`
  // (a value of nullopt removes the variable). Its standard output and error
  // go to files. started() tells whether it began.
  explicit BackgroundProcess(
      const std::vector<std::string>& argv,
      const std::map<std::string, std::optional<std::string>>& environment = {});
  BackgroundProcess(const BackgroundProcess&) = delete;
  BackgroundProcess& operator=(const BackgroundProcess&) = delete;
  // Kills the process if it still runs, and removes its output.
  ~BackgroundProcess();

  bool started() const { return pid_ > 0; }

  // Everything written so far.
  std::string out() const;
  std::string err() const;

  // Waits until `text` is in the output (err() when `in_error`), up to
  // `timeout`; false when it does not come or the process ends first.
  bool WaitForOutput(std::string_view text, bool in_error = false,
                     std::chrono::milliseconds timeout = kOutputWait);

  void Signal(int signal_number);

  // Whether it still runs; reaps it when it has ended.
  bool Running();

  // Waits for the process to end, killing it after `timeout`. Its exit code;
  // -1 when it did not exit by itself.
  int Wait(std::chrono::milliseconds timeout = kOutputWait);

 private:
  pid_t pid_ = -1;
  std::optional<int> exit_code_;
  std::string directory_;
};

}  // namespace qbfa_test

#endif  // TESTS_SUPPORT_BACKGROUND_PROCESS_H_
