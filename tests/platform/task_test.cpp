#include "platform/task.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "hookwright/main_thread.h"
#include "platform/kqueue.h"

namespace {

using hookwright::MainRunLoop;

OSStatus ReturnParameter(void* parameter) {
  return static_cast<OSStatus>(reinterpret_cast<intptr_t>(parameter));
}

void* OnMainThread(void* parameter) {
  *static_cast<bool*>(parameter) = hookwright::IsMainThread();
  return parameter;
}

TEST(Task, JoinHandsBackTheEntryStatusOnce) {
  MPTaskID task = nullptr;
  ASSERT_EQ(MPCreateTask(ReturnParameter, reinterpret_cast<void*>(intptr_t{-43}), 0, nullptr,
                         nullptr, nullptr, 0, &task),
            noErr);
  ASSERT_NE(task, nullptr);
  EXPECT_EQ(UnjoinedTaskCount(), 1u);
  OSStatus result = 0;
  EXPECT_EQ(JoinTask(task, &result), noErr);
  EXPECT_EQ(result, -43);
  EXPECT_EQ(UnjoinedTaskCount(), 0u);
  EXPECT_EQ(JoinTask(task, &result), paramErr);
  EXPECT_EQ(JoinTask(nullptr, nullptr), paramErr);
}

TEST(Task, RemoteCallOnTheMainThreadRunsAtOnce) {
  bool was_main = false;
  EXPECT_EQ(MPRemoteCall(OnMainThread, &was_main, kMPOwningProcessRemoteContext), &was_main);
  EXPECT_TRUE(was_main);
  EXPECT_EQ(MPRemoteCall(nullptr, &was_main, kMPOwningProcessRemoteContext), nullptr);
}

// The task's side of the tests below.
struct Handover {
  bool ran_on_main = false;
  void* result = &result;  // anything but null until the call returns
  bool stop_loop_after = false;
};

OSStatus CallMainThread(void* parameter) {
  auto* handover = static_cast<Handover*>(parameter);
  handover->result =
      MPRemoteCall(OnMainThread, &handover->ran_on_main, kMPOwningProcessRemoteContext);
  if (handover->stop_loop_after)
    MainRunLoop().Stop();
  return noErr;
}

TEST(Task, RemoteCallFromATaskRunsOnTheMainLoopWhileTheTaskWaits) {
  Handover handover;
  handover.stop_loop_after = true;
  MPTaskID task = nullptr;
  // Started from the running loop: a call made before Run() would be refused.
  MainRunLoop().Post([&] {
    ASSERT_EQ(MPCreateTask(CallMainThread, &handover, 0, nullptr, nullptr, nullptr, 0, &task),
              noErr);
  });
  MainRunLoop().Run();
  ASSERT_EQ(JoinTask(task, nullptr), noErr);
  EXPECT_EQ(handover.result, &handover.ran_on_main);
  EXPECT_TRUE(handover.ran_on_main);
}

TEST(Task, RemoteCallWithNoMainLoopRunningReturnsNullWithoutRunning) {
  Handover handover;
  MPTaskID task = nullptr;
  ASSERT_EQ(MPCreateTask(CallMainThread, &handover, 0, nullptr, nullptr, nullptr, 0, &task), noErr);
  ASSERT_EQ(JoinTask(task, nullptr), noErr);
  EXPECT_EQ(handover.result, nullptr);
  EXPECT_FALSE(handover.ran_on_main);
}

// The main thread joins a task that is handing work to that same main thread:
// the hand-over must give way, whichever comes first.
TEST(Task, JoiningFromTheMainThreadReleasesTheTasksRemoteCall) {
  Handover handover;
  MainRunLoop().Post([&] {
    MPTaskID task = nullptr;
    ASSERT_EQ(MPCreateTask(CallMainThread, &handover, 0, nullptr, nullptr, nullptr, 0, &task),
              noErr);
    EXPECT_EQ(JoinTask(task, nullptr), noErr);
    MainRunLoop().Stop();
  });
  MainRunLoop().Run();
  EXPECT_EQ(handover.result, nullptr);
  EXPECT_FALSE(handover.ran_on_main);
}

// How a task waiting on a kernel queue is stopped: clear its flag, release its
// wait, join it. The wait has no time limit, so only the release ends it.
struct Watcher {
  int queue = -1;
  std::atomic<bool> not_done{true};
  std::atomic<int> waits{0};
};

OSStatus WaitOnQueue(void* parameter) {
  auto* watcher = static_cast<Watcher*>(parameter);
  struct kevent event {};
  while (watcher->not_done) {
    ++watcher->waits;
    if (kevent(watcher->queue, nullptr, 0, &event, 1, nullptr) < 0)
      break;
  }
  return noErr;
}

TEST(Task, WakingTheQueueLetsAWaitingTaskBeJoined) {
  Watcher watcher;
  watcher.queue = kqueue();
  ASSERT_GE(watcher.queue, 0);
  MPTaskID task = nullptr;
  ASSERT_EQ(MPCreateTask(WaitOnQueue, &watcher, 0, nullptr, nullptr, nullptr, 0, &task), noErr);
  watcher.not_done = false;
  ASSERT_EQ(KQueueWake(watcher.queue), 0);
  EXPECT_EQ(JoinTask(task, nullptr), noErr);
  EXPECT_LE(watcher.waits, 1);
  KQueueClose(watcher.queue);
}

}  // namespace
