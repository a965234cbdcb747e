// What a display server of the tests' own holds: the runtime directory it
// makes its socket in, and its process.
#ifndef TESTS_HOST_DISPLAY_SERVER_H_
#define TESTS_HOST_DISPLAY_SERVER_H_

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

namespace qbfa_test {

// Both go with this: the process is stopped with SIGTERM and waited for,
// the directory removed.
class DisplayServer {
 public:
  DisplayServer();
  DisplayServer(const DisplayServer&) = delete;
  DisplayServer& operator=(const DisplayServer&) = delete;
  ~DisplayServer();

  // A fresh directory under /tmp; empty when none could be made.
  const std::string& directory() const { return directory_; }

  // Runs `body` in a child process: the server.
  void Start(const std::function<int()>& body);
  // True, once, when the server has ended by itself.
  bool Ended();
  // Kills the server at once, as a display that crashes.
  void Kill();

 private:
  std::string directory_;
  pid_t process_ = -1;
};

// For a server's child process: ends with the test process, sends its output
// to the file `log`, and becomes `arguments[0]` (looked up on PATH when it has
// no slash) with `environment` ("NAME=value" each) as its whole environment.
// Returns only when that fails, with 127.
int ExecServer(const std::string& log, const std::vector<std::string>& arguments,
               std::vector<std::string> environment);

}  // namespace qbfa_test

#endif  // TESTS_HOST_DISPLAY_SERVER_H_
