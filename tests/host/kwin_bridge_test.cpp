// qbfa's KWin script (desktop/kwin/qbfa-front-switch) in a real KWin, beside
// the real host and plug-in: enabled as a user enables it, it turns focus
// moves between applications into the host's switches, and so into
// publications of changed sets; disabled, it says nothing, and the host
// says how to enable it.
#include <sys/stat.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tests/host/headless_kwin.h"
#include "tests/reader/qbfa_process.h"
#include "tests/support/background_process.h"
#include "tests/support/file_text.h"
#include "tests/support/host_session.h"
#include "tests/support/watched_file.h"

namespace {

using qbfa_test::BackgroundProcess;
using qbfa_test::LoggedHost;

const std::string kQbfa = QBFA_BINARY_DIR "/cli/qbfa";
const std::string kBridge = QBFA_SOURCE_DIR "/desktop/kwin/qbfa-front-switch";
constexpr char kPackageId[] = "qbfa-front-switch";
constexpr char kSwitched[] = "qbfa host: front application switched (desktop bridge)";
constexpr char kHostService[] = "com.quillbox.Host";

// What a user runs to turn the script on or off in a running Plasma 5.
std::string EnableCommand(bool enabled) {
  return std::string("kwriteconfig5 --file kwinrc --group Plugins --key ") + kPackageId +
         "Enabled " + (enabled ? "true" : "false") +
         " && dbus-send --session --type=method_call --dest=org.kde.KWin /KWin "
         "org.kde.KWin.reconfigure";
}

// Splits what `qbfa sets --follow --format xml` printed into publications.
std::vector<std::string> Publications(const std::string& output) {
  std::vector<std::string> documents;
  const std::string start = "<?xml";
  for (size_t at = output.find(start); at != std::string::npos;) {
    const size_t next = output.find(start, at + 1);
    documents.push_back(output.substr(at, next == std::string::npos ? next : next - at));
    at = next;
  }
  return documents;
}

// How many of the host's log lines contain `text`.
size_t Count(const std::vector<LoggedHost::Line>& lines, const std::string& text) {
  size_t count = 0;
  for (const LoggedHost::Line& line : lines)
    count += line.text.find(text) != std::string::npos;
  return count;
}

// A user's Plasma session with qbfa: KWin and the host on one private bus,
// the host's home holding the sample library, and two applications: wev,
// and a qmlscene showing two windows. Both windows of qmlscene have its
// resourceClass, so the host counts them as one application.
class KWinBridgeTest : public testing::Test {
 protected:
  void SetUp() override {
    QBFA_SKIP_WITHOUT_KWIN();
    session_.emplace(kQbfa, qbfa_test::FileText(qbfa_test::BundledSamplePath(1)));
    kwin_.emplace(std::vector<std::string>{kBridge});
    ASSERT_TRUE(kwin_->running()) << kwin_->error();
    wayland_display_.emplace("WAYLAND_DISPLAY", kwin_->display());
  }

  // Whatever KWin activated, the script never failed.
  void TearDown() override {
    if (kwin_ && kwin_->running()) {
      EXPECT_EQ(kwin_->ScriptErrors(), "");
    }
  }

  // Runs `command` with sh as a program of the Plasma session runs it.
  void RunInSession(const std::string& command) {
    BackgroundProcess shell({"/bin/sh", "-c", command}, kwin_->SessionEnvironment());
    ASSERT_EQ(shell.Wait(), 0) << command << ":\n" << shell.err();
  }

  // Turns the script on or off with the user's command; returns once KWin
  // has acted on it.
  void SetBridge(bool enabled) {
    RunInSession(EnableCommand(enabled));
    ASSERT_TRUE(kwin_->AwaitScriptLoaded(kPackageId, enabled)) << kwin_->error();
  }

  void StartApplications() {
    notes_ =
        kwin_->StartApplication(kwin_->QmlWindows({"notes 1", "notes 2"}), {"notes 1", "notes 2"});
    ASSERT_TRUE(notes_) << kwin_->error();
    wev_ = kwin_->StartApplication({"wev"}, {"wev"});
    ASSERT_TRUE(wev_) << kwin_->error();
  }

  // Moves the focus to `window`; returns once the host has handled whatever
  // the bridge reported of it, with the host's log from before the move.
  std::vector<LoggedHost::Line> MoveFocus(const std::string& window) {
    const size_t from = session_->host().LineCount();
    EXPECT_TRUE(kwin_->Focus(window)) << kwin_->error();
    EXPECT_TRUE(kwin_->Flush(kHostService)) << kwin_->error();
    return session_->host().Since(from);
  }

  // Overwrites the library in place with `version`, as the font manager
  // writes it, and waits until the host's watcher has marked the sets stale.
  void WriteLibrary(int version) {
    const std::string& database = session_->database();
    struct stat before;
    ASSERT_EQ(stat(database.c_str(), &before), 0);
    qbfa_test::AwaitFileClockPast(session_->home().root(), before.st_mtim);
    const size_t from = session_->host().LineCount();
    std::ofstream(database, std::ios::binary | std::ios::trunc)
        << qbfa_test::FileText(qbfa_test::BundledSamplePath(version));
    const LoggedHost::Line dated =
        session_->host().Await(" vs " + qbfa_test::WatcherLoggedDate(database), from);
    session_->host().Await("[QB] \tident=", dated.index);
  }

  std::optional<qbfa_test::HostSession> session_;
  std::optional<qbfa_test::HeadlessKWin> kwin_;
  // The host's, as a Plasma session gives it: KWin's socket, where the host
  // finds nothing to follow on its own.
  std::optional<qbfa_test::ScopedEnvironmentVariable> wayland_display_;
  std::unique_ptr<BackgroundProcess> notes_;
  std::unique_ptr<BackgroundProcess> wev_;
};

TEST_F(KWinBridgeTest, ASwitchToAnotherApplicationPublishesTheChangedSets) {
  ASSERT_NO_FATAL_FAILURE(SetBridge(true));
  ASSERT_NO_FATAL_FAILURE(StartApplications());
  ASSERT_TRUE(kwin_->Focus("wev")) << kwin_->error();
  session_->StartHost();
  BackgroundProcess listener({kQbfa, "sets", "--follow", "--format", "xml"});
  ASSERT_TRUE(listener.WaitForOutput("</plist>")) << listener.err();

  WriteLibrary(2);
  std::vector<LoggedHost::Line> logged = MoveFocus("notes 1");
  EXPECT_EQ(Count(logged, kSwitched), 1u);
  EXPECT_EQ(Count(logged, "[QB] Updating font sets"), 1u);
  const std::string new_sets = qbfa_test::RunQbfa({"read", qbfa_test::BundledSamplePath(2)}).out;
  ASSERT_TRUE(listener.WaitForOutput(new_sets)) << listener.out();

  // Nothing is stale now: the next switch reads and publishes nothing.
  logged = MoveFocus("wev");
  EXPECT_EQ(Count(logged, kSwitched), 1u);
  EXPECT_EQ(Count(logged, "[QB]"), 0u);
  EXPECT_EQ(Publications(listener.out()).size(), 2u);
}

// The script as Plasma 6 runs it, on Debian 12's KWin: its code given a
// workspace that has Plasma 6's names for the active window and its signal.
std::string AsInPlasma6() {
  return "(function (workspace) {\n" + qbfa_test::FileText(kBridge + "/contents/code/main.js") +
         "\n})({windowActivated: workspace.clientActivated,\n"
         "    get activeWindow() { return workspace.activeClient; }});\n";
}

class KWinBridgeMovesTest : public KWinBridgeTest, public testing::WithParamInterface<bool> {
 protected:
  void StartBridge() {
    if (GetParam()) {
      ASSERT_TRUE(kwin_->RunScript(AsInPlasma6())) << kwin_->error();
    } else {
      ASSERT_NO_FATAL_FAILURE(SetBridge(true));
    }
  }
};

TEST_P(KWinBridgeMovesTest, OnlyAMoveToAnotherApplicationIsASwitch) {
  ASSERT_NO_FATAL_FAILURE(StartApplications());
  ASSERT_TRUE(kwin_->Focus("wev")) << kwin_->error();
  session_->StartHost();
  // The script reports the window in front as it starts, so that the host
  // knows the application a first move starts from.
  const size_t before_start = session_->host().LineCount();
  ASSERT_NO_FATAL_FAILURE(StartBridge());
  ASSERT_TRUE(kwin_->Flush(kHostService)) << kwin_->error();
  EXPECT_EQ(Count(session_->host().Since(before_start), kSwitched), 1u);

  struct Move {
    const char* to;
    bool switches;
  };
  const Move moves[] = {
      {"notes 2", true},   // wev to qmlscene
      {"notes 1", false},  // another window of the same qmlscene
      {"notes 2", false},  // and back
      {"wev", true},       // qmlscene to wev
      {"notes 1", true},   // and back
  };
  for (const Move& move : moves) {
    SCOPED_TRACE(std::string("to ") + move.to);
    EXPECT_EQ(Count(MoveFocus(move.to), kSwitched), move.switches ? 1u : 0u);
  }
}

INSTANTIATE_TEST_SUITE_P(Plasma, KWinBridgeMovesTest, testing::Bool(),
                         [](const testing::TestParamInfo<bool>& info) {
                           return info.param ? "SixNames" : "FiveNames";
                         });

// A test of its own for each way the script is off: each needs a KWin that
// has never run it, or has stopped it.
class DisabledKWinBridgeTest : public KWinBridgeTest, public testing::WithParamInterface<bool> {};

TEST_P(DisabledKWinBridgeTest, ReportsNothing) {
  if (GetParam()) {
    ASSERT_NO_FATAL_FAILURE(SetBridge(true));
  }
  ASSERT_NO_FATAL_FAILURE(SetBridge(false));
  ASSERT_NO_FATAL_FAILURE(StartApplications());
  session_->StartHost();
  const size_t from = session_->host().LineCount();
  for (const char* window : {"notes 1", "wev", "notes 2"})
    MoveFocus(window);
  EXPECT_EQ(Count(session_->host().Since(from), kSwitched), 0u);
}

INSTANTIATE_TEST_SUITE_P(Bridge, DisabledKWinBridgeTest, testing::Bool(),
                         [](const testing::TestParamInfo<bool>& info) {
                           return info.param ? "EnabledThenDisabled" : "NeverEnabled";
                         });

TEST_F(KWinBridgeTest, TheHostSaysHowToEnableTheBridgeAndTheCommandWorks) {
  LoggedHost* host = &session_->StartHost();
  const std::string warning =
      host->Await("qbfa host: warning: KWin runs without qbfa's KWin script", 0).text;
  const size_t start = warning.find('`'), end = warning.rfind('`');
  ASSERT_LT(start, end) << warning;
  const std::string command = warning.substr(start + 1, end - start - 1);
  EXPECT_EQ(command, EnableCommand(true));
  // The host that cannot follow KWin on its own warns once, saying how to
  // enable the bridge.
  EXPECT_EQ(Count(host->Since(0), "warning"), 1u);

  ASSERT_NO_FATAL_FAILURE(RunInSession(command));
  ASSERT_TRUE(kwin_->AwaitScriptLoaded(kPackageId, true)) << kwin_->error();
  host = &session_->StartHost();
  const std::string listening = "qbfa host: listening for front-application switches from ";
  const std::string sources = host->Await(listening, 0).text.substr(listening.size()) + ", ";
  EXPECT_NE(sources.find("KWin script, "), std::string::npos) << sources;
  EXPECT_EQ(Count(host->Since(0), "warning"), 0u);
}

}  // namespace
