// A flood of desktop bridge reports at the real host and plug-in: however
// many switches arrive, the plug-in re-reads once for each time the watcher
// marked the sets stale, and not at all when nothing is stale.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>

#include "tests/host/bridge_client.h"
#include "tests/support/file_text.h"
#include "tests/support/host_session.h"
#include "tests/support/logged_host.h"
#include "tests/support/watched_file.h"

namespace {

const std::string kQbfa = QBFA_BINARY_DIR "/cli/qbfa";
constexpr int kReports = 10'000;
constexpr char kSwitched[] = "qbfa host: front application switched (desktop bridge)";
constexpr char kReRead[] = "[QB] Updating font sets";

// How many lines from `from` on contain `text`.
size_t Count(const qbfa_test::LoggedHost& host, size_t from, const std::string& text) {
  size_t count = 0;
  for (const qbfa_test::LoggedHost::Line& line : host.Since(from))
    count += line.text.find(text) != std::string::npos;
  return count;
}

// Sends a burst of reports that alternate between two applications, every
// one a switch, and waits until the host has logged each as handled.
void Flood(qbfa_test::BridgeClient& bridge, const qbfa_test::LoggedHost& host, size_t from) {
  ASSERT_EQ(bridge.Burst(kReports, [](int i) { return i % 2 ? "foot.desktop" : "wev"; }), 0);
  // Each answer leaves after its switch was handled; the lines may trail
  // the answers in the pipe.
  for (int wait = 0; wait < 600 && Count(host, from, kSwitched) < kReports; ++wait)
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  ASSERT_EQ(Count(host, from, kSwitched), static_cast<size_t>(kReports));
}

TEST(HostBridge, ReReadsOncePerStaleMarkHoweverManyReportsArrive) {
  qbfa_test::HostSession session(kQbfa, qbfa_test::FileText(qbfa_test::BundledSamplePath(1)));
  qbfa_test::LoggedHost& host = session.StartHost();
  qbfa_test::BridgeClient bridge;
  ASSERT_TRUE(bridge.connected());

  size_t from = host.LineCount();
  Flood(bridge, host, from);
  EXPECT_EQ(Count(host, from, kReRead), 0u) << "nothing was stale";

  // The font manager writes the next version over the database, in place.
  struct stat before;
  ASSERT_EQ(stat(session.database().c_str(), &before), 0);
  qbfa_test::AwaitFileClockPast(session.home().root(), before.st_mtim);
  from = host.LineCount();
  std::ofstream(session.database(), std::ios::binary)
      << qbfa_test::FileText(qbfa_test::BundledSamplePath(2));
  const auto dated = host.Await(" vs " + qbfa_test::WatcherLoggedDate(session.database()), from);
  const auto stale = host.Await("[QB] \tident=", dated.index);

  Flood(bridge, host, stale.index);
  EXPECT_EQ(Count(host, stale.index, kReRead), 1u);
  // Still answering at once after twenty thousand reports.
  EXPECT_EQ(bridge.Report("qmlscene", 1), "");
  EXPECT_EQ(host.Stop(), 0);
}

}  // namespace
