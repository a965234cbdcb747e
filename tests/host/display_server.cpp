#include "tests/host/display_server.h"

#include <signal.h>
#include <sys/wait.h>

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

}  // namespace qbfa_test
