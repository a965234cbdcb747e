// `qbfa host` as a process: plug-ins started on the main loop and unloaded on
// a stop signal, the real plug-in publishing to a listener in another
// process, and hosts publishing at once.
#include <gtest/gtest.h>
#include <signal.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "platform/pasteboard.h"
#include "tests/host/bare_compositor.h"
#include "tests/host/headless_sway.h"
#include "tests/host/x11_display.h"
#include "tests/reader/qbfa_process.h"
#include "tests/support/background_process.h"
#include "tests/support/environment.h"
#include "tests/support/file_text.h"
#include "tests/support/pasteboard_text.h"
#include "tests/support/session_bus.h"
#include "tests/support/temporary_home.h"

namespace {

using qbfa_test::BackgroundProcess;
using qbfa_test::RunQbfa;

const std::string kQbfa = QBFA_BINARY_DIR "/cli/qbfa";
constexpr char kPasteboard[] = QBFA_BUNDLE_IDENTIFIER ".pasteboard.fap";
constexpr char kXmlFlavor[] = "com.apple.xml-plist";

// What a host says at start-up when it can only be told of switches, and
// why.
std::string NoDesktopWarning(const std::string& why) {
  return "qbfa host: warning: no desktop tells this host of front-application switches (" + why +
         "); changed sets are published only after `qbfa switch`\n";
}
const std::string kNoDisplays = "DISPLAY is not set; WAYLAND_DISPLAY is not set";
const std::string kOnlyTheBus =
    "qbfa host: listening for front-application switches from session bus\n" +
    NoDesktopWarning(kNoDisplays);

// Puts `database` where the plug-in looks first in a home: the user's
// Library folder.
std::string PutInLibrary(const std::string& home, const std::string& database) {
  const std::string folder = home + "/Library/FontAgent Pro";
  std::filesystem::create_directories(folder);
  std::filesystem::copy_file(database, folder + "/FontAgent.db",
                             std::filesystem::copy_options::overwrite_existing);
  return folder + "/FontAgent.db";
}

TEST(PluginLibrary, ExportsTheEntryPointAndNothingElse) {
  std::unique_ptr<FILE, int (*)(FILE*)> nm(
      popen("nm -D --defined-only '" QBFA_PLUGIN_LIBRARY "'", "r"), pclose);
  ASSERT_NE(nm, nullptr);
  std::set<std::string> symbols;
  char line[4096];
  while (std::fgets(line, sizeof line, nm.get()) != nullptr) {
    std::string text(line);
    text.erase(text.find_last_not_of("\n") + 1);
    symbols.insert(text.substr(text.rfind(' ') + 1));
  }
  EXPECT_EQ(symbols, std::set<std::string>{"QBFA_Initialize"});
}

struct StopCase {
  int signal_number;
  const char* signal_name;
  const char* status;  // what the plug-in returns
};

// A home of its own, a private bus, and no desktop: the host's event
// sources all start, and only the bus listens for switches.
class HostWithBusTest : public testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(bus_.running()) << bus_.error(); }

  qbfa_test::TemporaryHome home_;
  qbfa_test::PrivateSessionBus bus_;
  qbfa_test::ScopedEnvironmentVariable no_display_{"DISPLAY", std::nullopt};
  qbfa_test::ScopedEnvironmentVariable no_wayland_display_{"WAYLAND_DISPLAY", std::nullopt};
};

class HostStopTest : public HostWithBusTest, public testing::WithParamInterface<StopCase> {};

TEST_P(HostStopTest, StartsThePluginOnTheMainLoopAndUnloadsItOnStop) {
  const StopCase& c = GetParam();
  BackgroundProcess host({kQbfa, "host", QBFA_PROBE_PLUGIN}, {{"QBFA_PROBE_STATUS", c.status}});
  ASSERT_TRUE(host.WaitForOutput("probe: started", true)) << host.err();

  host.Signal(c.signal_number);
  EXPECT_EQ(host.Wait(), 0);

  std::string expected = kOnlyTheBus + "probe: started inside the main run loop\n";
  if (std::string(c.status) != "0") {
    expected += std::string("qbfa host: QBFA_Initialize of ") + QBFA_PROBE_PLUGIN + " returned " +
                c.status + "\n";
  }
  expected += std::string("qbfa host: stopping on ") + c.signal_name + "\nprobe: unloaded\n";
  EXPECT_EQ(host.err(), expected);
}

INSTANTIATE_TEST_SUITE_P(Signals, HostStopTest,
                         testing::Values(StopCase{SIGTERM, "SIGTERM", "0"},
                                         StopCase{SIGINT, "SIGINT", "-43"}),
                         [](const testing::TestParamInfo<StopCase>& info) {
                           return std::string(info.param.signal_name);
                         });

TEST(Host, RefusesPluginsItCannotUse) {
  struct Case {
    std::string plugin;
    std::string message;
  };
  const Case cases[] = {
      {"/nonexistent/libplugin.so", "qbfa host: cannot load /nonexistent/libplugin.so: "},
      {QBFA_SOURCE_DIR "/README.md", "qbfa host: cannot load " QBFA_SOURCE_DIR "/README.md: "},
      {QBFA_NO_ENTRY_PLUGIN,
       std::string("qbfa host: ") + QBFA_NO_ENTRY_PLUGIN + " has no QBFA_Initialize"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.plugin);
    qbfa_test::CommandResult result = RunQbfa({"host", c.plugin});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_NE(result.err.find(c.message), std::string::npos) << result.err;
  }
}

TEST_F(HostWithBusTest, NamesItsSourcesOfSwitchesAndWarnsWithoutADesktop) {
  QBFA_SKIP_WITHOUT_SWAY();
  qbfa_test::Xvfb x11;
  ASSERT_FALSE(x11.display().empty()) << "Xvfb did not start";
  qbfa_test::HeadlessSway sway;
  ASSERT_TRUE(sway.running()) << sway.error();
  qbfa_test::BareCompositor bare;
  ASSERT_FALSE(bare.display().empty()) << "the bare compositor did not start";
  const std::string x11_source = "x11 (" + x11.display() + ")";
  const std::string wayland_source = "wayland (" + sway.display() + ")";
  const std::string unfollowable = std::string("the Wayland compositor ") +
                                   qbfa_test::kBareCompositorName + " at " + bare.display() +
                                   " does not offer zwlr_foreign_toplevel_manager_v1";
  const std::string cannot_follow =
      "qbfa host: cannot start the Wayland display: " + unfollowable + "\n";
  auto listening = [](const std::string& sources) {
    return "qbfa host: listening for front-application switches from " + sources + "\n";
  };

  struct Case {
    const char* what;
    std::map<std::string, std::optional<std::string>> environment;
    std::string said;  // everything the host logs before the plug-in starts
  };
  const Case cases[] = {
      {"no desktop", {}, kOnlyTheBus},
      {"an X11 display", {{"DISPLAY", x11.display()}}, listening(x11_source + ", session bus")},
      {"a compositor that lists its toplevels",
       {{"WAYLAND_DISPLAY", sway.display()}},
       listening(wayland_source + ", session bus")},
      {"both, as a Wayland session with XWayland has them",
       {{"DISPLAY", x11.display()}, {"WAYLAND_DISPLAY", sway.display()}},
       listening(x11_source + ", " + wayland_source + ", session bus")},
      {"a compositor that does not",
       {{"WAYLAND_DISPLAY", bare.display()}},
       cannot_follow + listening("session bus") +
           NoDesktopWarning("DISPLAY is not set; " + unfollowable)},
      {"a compositor that does not, beside an X11 display",
       {{"DISPLAY", x11.display()}, {"WAYLAND_DISPLAY", bare.display()}},
       cannot_follow + listening(x11_source + ", session bus")},
      {"no desktop and no bus",
       {{"DBUS_SESSION_BUS_ADDRESS", std::nullopt}},
       "qbfa host: no session bus (DBUS_SESSION_BUS_ADDRESS is not set and XDG_RUNTIME_DIR has "
       "no bus): listeners are not told of publications, and neither `qbfa switch` nor a "
       "desktop bridge can reach this host\nqbfa host: no source of front-application switches\n" +
           NoDesktopWarning(kNoDisplays)},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    BackgroundProcess host({kQbfa, "host", QBFA_PROBE_PLUGIN}, c.environment);
    ASSERT_TRUE(host.WaitForOutput("probe: started", true)) << host.err();
    const std::string err = host.err();
    EXPECT_EQ(err.substr(0, err.find("probe: started")), c.said);
    host.Signal(SIGTERM);
    EXPECT_EQ(host.Wait(), 0) << host.err();
  }
}

// As a unit started at login finds an incomplete session: no bus, no
// display, no database. The host says what is missing, one line for each,
// and keeps running, so that its service manager does not restart it in a
// loop.
TEST_F(HostWithBusTest, KeepsRunningWithoutBusDisplayOrDatabase) {
  BackgroundProcess host({kQbfa, "host"}, {{"DBUS_SESSION_BUS_ADDRESS", std::nullopt}});
  const char* const lines[] = {
      "qbfa host: no session bus (",
      "qbfa host: warning: no desktop tells this host of front-application switches (",
      "[QB] Cannot find FontAgent Pro database\n",
  };
  for (const char* line : lines)
    EXPECT_TRUE(host.WaitForOutput(line, true)) << host.err();
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  EXPECT_TRUE(host.Running()) << host.err();
  host.Signal(SIGTERM);
  EXPECT_EQ(host.Wait(), 0) << host.err();
}

TEST_F(HostWithBusTest, OutlivesItsCompositor) {
  QBFA_SKIP_WITHOUT_SWAY();
  qbfa_test::HeadlessSway sway;
  ASSERT_TRUE(sway.running()) << sway.error();
  BackgroundProcess host({kQbfa, "host", QBFA_PROBE_PLUGIN}, {{"WAYLAND_DISPLAY", sway.display()}});
  ASSERT_TRUE(host.WaitForOutput("probe: started", true)) << host.err();

  sway.Kill();
  const std::string lost = "qbfa host: lost the Wayland display; front switches from it end here\n";
  ASSERT_TRUE(host.WaitForOutput(lost, true)) << host.err();
  ASSERT_EQ(RunQbfa({"switch"}).exit_code, 0);
  EXPECT_TRUE(host.WaitForOutput("qbfa host: front application switched (qbfa switch)\n", true))
      << host.err();
  host.Signal(SIGTERM);
  EXPECT_EQ(host.Wait(), 0) << host.err();
  const std::string err = host.err();
  EXPECT_EQ(err.find(lost), err.rfind(lost)) << err;
}

TEST_F(HostWithBusTest, PublishesTheSampleToAListenerInAnotherProcess) {
  const std::string database = PutInLibrary(home_.home(), qbfa_test::BundledSamplePath(1));
  BackgroundProcess listener({kQbfa, "sets", "--follow"});
  ASSERT_TRUE(listener.WaitForOutput("nothing has been published", true)) << listener.err();

  BackgroundProcess host({kQbfa, "host"});
  ASSERT_TRUE(listener.WaitForOutput("== font sets published ==\n")) << host.err();

  // What the listener printed is what anyone reading now sees, and the
  // pasteboard holds what `qbfa read` makes of the database.
  qbfa_test::CommandResult tree = RunQbfa({"sets"});
  ASSERT_EQ(tree.exit_code, 0) << tree.err;
  EXPECT_TRUE(listener.WaitForOutput("== font sets published ==\n" + tree.out)) << listener.out();
  qbfa_test::CommandResult xml = RunQbfa({"sets", "--format", "xml"});
  EXPECT_EQ(xml.out, RunQbfa({"read", database}).out);

  std::vector<std::string> top_level;
  for (size_t at = 0; (at = tree.out.find("\n+ ", at)) != std::string::npos;) {
    at += 3;
    top_level.push_back(tree.out.substr(at, tree.out.find('\n', at) - at));
  }
  top_level.insert(top_level.begin(), tree.out.substr(2, tree.out.find('\n') - 2));
  EXPECT_EQ(top_level, (std::vector<std::string>{"Body Text", "Headlines", "Client Work", "Web",
                                                 "Code", "Print Archive"}));

  host.Signal(SIGTERM);
  EXPECT_EQ(host.Wait(), 0) << host.err();
}

// Every state a reader finds while hosts publish: the pasteboard empty
// between a clear and a put, or holding one whole publication.
class PasteboardWatcher {
 public:
  explicit PasteboardWatcher(std::set<std::string> whole) : whole_(std::move(whole)) {
    thread_ = std::thread([this] { Watch(); });
  }
  ~PasteboardWatcher() { Stop(); }

  // Stops, and returns every state that was neither.
  std::set<std::string> Stop() {
    done_ = true;
    if (thread_.joinable())
      thread_.join();
    return torn_;
  }

 private:
  void Watch() {
    PasteboardRef reference = nullptr;
    if (PasteboardCreate(kPasteboard, &reference) != noErr) {
      torn_.insert("(cannot open)");
      return;
    }
    UniquePasteboardRef pasteboard(reference);
    while (!done_) {
      PasteboardSynchronize(pasteboard.get());
      size_t count = 0;
      cf::Data data;
      PasteboardItemID item = 0;
      std::string state = "(unreadable)";
      if (PasteboardGetItemCount(pasteboard.get(), &count) == noErr && count == 0) {
        state.clear();
      } else if (count == 1 && PasteboardGetItemIdentifier(pasteboard.get(), 1, &item) == noErr &&
                 PasteboardCopyItemFlavorData(pasteboard.get(), item, kXmlFlavor, &data) == noErr) {
        state = std::string(data);
      }
      if (!state.empty() && !whole_.contains(state))
        torn_.insert(state);
    }
  }

  const std::set<std::string> whole_;
  std::atomic<bool> done_{false};
  std::set<std::string> torn_;
  std::thread thread_;
};

TEST_F(HostWithBusTest, TwoHostsPublishingAtOnceNeverTearThePasteboard) {
  ASSERT_EQ(
      RunQbfa({"defaults", "write", QBFA_BUNDLE_IDENTIFIER, "Log Stuff", "-bool", "yes"}).exit_code,
      0);
  // Two users' libraries, one pasteboard: the hosts share the runtime
  // directory and the bus, not the home.
  std::vector<std::string> homes, publications;
  for (int version : {1, 2}) {
    homes.push_back(home_.root() + "/home" + std::to_string(version));
    const std::string database = PutInLibrary(homes.back(), qbfa_test::BundledSamplePath(version));
    qbfa_test::ScopedEnvironmentVariable home("HOME", homes.back());
    publications.push_back(RunQbfa({"read", database}).out);
  }
  ASSERT_NE(publications[0], publications[1]);

  PasteboardWatcher watcher({publications.begin(), publications.end()});
  for (int round = 0; round < 3; ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    std::vector<std::unique_ptr<BackgroundProcess>> hosts;
    for (const std::string& home : homes)
      hosts.push_back(std::make_unique<BackgroundProcess>(
          std::vector{kQbfa, std::string("host")},
          std::map<std::string, std::optional<std::string>>{{"HOME", home}}));
    for (auto& host : hosts) {
      EXPECT_TRUE(host->WaitForOutput("[QB] Operation took", true)) << host->err();
      host->Signal(SIGTERM);
      EXPECT_EQ(host->Wait(), 0) << host->err();
    }
    const std::string left = qbfa_test::PasteboardText(kPasteboard);
    EXPECT_TRUE(left == qbfa_test::FlavorLine(1, kXmlFlavor, publications[0]) ||
                left == qbfa_test::FlavorLine(1, kXmlFlavor, publications[1]))
        << left;
  }
  EXPECT_EQ(watcher.Stop(), std::set<std::string>{});
}

}  // namespace
