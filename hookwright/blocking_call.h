// BlockingCall: work that one thread hands to a run loop and then waits for.
//
// The waiter learns whether the work ran. Work that has not started yet can be
// cancelled; after that it never starts, so it may safely refer to the
// waiter's stack, which is gone once the waiter has given up.
#ifndef HOOKWRIGHT_BLOCKING_CALL_H_
#define HOOKWRIGHT_BLOCKING_CALL_H_

#include <condition_variable>
#include <functional>
#include <mutex>

namespace hookwright {

class BlockingCall {
 public:
  explicit BlockingCall(std::function<void()> work) : work_(std::move(work)) {}
  BlockingCall(const BlockingCall&) = delete;
  BlockingCall& operator=(const BlockingCall&) = delete;

  // Runs the work on the calling thread unless it was cancelled.
  void Run();

  // Makes the work never start. Work already running finishes; the waiter
  // then still sees it as run.
  void Cancel();

  // Blocks until the work has finished or was cancelled; true when it ran.
  bool Wait();

 private:
  enum class State { kPending, kRunning, kDone, kCancelled };

  std::mutex mutex_;
  std::condition_variable settled_;
  State state_ = State::kPending;
  std::function<void()> work_;
};

}  // namespace hookwright

#endif  // HOOKWRIGHT_BLOCKING_CALL_H_
