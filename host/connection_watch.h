// The main loop's watch on the connection of an event source: a display or
// the session bus.
#ifndef HOST_CONNECTION_WATCH_H_
#define HOST_CONNECTION_WATCH_H_

#include <cstdint>
#include <functional>
#include <memory>

#include "hookwright/run_loop.h"

class ConnectionWatch {
 public:
  explicit ConnectionWatch(hookwright::RunLoop& loop) : loop_(loop) {}
  ConnectionWatch(const ConnectionWatch&) = delete;
  ConnectionWatch& operator=(const ConnectionWatch&) = delete;
  ~ConnectionWatch() { Stop(); }

  // Has `process` called on the loop's thread whenever `fd` is readable, and
  // once as soon as the loop turns: the replies a source waited for while it
  // started may have brought events along, which the descriptor will not
  // tell of again. False when the loop cannot watch `fd`.
  bool Start(int fd, std::function<void()> process);
  bool watching() const { return id_ != 0; }
  // Waits for `events` (EPOLLIN, EPOLLOUT, ...) from now on.
  void WaitFor(uint32_t events);
  // Ends the watch: `process` is not called again. Call before the
  // descriptor closes.
  void Stop();

 private:
  hookwright::RunLoop& loop_;
  hookwright::RunLoop::WatchId id_ = 0;
  // Held while watching; the posted first call runs only while it lives.
  std::shared_ptr<bool> alive_;
};

#endif  // HOST_CONNECTION_WATCH_H_
