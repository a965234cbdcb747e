#include "hookwright/log.h"

#include <unistd.h>

#include <cerrno>
#include <mutex>
#include <utility>

namespace hookwright {
namespace {

std::mutex& SinkMutex() {
  static std::mutex mutex;
  return mutex;
}

LogSink& CurrentSink() {
  static LogSink sink;
  return sink;
}

void WriteToStandardError(std::string_view bytes) {
  while (!bytes.empty()) {
    ssize_t written = ::write(STDERR_FILENO, bytes.data(), bytes.size());
    if (written < 0) {
      if (errno == EINTR)
        continue;
      return;  // Nowhere left to report a failing log.
    }
    bytes.remove_prefix(static_cast<size_t>(written));
  }
}

}  // namespace

LogSink SetLogSink(LogSink sink) {
  std::lock_guard lock(SinkMutex());
  return std::exchange(CurrentSink(), std::move(sink));
}

void WriteLog(std::string_view bytes) {
  std::lock_guard lock(SinkMutex());
  if (CurrentSink()) {
    CurrentSink()(bytes);
  } else {
    WriteToStandardError(bytes);
  }
}

}  // namespace hookwright
