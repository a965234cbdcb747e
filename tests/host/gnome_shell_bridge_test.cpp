// qbfa's GNOME Shell extension: both forms as the shells that load them see
// them, and the GNOME 43 form installed in a real, headless GNOME Shell,
// telling the host of front-application switches as a user moves the focus
// with Alt+Tab.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "host/desktop_bridge.h"
#include "host/program_path.h"
#include "tests/host/front_report_monitor.h"
#include "tests/host/headless_gnome_shell.h"
#include "tests/host/wayland_toplevel.h"
#include "tests/reader/qbfa_process.h"
#include "tests/support/background_process.h"
#include "tests/support/environment.h"
#include "tests/support/file_text.h"
#include "tests/support/host_session.h"
#include "tests/support/logged_host.h"
#include "tests/support/session_bus.h"
#include "tests/support/watched_file.h"

namespace {

namespace fs = std::filesystem;
using qbfa_test::FrontReport;
using qbfa_test::HeadlessGnomeShell;
using qbfa_test::ToplevelProcess;

const std::string kQbfa = QBFA_BINARY_DIR "/cli/qbfa";
const std::string kStaged = QBFA_BINARY_DIR "/desktop/gnome-shell";
constexpr char kSwitched[] = "qbfa host: front application switched (desktop bridge)";
constexpr char kListening[] = "qbfa host: listening for front-application switches from ";
// How the host's start-up line ends when the shell runs the extension.
constexpr char kNamesTheBridge[] = ", GNOME Shell extension\n";
constexpr char kBridgeOff[] =
    "qbfa host: warning: GNOME Shell runs without qbfa's GNOME Shell extension";
const std::string kEnable =
    std::string("enable it with `gnome-extensions enable ") + kGnomeShellExtensionUuid + "`\n";

// The extension as the build stages it for GNOME Shell `form` and later.
std::string Extension(const std::string& form) {
  return kStaged + "/" + form + "/" + kGnomeShellExtensionUuid;
}

// Where Debian keeps the shell's own typelibs, which the module form's
// imports need outside the shell: its own, and those of its mutter.
std::string ShellTypelibPath() {
  std::string path = "/usr/lib/gnome-shell";
  std::error_code ignored;
  for (const fs::directory_entry& triplet : fs::directory_iterator("/usr/lib", ignored)) {
    for (const fs::directory_entry& entry : fs::directory_iterator(triplet.path(), ignored)) {
      if (entry.path().filename().string().starts_with("mutter-"))
        path.append(":").append(entry.path().string());
    }
  }
  return path;
}

TEST(GnomeShellExtension, EachFormLoadsOnlyAsItsShellsLoadExtensions) {
  QBFA_SKIP_WITHOUT_GNOME_SHELL();
  struct Case {
    const char* form;
    std::string loaded;  // what the check prints
  };
  const std::string metadata = std::string("uuid ") + kGnomeShellExtensionUuid + "\nshell-version ";
  const Case cases[] = {
      {"43", metadata + "42 43 44\n" +
                 "does not load as a module: Error: it has no default export for the shell to "
                 "construct\n"},
      {"45", metadata + "45 46 47 48\n" +
                 "default export extends Extension: true\n"
                 "enabled, connected: notify::focus-window\n"
                 "disabled, connected: nothing\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.form);
    qbfa_test::BackgroundProcess check(
        {ProgramOnPath("gjs"), "-m", QBFA_SOURCE_DIR "/tests/host/gnome_shell_module_check.js",
         Extension(c.form)},
        {{"GI_TYPELIB_PATH", ShellTypelibPath()}});
    EXPECT_EQ(check.Wait(), 0) << check.err();
    EXPECT_EQ(check.out(), c.loaded) << check.err();
  }
}

// Windows on the shell. The editor's application has a desktop file, so the
// shell knows it by its id; the viewer's has none, so it goes by its class.
constexpr char kEditor[] = "org.example.Editor";
constexpr char kViewer[] = "org.example.Viewer";
const std::string kEditorApplication = std::string(kEditor) + ".desktop";

// The shell on the test's private session bus, with the extension
// installed, and windows of other processes on it.
class GnomeShellBridgeTest : public testing::Test {
 protected:
  void SetUp() override { QBFA_SKIP_WITHOUT_GNOME_SHELL(); }
  // The shell goes while the session bus of a derived fixture is still up.
  void TearDown() override {
    windows_.clear();
    shell_.reset();
  }

  // Starts the shell; false, with a failure, when it does not come up.
  bool StartShell(bool enabled = true, const std::string& extension = Extension("43")) {
    // One shell at a time owns the shell's names on the bus.
    windows_.clear();
    shell_.reset();
    shell_ = std::make_unique<HeadlessGnomeShell>(qbfa_test::GnomeShellSetup{
        .extension = extension, .enabled = enabled, .applications = {kEditor}});
    EXPECT_TRUE(shell_->running()) << shell_->error();
    return shell_->running();
  }

  // Opens a window, which takes the focus as a new window does. After a
  // failure, each step of a test does nothing, so that the test ends with
  // the first thing that went wrong rather than waiting on every step after.
  const ToplevelProcess& Open(const char* app_id, const std::string& title) {
    windows_.push_back(std::make_unique<ToplevelProcess>(shell_->display(), app_id, title,
                                                         qbfa_test::WindowUser::kTestUser));
    if (!HasFailure()) {
      EXPECT_TRUE(windows_.back()->shown()) << title << " did not show";
      EXPECT_TRUE(shell_->AwaitFocus(title)) << shell_->error();
    }
    return *windows_.back();
  }

  void AltTabTo(const std::string& title) {
    if (HasFailure())
      return;
    ASSERT_TRUE(shell_->AltTab()) << shell_->error();
    ASSERT_TRUE(shell_->AwaitFocus(title)) << shell_->error();
  }

  // After the shell, so that the windows go first.
  std::unique_ptr<HeadlessGnomeShell> shell_;
  std::vector<std::unique_ptr<ToplevelProcess>> windows_;
};

// The reports themselves, with no host on the bus to answer them: the shell
// shrugs off every failed call.
class GnomeShellBridgeWithoutHostTest : public GnomeShellBridgeTest {
 protected:
  void SetUp() override {
    GnomeShellBridgeTest::SetUp();
    if (IsSkipped() || HasFatalFailure())
      return;
    ASSERT_TRUE(bus_.running()) << bus_.error();
    ASSERT_TRUE(monitor_.running()) << monitor_.error();
    ASSERT_TRUE(StartShell());
  }

  void TearDown() override {
    if (shell_) {
      EXPECT_EQ(shell_->Log().find(kGnomeShellExtensionUuid), std::string::npos)
          << "the shell logged about the extension:\n"
          << shell_->Log();
    }
    GnomeShellBridgeTest::TearDown();
  }

  qbfa_test::PrivateSessionBus bus_;
  qbfa_test::FrontReportMonitor monitor_;
};

TEST_F(GnomeShellBridgeWithoutHostTest, ReportsEachMoveOfTheFocusToAnotherApplication) {
  const pid_t first_editor = Open(kEditor, "editor").pid();
  // No window in front is no application; the one that comes back after it
  // has not switched.
  windows_.clear();
  ASSERT_TRUE(shell_->AwaitFocus(std::nullopt)) << shell_->error();
  const ToplevelProcess& editor = Open(kEditor, "editor");
  Open(kEditor, "second editor");
  AltTabTo("editor");
  const ToplevelProcess& viewer = Open(kViewer, "viewer");
  AltTabTo("editor");
  AltTabTo("viewer");

  const std::vector<FrontReport> expected = {
      {kEditorApplication, first_editor},
      {kViewer, viewer.pid()},
      {kEditorApplication, editor.pid()},
      {kViewer, viewer.pid()},
  };
  EXPECT_EQ(monitor_.Await(expected.size()), expected);
}

TEST_F(GnomeShellBridgeWithoutHostTest, ADisabledBridgeIsSilentAndStartsAfreshWhenEnabled) {
  const ToplevelProcess& editor = Open(kEditor, "editor");
  const ToplevelProcess& viewer = Open(kViewer, "viewer");
  ASSERT_EQ(monitor_.Await(2).size(), 2u);

  ASSERT_TRUE(shell_->SetExtensionEnabled(kGnomeShellExtensionUuid, false)) << shell_->error();
  AltTabTo("editor");
  AltTabTo("viewer");
  AltTabTo("editor");
  ASSERT_TRUE(shell_->SetExtensionEnabled(kGnomeShellExtensionUuid, true)) << shell_->error();
  // The viewer was the last application it reported; enabled again, it
  // remembers nothing from before, and reports the viewer anew.
  AltTabTo("viewer");
  AltTabTo("editor");

  const std::vector<FrontReport> expected = {
      {kEditorApplication, editor.pid()},
      {kViewer, viewer.pid()},
      {kViewer, viewer.pid()},
      {kEditorApplication, editor.pid()},
  };
  EXPECT_EQ(monitor_.Await(expected.size()), expected);
}

// The whole system: `qbfa host` with the real plug-in, a listener, the
// database changed in place as the font manager writes it, and the shell.
class GnomeShellBridgeWithHostTest : public GnomeShellBridgeTest {
 protected:
  void SetUp() override {
    GnomeShellBridgeTest::SetUp();
    if (IsSkipped() || HasFatalFailure())
      return;
    session_ = std::make_unique<qbfa_test::HostSession>(
        kQbfa, qbfa_test::FileText(qbfa_test::BundledSamplePath(1)));
  }

  void TearDown() override {
    if (host_ != nullptr) {
      EXPECT_EQ(host_->Stop(), 0);
    }
    GnomeShellBridgeTest::TearDown();
  }

  void StartHost() {
    host_ = &session_->StartHost();
    listener_ = std::make_unique<qbfa_test::BackgroundProcess>(
        std::vector<std::string>{kQbfa, "sets", "--follow", "--format", "xml"});
    ASSERT_TRUE(AwaitPublications(1));
  }

  // Writes sample `version` over the database, in place, and waits until the
  // host has marked its sets stale.
  void ChangeDatabase(int version) {
    const std::string& database = session_->database();
    struct stat before;
    ASSERT_EQ(stat(database.c_str(), &before), 0);
    qbfa_test::AwaitFileClockPast(session_->home().root(), before.st_mtim);
    const size_t from = host_->LineCount();
    std::ofstream(database, std::ios::binary)
        << qbfa_test::FileText(qbfa_test::BundledSamplePath(version));
    const auto dated = host_->Await(" vs " + qbfa_test::WatcherLoggedDate(database), from);
    host_->Await("[QB] \tident=", dated.index);
  }

  // What the host logged from line `from` on until it reported the next
  // switch from the bridge.
  std::string LoggedUntilSwitch(size_t from) {
    const size_t switched = host_->Await(kSwitched, from).index;
    std::string logged;
    for (const qbfa_test::LoggedHost::Line& line : host_->Since(from)) {
      if (line.index < switched)
        logged += line.text + "\n";
    }
    return logged;
  }

  std::vector<std::string> Publications() const {
    std::vector<std::string> documents;
    const std::string out = listener_->out();
    for (size_t at = out.find("<?xml"); at != std::string::npos;) {
      const size_t next = out.find("<?xml", at + 1);
      documents.push_back(out.substr(at, next == std::string::npos ? next : next - at));
      at = next;
    }
    return documents;
  }

  bool AwaitPublications(size_t count) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (Publications().size() < count) {
      if (std::chrono::steady_clock::now() > deadline) {
        ADD_FAILURE() << "waited for publication " << count << "; the listener has:\n"
                      << listener_->out();
        return false;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
  }

  std::string TreeOfDatabase() { return qbfa_test::RunQbfa({"read", session_->database()}).out; }

  // What a host started now logs up to its line naming where it hears
  // switches from; the host is stopped again.
  std::string HostStartUp() {
    qbfa_test::BackgroundProcess host({kQbfa, "host"});
    EXPECT_TRUE(host.WaitForOutput(kListening, true)) << host.err();
    host.Signal(SIGTERM);
    EXPECT_EQ(host.Wait(), 0) << host.err();
    const std::string err = host.err();
    const size_t line = err.find(kListening);
    return line == std::string::npos ? err : err.substr(0, err.find('\n', line) + 1);
  }

  std::unique_ptr<qbfa_test::HostSession> session_;
  qbfa_test::LoggedHost* host_ = nullptr;
  std::unique_ptr<qbfa_test::BackgroundProcess> listener_;
};

TEST_F(GnomeShellBridgeWithHostTest, SwitchesBetweenApplicationsDeliverChangedSets) {
  ASSERT_TRUE(StartShell());
  Open(kEditor, "editor");
  Open(kViewer, "viewer");
  StartHost();
  EXPECT_NE(host_->Since(0).front().text.find(" GNOME Shell extension"), std::string::npos)
      << host_->Since(0).front().text;

  ChangeDatabase(2);
  size_t from = host_->LineCount();
  AltTabTo("editor");
  EXPECT_NE(LoggedUntilSwitch(from).find("[QB] Updating font sets"), std::string::npos);
  ASSERT_TRUE(AwaitPublications(2));
  EXPECT_EQ(Publications()[1], TreeOfDatabase());

  // The focus moving between windows of one application is no switch: the
  // change waits for the move to another application.
  ChangeDatabase(1);
  from = host_->LineCount();
  Open(kEditor, "second editor");
  AltTabTo("editor");
  ASSERT_TRUE(shell_->AltTab(2)) << shell_->error();
  ASSERT_TRUE(shell_->AwaitFocus("viewer")) << shell_->error();
  const std::string refresh = LoggedUntilSwitch(from);
  EXPECT_EQ(refresh.find(kSwitched), std::string::npos) << refresh;
  EXPECT_NE(refresh.find("[QB] Updating font sets"), std::string::npos) << refresh;
  ASSERT_TRUE(AwaitPublications(3));
  EXPECT_EQ(Publications()[2], TreeOfDatabase());

  // Nothing is stale now: a switch reads and publishes nothing.
  from = host_->LineCount();
  AltTabTo("editor");
  EXPECT_EQ(LoggedUntilSwitch(from).find("[QB]"), std::string::npos);
  EXPECT_EQ(Publications().size(), 3u);
}

TEST_F(GnomeShellBridgeWithHostTest, TheHostSaysHowToEnableTheBridgeWhenItIsOff) {
  struct Case {
    const char* what;
    bool installed;
    bool enabled;
  };
  const Case cases[] = {
      {"enabled", true, true},
      {"installed, not enabled", true, false},
      {"not installed", false, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    ASSERT_TRUE(StartShell(c.enabled, c.installed ? Extension("43") : ""));
    const std::string said = HostStartUp();
    EXPECT_EQ(said.ends_with(kNamesTheBridge), c.enabled) << said;
    if (c.enabled) {
      EXPECT_EQ(said.find("warning"), std::string::npos) << said;
    } else {
      const size_t warning = said.find(kBridgeOff);
      ASSERT_NE(warning, std::string::npos) << said;
      EXPECT_EQ(said.find('\n', warning) + 1, said.find(kEnable, warning) + kEnable.size()) << said;
    }
  }
}

TEST_F(GnomeShellBridgeWithHostTest, TheCommandTheHostGivesEnablesTheBridge) {
  ASSERT_TRUE(StartShell(false));
  const std::string said = HostStartUp();
  const size_t command = said.find("`gnome-extensions ");
  ASSERT_NE(command, std::string::npos) << said;
  qbfa_test::BackgroundProcess user(
      {"/bin/sh", "-c", said.substr(command + 1, said.find('`', command + 1) - command - 1)},
      shell_->SessionEnvironment());
  ASSERT_EQ(user.Wait(), 0) << user.err();
  ASSERT_TRUE(shell_->AwaitExtensionState(kGnomeShellExtensionUuid, true)) << shell_->error();
  EXPECT_TRUE(HostStartUp().ends_with(kNamesTheBridge));
}

}  // namespace
