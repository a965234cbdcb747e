// SIGINT and SIGTERM as a request to stop the host: they end the main run
// loop, so the host can unload its plug-ins and exit cleanly.
#ifndef HOST_STOP_SIGNALS_H_
#define HOST_STOP_SIGNALS_H_

#include <memory>
#include <string>

#include "hookwright/run_loop.h"

class StopSignalSource {
 public:
  // Blocks SIGINT and SIGTERM for the calling thread and every thread it
  // starts from now on, and has `loop` read them from a signalfd and stop.
  // Start it before any other thread exists, or that thread would take the
  // signal with its default action. Null, with `error` set, on failure.
  static std::unique_ptr<StopSignalSource> Start(hookwright::RunLoop& loop, std::string* error);

  StopSignalSource(const StopSignalSource&) = delete;
  StopSignalSource& operator=(const StopSignalSource&) = delete;
  // Stops watching. The signals stay blocked: one still pending would
  // otherwise end the process before it has finished stopping.
  ~StopSignalSource();

 private:
  StopSignalSource(hookwright::RunLoop& loop, int fd) : loop_(loop), fd_(fd) {}

  void ReadSignal();

  hookwright::RunLoop& loop_;
  const int fd_;
  hookwright::RunLoop::WatchId watch_ = 0;
};

#endif  // HOST_STOP_SIGNALS_H_
