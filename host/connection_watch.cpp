#include "host/connection_watch.h"

#include <sys/epoll.h>

bool ConnectionWatch::Start(int fd, std::function<void()> process) {
  id_ = loop_.WatchFd(fd, EPOLLIN, [process](uint32_t) { process(); });
  if (id_ == 0)
    return false;
  alive_ = std::make_shared<bool>();
  loop_.Post([alive = std::weak_ptr<bool>(alive_), process = std::move(process)] {
    if (!alive.expired())
      process();
  });
  return true;
}

void ConnectionWatch::WaitFor(uint32_t events) {
  if (id_ != 0)
    loop_.ChangeWatchedEvents(id_, events);
}

void ConnectionWatch::Stop() {
  if (id_ != 0)
    loop_.UnwatchFd(id_);
  id_ = 0;
  alive_.reset();
}
