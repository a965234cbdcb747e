// `qbfa host [PLUGIN...]`: runs plug-ins in a host process until SIGINT or
// SIGTERM.
#ifndef CLI_HOST_COMMAND_H_
#define CLI_HOST_COMMAND_H_

#include <CLI/CLI.hpp>

// Adds the "host" subcommand to `app`.
void RegisterHostCommand(CLI::App& app);

#endif  // CLI_HOST_COMMAND_H_
