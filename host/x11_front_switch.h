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
#include <string>

#include "hookwright/run_loop.h"
#include "host/connection_watch.h"
#include "host/front_application.h"

struct xcb_connection_t;

// An active window and its process, from _NET_WM_PID when the window has it.
using X11Application = FrontApplication<uint32_t>;

class X11FrontSwitchSource {
 public:
  using SwitchCallback = std::function<void(const X11Application& now_in_front)>;

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
  X11Application ActiveApplication();

  xcb_connection_t* connection_;
  SwitchCallback on_switch_;
  uint32_t root_ = 0;
  uint32_t active_window_atom_ = 0;
  uint32_t pid_atom_ = 0;
  ConnectionWatch watch_;
  FrontApplicationTracker<uint32_t> tracker_;
};

#endif  // HOST_X11_FRONT_SWITCH_H_
