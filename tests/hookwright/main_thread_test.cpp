#include "hookwright/main_thread.h"

#include <gtest/gtest.h>

#include <future>
#include <thread>

namespace {

using hookwright::IsMainThread;
using hookwright::MainRunLoop;
using hookwright::RunOnMainThreadAndWait;

bool IsMainThreadOnAnotherThread() {
  bool result = true;
  std::thread([&] { result = IsMainThread(); }).join();
  return result;
}

// GoogleTest runs test bodies on the process's initial thread.
TEST(MainThread, InitialThreadStandsInWhileTheLoopIsNotRunning) {
  EXPECT_TRUE(IsMainThread());
  EXPECT_FALSE(IsMainThreadOnAnotherThread());

  bool inline_ran = false;
  EXPECT_TRUE(RunOnMainThreadAndWait([&] { inline_ran = true; }));
  EXPECT_TRUE(inline_ran);

  // From any other thread nothing can serve the call: it fails at once.
  bool ran = false;
  bool result = true;
  std::thread([&] { result = RunOnMainThreadAndWait([&] { ran = true; }); }).join();
  EXPECT_FALSE(result);
  EXPECT_FALSE(ran);
}

TEST(MainThread, TheThreadRunningTheMainLoopIsTheMainThread) {
  std::promise<std::thread::id> loop_id;
  std::thread loop_thread([&] {
    MainRunLoop().Post([&] { loop_id.set_value(std::this_thread::get_id()); });
    MainRunLoop().Run();
  });
  const std::thread::id main_id = loop_id.get_future().get();
  EXPECT_FALSE(IsMainThread()) << "the initial thread no longer stands in";

  std::thread::id ran_on;
  bool was_main = false;
  ASSERT_TRUE(RunOnMainThreadAndWait([&] {
    ran_on = std::this_thread::get_id();
    was_main = IsMainThread();
  }));
  EXPECT_EQ(ran_on, main_id);
  EXPECT_TRUE(was_main);

  MainRunLoop().Stop();
  loop_thread.join();
  EXPECT_TRUE(IsMainThread());
}

}  // namespace
