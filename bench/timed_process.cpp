#include "bench/timed_process.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <stdexcept>

namespace qbfa_bench {

ProcessCost RunToEnd(const std::vector<std::string>& argv) {
  std::vector<char*> pointers;
  for (const std::string& argument : argv)
    pointers.push_back(const_cast<char*>(argument.c_str()));
  pointers.push_back(nullptr);

  const auto start = std::chrono::steady_clock::now();
  const pid_t child = fork();
  if (child == 0) {
    int null = open("/dev/null", O_RDWR);
    dup2(null, STDIN_FILENO);
    dup2(null, STDOUT_FILENO);
    dup2(null, STDERR_FILENO);
    execv(pointers[0], pointers.data());
    _exit(127);
  }
  if (child < 0)
    throw std::runtime_error("cannot fork " + argv[0]);
  int status = 0;
  rusage usage = {};
  // wait4 reports this child's own peak, where getrusage(RUSAGE_CHILDREN)
  // would give the largest of every child so far.
  while (wait4(child, &status, 0, &usage) < 0 && errno == EINTR) {
  }
  ProcessCost cost;
  cost.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  cost.peak_rss_mb = static_cast<double>(usage.ru_maxrss) * 1024 / 1e6;  // reported in KiB
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
    std::string command;
    for (const std::string& argument : argv)
      command += " " + argument;
    throw std::runtime_error("failed:" + command);
  }
  return cost;
}

}  // namespace qbfa_bench
