#include "tests/support/child_process.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

namespace qbfa_test {

pid_t StartChildProcess(const std::function<int()>& body) {
  pid_t child = fork();
  if (child == 0)
    _exit(body());
  return child;
}

int WaitForChildProcess(pid_t child) {
  if (child < 0)
    return -1;
  int status = 0;
  while (waitpid(child, &status, 0) < 0) {
    if (errno != EINTR)
      return -1;
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

int RunInChildProcess(const std::function<int()>& body) {
  return WaitForChildProcess(StartChildProcess(body));
}

}  // namespace qbfa_test
