// `qbfa switch`: tells every host of the session that the front application
// changed, as a switch between applications on a desktop would.
#ifndef CLI_SWITCH_COMMAND_H_
#define CLI_SWITCH_COMMAND_H_

#include <CLI/CLI.hpp>

// Adds the "switch" subcommand to `app`.
void RegisterSwitchCommand(CLI::App& app);

#endif  // CLI_SWITCH_COMMAND_H_
