// A real KDE Plasma desktop for tests: Debian's kwin_wayland on its virtual
// backend, on the test's session bus, with a home of its own; scripts run in
// it, applications show windows on it, and the focus moves as a user moves
// it.
#ifndef TESTS_HOST_HEADLESS_KWIN_H_
#define TESTS_HOST_HEADLESS_KWIN_H_

#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tests/host/display_server.h"
#include "tests/support/background_process.h"

struct sd_bus;

namespace qbfa_test {

// Why this machine cannot run KWin and the applications the tests show on
// it (something is not installed); empty when it can.
std::string WhyKWinCannotRun();

// Skips the test on a machine that cannot run KWin, saying why; fails it
// where `CI` is set, as CI installs KWin (scripts/install-deps.sh).
#define QBFA_SKIP_WITHOUT_KWIN()                                                       \
  if (const std::string why_not = ::qbfa_test::WhyKWinCannotRun(); !why_not.empty()) { \
    if (std::getenv("CI") != nullptr)                                                  \
      FAIL() << why_not;                                                               \
    GTEST_SKIP() << why_not;                                                           \
  }

// kwin_wayland on the session bus that DBUS_SESSION_BUS_ADDRESS names, with
// its home, configuration and data under a fresh directory, for as long as
// this lives.
class HeadlessKWin {
 public:
  // Variables set, or removed (nullopt), as BackgroundProcess takes them.
  using Environment = std::map<std::string, std::optional<std::string>>;

  // Installs the KWin script packages in `packages` (folders) before KWin
  // starts, where a user's own packages go: $XDG_DATA_HOME/kwin/scripts/.
  // KWin keeps its first listing of packages for a minute, so a package
  // installed in that time could not be enabled at once.
  explicit HeadlessKWin(const std::vector<std::string>& packages = {});
  HeadlessKWin(const HeadlessKWin&) = delete;
  HeadlessKWin& operator=(const HeadlessKWin&) = delete;
  ~HeadlessKWin();

  // False when KWin did not start; error() says why, with its log.
  bool running() const { return !display_.empty(); }
  // What went wrong last, with KWin's log.
  const std::string& error() const { return error_; }
  // KWin's Wayland socket by its absolute path.
  const std::string& display() const { return display_; }

  // What a program of this desktop's session finds in its environment (as
  // changes to the test's): KWin's home and configuration, which
  // kwriteconfig5 then writes, and its display, which Qt programs use.
  Environment SessionEnvironment() const;

  // Whether KWin runs the script of that package id (or script name).
  bool IsScriptLoaded(const std::string& name);
  // Waits until IsScriptLoaded(name) is `loaded`; false when it never is.
  bool AwaitScriptLoaded(const std::string& name, bool loaded);

  // Starts an application of the session and waits until it shows a window
  // titled each of `titles`. Null, with error() set, when it does not.
  std::unique_ptr<BackgroundProcess> StartApplication(const std::vector<std::string>& argv,
                                                      const std::vector<std::string>& titles);
  // The command that shows one window for each of `titles`, all of one
  // process: qmlscene on a QML file written for them.
  std::vector<std::string> QmlWindows(const std::vector<std::string>& titles);

  // Makes the window titled `title` the active one, as a click on it does,
  // and returns once KWin has activated it; false when it did not.
  bool Focus(const std::string& title);
  // Returns once `service` has answered a call that KWin made after
  // everything its scripts had sent to `service` before: those messages have
  // all been handled. False when it does not answer.
  bool Flush(const std::string& service);

  // The errors KWin logged for scripts: their lines of its log, with the
  // script's file and line; empty when there were none.
  std::string ScriptErrors() const;

  // Runs `code` as a script of its own, under a fresh name: KWin loads a
  // name once, and stops a script named as an installed package that is not
  // enabled. The number in that name, which the script has as `script`, or
  // nothing (with error() set) when KWin refused it.
  std::optional<int> RunScript(const std::string& code);

 private:
  // Copies a package folder into $XDG_DATA_HOME/kwin/scripts/.
  bool InstallPackage(const std::string& folder);
  // Waits until a script has printed `line` (as "qbfa-test: <line>"), for
  // as long as KWin runs and `worth_it`, when given, says to go on.
  bool AwaitPrinted(const std::string& line, const std::function<bool()>& worth_it = nullptr);
  std::string Log() const;

  DisplayServer server_;
  std::string home_;
  std::string display_;
  std::string error_;
  sd_bus* bus_ = nullptr;
  int made_ = 0;  // scripts and files made, which take their names from it
};

}  // namespace qbfa_test

#endif  // TESTS_HOST_HEADLESS_KWIN_H_
