#include "tests/soak/host_log_tally.h"

namespace qbfa_soak {
namespace {

constexpr size_t kKeptFaults = 10;

// The beginnings of the host's and the plug-in's lines about failures, and
// what the sanitizers print.
constexpr std::string_view kFaultMarkers[] = {
    "Unable to",     "[QB] Can",        "[QB] Could not",    "[QB] Unknown",
    "[QB] Ignoring", "qbfa host: lost", "qbfa host: cannot", "qbfa host: QBFA_Initialize",
    "Sanitizer",     "runtime error:"};

bool Contains(std::string_view line, std::string_view text) {
  return line.find(text) != std::string_view::npos;
}

}  // namespace

void HostLogTally::Add(std::string_view line) {
  if (line.starts_with("qbfa host: front application switched")) {
    ++switches;
  } else if (line == "[QB] Updating font sets") {
    ++refreshes;
  } else if (line == "[QB] Old sets and new sets are equal. Bummers.") {
    ++equal_reads;
  } else if (line == "[QB] Notified!") {
    ++publications;
  } else if (Contains(line, "database is locked")) {
    ++locked_reads;
    if (Contains(line, "relationship table"))
      ++locked_link_reads;
  } else {
    for (std::string_view marker : kFaultMarkers) {
      if (Contains(line, marker)) {
        if (++fault_count <= kKeptFaults)
          faults.emplace_back(line);
        break;
      }
    }
  }
}

}  // namespace qbfa_soak
