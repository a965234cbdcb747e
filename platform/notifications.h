// Distributed notifications: one signal on the D-Bus session bus per post,
// which any process of the user can receive.
//
// On the bus a notification is a broadcast signal:
//   path       /com/quillbox/DistributedNotifications
//   interface  com.quillbox.DistributedNotifications
//   member     Notification
//   arguments  (ss): the notification's name, then its object
// A listener subscribes with a match rule on these, adding arg0='<name>' to
// hear one notification only (see notification_listener.h).
#ifndef PLATFORM_NOTIFICATIONS_H_
#define PLATFORM_NOTIFICATIONS_H_

#include <cstddef>
#include <string_view>

constexpr char kDistributedNotificationPath[] = "/com/quillbox/DistributedNotifications";
constexpr char kDistributedNotificationInterface[] = "com.quillbox.DistributedNotifications";
constexpr char kDistributedNotificationMember[] = "Notification";

struct DistributedNotificationCenter;
using CFNotificationCenterRef = DistributedNotificationCenter*;

// The process's one distributed center. Its bus connection is opened on the
// first post and kept: posts travel in the order they were made.
CFNotificationCenterRef CFNotificationCenterGetDistributedCenter();

// Sends the notification `name` with `object` to every listener. Nothing is
// ever reported back: with no session bus reachable, or a name or object
// that is not UTF-8 without NULs, the post is dropped. The call waits for the
// signal to leave this process, but never longer than a fraction of a second
// (a hung bus is dropped, and connected afresh on a later post).
// User info cannot travel with a distributed notification here, hence the
// parameter that only takes nullptr. Delivery is always immediate.
void CFNotificationCenterPostNotification(CFNotificationCenterRef center, std::string_view name,
                                          std::string_view object, std::nullptr_t user_info,
                                          bool deliver_immediately);

#endif  // PLATFORM_NOTIFICATIONS_H_
