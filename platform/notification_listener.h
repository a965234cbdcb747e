// The receiving side of distributed notifications (notifications.h).
#ifndef PLATFORM_NOTIFICATION_LISTENER_H_
#define PLATFORM_NOTIFICATION_LISTENER_H_

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

struct sd_bus;

struct DistributedNotification {
  std::string name;
  std::string object;
  friend bool operator==(const DistributedNotification&, const DistributedNotification&) = default;
};

namespace notification_detail {
struct Inbox;
}

// A subscription on the session bus, with its own connection.
class NotificationListener {
 public:
  // Connects and subscribes to the notifications named in `names`, or to all
  // of them when `names` is empty. The subscription is in force when this
  // returns, so nothing posted afterwards can be missed. Null, with `error`
  // set, when the bus cannot be reached or refuses.
  static std::unique_ptr<NotificationListener> Create(const std::vector<std::string>& names,
                                                      std::string* error);

  NotificationListener(const NotificationListener&) = delete;
  NotificationListener& operator=(const NotificationListener&) = delete;
  ~NotificationListener();

  // The next notification, in the order posted; waits at most `timeout` for
  // one. Nothing on timeout, when a signal interrupts the wait, or when the
  // connection is lost (connected()).
  std::optional<DistributedNotification> Wait(std::chrono::milliseconds timeout);

  bool connected() const { return connected_; }

 private:
  NotificationListener(sd_bus* bus, std::unique_ptr<notification_detail::Inbox> inbox);

  sd_bus* bus_;
  std::unique_ptr<notification_detail::Inbox> inbox_;
  bool connected_ = true;
};

#endif  // PLATFORM_NOTIFICATION_LISTENER_H_
