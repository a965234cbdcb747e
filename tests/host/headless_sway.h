// A real Wayland desktop for tests: Debian's sway, headless, in a runtime
// directory of its own, and the user it and its clients run as.
#ifndef TESTS_HOST_HEADLESS_SWAY_H_
#define TESTS_HOST_HEADLESS_SWAY_H_

#include <cstdlib>
#include <string>

#include "tests/host/display_server.h"

namespace qbfa_test {

// Sway refuses to run as root, and CI runs the tests as root: there the
// compositor and its clients run as `nobody`; under any other user, as that
// user. Call in a child process before it starts anything of the desktop.
// False when the user cannot be changed.
bool BecomeDesktopUser();

// Why this machine cannot run sway for the tests (it is not installed, or
// there is no unprivileged user to run it as); empty when it can.
std::string WhySwayCannotRun();

// Skips the test on a machine that cannot run sway, saying why. CI installs
// sway (scripts/install-deps.sh), so there the same reason fails the test: a
// run that skipped the desktop tests must not pass as one that ran them.
#define QBFA_SKIP_WITHOUT_SWAY()                                                       \
  if (const std::string why_not = ::qbfa_test::WhySwayCannotRun(); !why_not.empty()) { \
    if (std::getenv("CI") != nullptr)                                                  \
      FAIL() << why_not;                                                               \
    GTEST_SKIP() << why_not;                                                           \
  }

// The sway command that gives the focus to the window titled `title`.
std::string FocusCommand(const std::string& title);

// sway on the headless backend with the pixman renderer, no input devices
// and no XWayland, for as long as this lives.
class HeadlessSway {
 public:
  HeadlessSway();
  HeadlessSway(const HeadlessSway&) = delete;
  HeadlessSway& operator=(const HeadlessSway&) = delete;

  // False when sway did not start; error() says why, with its log.
  bool running() const { return !display_.empty(); }
  const std::string& error() const { return error_; }
  // The compositor's socket by its absolute path: a WAYLAND_DISPLAY that
  // reaches it from any process, whatever its XDG_RUNTIME_DIR.
  const std::string& display() const { return display_; }

  // Runs one sway command through swaymsg and waits until sway has carried
  // it out; false when sway refused it.
  bool Command(const std::string& command);
  // Gives the focus to the window titled `title`; false when there is none.
  bool Focus(const std::string& title) { return Command(FocusCommand(title)); }
  // Kills sway at once, as a compositor that crashes.
  void Kill() { server_.Kill(); }

 private:
  DisplayServer server_;
  std::string display_;
  std::string ipc_socket_;
  std::string error_;
};

}  // namespace qbfa_test

#endif  // TESTS_HOST_HEADLESS_SWAY_H_
