// Front-application switches from an X11 display.
//
// The window manager names the active window in the root window's
// _NET_ACTIVE_WINDOW property. When the newly active window belongs to
// another application than the one active before, the front application
// switched. Windows are told apart by the process in their _NET_WM_PID; a
// window without one counts as an application of its own.
#ifndef HOST_X11_FRONT_SWITCH_H_
#define HOST_X11_FRONT_SWITCH_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "hookwright/run_loop.h"

struct xcb_connection_t;

// The application behind an active window.
struct FrontApplication {
  uint32_t window = 0;          // 0: no window is active
  std::optional<uint32_t> pid;  // from _NET_WM_PID, when the window has it
};

// Which application is in front, as active windows come and go.
class FrontApplicationTracker {
 public:
  // Records that `now` became active. True when it belongs to another
  // application than the last active window, or is the first one seen. No
  // active window changes nothing: the application that comes back after it
  // has not switched.
  bool Activate(const FrontApplication& now);

 private:
  std::optional<FrontApplication> front_;
};

class X11FrontSwitchSource {
 public:
  using SwitchCallback = std::function<void(const FrontApplication& now_in_front)>;

  // Connects to `display` (empty: $DISPLAY), takes the window active now as
  // the front application, and from then on calls `on_switch` on `loop`'s
  // thread for every switch. The loop watches the connection; a display that
  // goes away ends the watch (logged). Null, with `error` set, when the
  // display cannot be reached.
  static std::unique_ptr<X11FrontSwitchSource> Start(hookwright::RunLoop& loop,
                                                     const std::string& display,
                                                     SwitchCallback on_switch, std::string* error);

  X11FrontSwitchSource(const X11FrontSwitchSource&) = delete;
  X11FrontSwitchSource& operator=(const X11FrontSwitchSource&) = delete;
  // Stops watching and disconnects. Call on the loop's thread.
  ~X11FrontSwitchSource();

 private:
  X11FrontSwitchSource(hookwright::RunLoop& loop, xcb_connection_t* connection,
                       SwitchCallback on_switch);

  // Handles every event the connection has, read or queued.
  void DrainEvents();
  FrontApplication ActiveApplication();
  void StopWatching();

  hookwright::RunLoop& loop_;
  xcb_connection_t* connection_;
  SwitchCallback on_switch_;
  uint32_t root_ = 0;
  uint32_t active_window_atom_ = 0;
  uint32_t pid_atom_ = 0;
  hookwright::RunLoop::WatchId watch_ = 0;
  FrontApplicationTracker tracker_;
};

#endif  // HOST_X11_FRONT_SWITCH_H_
