#include <systemd/sd-bus.h>

#include <cstdlib>
#include <optional>

#include "hookwright/hkwprintf.h"
#include "host/desktop_bridge.h"
#include "host/event_source.h"
#include "host/front_switch_signal.h"
#include "host/session_bus_source.h"
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

// Asks a desktop on the session bus whether it runs qbfa's bridge. The
// bridge's reports arrive through the session bus source; this only tells
// the start-up line, or the user, how things stand.
RunningEventSource CheckBridge(const DesktopBridge& bridge, EventSourceReport* report) {
  sd_bus* bus = nullptr;
  if (!SessionBusConfigured() || sd_bus_open_user(&bus) < 0)
    return NothingToWatch();
  BridgeStatus status = bridge.ask(bus);
  sd_bus_flush_close_unref(bus);
  if (status.state == BridgeStatus::kRunning)
    report->switches_from = bridge.bridge;
  else if (status.state == BridgeStatus::kNotRunning)
    report->warning = BridgeWarning(bridge, status);
  return NothingToWatch();
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
      {.name = "the session bus",
       .start = [](hookwright::RunLoop& loop, EventSourceReport* report) -> RunningEventSource {
         if (!SessionBusConfigured()) {
           report->missing =
               "no session bus (DBUS_SESSION_BUS_ADDRESS is not set and XDG_RUNTIME_DIR has no "
               "bus): listeners are not told of publications, and neither `qbfa switch` nor a "
               "desktop bridge can reach this host";
           return NothingToWatch();
         }
         auto source = SessionBusSource::Start(
             loop,
             {.on_switch_signal = [] { ReportFrontSwitch("qbfa switch"); },
              .on_reported_switch = [] { ReportFrontSwitch("desktop bridge"); }},
             &report->error);
         if (source && source->queued_for_name()) {
           hkwprintf(
               "qbfa host: another host owns %s: desktop bridges report to that one until "
               "it ends\n",
               kHostBusName);
         }
         return Listening(std::move(source), "session bus", report);
       }},
      {.name = "the GNOME Shell bridge",
       .watches_desktop = true,
       .start = [](hookwright::RunLoop&,
                   EventSourceReport* report) { return CheckBridge(kGnomeShellBridge, report); }},
      {.name = "the KWin bridge",
       .watches_desktop = true,
       .start = [](hookwright::RunLoop&,
                   EventSourceReport* report) { return CheckBridge(kKWinBridge, report); }},
  };
}
