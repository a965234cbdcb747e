#include "tests/reader/qbfa_process.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>

extern char** environ;

namespace qbfa_test {
namespace {

// A temporary file that the child writes one of its streams to.
class Capture {
 public:
  Capture() {
    if ((descriptor_ = mkstemp(path_.data())) < 0)
      throw std::runtime_error("mkstemp failed");
  }
  ~Capture() {
    close(descriptor_);
    unlink(path_.c_str());
  }
  int descriptor() const { return descriptor_; }
  std::string Contents() const {
    std::ifstream file(path_, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
  }

 private:
  std::string path_ = "/tmp/qbfa-test-output-XXXXXX";
  int descriptor_ = -1;
};

}  // namespace

CommandResult RunQbfa(const std::vector<std::string>& arguments) {
  const std::string program = QBFA_BINARY_DIR "/cli/qbfa";
  std::vector<char*> argv{const_cast<char*>(program.c_str())};
  for (const std::string& argument : arguments)
    argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);

  Capture out, err;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, out.descriptor(), STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, err.descriptor(), STDERR_FILENO);
  pid_t child = -1;
  int error = posix_spawn(&child, program.c_str(), &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (error != 0)
    throw std::runtime_error("cannot start " + program);

  int status = 0;
  while (waitpid(child, &status, 0) < 0) {
    if (errno != EINTR)
      throw std::runtime_error("waitpid failed");
  }
  CommandResult result;
  result.exit_code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  result.out = out.Contents();
  result.err = err.Contents();
  return result;
}

}  // namespace qbfa_test
