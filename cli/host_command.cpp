#include "cli/host_command.h"

#include <memory>
#include <string>
#include <vector>

#include "host/host.h"

void RegisterHostCommand(CLI::App& app) {
  auto plugins = std::make_shared<std::vector<std::string>>();
  CLI::App* host = app.add_subcommand(
      "host",
      "Load the plug-in (by default the one built with qbfa), start it on the main thread and "
      "run until SIGINT or SIGTERM; its log goes to stderr (exit 1: a plug-in cannot be loaded)");
  host->add_option("PLUGIN", *plugins, "Plug-in shared libraries to load instead");
  host->callback([plugins] {
    if (int status = RunHost(*plugins); status != 0)
      throw CLI::RuntimeError(status);
  });
}
