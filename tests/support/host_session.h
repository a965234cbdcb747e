// The surroundings of `qbfa host` as a user's session gives them, for
// whole-system tests, benchmarks and the soak: a private session bus, a
// throw-away home with the font manager's library at
// ~/Library/FontAgent Pro/FontAgent.db and the plug-in's log switch on, the
// runtime folder (the pasteboard's) on a tmpfs, and no X display, so that
// switches come only from the session bus.
#ifndef TESTS_SUPPORT_HOST_SESSION_H_
#define TESTS_SUPPORT_HOST_SESSION_H_

#include <optional>
#include <string>
#include <string_view>

#include "tests/support/environment.h"
#include "tests/support/logged_host.h"
#include "tests/support/session_bus.h"
#include "tests/support/temporary_home.h"
#include "tests/support/tmpfs_runtime_folder.h"

namespace qbfa_test {

class HostSession {
 public:
  // Puts `library` (a database's bytes) in place; `qbfa` is the command that
  // runs the host. Throws std::runtime_error when a step fails.
  HostSession(std::string qbfa, std::string_view library);
  HostSession(const HostSession&) = delete;
  HostSession& operator=(const HostSession&) = delete;

  const std::string& database() const { return database_; }
  const TemporaryHome& home() const { return home_; }

  // Starts the host and returns once it has published the sets it read at
  // start-up and its watcher watches the database. Throws
  // std::runtime_error when it does not get that far.
  LoggedHost& StartHost();
  LoggedHost& host() { return *host_; }
  const LoggedHost& host() const { return *host_; }

 private:
  std::string qbfa_;
  PrivateSessionBus bus_;
  TemporaryHome home_;
  TmpfsRuntimeFolder runtime_;
  // The host hears switches only from the session bus, where the caller sends them.
  ScopedEnvironmentVariable no_display_{"DISPLAY", std::nullopt};
  ScopedEnvironmentVariable no_wayland_display_{"WAYLAND_DISPLAY", std::nullopt};
  std::string database_;
  std::optional<LoggedHost> host_;
};

}  // namespace qbfa_test

#endif  // TESTS_SUPPORT_HOST_SESSION_H_
