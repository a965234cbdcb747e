#include "tests/support/logged_host.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>

namespace qbfa_test {
namespace {

// Long enough for a refresh of 80,000 fonts on a loaded machine.
constexpr std::chrono::seconds kPatience(60);

}  // namespace

LoggedHost::LoggedHost(const std::string& qbfa) {
  int log[2];
  if (pipe2(log, O_CLOEXEC) != 0)
    throw std::runtime_error("cannot create a pipe for the host's log");
  const pid_t parent = getpid();
  pid_ = fork();
  if (pid_ == 0) {
    // Only async-signal-safe calls between fork and exec. The host must not
    // outlive the program that started it.
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != parent)
      _exit(127);
    int null = open("/dev/null", O_RDWR);
    dup2(null, STDIN_FILENO);
    dup2(null, STDOUT_FILENO);
    dup2(log[1], STDERR_FILENO);
    execl(qbfa.c_str(), qbfa.c_str(), "host", static_cast<char*>(nullptr));
    _exit(127);
  }
  close(log[1]);
  if (pid_ < 0) {
    close(log[0]);
    throw std::runtime_error("cannot fork the host");
  }
  reader_ = std::thread([this, fd = log[0]] { ReadLog(fd); });
}

LoggedHost::~LoggedHost() {
  Stop();
}

int LoggedHost::Stop() {
  if (!reader_.joinable())
    return exit_status_;
  kill(pid_, SIGTERM);
  int status = 0;
  while (waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
  }
  exit_status_ = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  // The host's end of the pipe closed with it, so the reader sees the end.
  reader_.join();
  return exit_status_;
}

void LoggedHost::ReadLog(int fd) {
  std::string pending;
  char buffer[1 << 16];
  for (;;) {
    const ssize_t got = read(fd, buffer, sizeof buffer);
    if (got < 0 && errno == EINTR)
      continue;
    if (got <= 0)
      break;
    const Clock::time_point now = Clock::now();
    pending.append(buffer, static_cast<size_t>(got));
    std::lock_guard lock(mutex_);
    size_t start = 0;
    for (size_t end; (end = pending.find('\n', start)) != std::string::npos; start = end + 1)
      lines_.push_back({forgotten_ + lines_.size(), now, pending.substr(start, end - start)});
    pending.erase(0, start);
    arrived_.notify_all();
  }
  close(fd);
  std::lock_guard lock(mutex_);
  ended_ = true;
  arrived_.notify_all();
}

size_t LoggedHost::LineCount() const {
  std::lock_guard lock(mutex_);
  return forgotten_ + lines_.size();
}

LoggedHost::Line LoggedHost::Await(std::string_view text, size_t from) const {
  std::unique_lock lock(mutex_);
  const Clock::time_point deadline = Clock::now() + kPatience;
  for (size_t next = std::max(from, forgotten_);;) {
    for (; next < forgotten_ + lines_.size(); ++next) {
      const Line& line = lines_[next - forgotten_];
      if (line.text.find(text) != std::string::npos)
        return line;
    }
    if (ended_ || Clock::now() >= deadline)
      break;
    arrived_.wait_until(lock, deadline);
  }
  throw std::runtime_error("the host did not log \"" + std::string(text) + "\"" +
                           (ended_ ? " before it ended" : "") + "; its last lines:\n" + Tail());
}

std::vector<LoggedHost::Line> LoggedHost::Since(size_t from) const {
  std::lock_guard lock(mutex_);
  const size_t skip = std::min(from > forgotten_ ? from - forgotten_ : 0, lines_.size());
  return std::vector<Line>(lines_.begin() + static_cast<ptrdiff_t>(skip), lines_.end());
}

void LoggedHost::Forget(size_t index) {
  std::lock_guard lock(mutex_);
  for (; forgotten_ < index && !lines_.empty(); ++forgotten_)
    lines_.pop_front();
}

std::string LoggedHost::Tail() const {
  std::string tail;
  for (size_t i = lines_.size() > 20 ? lines_.size() - 20 : 0; i < lines_.size(); ++i)
    tail += lines_[i].text + "\n";
  return tail;
}

}  // namespace qbfa_test
