// The whole system as a user has it, for timing: a private session bus, a
// throw-away home with the font manager's library at
// ~/Library/FontAgent Pro/FontAgent.db and the plug-in's log switch on, the
// runtime folder (the pasteboard's) on a tmpfs, `qbfa host` running the
// plug-in, and this process as a listener subscribed to both notifications
// of a publication.
#ifndef BENCH_SYSTEM_RIG_H_
#define BENCH_SYSTEM_RIG_H_

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "bench/logged_host.h"
#include "bench/tmpfs_runtime_folder.h"
#include "platform/notification_listener.h"
#include "platform/pasteboard.h"
#include "tests/support/environment.h"
#include "tests/support/session_bus.h"
#include "tests/support/temporary_home.h"

namespace qbfa_bench {

// A write of the database as the host's watcher saw it.
struct Write {
  Clock::time_point began;
  // When the watcher logged that the main thread had marked the sets stale
  // for the write's last change of the file's date.
  Clock::time_point stale;
};

class SystemRig {
 public:
  // Puts `library` (a database's bytes) in place and starts the host; returns
  // once its start-up publication has reached the listener and its watcher
  // watches the file. Throws std::runtime_error when a step fails.
  explicit SystemRig(std::string_view library);

  const LoggedHost& host() const { return *host_; }
  const std::string& database() const { return database_; }

  // Writes `library` over the database in place, as the font manager does,
  // once the file clock has passed the file's date (the watcher acts only on
  // a later one); returns when the sets are marked stale.
  Write WriteDatabase(std::string_view library);
  // Sends a front-application switch as `qbfa switch` does; when it left.
  Clock::time_point Switch();
  // Waits for both notifications of a publication; when the second came.
  Clock::time_point AwaitPublication();
  // The XML the pasteboard holds now.
  cf::Data ReadPasteboard();

 private:
  qbfa_test::PrivateSessionBus bus_;
  qbfa_test::TemporaryHome home_;
  TmpfsRuntimeFolder runtime_;
  // The host's desktop sources of switches stay off.
  qbfa_test::ScopedEnvironmentVariable no_display_{"DISPLAY", std::nullopt};
  qbfa_test::ScopedEnvironmentVariable no_wayland_display_{"WAYLAND_DISPLAY", std::nullopt};
  std::string database_;
  std::unique_ptr<NotificationListener> listener_;
  UniquePasteboardRef board_;
  std::optional<LoggedHost> host_;
};

}  // namespace qbfa_bench

#endif  // BENCH_SYSTEM_RIG_H_
