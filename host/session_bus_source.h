// The host on the session bus: it hears `qbfa switch`'s signal, and, under
// the well-known name com.quillbox.Host, answers desktop bridges' reports of
// the application in front (host/front_application_method.h). Every host of
// the session hears the signal; only the name's owner hears the bridges, and
// a second host waits in the bus's queue for the name until the first ends.
#ifndef HOST_SESSION_BUS_SOURCE_H_
#define HOST_SESSION_BUS_SOURCE_H_

#include <functional>
#include <memory>
#include <string>

#include "hookwright/run_loop.h"
#include "host/connection_watch.h"
#include "host/front_application_method.h"

struct sd_bus;

constexpr char kHostBusName[] = "com.quillbox.Host";

class SessionBusSource {
 public:
  struct Handlers {
    // `qbfa switch` announced a switch.
    std::function<void()> on_switch_signal;
    // A desktop bridge reported another application in front.
    std::function<void()> on_reported_switch;
  };

  // Connects, subscribes and offers the method; the handlers run on `loop`'s
  // thread from then on. A bus that goes away ends the source (logged).
  // Null, with `error` set, when the bus cannot be reached.
  static std::unique_ptr<SessionBusSource> Start(hookwright::RunLoop& loop, Handlers handlers,
                                                 std::string* error);

  SessionBusSource(const SessionBusSource&) = delete;
  SessionBusSource& operator=(const SessionBusSource&) = delete;
  // Stops listening and disconnects, which gives up the name. Call on the
  // loop's thread.
  ~SessionBusSource();

  // Another host owned the name when this one asked for it.
  bool queued_for_name() const { return queued_for_name_; }

 private:
  SessionBusSource(hookwright::RunLoop& loop, sd_bus* bus, Handlers handlers);

  // Handles what the bus has for us; keeps the watch on what it waits for.
  void Process();

  sd_bus* bus_;
  Handlers handlers_;
  FrontApplicationMethod method_;
  bool queued_for_name_ = false;
  ConnectionWatch watch_;
};

#endif  // HOST_SESSION_BUS_SOURCE_H_
