#include "cli/switch_command.h"

#include <cstdio>
#include <string>

#include "host/front_switch_signal.h"

void RegisterSwitchCommand(CLI::App& app) {
  CLI::App* command = app.add_subcommand(
      "switch",
      "Tell every qbfa host on the session bus that the front application changed; a host with "
      "changed font sets pending re-reads and publishes them (exit 1: no session bus)");
  command->callback([] {
    std::string error;
    if (!EmitFrontSwitchSignal(&error)) {
      std::fprintf(stderr, "qbfa switch: %s\n", error.c_str());
      throw CLI::RuntimeError(1);
    }
  });
}
