// `qbfa defaults read|write|delete`: the preferences files, in the manner of
// the platform's `defaults` tool.
#ifndef CLI_DEFAULTS_COMMAND_H_
#define CLI_DEFAULTS_COMMAND_H_

#include <CLI/CLI.hpp>

#include <iostream>

// Adds the "defaults" subcommand to `app`. It writes its results to `out` and
// its complaints to `err`; a failure ends it with exit code 1.
void RegisterDefaultsCommand(CLI::App& app, std::ostream& out = std::cout,
                             std::ostream& err = std::cerr);

#endif  // CLI_DEFAULTS_COMMAND_H_
