#include "platform/events.h"

#include <gtest/gtest.h>

#include <future>
#include <string>
#include <thread>

#include "hookwright/main_thread.h"

namespace {

class Events : public testing::Test {
 protected:
  void SetUp() override { GetApplicationEventTarget()->Clear(); }
  void TearDown() override { GetApplicationEventTarget()->Clear(); }
};

struct Seen {
  std::string log;
  bool on_main_thread = true;
};

OSStatus Record(EventHandlerCallRef call, EventRef event, void* user_data) {
  auto* seen = static_cast<Seen*>(user_data);
  seen->on_main_thread = seen->on_main_thread && hookwright::IsMainThread();
  EXPECT_EQ(call, nullptr);
  seen->log += std::to_string(GetEventClass(event) == kEventClassApplication) + "/" +
               std::to_string(GetEventKind(event)) + " ";
  return noErr;
}

OSStatus Fail(EventHandlerCallRef, EventRef, void* user_data) {
  static_cast<Seen*>(user_data)->log += "fail ";
  return paramErr;
}

const EventTypeSpec kFrontSwitched{kEventClassApplication, kEventAppFrontSwitched};

TEST_F(Events, EveryFrontSwitchHandlerSeesTheEventWithItsUserData) {
  Seen first, second, unrelated;
  const EventTypeSpec several[] = {{kEventClassApplication, 1}, kFrontSwitched};
  const EventTypeSpec other{kEventClassApplication, 8};
  EventHandlerRef ref = nullptr;
  EXPECT_EQ(SendFrontSwitchedEvent(), eventNotHandledErr);
  EXPECT_EQ(InstallEventHandler(GetApplicationEventTarget(), Record, 1, nullptr, &second, &ref),
            paramErr);
  ASSERT_EQ(
      InstallEventHandler(GetApplicationEventTarget(), Fail, 1, &kFrontSwitched, &first, nullptr),
      noErr);
  ASSERT_EQ(InstallEventHandler(GetApplicationEventTarget(), Record, 2, several, &second, &ref),
            noErr);
  ASSERT_EQ(
      InstallEventHandler(GetApplicationEventTarget(), Record, 1, &other, &unrelated, nullptr),
      noErr);
  EXPECT_NE(ref, nullptr);

  EXPECT_EQ(SendFrontSwitchedEvent(), noErr);
  EXPECT_EQ(SendFrontSwitchedEvent(), noErr);
  EXPECT_EQ(first.log, "fail fail ");
  EXPECT_EQ(second.log, "1/7 1/7 ");
  EXPECT_TRUE(second.on_main_thread);
  EXPECT_EQ(unrelated.log, "");
}

TEST_F(Events, SentFromAnotherThreadTheHandlersRunOnTheMainThreadFirst) {
  Seen seen;
  ASSERT_EQ(
      InstallEventHandler(GetApplicationEventTarget(), Record, 1, &kFrontSwitched, &seen, nullptr),
      noErr);

  // Nothing can take the event while the main loop does not run.
  std::async(std::launch::async, [] {
    EXPECT_EQ(SendFrontSwitchedEvent(), eventNotHandledErr);
  }).get();
  EXPECT_EQ(seen.log, "");

  // With the loop running here, the sender returns only after the handler ran.
  std::future<void> sender;
  hookwright::MainRunLoop().Post([&] {
    sender = std::async(std::launch::async, [&] {
      EXPECT_EQ(SendFrontSwitchedEvent(), noErr);
      EXPECT_EQ(seen.log, "1/7 ");
      hookwright::MainRunLoop().Stop();
    });
  });
  hookwright::MainRunLoop().Run();
  sender.get();
  EXPECT_TRUE(seen.on_main_thread);
}

}  // namespace
