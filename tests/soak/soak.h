// A soak of the whole system beside a real writer, for as long as asked:
// `qbfa host` running the plug-in on a private session bus; the font
// manager's database changed in place by the project's SQLite 2 writer,
// which takes a 2.8 writer's locks and writes its rollback journal, in
// transactions that each move a few fonts between sets; a front-application
// switch every 20 ms; and a listener process that prints every publication.
//
// It checks that every publication is the set tree of one committed state,
// that after the writer's last commit the next switch publishes the final
// state, that the host's memory and open descriptors stay flat, and that
// nothing logs a fault or a sanitizer report.
#ifndef TESTS_SOAK_SOAK_H_
#define TESTS_SOAK_SOAK_H_

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tests/soak/flatness.h"
#include "tests/soak/host_log_tally.h"
#include "tests/soak/process_usage.h"

namespace qbfa_soak {

struct SoakOptions {
  std::chrono::seconds duration{600};
  std::string qbfa;  // the command that runs the host and the listener
  uint32_t seed = 1;
};

struct SoakReport {
  std::chrono::steady_clock::duration ran{};
  std::string build;  // what the programs were built with

  // The library the writer changes.
  size_t fonts = 0;
  size_t sets = 0;
  size_t database_pages = 0;
  size_t tree_bytes = 0;  // of the XML published at start-up

  size_t transactions = 0;
  size_t fonts_moved = 0;
  // Times the writer found the host reading and tried again a moment
  // later, as the library's busy handler does.
  size_t writer_busy_retries = 0;

  size_t switches_sent = 0;
  HostLogTally host_log;

  // What the listener printed: each one a committed state, or the sets
  // without their links after a locked read of them.
  size_t listener_publications = 0;
  size_t matched_publications = 0;
  size_t partial_publications = 0;
  // Reads that found the pasteboard between the host's clear and its put.
  size_t empty_reads = 0;
  // Whether the run got as far as the last commit, and the switch after it
  // published the final state.
  bool final_state_checked = false;
  bool final_state_published = false;

  std::optional<ProcessUsage> host_at_start;
  std::optional<ProcessUsage> host_at_end;
  std::optional<Flatness> flatness;
  bool memory_judged = true;  // not under AddressSanitizer: its quarantine grows
  int host_exit_status = -1;

  std::vector<std::string> failures;
  bool passed() const { return failures.empty(); }
};

SoakReport RunSoak(const SoakOptions& options);

// The figures and the verdict, as lines for a person.
std::string FormatSoakReport(const SoakReport& report);

}  // namespace qbfa_soak

#endif  // TESTS_SOAK_SOAK_H_
