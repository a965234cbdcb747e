#include "platform/notification_listener.h"

#include <systemd/sd-bus.h>

#include <cerrno>
#include <cstring>
#include <deque>
#include <set>

#include "platform/notifications.h"

namespace notification_detail {

// What the bus callback fills and Wait empties.
struct Inbox {
  std::set<std::string, std::less<>> names;  // empty: every notification
  std::deque<DistributedNotification> received;
};

}  // namespace notification_detail

namespace {

using notification_detail::Inbox;

// A subscription that waits longer than this for the bus to confirm it is
// talking to a bus that is not working.
constexpr uint64_t kCallTimeoutUsec = 5'000'000;

// Names are compared here rather than put into the match rule: a rule would
// need every name quoted for the bus, and one rule serves any set of names.
int OnSignal(sd_bus_message* message, void* context, sd_bus_error* /*error*/) {
  auto* inbox = static_cast<Inbox*>(context);
  const char* name = nullptr;
  const char* object = nullptr;
  if (sd_bus_message_read(message, "ss", &name, &object) >= 0 &&
      (inbox->names.empty() || inbox->names.contains(std::string_view(name)))) {
    inbox->received.push_back({name, object});
  }
  return 0;
}

}  // namespace

NotificationListener::NotificationListener(sd_bus* bus, std::unique_ptr<Inbox> inbox)
    : bus_(bus), inbox_(std::move(inbox)) {}

std::unique_ptr<NotificationListener> NotificationListener::Create(
    const std::vector<std::string>& names, std::string* error) {
  sd_bus* bus = nullptr;
  int r = sd_bus_open_user(&bus);
  if (r < 0) {
    *error = std::string("cannot connect to the session bus: ") + std::strerror(-r);
    return nullptr;
  }
  auto inbox = std::make_unique<Inbox>();
  inbox->names.insert(names.begin(), names.end());
  Inbox* context = inbox.get();
  std::unique_ptr<NotificationListener> listener(new NotificationListener(bus, std::move(inbox)));
  sd_bus_set_method_call_timeout(bus, kCallTimeoutUsec);
  const std::string rule = std::string("type='signal',path='") + kDistributedNotificationPath +
                           "',interface='" + kDistributedNotificationInterface + "',member='" +
                           kDistributedNotificationMember + "'";
  // Synchronous: returns once the bus has the rule.
  r = sd_bus_add_match(bus, nullptr, rule.c_str(), &OnSignal, context);
  if (r < 0) {
    *error = std::string("cannot subscribe on the session bus: ") + std::strerror(-r);
    return nullptr;
  }
  return listener;
}

NotificationListener::~NotificationListener() {
  sd_bus_close_unref(bus_);
}

std::optional<DistributedNotification> NotificationListener::Wait(
    std::chrono::milliseconds timeout) {
  std::deque<DistributedNotification>& received = inbox_->received;
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  while (received.empty() && connected_) {
    int r = sd_bus_process(bus_, nullptr);
    if (r < 0) {
      connected_ = false;
      break;
    }
    if (r > 0)
      continue;
    auto left = std::chrono::duration_cast<std::chrono::microseconds>(
        deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0)
      break;
    r = sd_bus_wait(bus_, static_cast<uint64_t>(left.count()));
    // A signal ends the wait early, so that the caller can look at what its
    // handler recorded (a request to stop, say).
    if (r == -EINTR)
      break;
    if (r < 0)
      connected_ = false;
  }
  if (received.empty())
    return std::nullopt;
  DistributedNotification next = std::move(received.front());
  received.pop_front();
  return next;
}
