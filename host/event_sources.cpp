#include <cstdlib>
#include <optional>

#include "hookwright/hkwprintf.h"
#include "host/event_source.h"
#include "host/front_switch_signal.h"
#include "host/stop_signals.h"
#include "host/wayland_front_switch.h"
#include "host/x11_front_switch.h"
#include "platform/events.h"

namespace {

// Hands a front switch to the plug-ins' handlers (on the main thread, where
// the sources call this) and says so afterwards, so that whoever switched can
// tell when the plug-ins have seen it.
void ReportFrontSwitch(const char* source) {
  SendFrontSwitchedEvent();
  hkwprintf("qbfa host: front application switched (%s)\n", source);
}

// The variable's value; nothing when it is unset or empty, which `report`
// then gives as what is missing.
std::optional<std::string> Environment(const char* name, EventSourceReport* report) {
  const char* value = std::getenv(name);
  if (value == nullptr || *value == '\0') {
    report->missing = std::string(name) + " is not set";
    return std::nullopt;
  }
  return value;
}

// A source that does nothing, for a piece of the session that is not there.
RunningEventSource NothingToWatch() {
  return std::make_shared<bool>();
}

// A source that listens, as the start-up line names it.
template <typename Source>
RunningEventSource Listening(std::unique_ptr<Source> source, std::string switches_from,
                             EventSourceReport* report) {
  if (source)
    report->switches_from = std::move(switches_from);
  return source;
}

}  // namespace

std::vector<EventSourceStarter> HostEventSources() {
  return {
      {.name = "stop signals",
       .required = true,
       .start = [](hookwright::RunLoop& loop, EventSourceReport* report) -> RunningEventSource {
         return StopSignalSource::Start(loop, &report->error);
       }},
      {.name = "the X11 display",
       .watches_desktop = true,
       .start = [](hookwright::RunLoop& loop, EventSourceReport* report) -> RunningEventSource {
         std::optional<std::string> display = Environment("DISPLAY", report);
         if (!display)
           return NothingToWatch();
         return Listening(
             X11FrontSwitchSource::Start(
                 loop, *display, [](const X11Application&) { ReportFrontSwitch("X11 display"); },
                 &report->error),
             "x11 (" + *display + ")", report);
       }},
      {.name = "the Wayland display",
       .watches_desktop = true,
       .start = [](hookwright::RunLoop& loop, EventSourceReport* report) -> RunningEventSource {
         std::optional<std::string> display = Environment("WAYLAND_DISPLAY", report);
         if (!display)
           return NothingToWatch();
         return Listening(
             WaylandFrontSwitchSource::Start(
                 loop, *display,
                 [](const WaylandApplication&) { ReportFrontSwitch("Wayland display"); },
                 &report->error),
             "wayland (" + *display + ")", report);
       }},
      {.name = "qbfa switch signals",
       .start = [](hookwright::RunLoop& loop, EventSourceReport* report) -> RunningEventSource {
         if (!SessionBusConfigured()) {
           report->missing =
               "no session bus (DBUS_SESSION_BUS_ADDRESS is not set and XDG_RUNTIME_DIR has no "
               "bus): listeners are not told of publications, and `qbfa switch` cannot reach "
               "this host";
           return NothingToWatch();
         }
         return Listening(FrontSwitchSignalSource::Start(
                              loop, [] { ReportFrontSwitch("qbfa switch"); }, &report->error),
                          "session bus", report);
       }},
  };
}
