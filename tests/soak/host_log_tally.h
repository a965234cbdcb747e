// What the host's log tells of a soak, line by line (the log switch on).
#ifndef TESTS_SOAK_HOST_LOG_TALLY_H_
#define TESTS_SOAK_HOST_LOG_TALLY_H_

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace qbfa_soak {

struct HostLogTally {
  size_t switches = 0;      // front switches the plug-in has handled
  size_t refreshes = 0;     // re-reads at a switch
  size_t equal_reads = 0;   // re-reads that found the sets unchanged
  size_t publications = 0;  // sets published
  // Statements that waited for the writer longer than the engine waits
  // (300 ms) and gave up with "database is locked", as a 2.8 reader does.
  size_t locked_reads = 0;
  // Of those, reads of the relationships: the sets read before them are
  // then published without their fonts and child sets.
  size_t locked_link_reads = 0;
  // Lines that tell of a fault: a read that failed otherwise, a lost bus, a
  // sanitizer's report. The first few are kept as they are.
  size_t fault_count = 0;
  std::vector<std::string> faults;

  void Add(std::string_view line);
};

}  // namespace qbfa_soak

#endif  // TESTS_SOAK_HOST_LOG_TALLY_H_
