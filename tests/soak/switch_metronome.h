// Front-application switches at a steady pace, sent on the session bus from
// a thread of its own as `qbfa switch` sends them, without a process for
// each.
#ifndef TESTS_SOAK_SWITCH_METRONOME_H_
#define TESTS_SOAK_SWITCH_METRONOME_H_

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>
#include <thread>

namespace qbfa_soak {

class SwitchMetronome {
 public:
  // Starts sending, one switch every `period`. A send that falls behind
  // (the machine was busy) is made at once; the beats it missed are dropped
  // rather than sent in a burst.
  explicit SwitchMetronome(std::chrono::milliseconds period);
  SwitchMetronome(const SwitchMetronome&) = delete;
  SwitchMetronome& operator=(const SwitchMetronome&) = delete;
  ~SwitchMetronome();

  // Stops sending; returns once the last switch has left.
  void Stop();

  size_t sent() const { return sent_; }
  // Sends that failed, and why the last one did.
  size_t failed() const { return failed_; }
  std::string last_error() const;

 private:
  void Run(std::chrono::milliseconds period);

  std::atomic<size_t> sent_{0};
  std::atomic<size_t> failed_{0};
  mutable std::mutex mutex_;
  std::condition_variable stop_requested_;
  bool stopping_ = false;
  std::string last_error_;
  std::thread thread_;
};

}  // namespace qbfa_soak

#endif  // TESTS_SOAK_SWITCH_METRONOME_H_
