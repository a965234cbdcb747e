#include "tests/soak/switch_metronome.h"

#include <algorithm>

#include "host/front_switch_signal.h"

namespace qbfa_soak {

SwitchMetronome::SwitchMetronome(std::chrono::milliseconds period)
    : thread_([this, period] { Run(period); }) {}

SwitchMetronome::~SwitchMetronome() {
  Stop();
}

void SwitchMetronome::Stop() {
  {
    std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  stop_requested_.notify_all();
  if (thread_.joinable())
    thread_.join();
}

std::string SwitchMetronome::last_error() const {
  std::lock_guard lock(mutex_);
  return last_error_;
}

void SwitchMetronome::Run(std::chrono::milliseconds period) {
  auto next = std::chrono::steady_clock::now();
  std::unique_lock lock(mutex_);
  while (!stop_requested_.wait_until(lock, next, [this] { return stopping_; })) {
    lock.unlock();
    std::string error;
    const bool delivered = EmitFrontSwitchSignal(&error);
    lock.lock();
    if (delivered) {
      ++sent_;
    } else {
      ++failed_;
      last_error_ = error;
    }
    // Behind by more than a period: the missed beats are dropped, not
    // sent in a burst.
    next = std::max(next + period, std::chrono::steady_clock::now());
  }
}

}  // namespace qbfa_soak
