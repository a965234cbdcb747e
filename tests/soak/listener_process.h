// A listener as any Quillbox process is one, in a process of its own:
// `qbfa sets --follow --format xml`, which reads the pasteboard at every
// publication's notification and prints what it read. A thread here takes
// its output as it comes and hands over each publication whole.
#ifndef TESTS_SOAK_LISTENER_PROCESS_H_
#define TESTS_SOAK_LISTENER_PROCESS_H_

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "tests/soak/publication_splitter.h"
#include "tests/support/piped_process.h"

namespace qbfa_soak {

// What the listener wrote to standard error. It says that nothing is
// published when it finds the pasteboard empty: once at its start, before
// any host has published, which also tells that it is subscribed by then;
// and again whenever it reads between a host's clear and the put that
// follows.
struct ListenerComplaints {
  bool subscribed = false;
  size_t empty_reads = 0;
  std::string others;  // whole lines
};
ListenerComplaints ReadComplaints(std::string_view errors);

class ListenerProcess {
 public:
  // Starts the listener in this process's environment; its standard error
  // goes to `errors`. Throws std::runtime_error when it cannot.
  ListenerProcess(const std::string& qbfa, std::string errors);
  ListenerProcess(const ListenerProcess&) = delete;
  ListenerProcess& operator=(const ListenerProcess&) = delete;

  // The next publication it printed, waiting until `deadline` for one.
  std::optional<std::string> Next(std::chrono::steady_clock::time_point deadline);
  // Everything it wrote to standard error so far.
  std::string Errors() const;
  // Whether it still runs (or may still print what it read).
  bool Running() const;

  // Stops it with SIGTERM and waits for it.
  void Stop() { process_.Stop(); }

 private:
  // On the reading thread: the next bytes printed, then the end.
  void Take(std::string_view bytes);
  void End();

  std::string errors_;
  mutable std::mutex mutex_;
  std::condition_variable arrived_;
  std::deque<std::string> publications_;
  bool ended_ = false;
  PublicationSplitter splitter_;  // the reading thread's own
  // Last: it stops the listener, and with it the reading thread, before the
  // members that thread uses go.
  qbfa_test::PipedProcess process_;
};

}  // namespace qbfa_soak

#endif  // TESTS_SOAK_LISTENER_PROCESS_H_
