// `qbfa read [--log] DB`: the plug-in's start-up read on any database file.
#ifndef CLI_READ_COMMAND_H_
#define CLI_READ_COMMAND_H_

#include <CLI/CLI.hpp>

// Adds the "read" subcommand to `app`.
void RegisterReadCommand(CLI::App& app);

#endif  // CLI_READ_COMMAND_H_
