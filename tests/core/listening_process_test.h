// The set-up shared by tests of start-up and of the broadcast: each runs in
// a process of its own (both keep process-wide state they never reset), on a
// private session bus, with a listener subscribed to every notification.
#ifndef TESTS_CORE_LISTENING_PROCESS_TEST_H_
#define TESTS_CORE_LISTENING_PROCESS_TEST_H_

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/notification_listener.h"
#include "tests/support/fresh_process.h"
#include "tests/support/notification_wait.h"
#include "tests/support/session_bus.h"

namespace qbfa_test {

class ListeningProcessTest : public testing::Test {
 protected:
  void SetUp() override {
    if (!InFreshProcess())
      GTEST_SKIP() << "ran in a process of its own";
    ASSERT_TRUE(bus_.running()) << bus_.error();
    std::string error;
    listener_ = NotificationListener::Create({}, &error);
    ASSERT_NE(listener_, nullptr) << error;
  }

  // Everything posted so far; see ReceiveAll.
  std::vector<DistributedNotification> Received(std::chrono::milliseconds first_wait = kArrival) {
    return ReceiveAll(*listener_, first_wait);
  }

  PrivateSessionBus bus_;
  std::unique_ptr<NotificationListener> listener_;
};

}  // namespace qbfa_test

#endif  // TESTS_CORE_LISTENING_PROCESS_TEST_H_
