#include "tests/support/background_process.h"
#include "tests/support/file_text.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>

extern char** environ;

namespace qbfa_test {
namespace {

constexpr std::chrono::milliseconds kPollInterval(10);

std::vector<std::string> ChangedEnvironment(
    const std::map<std::string, std::optional<std::string>>& changes) {
  std::vector<std::string> environment;
  for (char** variable = environ; *variable != nullptr; ++variable) {
    std::string entry = *variable;
    if (!changes.contains(entry.substr(0, entry.find('='))))
      environment.push_back(entry);
  }
  for (const auto& [name, value] : changes) {
    if (value)
      environment.push_back(name + "=" + *value);
  }
  return environment;
}

}  // namespace

BackgroundProcess::BackgroundProcess(
    const std::vector<std::string>& argv,
    const std::map<std::string, std::optional<std::string>>& environment) {
  char directory[] = "/tmp/qbfa-process-XXXXXX";
  if (mkdtemp(directory) == nullptr)
    return;
  directory_ = directory;

  std::vector<std::string> arguments = argv;
  std::vector<char*> argv_pointers;
  for (std::string& argument : arguments)
    argv_pointers.push_back(argument.data());
  argv_pointers.push_back(nullptr);
  std::vector<std::string> variables = ChangedEnvironment(environment);
  std::vector<char*> env_pointers;
  for (std::string& variable : variables)
    env_pointers.push_back(variable.data());
  env_pointers.push_back(nullptr);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, (directory_ + "/out").c_str(),
                                   O_WRONLY | O_CREAT | O_TRUNC, 0600);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, (directory_ + "/err").c_str(),
                                   O_WRONLY | O_CREAT | O_TRUNC, 0600);
  if (posix_spawn(&pid_, arguments[0].c_str(), &actions, nullptr, argv_pointers.data(),
                  env_pointers.data()) != 0) {
    pid_ = -1;
  }
  posix_spawn_file_actions_destroy(&actions);
}

BackgroundProcess::~BackgroundProcess() {
  if (Running()) {
    kill(pid_, SIGKILL);
    Wait();
  }
  if (!directory_.empty()) {
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
  }
}

std::string BackgroundProcess::out() const {
  return FileText(directory_ + "/out");
}

std::string BackgroundProcess::err() const {
  return FileText(directory_ + "/err");
}

bool BackgroundProcess::Running() {
  if (pid_ <= 0 || exit_code_)
    return false;
  int status = 0;
  if (waitpid(pid_, &status, WNOHANG) == 0)
    return true;
  exit_code_ = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return false;
}

bool BackgroundProcess::WaitForOutput(std::string_view text, bool in_error,
                                      std::chrono::milliseconds timeout) {
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  for (;;) {
    // Looked at once more after the process ended: its last words count.
    const bool running = Running();
    if ((in_error ? err() : out()).find(text) != std::string::npos)
      return true;
    if (!running || std::chrono::steady_clock::now() > deadline)
      return false;
    std::this_thread::sleep_for(kPollInterval);
  }
}

void BackgroundProcess::Signal(int signal_number) {
  if (Running())
    kill(pid_, signal_number);
}

int BackgroundProcess::Wait(std::chrono::milliseconds timeout) {
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  while (Running()) {
    if (std::chrono::steady_clock::now() > deadline) {
      kill(pid_, SIGKILL);
      int status = 0;
      waitpid(pid_, &status, 0);
      exit_code_ = -1;
      break;
    }
    std::this_thread::sleep_for(kPollInterval);
  }
  return exit_code_.value_or(-1);
}

}  // namespace qbfa_test
