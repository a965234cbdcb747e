#include "tests/host/display_server.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "tests/support/child_process.h"

namespace qbfa_test {

DisplayServer::DisplayServer() {
  char pattern[] = "/tmp/qbfa-display-XXXXXX";
  if (mkdtemp(pattern) != nullptr)
    directory_ = pattern;
}

DisplayServer::~DisplayServer() {
  if (process_ > 0) {
    kill(process_, SIGTERM);
    WaitForChildProcess(process_);
  }
  if (!directory_.empty()) {
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
  }
}

void DisplayServer::Start(const std::function<int()>& body) {
  process_ = StartChildProcess(body);
}

bool DisplayServer::Ended() {
  if (process_ <= 0 || waitpid(process_, nullptr, WNOHANG) != process_)
    return false;
  process_ = -1;
  return true;
}

void DisplayServer::Kill() {
  if (process_ > 0) {
    kill(process_, SIGKILL);
    WaitForChildProcess(process_);
  }
  process_ = -1;
}

int ExecServer(const std::string& log, const std::vector<std::string>& arguments,
               std::vector<std::string> environment) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  int output = open(log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  if (output < 0 || dup2(output, STDOUT_FILENO) < 0 || dup2(output, STDERR_FILENO) < 0)
    return 127;
  auto pointers = [](auto& texts) {
    std::vector<char*> list;
    for (auto& text : texts)
      list.push_back(const_cast<char*>(text.c_str()));
    list.push_back(nullptr);
    return list;
  };
  std::vector<char*> argv = pointers(arguments);
  std::vector<char*> envp = pointers(environment);
  execvpe(argv[0], argv.data(), envp.data());
  return 127;
}

}  // namespace qbfa_test
