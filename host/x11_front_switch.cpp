#include "host/x11_front_switch.h"

#include <xcb/xcb.h>

#include <cstdlib>
#include <cstring>
#include <optional>

#include "hookwright/hkwprintf.h"
#include "host/x11_atom.h"

namespace {

// The one 32-bit value of `property` on `window`; nothing when the window has
// no such property (or is gone).
std::optional<uint32_t> Read32BitProperty(xcb_connection_t* connection, xcb_window_t window,
                                          xcb_atom_t property, xcb_atom_t type) {
  xcb_get_property_reply_t* reply = xcb_get_property_reply(
      connection, xcb_get_property(connection, 0, window, property, type, 0, 1), nullptr);
  std::optional<uint32_t> value;
  if (reply != nullptr && reply->format == 32 && xcb_get_property_value_length(reply) == 4) {
    uint32_t read;
    std::memcpy(&read, xcb_get_property_value(reply), sizeof read);
    value = read;
  }
  std::free(reply);
  return value;
}

}  // namespace

std::unique_ptr<X11FrontSwitchSource> X11FrontSwitchSource::Start(hookwright::RunLoop& loop,
                                                                  const std::string& display,
                                                                  SwitchCallback on_switch,
                                                                  std::string* error) {
  int screen_number = 0;
  xcb_connection_t* connection =
      xcb_connect(display.empty() ? nullptr : display.c_str(), &screen_number);
  if (xcb_connection_has_error(connection)) {
    xcb_disconnect(connection);
    *error = "cannot connect to the X display " + (display.empty() ? "$DISPLAY" : display);
    return nullptr;
  }
  std::unique_ptr<X11FrontSwitchSource> source(
      new X11FrontSwitchSource(loop, connection, std::move(on_switch)));

  xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(connection));
  for (int i = 0; i < screen_number && screens.rem > 0; ++i)
    xcb_screen_next(&screens);
  if (screens.rem == 0) {
    *error = "the X display has no screen " + std::to_string(screen_number);
    return nullptr;
  }
  source->root_ = screens.data->root;
  source->active_window_atom_ = InternAtom(connection, "_NET_ACTIVE_WINDOW");
  source->pid_atom_ = InternAtom(connection, "_NET_WM_PID");
  const uint32_t events = XCB_EVENT_MASK_PROPERTY_CHANGE;
  xcb_void_cookie_t selected =
      xcb_change_window_attributes_checked(connection, source->root_, XCB_CW_EVENT_MASK, &events);
  if (xcb_generic_error_t* failure = xcb_request_check(connection, selected)) {
    std::free(failure);
    *error = "cannot watch the X display's root window";
    return nullptr;
  }
  // Whatever is active when the host starts is the front application; only
  // changes from here on are switches.
  source->tracker_.Activate(source->ActiveApplication());

  X11FrontSwitchSource* self = source.get();
  if (!source->watch_.Start(xcb_get_file_descriptor(connection), [self] { self->DrainEvents(); })) {
    *error = "cannot watch the X display's connection";
    return nullptr;
  }
  return source;
}

X11FrontSwitchSource::X11FrontSwitchSource(hookwright::RunLoop& loop, xcb_connection_t* connection,
                                           SwitchCallback on_switch)
    : connection_(connection), on_switch_(std::move(on_switch)), watch_(loop) {}

X11FrontSwitchSource::~X11FrontSwitchSource() {
  watch_.Stop();
  xcb_disconnect(connection_);
}

X11Application X11FrontSwitchSource::ActiveApplication() {
  X11Application active;
  active.window =
      Read32BitProperty(connection_, root_, active_window_atom_, XCB_ATOM_WINDOW).value_or(0);
  if (active.window != 0) {
    active.application = Read32BitProperty(connection_, static_cast<xcb_window_t>(active.window),
                                           pid_atom_, XCB_ATOM_CARDINAL);
  }
  return active;
}

void X11FrontSwitchSource::DrainEvents() {
  while (xcb_generic_event_t* event = xcb_poll_for_event(connection_)) {
    bool active_window_changed = false;
    if ((event->response_type & 0x7f) == XCB_PROPERTY_NOTIFY) {
      const auto* change = reinterpret_cast<const xcb_property_notify_event_t*>(event);
      active_window_changed = change->window == root_ && change->atom == active_window_atom_;
    }
    std::free(event);
    if (!active_window_changed)
      continue;
    X11Application now = ActiveApplication();
    if (tracker_.Activate(now))
      on_switch_(now);
  }
  if (xcb_connection_has_error(connection_)) {
    hkwprintf("qbfa host: lost the X display; front switches from it end here\n");
    watch_.Stop();
  }
}
