#include "tests/support/notification_wait.h"

namespace qbfa_test {

std::vector<DistributedNotification> ReceiveAll(NotificationListener& listener,
                                                std::chrono::milliseconds first_wait) {
  std::vector<DistributedNotification> received;
  while (auto next = listener.Wait(received.empty() ? first_wait : kSilence))
    received.push_back(*next);
  return received;
}

}  // namespace qbfa_test
