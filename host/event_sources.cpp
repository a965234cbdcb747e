#include <cstdlib>

#include "hookwright/hkwprintf.h"
#include "host/event_source.h"
#include "host/front_switch_signal.h"
#include "host/stop_signals.h"
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

}  // namespace

std::vector<EventSourceStarter> HostEventSources() {
  return {
      {.name = "stop signals",
       .required = true,
       .start = [](hookwright::RunLoop& loop, std::string* error) -> RunningEventSource {
         return StopSignalSource::Start(loop, error);
       }},
      {.name = "the X11 display",
       .start = [](hookwright::RunLoop& loop, std::string* error) -> RunningEventSource {
         const char* display = std::getenv("DISPLAY");
         if (display == nullptr || *display == '\0')
           return std::make_shared<bool>();  // no display to watch
         return X11FrontSwitchSource::Start(
             loop, display, [](const FrontApplication&) { ReportFrontSwitch("X11 display"); },
             error);
       }},
      {.name = "qbfa switch signals",
       .start = [](hookwright::RunLoop& loop, std::string* error) -> RunningEventSource {
         if (!SessionBusConfigured())
           return std::make_shared<bool>();  // no bus to listen on
         return FrontSwitchSignalSource::Start(
             loop, [] { ReportFrontSwitch("qbfa switch"); }, error);
       }},
  };
}
