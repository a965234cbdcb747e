// Runs the soak and prints its figures:
//
//   qbfa_soak [--seconds N] [--seed N]
//
// Exit status 0 when every check held, 1 when one failed.
#include <CLI/CLI.hpp>

#include <cstdio>

#include "hookwright/log.h"
#include "tests/soak/soak.h"

int main(int argc, char** argv) {
  CLI::App app(
      "Runs qbfa host beside a writer, switches and a listener, and checks what it publishes");
  int seconds = 600;
  uint32_t seed = 1;
  app.add_option("--seconds", seconds, "How long the writer and the switches run")
      ->check(CLI::PositiveNumber)
      ->capture_default_str();
  app.add_option("--seed", seed, "Draws the library, the moves and the gaps between commits")
      ->capture_default_str();
  CLI11_PARSE(app, argc, argv);

  // The reads made here to know each state's tree log nothing.
  hookwright::SetLogSink([](std::string_view) {});
  const qbfa_soak::SoakReport report =
      qbfa_soak::RunSoak({std::chrono::seconds(seconds), QBFA_BINARY_DIR "/cli/qbfa", seed});
  std::fputs(qbfa_soak::FormatSoakReport(report).c_str(), stdout);
  return report.passed() ? 0 : 1;
}
