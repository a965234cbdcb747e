#include "host/host.h"

#include <memory>

#include "hookwright/application_events.h"
#include "hookwright/hkwprintf.h"
#include "hookwright/main_thread.h"
#include "host/event_source.h"
#include "host/leak_check.h"
#include "host/plugin.h"

namespace {

// Starts the sources in order; false when a required one fails.
bool StartEventSources(hookwright::RunLoop& loop, std::vector<RunningEventSource>* running) {
  for (const EventSourceStarter& starter : HostEventSources()) {
    std::string error;
    RunningEventSource source = starter.start(loop, &error);
    if (!source) {
      hkwprintf("qbfa host: cannot start %s: %s\n", starter.name, error);
      if (starter.required)
        return false;
      continue;
    }
    running->push_back(std::move(source));
  }
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
