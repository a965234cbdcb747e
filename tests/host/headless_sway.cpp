#include "tests/host/headless_sway.h"

#include <grp.h>
#include <pwd.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <iterator>
#include <thread>
#include <vector>

#include "host/program_path.h"
#include "tests/support/background_process.h"
#include "tests/support/child_process.h"
#include "tests/support/environment.h"
#include "tests/support/file_text.h"

namespace qbfa_test {
namespace {

constexpr char kUnprivilegedUser[] = "nobody";

// sway writes the file once it is fully up: its sockets listen and its
// configuration has run. The write-then-rename keeps a half-written file
// from being read.
constexpr char kConfiguration[] = R"(xwayland disable
exec sh -c 'printf "%s\n%s\n" "$WAYLAND_DISPLAY" "$SWAYSOCK" >"$XDG_RUNTIME_DIR/ready.tmp" && mv "$XDG_RUNTIME_DIR/ready.tmp" "$XDG_RUNTIME_DIR/ready"'
)";

bool RunningAsRoot() {
  return geteuid() == 0;
}

// Hands a folder or file of the test to the desktop's user.
bool GiveToDesktopUser(const std::string& path) {
  if (!RunningAsRoot())
    return true;
  const passwd* user = getpwnam(kUnprivilegedUser);
  return user != nullptr && chown(path.c_str(), user->pw_uid, user->pw_gid) == 0;
}

}  // namespace

bool BecomeDesktopUser() {
  if (!RunningAsRoot())
    return true;
  const passwd* user = getpwnam(kUnprivilegedUser);
  return user != nullptr && setgroups(0, nullptr) == 0 && setgid(user->pw_gid) == 0 &&
         setuid(user->pw_uid) == 0;
}

std::string WhySwayCannotRun() {
  if (ProgramOnPath("sway").empty() || ProgramOnPath("swaymsg").empty())
    return "sway is not installed (scripts/install-deps.sh installs it)";
  if (RunningAsRoot() && getpwnam(kUnprivilegedUser) == nullptr)
    return std::string("sway refuses to run as root, and there is no user '") + kUnprivilegedUser +
           "' to run it as";
  return "";
}

std::string FocusCommand(const std::string& title) {
  return "[title=\"^" + title + "$\"] focus";
}

HeadlessSway::HeadlessSway() {
  const std::string& directory = server_.directory();
  if (directory.empty()) {
    error_ = "cannot make sway's runtime directory";
    return;
  }
  const std::string configuration = directory + "/config";
  std::ofstream(configuration) << kConfiguration;
  if (!GiveToDesktopUser(directory) || !GiveToDesktopUser(configuration)) {
    error_ = std::string("cannot hand sway's runtime directory to ") + kUnprivilegedUser;
    return;
  }

  const std::string log = directory + "/sway.log";
  const char* path = std::getenv("PATH");
  std::vector<std::string> environment = {
      std::string("PATH=") + (path != nullptr ? path : "/usr/bin:/bin"),
      "XDG_RUNTIME_DIR=" + directory,
      "HOME=" + directory,
      "WLR_BACKENDS=headless",
      "WLR_RENDERER=pixman",
      "WLR_LIBINPUT_NO_DEVICES=1",
  };
  server_.Start([&] {
    if (!BecomeDesktopUser())
      return 126;
    // After the change of user, which clears the parent's death signal.
    return ExecServer(log, {"sway", "-c", configuration}, environment);
  });

  const auto deadline = std::chrono::steady_clock::now() + kOutputWait;
  for (;;) {
    std::ifstream ready(directory + "/ready");
    std::string name;
    if (std::getline(ready, name) && std::getline(ready, ipc_socket_)) {
      display_ = name.starts_with('/') ? name : directory + "/" + name;
      return;
    }
    if (server_.Ended()) {
      error_ = "sway ended at start-up:\n" + FileText(log);
      return;
    }
    if (std::chrono::steady_clock::now() > deadline) {
      error_ = "sway did not come up:\n" + FileText(log);
      return;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}

bool HeadlessSway::Command(const std::string& command) {
  return RunInChildProcess([&] {
           execlp("swaymsg", "swaymsg", "--quiet", "--socket", ipc_socket_.c_str(), command.c_str(),
                  static_cast<char*>(nullptr));
           return 127;
         }) == 0;
}

}  // namespace qbfa_test
