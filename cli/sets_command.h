// `qbfa sets [--follow] [--format tree|xml|json]`: the listener. Prints the
// set tree published on the pasteboard and, with --follow, every later
// publication as its notification arrives.
#ifndef CLI_SETS_COMMAND_H_
#define CLI_SETS_COMMAND_H_

#include <CLI/CLI.hpp>

// Adds the "sets" subcommand to `app`.
void RegisterSetsCommand(CLI::App& app);

#endif  // CLI_SETS_COMMAND_H_
