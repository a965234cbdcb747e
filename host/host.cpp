#include "host/host.h"

#include <memory>
#include <string>
#include <vector>

#include "hookwright/application_events.h"
#include "hookwright/hkwprintf.h"
#include "hookwright/main_thread.h"
#include "host/event_source.h"
#include "host/leak_check.h"
#include "host/plugin.h"

namespace {

std::string Joined(const std::vector<std::string>& parts, const char* separator) {
  std::string joined;
  for (const std::string& part : parts)
    joined += (joined.empty() ? "" : separator) + part;
  return joined;
}

// Says what the host hears front-application switches from. Without a
// desktop among them, sets marked stale wait for `qbfa switch`, which a user
// would not guess: the warning says so, and why the desktops that are there
// could not be watched. A desktop that already warned, saying how to fix it,
// needs no second warning.
void LogSwitchSources(const std::vector<std::string>& switches_from, bool desktop_watched,
                      bool desktop_warned, const std::vector<std::string>& desktop_problems) {
  if (switches_from.empty()) {
    hkwprintf("qbfa host: no source of front-application switches\n");
  } else {
    hkwprintf("qbfa host: listening for front-application switches from %s\n",
              Joined(switches_from, ", "));
  }
  if (desktop_watched || desktop_warned)
    return;
  const std::string why =
      desktop_problems.empty() ? "" : " (" + Joined(desktop_problems, "; ") + ")";
  hkwprintf(
      "qbfa host: warning: no desktop tells this host of front-application switches%s; "
      "changed sets are published only after `qbfa switch`\n",
      why);
}

// Starts the sources in order; false when a required one fails.
bool StartEventSources(hookwright::RunLoop& loop, std::vector<RunningEventSource>* running) {
  std::vector<std::string> switches_from;
  std::vector<std::string> desktop_problems;
  bool desktop_watched = false;
  bool desktop_warned = false;
  for (const EventSourceStarter& starter : HostEventSources()) {
    EventSourceReport report;
    RunningEventSource source = starter.start(loop, &report);
    if (!source) {
      hkwprintf("qbfa host: cannot start %s: %s\n", starter.name, report.error);
      if (starter.required)
        return false;
      if (starter.watches_desktop)
        desktop_problems.push_back(report.error);
      continue;
    }
    if (!report.missing.empty()) {
      if (starter.watches_desktop)
        desktop_problems.push_back(report.missing);
      else
        hkwprintf("qbfa host: %s\n", report.missing);
    }
    if (!report.warning.empty()) {
      hkwprintf("qbfa host: warning: %s\n", report.warning);
      desktop_warned = true;
    }
    if (!report.switches_from.empty()) {
      switches_from.push_back(report.switches_from);
      desktop_watched = desktop_watched || starter.watches_desktop;
    }
    running->push_back(std::move(source));
  }
  LogSwitchSources(switches_from, desktop_watched, desktop_warned, desktop_problems);
  return true;
}

}  // namespace

int RunHost(const std::vector<std::string>& plugins) {
  hookwright::RunLoop& loop = hookwright::MainRunLoop();
  std::vector<RunningEventSource> sources;
  std::vector<std::unique_ptr<LoadedPlugin>> loaded;
  int result = 0;

  if (!StartEventSources(loop, &sources)) {
    result = 1;
  } else {
    for (const std::string& path :
         plugins.empty() ? std::vector<std::string>{DefaultPluginPath()} : plugins) {
      std::string error;
      std::unique_ptr<LoadedPlugin> plugin = LoadedPlugin::Load(path, &error);
      if (!plugin) {
        hkwprintf("qbfa host: %s\n", error);
        result = 1;
        break;
      }
      loaded.push_back(std::move(plugin));
    }
  }

  if (result == 0) {
    // Posted, so that each entry point runs on the loop's own thread, the
    // main thread the plug-in shares its state on.
    for (const std::unique_ptr<LoadedPlugin>& plugin : loaded) {
      loop.Post([&plugin = *plugin] {
        if (int32_t status = plugin.Initialize(); status != 0)
          hkwprintf("qbfa host: QBFA_Initialize of %s returned %d\n", plugin.path(), status);
      });
    }
    loop.Run();
  }

  sources.clear();
  // Handlers the plug-ins installed point into code that is about to go.
  hookwright::ApplicationEventTarget().Clear();
  if (!loaded.empty()) {
    CheckLeaksBeforeUnloading();
    while (!loaded.empty())
      loaded.pop_back();
  }
  return result;
}
