#include "host/stop_signals.h"

#include <signal.h>
#include <sys/epoll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "hookwright/hkwprintf.h"

std::unique_ptr<StopSignalSource> StopSignalSource::Start(hookwright::RunLoop& loop,
                                                          std::string* error) {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  if (int r = pthread_sigmask(SIG_BLOCK, &signals, nullptr); r != 0) {
    *error = std::string("cannot block the stop signals: ") + std::strerror(r);
    return nullptr;
  }
  int fd = signalfd(-1, &signals, SFD_NONBLOCK | SFD_CLOEXEC);
  if (fd < 0) {
    *error = std::string("cannot read the stop signals: ") + std::strerror(errno);
    return nullptr;
  }
  std::unique_ptr<StopSignalSource> source(new StopSignalSource(loop, fd));
  StopSignalSource* self = source.get();
  source->watch_ = loop.WatchFd(fd, EPOLLIN, [self](uint32_t) { self->ReadSignal(); });
  if (source->watch_ == 0) {
    *error = "cannot watch the stop signals";
    return nullptr;
  }
  return source;
}

StopSignalSource::~StopSignalSource() {
  if (watch_ != 0)
    loop_.UnwatchFd(watch_);
  close(fd_);
}

void StopSignalSource::ReadSignal() {
  signalfd_siginfo info;
  ssize_t n = read(fd_, &info, sizeof info);
  if (n != static_cast<ssize_t>(sizeof info))
    return;
  hkwprintf("qbfa host: stopping on %s\n", info.ssi_signo == SIGINT ? "SIGINT" : "SIGTERM");
  loop_.Stop();
}
