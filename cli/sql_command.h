// `qbfa sql DB STATEMENT`: a SELECT on an SQLite 2 file, one JSON line per
// result row.
#ifndef CLI_SQL_COMMAND_H_
#define CLI_SQL_COMMAND_H_

#include <CLI/CLI.hpp>

// Adds the "sql" subcommand to `app`.
void RegisterSqlCommand(CLI::App& app);

#endif  // CLI_SQL_COMMAND_H_
