#include "hookwright/run_loop.h"

#include <gtest/gtest.h>
#include <sys/epoll.h>
#include <unistd.h>

#include <atomic>
#include <future>
#include <string>
#include <thread>
#include <vector>

namespace {

using hookwright::RunLoop;

// Runs a loop on its own thread for the length of a test.
class LoopThread {
 public:
  explicit LoopThread(RunLoop& loop) : loop_(loop) {
    thread_ = std::thread([this] {
      loop_.Post([this] { started_.set_value(); });
      loop_.Run();
    });
    started_.get_future().wait();  // posted work runs only once Run() is under way
  }
  ~LoopThread() {
    loop_.Stop();
    thread_.join();
  }

 private:
  RunLoop& loop_;
  std::promise<void> started_;
  std::thread thread_;
};

TEST(RunLoop, PostedWorkRunsInOrderOnTheLoopThreadUntilStopped) {
  RunLoop loop;
  std::string order;
  for (char c : std::string("abc"))
    loop.Post([&, c] { order += c; });
  loop.Post([&] {
    EXPECT_TRUE(loop.IsLoopThread());
    EXPECT_TRUE(loop.IsRunning());
    loop.Stop();
    EXPECT_FALSE(loop.IsRunning());
  });
  loop.Post([&] { order += "late"; });
  EXPECT_TRUE(loop.Run());
  EXPECT_EQ(order, "abc");
  EXPECT_FALSE(loop.IsLoopThread());

  // Work left behind by a stop runs when the loop runs again.
  loop.Post([&] { loop.Stop(); });
  EXPECT_TRUE(loop.Run());
  EXPECT_EQ(order, "abclate");
}

TEST(RunLoop, StopBeforeRunEndsTheNextRunOnly) {
  RunLoop loop;
  loop.Stop();
  bool ran = false;
  loop.Post([&] { ran = true; });
  EXPECT_TRUE(loop.Run());
  EXPECT_FALSE(ran);
  loop.Post([&] { loop.Stop(); });
  EXPECT_TRUE(loop.Run());
  EXPECT_TRUE(ran);
}

TEST(RunLoop, RunAndWaitRunsOnTheLoopThread) {
  RunLoop loop;
  LoopThread running(loop);
  std::thread::id ran_on;
  ASSERT_TRUE(loop.RunAndWait([&] { ran_on = std::this_thread::get_id(); }));
  EXPECT_NE(ran_on, std::this_thread::get_id());
  EXPECT_EQ(ran_on, loop.LoopThread());

  // On the loop thread itself the work runs inline instead of deadlocking.
  bool inner = false;
  ASSERT_TRUE(loop.RunAndWait([&] { EXPECT_TRUE(loop.RunAndWait([&] { inner = true; })); }));
  EXPECT_TRUE(inner);
}

TEST(RunLoop, StopReleasesQueuedBlockingCallsWithoutRunningThem) {
  RunLoop loop;
  std::promise<void> release_busy;
  std::promise<void> busy_started;
  std::thread thread([&] { loop.Run(); });
  // Keep the loop busy so the calls below stay queued.
  loop.Post([&] {
    busy_started.set_value();
    release_busy.get_future().wait();
  });
  busy_started.get_future().wait();

  std::atomic<int> ran{0};
  auto first = loop.PostBlocking([&] { ++ran; });
  auto second = loop.PostBlocking([&] { ++ran; });
  ASSERT_NE(first, nullptr);
  ASSERT_NE(second, nullptr);
  bool plain_ran = false;
  loop.Post([&] { plain_ran = true; });

  loop.Stop();
  // Released while the loop is still busy: nobody waits for the loop to end.
  EXPECT_FALSE(first->Wait());
  EXPECT_FALSE(second->Wait());
  EXPECT_EQ(loop.PostBlocking([&] { ++ran; }), nullptr) << "a stopping loop takes no new calls";

  release_busy.set_value();
  thread.join();
  EXPECT_EQ(ran, 0);
  EXPECT_FALSE(plain_ran);
}

TEST(RunLoop, ConcurrentCallersAllReturnWhenTheLoopStopsAmongThem) {
  RunLoop loop;
  std::thread loop_thread([&] { loop.Run(); });
  std::atomic<int> ran{0};
  std::atomic<int> succeeded{0};
  std::vector<std::thread> callers;
  for (int i = 0; i < 8; ++i) {
    callers.emplace_back([&, i] {
      for (int n = 0; n < 200; ++n) {
        if (loop.RunAndWait([&] { ++ran; }))
          ++succeeded;
        if (i == 0 && n == 100)
          loop.Stop();
      }
    });
  }
  for (auto& caller : callers)
    caller.join();
  loop_thread.join();
  EXPECT_EQ(ran.load(), succeeded.load());
}

TEST(RunLoop, WatchedDescriptorsReportReadiness) {
  RunLoop loop;
  int fds[2];
  ASSERT_EQ(pipe(fds), 0);
  std::vector<char> received;
  RunLoop::WatchId reader = 0;
  reader = loop.WatchFd(fds[0], EPOLLIN, [&](uint32_t ready) {
    EXPECT_TRUE(ready & EPOLLIN);
    char c;
    ASSERT_EQ(read(fds[0], &c, 1), 1);
    received.push_back(c);
    if (c == 'z') {
      loop.UnwatchFd(reader);
      loop.Stop();
    }
  });
  ASSERT_NE(reader, 0u);
  // Watched with no events first; switched on once the reader has seen 'a'.
  bool writable = false;
  RunLoop::WatchId writer = loop.WatchFd(fds[1], 0, [&](uint32_t ready) {
    EXPECT_TRUE(ready & EPOLLOUT);
    writable = true;
    loop.UnwatchFd(writer);
    ASSERT_EQ(write(fds[1], "z", 1), 1);
  });
  ASSERT_NE(writer, 0u);
  loop.Post([&] { ASSERT_EQ(write(fds[1], "a", 1), 1); });
  loop.Post([&] { EXPECT_TRUE(loop.ChangeWatchedEvents(writer, EPOLLOUT)); });
  loop.Run();
  EXPECT_TRUE(writable);
  EXPECT_EQ(std::string(received.begin(), received.end()), "az");

  EXPECT_FALSE(loop.ChangeWatchedEvents(writer, EPOLLOUT));
  EXPECT_EQ(loop.WatchFd(-1, EPOLLIN, [](uint32_t) {}), 0u);
  close(fds[0]);
  close(fds[1]);
}

TEST(RunLoop, BusyPostedWorkDoesNotStarveDescriptors) {
  RunLoop loop;
  int fds[2];
  ASSERT_EQ(pipe(fds), 0);
  ASSERT_EQ(write(fds[1], "x", 1), 1);
  int reposts = 0;
  bool descriptor_seen = false;
  std::function<void()> busy = [&] {
    if (++reposts == 100000) {
      loop.Stop();
      return;
    }
    loop.Post(busy);
  };
  loop.Post(busy);
  RunLoop::WatchId id = loop.WatchFd(fds[0], EPOLLIN, [&](uint32_t) {
    descriptor_seen = true;
    loop.Stop();
  });
  loop.Run();
  EXPECT_TRUE(descriptor_seen);
  EXPECT_LT(reposts, 100000);
  loop.UnwatchFd(id);
  close(fds[0]);
  close(fds[1]);
}

TEST(RunLoop, TimersFireInDeadlineOrderUnlessCancelled) {
  RunLoop loop;
  std::string order;
  using std::chrono::milliseconds;
  loop.AddTimer(milliseconds(40), [&] {
    order += "c";
    loop.Stop();
  });
  loop.AddTimer(milliseconds(20), [&] { order += "b"; });
  RunLoop::TimerId cancelled = loop.AddTimer(milliseconds(10), [&] { order += "x"; });
  loop.AddTimer(milliseconds(0), [&] { order += "a"; });
  loop.CancelTimer(cancelled);
  loop.Run();
  EXPECT_EQ(order, "abc");
}

TEST(RunLoop, TimerAddedFromAnotherThreadWakesASleepingLoop) {
  RunLoop loop;
  std::thread thread([&] { loop.Run(); });
  std::promise<void> fired;
  loop.AddTimer(std::chrono::milliseconds(1), [&] { fired.set_value(); });
  fired.get_future().wait();
  loop.Stop();
  thread.join();
}

}  // namespace
