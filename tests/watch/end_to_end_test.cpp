// The whole system in separate processes: a private session bus, `qbfa host`
// running the plug-in, `qbfa sets --follow` listening, the database changed
// in place as the font manager changes it, and front switches from
// `qbfa switch`, from an X11 display or from a Wayland compositor.
#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "state.h"
#include "tests/host/headless_sway.h"
#include "tests/host/wayland_toplevel.h"
#include "tests/host/x11_display.h"
#include "tests/reader/qbfa_process.h"
#include "tests/support/environment.h"
#include "tests/support/file_text.h"
#include "tests/support/session_bus.h"
#include "tests/support/temporary_home.h"
#include "tests/support/watched_file.h"

namespace {

namespace fs = std::filesystem;

// Long enough for any machine; reaching it means the awaited thing never
// happens.
constexpr auto kPatience = std::chrono::seconds(60);

// What the host logs once the plug-in has handled a switch from `source`.
std::string SwitchReport(const std::string& source) {
  return "qbfa host: front application switched (" + source + ")\n";
}

std::string FixturePath(const std::string& name) {
  return QBFA_FIXTURES_DIR "/" + name + ".db";
}

// A `qbfa` process whose output goes to a file, stopped with SIGTERM.
class Background {
 public:
  Background(const std::vector<std::string>& arguments, const std::string& output)
      : output_(output) {
    const std::string program = QBFA_BINARY_DIR "/cli/qbfa";
    std::vector<char*> argv{const_cast<char*>(program.c_str())};
    for (const std::string& argument : arguments)
      argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    pid_ = fork();
    if (pid_ == 0) {
      // Ends with the test, should the test end first.
      prctl(PR_SET_PDEATHSIG, SIGTERM);
      int fd = open(output.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
      if (fd < 0 || dup2(fd, STDOUT_FILENO) < 0 || dup2(fd, STDERR_FILENO) < 0)
        _exit(127);
      execv(program.c_str(), argv.data());
      _exit(127);
    }
  }
  Background(const Background&) = delete;
  Background& operator=(const Background&) = delete;
  ~Background() { Stop(); }

  // Stops the process; its exit code, -1 when it did not exit by itself.
  int Stop() {
    if (pid_ <= 0)
      return exit_code_;
    kill(pid_, SIGTERM);
    int status = 0;
    waitpid(pid_, &status, 0);
    pid_ = -1;
    exit_code_ = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return exit_code_;
  }

  pid_t pid() const { return pid_; }
  std::string Output() const { return qbfa_test::FileText(output_); }

  // Waits until the output holds `text` at `from` or later; returns where
  // the match ends, or nothing when the patience ran out.
  std::optional<size_t> WaitFor(const std::string& text, size_t from = 0) const {
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    for (;;) {
      const std::string output = Output();
      if (size_t at = output.find(text, from); at != std::string::npos)
        return at + text.size();
      if (std::chrono::steady_clock::now() > deadline)
        return std::nullopt;
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
  }

 private:
  std::string output_;
  pid_t pid_ = -1;
  int exit_code_ = -1;
};

// Splits what `qbfa sets --follow --format xml` printed into publications.
std::vector<std::string> Publications(const std::string& output) {
  std::vector<std::string> documents;
  const std::string start = "<?xml";
  for (size_t at = output.find(start); at != std::string::npos;) {
    size_t next = output.find(start, at + 1);
    documents.push_back(output.substr(at, next == std::string::npos ? next : next - at));
    at = next;
  }
  return documents;
}

class EndToEnd : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(bus_.running()) << bus_.error();
    database_ = home_.home() + "/Library/FontAgent Pro/FontAgent.db";
    fs::create_directories(fs::path(database_).parent_path());
    fs::copy_file(FixturePath("basic"), database_);
    fs::permissions(database_, fs::perms::owner_write, fs::perm_options::add);
    qbfa_test::CommandResult logging =
        qbfa_test::RunQbfa({"defaults", "write", kQBBundleIdentifier, "Log Stuff", "-bool", "yes"});
    ASSERT_EQ(logging.exit_code, 0) << logging.err;
  }

  void TearDown() override {
    if (listener_)
      listener_->Stop();
    if (host_) {
      EXPECT_EQ(host_->Stop(), 0) << "the host did not stop cleanly:\n" << host_->Output();
    }
  }

  // Starts the host and the listener, and waits until the start-up
  // publication has reached the listener and the watcher is listening.
  void StartSystem() {
    host_.emplace(std::vector<std::string>{"host"}, home_.root() + "/host.log");
    ASSERT_GT(host_->pid(), 0);
    ASSERT_TRUE(host_->WaitFor("[QB] Notified!\n")) << host_->Output();
    listener_.emplace(std::vector<std::string>{"sets", "--follow", "--format", "xml"},
                      home_.root() + "/listener.out");
    ASSERT_TRUE(WaitForPublications(1));
    EXPECT_EQ(Publications(listener_->Output())[0], TreeOf("basic"));
    ASSERT_TRUE(qbfa_test::WaitForInotifyWatches(host_->pid(), 1, kPatience))
        << "the host's watcher never registered the database";
  }

  // The XML the plug-in publishes for `fixture`.
  std::string TreeOf(const std::string& fixture) {
    qbfa_test::CommandResult read = qbfa_test::RunQbfa({"read", FixturePath(fixture)});
    EXPECT_EQ(read.exit_code, 0) << read.err;
    return read.out;
  }

  // Overwrites the database in place with `fixture`, as the font manager
  // writes it, with a content date later than before; then waits until the
  // host's watcher has handed the change to the main thread.
  void WriteDatabase(const std::string& fixture) {
    struct stat before;
    ASSERT_EQ(stat(database_.c_str(), &before), 0);
    qbfa_test::AwaitFileClockPast(home_.root(), before.st_mtim);
    const std::string bytes = qbfa_test::FileText(FixturePath(fixture));
    {
      std::ofstream file(database_, std::ios::binary | std::ios::trunc);
      file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    }
    std::optional<size_t> dates =
        host_->WaitFor(" vs " + qbfa_test::WatcherLoggedDate(database_) + "\n", seen_);
    ASSERT_TRUE(dates) << host_->Output();
    // The event is logged once the remote call has returned.
    std::optional<size_t> dump = host_->WaitFor("[QB] \tident=", *dates);
    ASSERT_TRUE(dump) << host_->Output();
    seen_ = *dump;
  }

  // Sends a switch with `qbfa switch` and returns what the host logged up to
  // its report of the switch: everything the refresh did.
  std::string Switch() {
    qbfa_test::CommandResult sent = qbfa_test::RunQbfa({"switch"});
    EXPECT_EQ(sent.exit_code, 0) << sent.err;
    return AwaitSwitchReport("qbfa switch");
  }

  std::string AwaitSwitchReport(const std::string& source) {
    const size_t from = seen_;
    std::optional<size_t> reported = host_->WaitFor(SwitchReport(source), from);
    EXPECT_TRUE(reported) << host_->Output();
    if (!reported)
      return "";
    seen_ = *reported;
    return host_->Output().substr(from, *reported - from);
  }

  bool WaitForPublications(size_t count) {
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (Publications(listener_->Output()).size() < count) {
      if (std::chrono::steady_clock::now() > deadline) {
        ADD_FAILURE() << "waited for publication " << count << "; the listener has:\n"
                      << listener_->Output() << "\nthe host logged:\n"
                      << host_->Output();
        return false;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
  }

  qbfa_test::PrivateSessionBus bus_;
  qbfa_test::TemporaryHome home_;
  qbfa_test::ScopedEnvironmentVariable no_display_{"DISPLAY", std::nullopt};
  qbfa_test::ScopedEnvironmentVariable no_wayland_display_{"WAYLAND_DISPLAY", std::nullopt};
  std::string database_;
  std::optional<Background> host_;
  std::optional<Background> listener_;
  size_t seen_ = 0;  // how far the host's log has been looked at
};

TEST_F(EndToEnd, AWriteAndASwitchDeliverTheNewSets) {
  StartSystem();
  WriteDatabase("set_names");
  EXPECT_NE(Switch().find("[QB] Updating font sets\n"), std::string::npos);
  ASSERT_TRUE(WaitForPublications(2));
  EXPECT_EQ(Publications(listener_->Output())[1], TreeOf("set_names"));

  // Nothing changed since: the next switch reads nothing.
  EXPECT_EQ(Switch().find("[QB]"), std::string::npos);
}

TEST_F(EndToEnd, ThreeWritesAndOneSwitchReadOnce) {
  StartSystem();
  WriteDatabase("set_names");
  WriteDatabase("font_edges");
  WriteDatabase("no_rel");
  std::string refresh = Switch();
  EXPECT_EQ(refresh.find("[QB] Updating font sets\n"), refresh.rfind("[QB] Updating"));
  EXPECT_NE(refresh.find("[QB] Updating font sets\n"), std::string::npos);
  ASSERT_TRUE(WaitForPublications(2));
  EXPECT_EQ(Publications(listener_->Output())[1], TreeOf("no_rel"));
}

// Each case ends with a change that is published, so the listener shows
// whether anything was published before it.
TEST_F(EndToEnd, AnEqualTreePublishesNothing) {
  StartSystem();
  WriteDatabase("basic");
  EXPECT_NE(Switch().find("[QB] Old sets and new sets are equal. Bummers.\n"), std::string::npos);
  WriteDatabase("set_names");
  Switch();
  ASSERT_TRUE(WaitForPublications(2));
  EXPECT_EQ(Publications(listener_->Output())[1], TreeOf("set_names"));
}

TEST_F(EndToEnd, AFailedConnectClearsTheChangeAndPublishesNothing) {
  StartSystem();
  WriteDatabase("set_names");
  const std::string away = database_ + ".away";
  ASSERT_EQ(rename(database_.c_str(), away.c_str()), 0);
  std::string refresh = Switch();
  EXPECT_NE(refresh.find("[QB] Updating font sets\n"), std::string::npos);
  EXPECT_NE(refresh.find("[QB] Cannot find FontAgent Pro database\n"), std::string::npos);
  ASSERT_EQ(rename(away.c_str(), database_.c_str()), 0);
  EXPECT_EQ(Switch().find("[QB] Updating"), std::string::npos);

  WriteDatabase("font_edges");
  Switch();
  ASSERT_TRUE(WaitForPublications(2));
  EXPECT_EQ(Publications(listener_->Output())[1], TreeOf("font_edges"));
}

TEST_F(EndToEnd, ASwitchBetweenWindowsOfTwoProcessesRefreshes) {
  qbfa_test::Xvfb server;
  ASSERT_FALSE(server.display().empty()) << "Xvfb did not start";
  qbfa_test::ScopedEnvironmentVariable display("DISPLAY", server.display());
  qbfa_test::WindowProcess editor(server.display());
  qbfa_test::WindowProcess browser(server.display());
  qbfa_test::ActiveWindowSetter manager(server.display());
  ASSERT_TRUE(manager.connected());
  manager.Activate(editor.window());

  StartSystem();
  WriteDatabase("set_names");
  manager.Activate(browser.window());
  EXPECT_NE(AwaitSwitchReport("X11 display").find("[QB] Updating font sets\n"), std::string::npos);
  ASSERT_TRUE(WaitForPublications(2));
  EXPECT_EQ(Publications(listener_->Output())[1], TreeOf("set_names"));
}

TEST_F(EndToEnd, ASwitchBetweenWaylandApplicationsRefreshes) {
  QBFA_SKIP_WITHOUT_SWAY();
  qbfa_test::HeadlessSway sway;
  ASSERT_TRUE(sway.running()) << sway.error();
  qbfa_test::ToplevelProcess editor(sway.display(), "org.example.Editor", "editor");
  qbfa_test::ToplevelProcess browser(sway.display(), "org.example.Browser", "browser");
  ASSERT_TRUE(editor.shown());
  ASSERT_TRUE(browser.shown());
  ASSERT_TRUE(sway.Focus("editor"));
  qbfa_test::ScopedEnvironmentVariable display("WAYLAND_DISPLAY", sway.display());

  StartSystem();
  WriteDatabase("set_names");
  ASSERT_TRUE(sway.Focus("browser"));
  EXPECT_NE(AwaitSwitchReport("Wayland display").find("[QB] Updating font sets\n"),
            std::string::npos);
  ASSERT_TRUE(WaitForPublications(2));
  EXPECT_EQ(Publications(listener_->Output())[1], TreeOf("set_names"));

  // Nothing changed since: the next switch reads nothing.
  ASSERT_TRUE(sway.Focus("editor"));
  EXPECT_EQ(AwaitSwitchReport("Wayland display").find("[QB]"), std::string::npos);
}

}  // namespace
