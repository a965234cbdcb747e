// `qbfa host` as a child process whose log lines are stamped with the moment
// they arrive. The host logs each line with one write to standard error as
// it happens, so the arrival of a line (read from a pipe by a thread of our
// own) times the step it reports to well under a millisecond.
#ifndef TESTS_SUPPORT_LOGGED_HOST_H_
#define TESTS_SUPPORT_LOGGED_HOST_H_

#include <sys/types.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/piped_process.h"

namespace qbfa_test {

class LoggedHost {
 public:
  using Clock = std::chrono::steady_clock;

  struct Line {
    size_t index = 0;  // lines before it in the log
    Clock::time_point at;
    std::string text;  // without the newline
  };

  // Starts `qbfa host` in this process's environment. Throws std::runtime_error
  // when it cannot.
  explicit LoggedHost(const std::string& qbfa);
  LoggedHost(const LoggedHost&) = delete;
  LoggedHost& operator=(const LoggedHost&) = delete;

  pid_t pid() const { return process_.pid(); }
  // How many lines have arrived: a place in the log to look from.
  size_t LineCount() const;
  // The first line at `from` or later that contains `text`, waiting up to a
  // minute for it; throws std::runtime_error, with the log's tail, when it
  // does not come or the host ends.
  Line Await(std::string_view text, size_t from) const;
  // The lines kept from `from` on.
  std::vector<Line> Since(size_t from) const;
  // Lets go of the lines before `index`, for a host that logs for hours;
  // the others keep their indices.
  void Forget(size_t index);

  // Stops the host with SIGTERM, waits for it and for the end of its log;
  // its exit status, -1 when it did not exit by itself. Once stopped, the
  // status of that stop.
  int Stop() { return process_.Stop(); }

 private:
  // On the reading thread: the next bytes of the log, then its end.
  void Take(std::string_view bytes);
  void End();
  // The tail of the log, for a message. Call with the mutex held.
  std::string Tail() const;

  mutable std::mutex mutex_;
  mutable std::condition_variable arrived_;
  std::deque<Line> lines_;
  size_t forgotten_ = 0;  // lines let go of, all from the front
  bool ended_ = false;
  std::string pending_;  // a line not yet ended; the reading thread's own
  // Last: it stops the host, and with it the reading thread, before the
  // members that thread uses go.
  PipedProcess process_;
};

}  // namespace qbfa_test

#endif  // TESTS_SUPPORT_LOGGED_HOST_H_
