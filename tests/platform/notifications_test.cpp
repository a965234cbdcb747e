#include "platform/notifications.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "platform/notification_listener.h"
#include "tests/support/environment.h"
#include "tests/support/notification_wait.h"
#include "tests/support/session_bus.h"
#include "tests/support/temporary_home.h"

namespace {

using std::chrono::milliseconds;

using qbfa_test::kArrival;
using qbfa_test::ReceiveAll;

void Post(std::string_view name, std::string_view object) {
  CFNotificationCenterPostNotification(CFNotificationCenterGetDistributedCenter(), name, object,
                                       nullptr, false);
}

std::unique_ptr<NotificationListener> Listen(const std::vector<std::string>& names = {}) {
  std::string error;
  std::unique_ptr<NotificationListener> listener = NotificationListener::Create(names, &error);
  EXPECT_NE(listener, nullptr) << error;
  return listener;
}

class NotificationsTest : public testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(bus_.running()) << bus_.error(); }

  qbfa_test::TemporaryHome home_;
  qbfa_test::PrivateSessionBus bus_;
};

TEST_F(NotificationsTest, PostsArriveInOrderWithTheirObjects) {
  std::unique_ptr<NotificationListener> everything = Listen();
  std::unique_ptr<NotificationListener> just_sets = Listen({"com.example.fontsetsupdated.fap"});
  ASSERT_TRUE(everything && just_sets);

  Post("com.example.fontsetsupdated.fap", "BLAH!");
  Post("NSFontCollectionChangedNotification", "Crunchy Raw Unboned Quillbox Notification");
  for (int i = 0; i < 30; ++i)
    Post("burst", std::to_string(i));

  std::vector<DistributedNotification> expected = {
      {"com.example.fontsetsupdated.fap", "BLAH!"},
      {"NSFontCollectionChangedNotification", "Crunchy Raw Unboned Quillbox Notification"}};
  for (int i = 0; i < 30; ++i)
    expected.push_back({"burst", std::to_string(i)});
  EXPECT_EQ(ReceiveAll(*everything), expected);
  EXPECT_EQ(ReceiveAll(*just_sets), (std::vector<DistributedNotification>{expected[0]}));
}

TEST_F(NotificationsTest, SubscriptionsMatchNamesExactlyWhateverTheyHold) {
  const std::vector<std::string> names = {"it's", "a,b", "back\\slash", "ünï", "it's"};
  std::unique_ptr<NotificationListener> listener = Listen(names);
  ASSERT_TRUE(listener);
  Post("its", "near miss");
  for (const std::string& name : names)
    Post(name, "hit");
  std::vector<DistributedNotification> expected;
  for (const std::string& name : names)
    expected.push_back({name, "hit"});
  EXPECT_EQ(ReceiveAll(*listener), expected);
}

TEST_F(NotificationsTest, UnsendableTextIsDroppedAndTheNextPostStillArrives) {
  std::unique_ptr<NotificationListener> listener = Listen();
  ASSERT_TRUE(listener);
  Post("bad", "\xff\xfe");
  Post(std::string_view("nul\0name", 8), "x");
  Post("good", "after");
  EXPECT_EQ(ReceiveAll(*listener), (std::vector<DistributedNotification>{{"good", "after"}}));
}

TEST_F(NotificationsTest, PostingFollowsTheBusAcrossRestarts) {
  // The center keeps one connection; when its bus goes away a post must be
  // dropped quietly, and a later post must find the bus that took its place.
  Post("warm", "up");
  bus_.Stop();
  Post("into", "the void");

  qbfa_test::PrivateSessionBus second;
  ASSERT_TRUE(second.running()) << second.error();
  std::unique_ptr<NotificationListener> listener = Listen();
  ASSERT_TRUE(listener);
  Post("after", "restart");
  EXPECT_EQ(ReceiveAll(*listener), (std::vector<DistributedNotification>{{"after", "restart"}}));

  second.Stop();
  EXPECT_FALSE(listener->Wait(kArrival));
  EXPECT_FALSE(listener->connected());
}

TEST_F(NotificationsTest, ASignalEndsAWaitButNotTheSubscription) {
  // A listener stopped by Ctrl-C must get to look at its stop flag, and one
  // that goes on must still be subscribed.
  std::unique_ptr<NotificationListener> listener = Listen();
  ASSERT_TRUE(listener);
  struct sigaction action {};
  action.sa_handler = [](int) {};
  struct sigaction previous {};
  ASSERT_EQ(sigaction(SIGUSR1, &action, &previous), 0);
  std::atomic<bool> waiting{true};
  const pthread_t waiter = pthread_self();
  std::thread interrupter([&] {
    while (waiting) {
      pthread_kill(waiter, SIGUSR1);
      std::this_thread::sleep_for(milliseconds(20));
    }
  });
  std::optional<DistributedNotification> nothing = listener->Wait(milliseconds(60000));
  waiting = false;
  interrupter.join();
  sigaction(SIGUSR1, &previous, nullptr);

  EXPECT_FALSE(nothing);
  EXPECT_TRUE(listener->connected());
  Post("still", "here");
  EXPECT_EQ(ReceiveAll(*listener), (std::vector<DistributedNotification>{{"still", "here"}}));
}

TEST(NotificationsWithoutBus, PostingReturnsAndConnectsOnceABusAppears) {
  qbfa_test::TemporaryHome home;
  {
    qbfa_test::ScopedEnvironmentVariable no_bus("DBUS_SESSION_BUS_ADDRESS", std::nullopt);
    Post("nobody", "listens");
    std::string error;
    EXPECT_EQ(NotificationListener::Create({}, &error), nullptr);
    EXPECT_NE(error.find("session bus"), std::string::npos) << error;
  }
  {
    // A socket that takes connections into its backlog and never answers:
    // the post must give up instead of waiting for the bus to speak.
    const std::string path = home.runtime_dir() + "/hung";
    int hung = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(bind(hung, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(listen(hung, 8), 0);
    qbfa_test::ScopedEnvironmentVariable hung_bus("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + path);
    Post("stuck", "bus");
    close(hung);
  }
  qbfa_test::PrivateSessionBus bus;
  ASSERT_TRUE(bus.running()) << bus.error();
  std::unique_ptr<NotificationListener> listener = Listen();
  ASSERT_TRUE(listener);
  Post("finally", "heard");
  EXPECT_EQ(ReceiveAll(*listener), (std::vector<DistributedNotification>{{"finally", "heard"}}));
}

}  // namespace
