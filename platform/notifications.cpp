#include "platform/notifications.h"

#include <systemd/sd-bus.h>
#include <time.h>

#include <cerrno>
#include <cstdint>
#include <mutex>
#include <string>

struct DistributedNotificationCenter {
  std::mutex mutex;
  sd_bus* bus = nullptr;  // null until connected, and after a failure
};

namespace {

// How long a post may wait for its signal to leave the process. Long enough
// for a busy bus, short enough for the thread that posts to carry on.
constexpr uint64_t kFlushBudgetUsec = 500'000;

uint64_t NowUsec() {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<uint64_t>(now.tv_sec) * 1'000'000 + static_cast<uint64_t>(now.tv_nsec) / 1000;
}

void Disconnect(DistributedNotificationCenter* center) {
  // Not sd_bus_flush_close_unref: flushing could block without limit.
  center->bus = sd_bus_close_unref(center->bus);
}

// Drains what the bus has sent us (the reply to Hello, the name it gave us)
// without waiting. An error here means the bus went away since the last post,
// which is the moment to find out, before a signal is queued on a dead line.
bool StillConnected(sd_bus* bus) {
  int r;
  while ((r = sd_bus_process(bus, nullptr)) > 0) {
  }
  return r >= 0 && sd_bus_is_open(bus) > 0;
}

bool Connect(DistributedNotificationCenter* center) {
  if (center->bus != nullptr && StillConnected(center->bus))
    return true;
  Disconnect(center);
  // Reads DBUS_SESSION_BUS_ADDRESS, else $XDG_RUNTIME_DIR/bus. Connecting to
  // a local socket either succeeds or fails at once.
  if (sd_bus_open_user(&center->bus) < 0) {
    center->bus = nullptr;
    return false;
  }
  return true;
}

// Drives the connection until everything queued is written, within the budget.
bool Flush(sd_bus* bus) {
  const uint64_t deadline = NowUsec() + kFlushBudgetUsec;
  for (;;) {
    uint64_t queued = 0;
    if (sd_bus_get_n_queued_write(bus, &queued) < 0)
      return false;
    if (queued == 0)
      return true;
    int r = sd_bus_process(bus, nullptr);
    if (r < 0)
      return false;
    if (r > 0)
      continue;
    uint64_t now = NowUsec();
    if (now >= deadline)
      return false;
    // A signal handler of the host may interrupt the wait; the deadline still holds.
    int waited = sd_bus_wait(bus, deadline - now);
    if (waited < 0 && waited != -EINTR)
      return false;
  }
}

bool Postable(std::string_view text) {
  return text.find('\0') == std::string_view::npos;
}

}  // namespace

CFNotificationCenterRef CFNotificationCenterGetDistributedCenter() {
  // Never destroyed: a post from another static destructor must still work.
  static auto* center = new DistributedNotificationCenter;
  return center;
}

void CFNotificationCenterPostNotification(CFNotificationCenterRef center, std::string_view name,
                                          std::string_view object, std::nullptr_t,
                                          bool /*deliver_immediately*/) {
  if (center == nullptr || !Postable(name) || !Postable(object))
    return;
  std::lock_guard lock(center->mutex);
  if (!Connect(center))
    return;
  // sd-bus checks that both are UTF-8 and refuses the message otherwise.
  int r = sd_bus_emit_signal(center->bus, kDistributedNotificationPath,
                             kDistributedNotificationInterface, kDistributedNotificationMember,
                             "ss", std::string(name).c_str(), std::string(object).c_str());
  if (r == -EINVAL)
    return;
  if (r < 0 || !Flush(center->bus))
    Disconnect(center);
}
