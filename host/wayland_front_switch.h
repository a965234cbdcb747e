// Front-application switches from a Wayland compositor.
//
// Compositors of the wlroots family (sway, Hyprland, river, labwc, Wayfire
// and others) list every toplevel window, with its app_id and its states, to
// a client that binds zwlr_foreign_toplevel_manager_v1. When the `activated`
// state moves to a toplevel of another application than the one active
// before, the front application switched. Toplevels are told apart by their
// app_id; a toplevel without one counts as an application of its own.
// Compositors without the protocol (GNOME's, KDE's) cannot be followed.
#ifndef HOST_WAYLAND_FRONT_SWITCH_H_
#define HOST_WAYLAND_FRONT_SWITCH_H_

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "hookwright/run_loop.h"
#include "host/connection_watch.h"
#include "host/front_application.h"

struct wl_display;
struct wl_registry;
struct zwlr_foreign_toplevel_manager_v1;

// An active toplevel and its app_id, when it has one. Toplevels are numbered
// by the source, from 1, never twice: protocol object ids are reused.
using WaylandApplication = FrontApplication<std::string>;

class WaylandFrontSwitchSource {
 public:
  using SwitchCallback = std::function<void(const WaylandApplication& now_in_front)>;

  // Connects to `display` (a name in $XDG_RUNTIME_DIR or an absolute socket
  // path), takes the toplevel active now as the front application, and from
  // then on calls `on_switch` on `loop`'s thread for every switch. The loop
  // watches the connection; a compositor that goes away ends the watch
  // (logged). Null, with `error` set, when the display cannot be reached or
  // its compositor does not offer the protocol (the error names it).
  static std::unique_ptr<WaylandFrontSwitchSource> Start(hookwright::RunLoop& loop,
                                                         const std::string& display,
                                                         SwitchCallback on_switch,
                                                         std::string* error);

  WaylandFrontSwitchSource(const WaylandFrontSwitchSource&) = delete;
  WaylandFrontSwitchSource& operator=(const WaylandFrontSwitchSource&) = delete;
  // Stops watching and disconnects. Call on the loop's thread.
  ~WaylandFrontSwitchSource();

 private:
  struct Toplevel;
  // What the connection's objects call back, with the access they need.
  struct Listeners;

  WaylandFrontSwitchSource(hookwright::RunLoop& loop, wl_display* display,
                           SwitchCallback on_switch);

  // Reads what the connection has, without waiting, and handles every event
  // read or queued; ends the watch when the compositor is gone.
  void ProcessEvents();
  // A toplevel's changes are complete: a switch when it just became active.
  void ToplevelDone(Toplevel& toplevel);
  // The compositor is gone, or has stopped listing toplevels: logs so, once,
  // and stops watching.
  void Lost();

  wl_display* display_;
  SwitchCallback on_switch_;
  wl_registry* registry_ = nullptr;
  zwlr_foreign_toplevel_manager_v1* manager_ = nullptr;
  std::map<uint64_t, std::unique_ptr<Toplevel>> toplevels_;
  uint64_t last_window_ = 0;
  // False while the start-up lists what is open: the toplevel active then is
  // the front application, not a switch.
  bool reporting_ = false;
  FrontApplicationTracker<std::string> tracker_;
  ConnectionWatch watch_;
};

#endif  // HOST_WAYLAND_FRONT_SWITCH_H_
