// A real Wayland client for tests of front-application switches: another
// process that shows one toplevel window, with an app_id or without one.
#ifndef TESTS_HOST_WAYLAND_TOPLEVEL_H_
#define TESTS_HOST_WAYLAND_TOPLEVEL_H_

#include <sys/types.h>

#include <optional>
#include <string>

namespace qbfa_test {

// Who a window's process runs as: the user sway runs as (see
// BecomeDesktopUser), or the test's own user, as GNOME Shell runs.
enum class WindowUser { kSwayUser, kTestUser };

// Shows its window on `display` (an absolute socket path) until this is
// destroyed. The window is titled `title`, for the desktop to find it by,
// and has `app_id` when one is given.
class ToplevelProcess {
 public:
  ToplevelProcess(const std::string& display, const std::optional<std::string>& app_id,
                  const std::string& title, WindowUser user = WindowUser::kSwayUser);
  ToplevelProcess(const ToplevelProcess&) = delete;
  ToplevelProcess& operator=(const ToplevelProcess&) = delete;
  ~ToplevelProcess();

  // True once the compositor has the window's first frame: the window is
  // mapped, and sway has given it the focus.
  bool shown() const { return shown_; }
  // The window's process, as the desktop knows it.
  pid_t pid() const { return process_; }

 private:
  pid_t process_ = -1;
  bool shown_ = false;
};

}  // namespace qbfa_test

#endif  // TESTS_HOST_WAYLAND_TOPLEVEL_H_
