// A private session bus for tests.
#ifndef TESTS_SUPPORT_SESSION_BUS_H_
#define TESTS_SUPPORT_SESSION_BUS_H_

#include <sys/types.h>

#include <optional>
#include <string>

#include "tests/support/environment.h"

namespace qbfa_test {

// Starts `dbus-daemon` with a configuration of its own, listening on a socket
// in a fresh temporary directory, and points DBUS_SESSION_BUS_ADDRESS at it
// (child processes inherit it) while it lives. The daemon is stopped and the
// variable restored at the end; should the test process die first, the
// kernel stops the daemon too.
class PrivateSessionBus {
 public:
  PrivateSessionBus();
  PrivateSessionBus(const PrivateSessionBus&) = delete;
  PrivateSessionBus& operator=(const PrivateSessionBus&) = delete;
  ~PrivateSessionBus();

  // False when the daemon could not be started; error() says why.
  bool running() const { return daemon_ > 0; }
  const std::string& error() const { return error_; }
  const std::string& address() const { return address_; }

  // Stops the daemon now, for tests of a bus that goes away. The address
  // stays set, pointing at nothing.
  void Stop();

 private:
  void Start();

  std::string directory_;
  std::string address_;
  std::string error_;
  pid_t daemon_ = -1;
  std::optional<ScopedEnvironmentVariable> address_variable_;
};

}  // namespace qbfa_test

#endif  // TESTS_SUPPORT_SESSION_BUS_H_
