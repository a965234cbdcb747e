// qbfa: the command-line face of the project.
#include <CLI/CLI.hpp>

#include "cli/defaults_command.h"
#include "cli/host_command.h"
#include "cli/read_command.h"
#include "cli/sets_command.h"
#include "cli/sql_command.h"
#include "cli/switch_command.h"

int main(int argc, char** argv) {
  CLI::App app{"qbfa: font sets from the font manager's database, published to Quillbox"};
  app.set_version_flag("--version", std::string("qbfa ") + QBFA_VERSION);
  app.require_subcommand(0, 1);
  RegisterReadCommand(app);
  RegisterDefaultsCommand(app);
  RegisterSqlCommand(app);
  RegisterHostCommand(app);
  RegisterSetsCommand(app);
  RegisterSwitchCommand(app);
  CLI11_PARSE(app, argc, argv);
  if (argc == 1) {
    std::fputs(app.help().c_str(), stdout);
  }
  return 0;
}
