// A private X server and the windows of other processes on it, for tests of
// front-application switches.
#ifndef TESTS_HOST_X11_DISPLAY_H_
#define TESTS_HOST_X11_DISPLAY_H_

#include <sys/types.h>
#include <xcb/xcb.h>

#include <cstdint>
#include <optional>
#include <string>

namespace qbfa_test {

// Xvfb on a display number it picks itself, for as long as this lives.
class Xvfb {
 public:
  Xvfb();
  Xvfb(const Xvfb&) = delete;
  Xvfb& operator=(const Xvfb&) = delete;
  ~Xvfb();

  // ":N"; empty when the server did not start.
  const std::string& display() const { return display_; }

 private:
  pid_t server_ = -1;
  std::string display_;
};

// Creates a top-level window, with `pid` in its _NET_WM_PID when given.
xcb_window_t CreateWindow(xcb_connection_t* connection, std::optional<uint32_t> pid);

// Another process that owns one window, named with its pid, while this lives.
class WindowProcess {
 public:
  explicit WindowProcess(const std::string& display);
  WindowProcess(const WindowProcess&) = delete;
  WindowProcess& operator=(const WindowProcess&) = delete;
  ~WindowProcess();

  // 0 when the process could not make its window.
  xcb_window_t window() const { return window_; }
  uint32_t pid() const { return static_cast<uint32_t>(process_); }

 private:
  pid_t process_ = -1;
  int release_ = -1;
  xcb_window_t window_ = 0;
};

// The window manager's part: names the active window on the root window.
class ActiveWindowSetter {
 public:
  explicit ActiveWindowSetter(const std::string& display);
  ActiveWindowSetter(const ActiveWindowSetter&) = delete;
  ActiveWindowSetter& operator=(const ActiveWindowSetter&) = delete;
  ~ActiveWindowSetter();

  bool connected() const { return !xcb_connection_has_error(connection_); }
  xcb_connection_t* connection() const { return connection_; }
  void Activate(xcb_window_t window);

 private:
  xcb_connection_t* connection_;
  xcb_window_t root_ = 0;
  xcb_atom_t active_window_ = 0;
};

}  // namespace qbfa_test

#endif  // TESTS_HOST_X11_DISPLAY_H_
