// RunLoop: one thread's event loop over epoll.
//
// A loop runs on the thread that calls Run() until Stop(). In between it
// dispatches, on that thread and one at a time:
//   - readiness of file descriptors it watches (the host feeds the display
//     connection and the session bus this way),
//   - one-shot timers that came due,
//   - work posted from any thread, in the order it was posted.
//
// Blocking calls (PostBlocking, RunAndWait) are taken only while the loop runs
// and is not stopping. Stopping cancels every blocking call still queued, so
// no thread stays blocked on a loop that will not serve it; plain posted work
// stays queued for the next Run().
//
// Every method may be called from any thread.
#ifndef HOOKWRIGHT_RUN_LOOP_H_
#define HOOKWRIGHT_RUN_LOOP_H_

#include <atomic>
#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <thread>

#include "hookwright/blocking_call.h"

namespace hookwright {

class RunLoop {
 public:
  using WatchId = uint64_t;
  using TimerId = uint64_t;
  // Receives the epoll event bits that were ready (EPOLLIN, EPOLLHUP, ...).
  using FdCallback = std::function<void(uint32_t ready)>;

  // Aborts the process when the kernel refuses the loop its two descriptors:
  // a host without its main loop cannot do anything useful.
  RunLoop();
  ~RunLoop();
  RunLoop(const RunLoop&) = delete;
  RunLoop& operator=(const RunLoop&) = delete;

  // Dispatches until Stop(). Returns at once when Stop() came while the loop
  // was not running. A loop runs on one thread at a time; Run() from inside
  // the loop, or from a second thread while it runs, returns false at once.
  bool Run();

  // Makes Run() return after the callback or work in progress, and cancels
  // the blocking calls still queued. It takes a lock, so it must not be called
  // from a signal handler: to stop on a signal, watch a signalfd instead.
  void Stop();

  // True while Run() is under way and no Stop() has come.
  bool IsRunning() const;
  // True on the thread that is inside Run().
  bool IsLoopThread() const { return LoopThread() == std::this_thread::get_id(); }
  // The thread inside Run() (also while it stops); empty when none is.
  std::thread::id LoopThread() const;

  // Queues `work` to run on the loop's thread.
  void Post(std::function<void()> work);

  // Queues `work` for a caller that will wait for it. Null (and nothing
  // queued) when the loop is not running or is stopping.
  std::shared_ptr<BlockingCall> PostBlocking(std::function<void()> work);

  // Runs `work` on the loop's thread and waits until it has run: inline when
  // called on that thread, otherwise through PostBlocking. False when the
  // work did not run because the loop is not running or stopped first.
  bool RunAndWait(std::function<void()> work);

  // Calls `callback` whenever `fd` is ready for `events` (EPOLLIN, EPOLLOUT,
  // ...; level-triggered). Returns 0 when the descriptor cannot be watched.
  // Unwatch a descriptor before closing it.
  WatchId WatchFd(int fd, uint32_t events, FdCallback callback);
  // Changes the events a watch waits for. False for an unknown watch.
  bool ChangeWatchedEvents(WatchId id, uint32_t events);
  void UnwatchFd(WatchId id);

  // Calls `callback` once, on the loop's thread, after `delay`.
  TimerId AddTimer(std::chrono::milliseconds delay, std::function<void()> callback);
  // A timer cancelled on the loop's thread never fires; from another thread,
  // one that is already firing still completes.
  void CancelTimer(TimerId id);

 private:
  struct Work {
    std::function<void()> plain;
    std::shared_ptr<BlockingCall> blocking;
  };
  struct Watch {
    int fd;
    std::shared_ptr<FdCallback> callback;
  };
  using Clock = std::chrono::steady_clock;

  void Wake();
  // Waits for descriptors, the wake-up or the next timer, then dispatches
  // what became ready.
  void WaitAndDispatchDescriptors();
  void RunDueTimers();
  // Runs the work that was queued when the pass began, so work that posts
  // more work cannot starve the descriptors.
  void RunPostedWork();
  int MillisecondsToNextTimer();
  // Removes the queued blocking calls; the caller cancels them outside the lock.
  std::deque<std::shared_ptr<BlockingCall>> TakeQueuedBlockingCallsLocked();

  const int epoll_fd_;
  const int wake_fd_;

  mutable std::mutex mutex_;
  std::thread::id loop_thread_;  // empty while not running
  std::atomic<bool> stop_requested_{false};
  std::deque<Work> queue_;
  std::map<WatchId, Watch> watches_;
  WatchId next_watch_id_ = 1;
  std::multimap<Clock::time_point, TimerId> deadlines_;
  std::map<TimerId, std::function<void()>> timers_;
  TimerId next_timer_id_ = 1;
};

}  // namespace hookwright

#endif  // HOOKWRIGHT_RUN_LOOP_H_
