#include "bench/timed_process.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <stdexcept>

namespace qbfa_bench {
namespace {

constexpr char kLaunchArgument[] = "--launch-timed";

void AwaitChild(pid_t child, int* status, rusage* usage) {
  while (wait4(child, status, 0, usage) < 0 && errno == EINTR) {
  }
}

}  // namespace

int LaunchTimed(int argc, char** argv) {
  if (argc < 3 || std::strcmp(argv[1], kLaunchArgument) != 0)
    return -1;
  const auto start = std::chrono::steady_clock::now();
  const pid_t child = fork();
  if (child == 0) {
    const int null = open("/dev/null", O_RDWR);
    dup2(null, STDIN_FILENO);
    dup2(null, STDOUT_FILENO);
    dup2(null, STDERR_FILENO);
    execv(argv[2], argv + 2);
    _exit(127);
  }
  if (child < 0)
    return 1;
  int status = 0;
  // wait4 reports this child's own peak, where getrusage(RUSAGE_CHILDREN)
  // would give the largest of every child so far.
  rusage usage = {};
  AwaitChild(child, &status, &usage);
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  std::printf("%d %.9f %ld\n", WIFEXITED(status) ? WEXITSTATUS(status) : -1, seconds,
              usage.ru_maxrss);
  return 0;
}

ProcessCost RunToEnd(const std::vector<std::string>& argv) {
  std::vector<std::string> launch{"/proc/self/exe", kLaunchArgument};
  launch.insert(launch.end(), argv.begin(), argv.end());
  std::vector<char*> pointers;
  for (std::string& argument : launch)
    pointers.push_back(argument.data());
  pointers.push_back(nullptr);

  int report[2];
  if (pipe2(report, O_CLOEXEC) != 0)
    throw std::runtime_error("cannot create a pipe");
  const pid_t launcher = fork();
  if (launcher == 0) {
    dup2(report[1], STDOUT_FILENO);
    execv(pointers[0], pointers.data());
    _exit(127);
  }
  close(report[1]);
  std::string said;
  char buffer[256];
  for (ssize_t got; (got = read(report[0], buffer, sizeof buffer)) != 0;) {
    if (got > 0)
      said.append(buffer, static_cast<size_t>(got));
    else if (errno != EINTR)
      break;
  }
  close(report[0]);
  int status = 0;
  rusage ignored = {};
  if (launcher > 0)
    AwaitChild(launcher, &status, &ignored);

  int exit_code = -1;
  double seconds = 0;
  long peak_kib = 0;
  if (std::sscanf(said.c_str(), "%d %lf %ld", &exit_code, &seconds, &peak_kib) != 3 ||
      exit_code != 0) {
    std::string command;
    for (const std::string& argument : argv)
      command += " " + argument;
    throw std::runtime_error("failed:" + command);
  }
  return {seconds, static_cast<double>(peak_kib) * 1024 / 1e6};
}

}  // namespace qbfa_bench
