// Waiting for distributed notifications in tests, with the two waits every
// such test needs: one for what must come, one for what must not.
#ifndef TESTS_SUPPORT_NOTIFICATION_WAIT_H_
#define TESTS_SUPPORT_NOTIFICATION_WAIT_H_

#include <chrono>
#include <vector>

#include "platform/notification_listener.h"

namespace qbfa_test {

// Long enough for a loaded machine; only reached when something is missing.
inline constexpr std::chrono::milliseconds kArrival{10000};
// For notifications that must not come: anything posted before has long arrived.
inline constexpr std::chrono::milliseconds kSilence{300};

// Everything that arrives until a quiet moment: up to `first_wait` for the
// first notification, then kSilence for each next one.
std::vector<DistributedNotification> ReceiveAll(NotificationListener& listener,
                                                std::chrono::milliseconds first_wait = kArrival);

}  // namespace qbfa_test

#endif  // TESTS_SUPPORT_NOTIFICATION_WAIT_H_
