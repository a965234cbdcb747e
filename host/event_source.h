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

// What starting a source tells the host besides the source itself.
struct EventSourceReport {
  // Why the source could not start, when it returns null.
  std::string error;
  // What the source hears front-application switches from, as the host's
  // start-up line names it ("x11 (:0)"); empty when it hears none.
  std::string switches_from;
  // Why a source that started has nothing to watch on this machine ("DISPLAY
  // is not set"). A host started at login with a piece of the session
  // missing keeps running, so it says which piece.
  std::string missing;
  // What keeps a desktop that is there from telling the host of switches,
  // and how the user fixes it (a bridge that is not enabled), for the host
  // to warn of.
  std::string warning;
};

struct EventSourceStarter {
  // Names the source in the host's log.
  std::string name;
  // A host cannot do without it: when it does not start, the host exits.
  bool required = false;
  // Watches the desktop for switches itself (X11, Wayland), rather than
  // waiting to be told of them. The host warns when no such source listens.
  bool watches_desktop = false;
  // Starts the source on `loop`. Null, with `report->error` set, when it
  // cannot start. A source with nothing to watch on this machine returns a
  // running source that does nothing, with `report->missing` set.
  std::function<RunningEventSource(hookwright::RunLoop& loop, EventSourceReport* report)> start;
};

// Every source of the host, in the order they start. Sources that change how
// signals are delivered come first, before anything can start a thread.
std::vector<EventSourceStarter> HostEventSources();

#endif  // HOST_EVENT_SOURCE_H_
