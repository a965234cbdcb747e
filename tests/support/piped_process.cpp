#include "tests/support/piped_process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>

#include <cerrno>
#include <stdexcept>

namespace qbfa_test {

PipedProcess::PipedProcess(const std::vector<std::string>& argv, Streams streams,
                           std::function<void(std::string_view)> on_output,
                           std::function<void()> on_end) {
  std::vector<char*> arguments;
  for (const std::string& argument : argv)
    arguments.push_back(const_cast<char*>(argument.c_str()));
  arguments.push_back(nullptr);
  const int unpiped = streams.piped == STDOUT_FILENO ? STDERR_FILENO : STDOUT_FILENO;
  int pipe_ends[2];
  if (pipe2(pipe_ends, O_CLOEXEC) != 0)
    throw std::runtime_error("cannot create a pipe for " + argv[0]);
  const pid_t parent = getpid();
  pid_ = fork();
  if (pid_ == 0) {
    // Only async-signal-safe calls between fork and exec.
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != parent)
      _exit(127);
    const int input = open("/dev/null", O_RDONLY);
    const int other = open(streams.other.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (input < 0 || other < 0 || dup2(input, STDIN_FILENO) < 0 ||
        dup2(pipe_ends[1], streams.piped) < 0 || dup2(other, unpiped) < 0) {
      _exit(127);
    }
    execv(arguments[0], arguments.data());
    _exit(127);
  }
  close(pipe_ends[1]);
  if (pid_ < 0) {
    close(pipe_ends[0]);
    throw std::runtime_error("cannot fork for " + argv[0]);
  }
  reader_ = std::thread(
      [fd = pipe_ends[0], on_output = std::move(on_output), on_end = std::move(on_end)] {
        char buffer[1 << 16];
        for (;;) {
          const ssize_t got = read(fd, buffer, sizeof buffer);
          if (got < 0 && errno == EINTR)
            continue;
          if (got <= 0)
            break;
          on_output({buffer, static_cast<size_t>(got)});
        }
        close(fd);
        on_end();
      });
}

PipedProcess::~PipedProcess() {
  Stop();
}

int PipedProcess::Stop() {
  if (!reader_.joinable())
    return exit_status_;
  kill(pid_, SIGTERM);
  int status = 0;
  while (waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
  }
  exit_status_ = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  // The program's end of the pipe closed with it, so the reader sees the end.
  reader_.join();
  return exit_status_;
}

}  // namespace qbfa_test
