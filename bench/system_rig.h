// The whole system as a user has it, for timing: a private session bus, a
// throw-away home with the font manager's library at
// ~/Library/FontAgent Pro/FontAgent.db and the plug-in's log switch on, the
// runtime folder (the pasteboard's) on a tmpfs, `qbfa host` running the
// plug-in, and this process as a listener subscribed to both notifications
// of a publication.
#ifndef BENCH_SYSTEM_RIG_H_
#define BENCH_SYSTEM_RIG_H_

#include <memory>
#include <string>
#include <string_view>

#include "platform/notification_listener.h"
#include "platform/pasteboard.h"
#include "tests/support/host_session.h"
#include "tests/support/logged_host.h"

namespace qbfa_bench {

using qbfa_test::LoggedHost;
using Clock = LoggedHost::Clock;

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

  const LoggedHost& host() const { return session_.host(); }
  const std::string& database() const { return session_.database(); }

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
  qbfa_test::HostSession session_;
  std::unique_ptr<NotificationListener> listener_;
  UniquePasteboardRef board_;
};

}  // namespace qbfa_bench

#endif  // BENCH_SYSTEM_RIG_H_
