#include "tests/soak/host_log_tally.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace qbfa_soak {
namespace {

struct Tallied {
  size_t switches, refreshes, equal_reads, publications, locked_reads, locked_link_reads,
      fault_count;
  bool operator==(const Tallied&) const = default;
};

Tallied Of(const HostLogTally& tally) {
  return {tally.switches,     tally.refreshes,         tally.equal_reads, tally.publications,
          tally.locked_reads, tally.locked_link_reads, tally.fault_count};
}

void PrintTo(const Tallied& t, std::ostream* out) {
  *out << "switches " << t.switches << ", refreshes " << t.refreshes << ", equal " << t.equal_reads
       << ", publications " << t.publications << ", locked " << t.locked_reads << " (links "
       << t.locked_link_reads << "), faults " << t.fault_count;
}

struct Case {
  const char* line;
  Tallied tallied;
};

class HostLogTallyTest : public testing::TestWithParam<Case> {};

TEST_P(HostLogTallyTest, CountsEachLineOnce) {
  HostLogTally tally;
  tally.Add(GetParam().line);
  EXPECT_EQ(Of(tally), GetParam().tallied);
  EXPECT_EQ(tally.faults.size(), GetParam().tallied.fault_count);
}

INSTANTIATE_TEST_SUITE_P(
    Lines, HostLogTallyTest,
    testing::Values(
        Case{"qbfa host: front application switched (qbfa switch)", {1, 0, 0, 0, 0, 0, 0}},
        Case{"[QB] Updating font sets", {0, 1, 0, 0, 0, 0, 0}},
        Case{"[QB] Old sets and new sets are equal. Bummers.", {0, 0, 1, 0, 0, 0, 0}},
        Case{"[QB] Notified!", {0, 0, 0, 1, 0, 0, 0}},
        Case{"Unable to find set table error 5: database is locked", {0, 0, 0, 0, 1, 0, 0}},
        Case{"Unable to find relationship table error 5: database is locked",
             {0, 0, 0, 0, 1, 1, 0}},
        Case{"[QB] Unable to open database \"/h/FontAgent.db\": database is locked",
             {0, 0, 0, 0, 1, 0, 0}},
        // What else a read may fail with is a fault.
        Case{"Unable to find font with ID 12 error 11: database disk image is malformed",
             {0, 0, 0, 0, 0, 0, 1}},
        Case{"[QB] Cannot find FontAgent Pro database", {0, 0, 0, 0, 0, 0, 1}},
        Case{"[QB] Can't find child set for 7", {0, 0, 0, 0, 0, 0, 1}},
        Case{"[QB] Could not find font for child 9", {0, 0, 0, 0, 0, 0, 1}},
        Case{"[QB] Could not tell others that the sets have changed because of error -25135. "
             "Darn error -25135!",
             {0, 0, 0, 0, 0, 0, 1}},
        Case{"qbfa host: lost the session bus (Connection reset by peer); qbfa switch and "
             "desktop bridges no longer reach this host",
             {0, 0, 0, 0, 0, 0, 1}},
        Case{"==4242==ERROR: AddressSanitizer: heap-use-after-free on address 0x602000000010",
             {0, 0, 0, 0, 0, 0, 1}},
        Case{"==4242==ERROR: LeakSanitizer: detected memory leaks", {0, 0, 0, 0, 0, 0, 1}},
        Case{"watch/refresh.cpp:12:3: runtime error: load of null pointer", {0, 0, 0, 0, 0, 0, 1}},
        // The log switch's chatter is neither.
        Case{"[QB] Parent Web 002:Web 004 Child", {0, 0, 0, 0, 0, 0, 0}},
        Case{"[QB] 786000000.123456 vs 786000001.654321", {0, 0, 0, 0, 0, 0, 0}},
        Case{"[QB] \tident=7, filter=EVFILT_VNODE, flags=0x0021 (EV_ADD|EV_CLEAR), ",
             {0, 0, 0, 0, 0, 0, 0}},
        Case{"Projects 001", {0, 0, 0, 0, 0, 0, 0}}));

TEST(HostLogTally, KeepsOnlyTheFirstFaults) {
  HostLogTally tally;
  for (int i = 0; i < 25; ++i)
    tally.Add("[QB] Could not find font for child " + std::to_string(i));
  EXPECT_EQ(tally.fault_count, 25u);
  ASSERT_EQ(tally.faults.size(), 10u);
  EXPECT_EQ(tally.faults.front(), "[QB] Could not find font for child 0");
}

}  // namespace
}  // namespace qbfa_soak
