#include "hookwright/run_loop.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <utility>
#include <vector>

namespace hookwright {
namespace {

// The wake-up descriptor's epoll key; watches are numbered from 1.
constexpr uint64_t kWakeKey = 0;

int CreateOrDie(int fd, const char* what) {
  if (fd < 0) {
    std::perror(what);
    std::abort();
  }
  return fd;
}

}  // namespace

RunLoop::RunLoop()
    : epoll_fd_(CreateOrDie(epoll_create1(EPOLL_CLOEXEC), "run loop: epoll_create1")),
      wake_fd_(CreateOrDie(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), "run loop: eventfd")) {
  epoll_event event{};
  event.events = EPOLLIN;
  event.data.u64 = kWakeKey;
  CreateOrDie(epoll_ctl(epoll_fd_, EPOLL_CTL_ADD, wake_fd_, &event), "run loop: epoll_ctl");
}

RunLoop::~RunLoop() {
  std::deque<std::shared_ptr<BlockingCall>> abandoned;
  {
    std::lock_guard lock(mutex_);
    abandoned = TakeQueuedBlockingCallsLocked();
  }
  for (auto& call : abandoned)
    call->Cancel();
  close(wake_fd_);
  close(epoll_fd_);
}

bool RunLoop::Run() {
  {
    std::lock_guard lock(mutex_);
    if (loop_thread_ != std::thread::id())
      return false;
    loop_thread_ = std::this_thread::get_id();
  }
  while (!stop_requested_) {
    WaitAndDispatchDescriptors();
    if (!stop_requested_)
      RunDueTimers();
    if (!stop_requested_)
      RunPostedWork();
  }
  std::deque<std::shared_ptr<BlockingCall>> abandoned;
  {
    std::lock_guard lock(mutex_);
    loop_thread_ = std::thread::id();
    stop_requested_ = false;
    abandoned = TakeQueuedBlockingCallsLocked();
  }
  for (auto& call : abandoned)
    call->Cancel();
  return true;
}

void RunLoop::Stop() {
  std::deque<std::shared_ptr<BlockingCall>> abandoned;
  {
    std::lock_guard lock(mutex_);
    stop_requested_ = true;
    abandoned = TakeQueuedBlockingCallsLocked();
  }
  for (auto& call : abandoned)
    call->Cancel();
  Wake();
}

bool RunLoop::IsRunning() const {
  std::lock_guard lock(mutex_);
  return loop_thread_ != std::thread::id() && !stop_requested_;
}

std::thread::id RunLoop::LoopThread() const {
  std::lock_guard lock(mutex_);
  return loop_thread_;
}

void RunLoop::Post(std::function<void()> work) {
  {
    std::lock_guard lock(mutex_);
    queue_.push_back(Work{std::move(work), nullptr});
  }
  Wake();
}

std::shared_ptr<BlockingCall> RunLoop::PostBlocking(std::function<void()> work) {
  auto call = std::make_shared<BlockingCall>(std::move(work));
  {
    // Checked under the same lock that Stop() and the end of Run() take, so a
    // call is either refused here or cancelled there, never forgotten.
    std::lock_guard lock(mutex_);
    if (loop_thread_ == std::thread::id() || stop_requested_)
      return nullptr;
    queue_.push_back(Work{nullptr, call});
  }
  Wake();
  return call;
}

bool RunLoop::RunAndWait(std::function<void()> work) {
  if (IsLoopThread()) {
    work();
    return true;
  }
  std::shared_ptr<BlockingCall> call = PostBlocking(std::move(work));
  return call && call->Wait();
}

RunLoop::WatchId RunLoop::WatchFd(int fd, uint32_t events, FdCallback callback) {
  std::lock_guard lock(mutex_);
  const WatchId id = next_watch_id_;
  epoll_event event{};
  event.events = events;
  event.data.u64 = id;
  if (epoll_ctl(epoll_fd_, EPOLL_CTL_ADD, fd, &event) != 0)
    return 0;
  ++next_watch_id_;
  watches_.emplace(id, Watch{fd, std::make_shared<FdCallback>(std::move(callback))});
  return id;
}

bool RunLoop::ChangeWatchedEvents(WatchId id, uint32_t events) {
  std::lock_guard lock(mutex_);
  auto it = watches_.find(id);
  if (it == watches_.end())
    return false;
  epoll_event event{};
  event.events = events;
  event.data.u64 = id;
  return epoll_ctl(epoll_fd_, EPOLL_CTL_MOD, it->second.fd, &event) == 0;
}

void RunLoop::UnwatchFd(WatchId id) {
  std::lock_guard lock(mutex_);
  auto it = watches_.find(id);
  if (it == watches_.end())
    return;
  epoll_ctl(epoll_fd_, EPOLL_CTL_DEL, it->second.fd, nullptr);
  watches_.erase(it);
}

RunLoop::TimerId RunLoop::AddTimer(std::chrono::milliseconds delay,
                                   std::function<void()> callback) {
  TimerId id;
  {
    std::lock_guard lock(mutex_);
    id = next_timer_id_++;
    deadlines_.emplace(Clock::now() + delay, id);
    timers_.emplace(id, std::move(callback));
  }
  // The loop may be asleep with a longer timeout than this timer allows.
  Wake();
  return id;
}

void RunLoop::CancelTimer(TimerId id) {
  std::lock_guard lock(mutex_);
  // Its deadline entry stays and is skipped when it comes due.
  timers_.erase(id);
}

void RunLoop::Wake() {
  const uint64_t one = 1;
  // A failed write means the counter is already non-zero: the loop wakes anyway.
  [[maybe_unused]] ssize_t written = write(wake_fd_, &one, sizeof one);
}

void RunLoop::WaitAndDispatchDescriptors() {
  std::array<epoll_event, 16> ready;
  int count = epoll_wait(epoll_fd_, ready.data(), static_cast<int>(ready.size()),
                         MillisecondsToNextTimer());
  if (count < 0)
    return;  // EINTR: the caller simply goes round again
  for (int i = 0; i < count && !stop_requested_; ++i) {
    if (ready[i].data.u64 == kWakeKey) {
      uint64_t drained;
      [[maybe_unused]] ssize_t got = read(wake_fd_, &drained, sizeof drained);
      continue;
    }
    std::shared_ptr<FdCallback> callback;
    {
      std::lock_guard lock(mutex_);
      auto it = watches_.find(ready[i].data.u64);
      // An earlier callback of this pass may have removed the watch.
      if (it == watches_.end())
        continue;
      callback = it->second.callback;
    }
    (*callback)(ready[i].events);
  }
}

int RunLoop::MillisecondsToNextTimer() {
  std::lock_guard lock(mutex_);
  if (!queue_.empty() || stop_requested_)
    return 0;
  if (deadlines_.empty())
    return -1;
  auto wait =
      std::chrono::ceil<std::chrono::milliseconds>(deadlines_.begin()->first - Clock::now());
  return wait.count() < 0 ? 0 : static_cast<int>(std::min<int64_t>(wait.count(), INT32_MAX));
}

void RunLoop::RunDueTimers() {
  const Clock::time_point now = Clock::now();
  while (!stop_requested_) {
    std::function<void()> callback;
    {
      std::lock_guard lock(mutex_);
      if (deadlines_.empty() || deadlines_.begin()->first > now)
        return;
      auto timer = timers_.find(deadlines_.begin()->second);
      deadlines_.erase(deadlines_.begin());
      if (timer == timers_.end())
        continue;  // cancelled
      callback = std::move(timer->second);
      timers_.erase(timer);
    }
    callback();
  }
}

void RunLoop::RunPostedWork() {
  size_t budget;
  {
    std::lock_guard lock(mutex_);
    budget = queue_.size();
  }
  for (; budget > 0 && !stop_requested_; --budget) {
    Work work;
    {
      std::lock_guard lock(mutex_);
      // Stop() may have taken blocking calls out of the queue meanwhile.
      if (queue_.empty())
        return;
      work = std::move(queue_.front());
      queue_.pop_front();
    }
    if (work.blocking) {
      work.blocking->Run();
    } else {
      work.plain();
    }
  }
}

std::deque<std::shared_ptr<BlockingCall>> RunLoop::TakeQueuedBlockingCallsLocked() {
  std::deque<std::shared_ptr<BlockingCall>> taken;
  std::deque<Work> kept;
  for (auto& work : queue_) {
    if (work.blocking) {
      taken.push_back(std::move(work.blocking));
    } else {
      kept.push_back(std::move(work));
    }
  }
  queue_ = std::move(kept);
  return taken;
}

}  // namespace hookwright
