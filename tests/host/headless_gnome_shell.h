// A real GNOME desktop for tests: Debian's GNOME Shell, headless, on the
// session bus the test runs (DBUS_SESSION_BUS_ADDRESS), with a system bus
// and a home of its own, and a keyboard to move the focus with as a user
// does.
#ifndef TESTS_HOST_HEADLESS_GNOME_SHELL_H_
#define TESTS_HOST_HEADLESS_GNOME_SHELL_H_

#include <systemd/sd-bus.h>

#include <cstdlib>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tests/host/display_server.h"
#include "tests/support/background_process.h"

namespace qbfa_test {

// Why this machine cannot run GNOME Shell for the tests (it, its JavaScript
// runtime or the bus daemon is not installed); empty when it can.
std::string WhyGnomeShellCannotRun();

// Skips the test on a machine that cannot run GNOME Shell, saying why; in CI,
// which installs it (scripts/install-deps.sh), fails it instead.
#define QBFA_SKIP_WITHOUT_GNOME_SHELL()                                                      \
  if (const std::string why_not = ::qbfa_test::WhyGnomeShellCannotRun(); !why_not.empty()) { \
    if (std::getenv("CI") != nullptr)                                                        \
      FAIL() << why_not;                                                                     \
    GTEST_SKIP() << why_not;                                                                 \
  }

struct GnomeShellSetup {
  // An extension's folder (named by its uuid) to install for the user, as
  // `gnome-extensions install` puts it; none when empty.
  std::string extension;
  // Whether the user has enabled it.
  bool enabled = true;
  // Wayland app ids the shell knows as applications, from desktop files
  // named `<app id>.desktop`. A window with another app id is an
  // application the shell makes up for it.
  std::vector<std::string> applications;
};

// gnome-shell --headless on a virtual monitor, rendering in software, in
// unsafe mode so that a test may ask which window has the focus; for as long
// as this lives.
class HeadlessGnomeShell {
 public:
  explicit HeadlessGnomeShell(const GnomeShellSetup& setup);
  HeadlessGnomeShell(const HeadlessGnomeShell&) = delete;
  HeadlessGnomeShell& operator=(const HeadlessGnomeShell&) = delete;
  ~HeadlessGnomeShell();

  // False when the shell did not come up ready for windows; error() says
  // why, with its log.
  bool running() const { return !display_.empty(); }
  const std::string& error() const { return error_; }
  // The compositor's socket by its absolute path.
  const std::string& display() const { return display_; }
  // What the shell has logged so far.
  std::string Log() const;
  // The variables a program of the shell's session finds set, such as the
  // user's `gnome-extensions`: where the user's files and settings are, and
  // the display; as BackgroundProcess takes them.
  std::map<std::string, std::optional<std::string>> SessionEnvironment() const;

  // Enables or disables the extension through the shell, as GNOME's
  // Extensions app does, and waits until the shell has; false with error()
  // set when it does not.
  bool SetExtensionEnabled(const std::string& uuid, bool enabled);
  // Waits until the shell has the extension enabled, or disabled; false
  // with error() set when it does not come to that.
  bool AwaitExtensionState(const std::string& uuid, bool enabled);

  // Types Alt+Tab on the shell's keyboard, Tab `times` times while Alt is
  // down: the focus goes to the window that had it that many windows ago.
  bool AltTab(int times = 1);
  // Waits until the window titled `title` has the focus, or with nullopt,
  // until no window has it; false with error() set when that does not come.
  bool AwaitFocus(const std::optional<std::string>& title);

 private:
  bool Start(const GnomeShellSetup& setup);
  bool StartKeyboard();
  // Opens or leaves the overview, as the Super key does.
  bool SetOverviewActive(bool active);
  // The extension's state as the shell tells it (1: enabled); nothing when
  // the shell does not know it.
  std::optional<double> ExtensionState(const std::string& uuid);
  // The title of the window that has the focus; nullopt when none has it,
  // and what went wrong when the shell does not answer.
  std::optional<std::string> FocusedTitle();
  bool Key(uint32_t keysym, bool pressed);
  // Fails with error() naming `what`, the bus error and the shell's log.
  bool Failed(const std::string& what, const sd_bus_error* bus_error = nullptr);

  std::optional<BackgroundProcess> system_bus_;
  DisplayServer server_;
  std::string log_;
  std::map<std::string, std::string> session_;
  std::string display_;
  std::string error_;
  // One connection for the whole test: the shell ends the keyboard's remote
  // desktop session when the connection that made it goes.
  sd_bus* bus_ = nullptr;
  std::string keyboard_session_;
};

}  // namespace qbfa_test

#endif  // TESTS_HOST_HEADLESS_GNOME_SHELL_H_
