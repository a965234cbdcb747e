#include "host/event_source.h"
#include "host/stop_signals.h"

std::vector<EventSourceStarter> HostEventSources() {
  return {
      {.name = "stop signals",
       .required = true,
       .start = [](hookwright::RunLoop& loop, std::string* error) -> RunningEventSource {
         return StopSignalSource::Start(loop, error);
       }},
  };
}
