// The host's event sources: whatever outside the process the host turns into
// work on its main run loop (a stop signal, application switches, ...).
//
// Each source lives in a file of its own and is listed once, in
// HostEventSources(). The host starts every source on the main thread before
// the loop runs, and destroys them there after it has stopped, before the
// plug-ins are unloaded.
#ifndef HOST_EVENT_SOURCE_H_
#define HOST_EVENT_SOURCE_H_

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "hookwright/run_loop.h"

// A started source; destroying it stops the source.
using RunningEventSource = std::shared_ptr<void>;

struct EventSourceStarter {
  // Names the source in the host's log.
  std::string name;
  // A host cannot do without it: when it does not start, the host exits.
  bool required = false;
  // Starts the source on `loop`. Null, with `error` set, when it cannot
  // start. A source with nothing to watch on this machine returns a running
  // source that does nothing.
  std::function<RunningEventSource(hookwright::RunLoop& loop, std::string* error)> start;
};

// Every source of the host, in the order they start. Sources that change how
// signals are delivered come first, before anything can start a thread.
std::vector<EventSourceStarter> HostEventSources();

#endif  // HOST_EVENT_SOURCE_H_
