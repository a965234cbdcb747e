#include "hookwright/blocking_call.h"

namespace hookwright {

void BlockingCall::Run() {
  {
    std::lock_guard lock(mutex_);
    if (state_ != State::kPending)
      return;
    state_ = State::kRunning;
  }
  // The waiter must be released even when the work throws, or it would block
  // for ever.
  struct Settle {
    BlockingCall* call;
    ~Settle() {
      std::lock_guard lock(call->mutex_);
      call->state_ = State::kDone;
      call->settled_.notify_all();
    }
  } settle{this};
  work_();
}

void BlockingCall::Cancel() {
  std::lock_guard lock(mutex_);
  if (state_ != State::kPending)
    return;
  state_ = State::kCancelled;
  settled_.notify_all();
}

bool BlockingCall::Wait() {
  std::unique_lock lock(mutex_);
  settled_.wait(lock, [this] { return state_ == State::kDone || state_ == State::kCancelled; });
  return state_ == State::kDone;
}

}  // namespace hookwright
