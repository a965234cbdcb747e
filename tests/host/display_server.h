// What a display server of the tests' own holds: the runtime directory it
// makes its socket in, and its process.
#ifndef TESTS_HOST_DISPLAY_SERVER_H_
#define TESTS_HOST_DISPLAY_SERVER_H_

#include <sys/types.h>

#include <functional>
#include <string>

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

}  // namespace qbfa_test

#endif  // TESTS_HOST_DISPLAY_SERVER_H_
