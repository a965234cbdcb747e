#include "host/wayland_front_switch.h"

#include <sys/socket.h>
#include <wayland-client.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <optional>

#include "hookwright/hkwprintf.h"
#include "host/wlr-foreign-toplevel-management-unstable-v1-client-protocol.h"

namespace {

// The newest version of the protocol whose events the source handles.
constexpr uint32_t kManagerVersion = 3;

// The process at the compositor's end of the connection, by the name the
// kernel knows it by; empty when the kernel does not say.
std::string CompositorName(wl_display* display) {
  ucred peer{};
  socklen_t size = sizeof peer;
  if (getsockopt(wl_display_get_fd(display), SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0 ||
      peer.pid <= 0) {
    return "";
  }
  std::ifstream comm("/proc/" + std::to_string(peer.pid) + "/comm");
  std::string name;
  std::getline(comm, name);
  return name;
}

bool HoldsActivated(const wl_array* states) {
  const auto* begin = static_cast<const uint32_t*>(states->data);
  const auto* end = begin + states->size / sizeof(uint32_t);
  return std::find(begin, end, ZWLR_FOREIGN_TOPLEVEL_HANDLE_V1_STATE_ACTIVATED) != end;
}

}  // namespace

struct WaylandFrontSwitchSource::Toplevel {
  Toplevel(WaylandFrontSwitchSource* source, zwlr_foreign_toplevel_handle_v1* handle,
           uint64_t window)
      : source(source), handle(handle), window(window) {}
  Toplevel(const Toplevel&) = delete;
  Toplevel& operator=(const Toplevel&) = delete;
  ~Toplevel() { zwlr_foreign_toplevel_handle_v1_destroy(handle); }

  WaylandFrontSwitchSource* const source;
  zwlr_foreign_toplevel_handle_v1* const handle;
  const uint64_t window;
  std::optional<std::string> app_id;
  // As of the last `done`, and as the `state` events since then say.
  bool activated = false;
  bool activated_pending = false;
};

struct WaylandFrontSwitchSource::Listeners {
  static const wl_registry_listener kRegistry;
  static const zwlr_foreign_toplevel_manager_v1_listener kManager;
  static const zwlr_foreign_toplevel_handle_v1_listener kToplevel;
};

const wl_registry_listener WaylandFrontSwitchSource::Listeners::kRegistry = {
    .global =
        [](void* data, wl_registry* registry, uint32_t name, const char* interface,
           uint32_t version) {
          auto* source = static_cast<WaylandFrontSwitchSource*>(data);
          if (source->manager_ != nullptr ||
              std::strcmp(interface, zwlr_foreign_toplevel_manager_v1_interface.name) != 0) {
            return;
          }
          source->manager_ = static_cast<zwlr_foreign_toplevel_manager_v1*>(
              wl_registry_bind(registry, name, &zwlr_foreign_toplevel_manager_v1_interface,
                               std::min(version, kManagerVersion)));
          zwlr_foreign_toplevel_manager_v1_add_listener(source->manager_, &kManager, source);
        },
    .global_remove = [](void*, wl_registry*, uint32_t) {},
};

const zwlr_foreign_toplevel_manager_v1_listener WaylandFrontSwitchSource::Listeners::kManager = {
    .toplevel =
        [](void* data, zwlr_foreign_toplevel_manager_v1*, zwlr_foreign_toplevel_handle_v1* handle) {
          auto* source = static_cast<WaylandFrontSwitchSource*>(data);
          const uint64_t window = ++source->last_window_;
          auto toplevel = std::make_unique<Toplevel>(source, handle, window);
          zwlr_foreign_toplevel_handle_v1_add_listener(handle, &kToplevel, toplevel.get());
          source->toplevels_.emplace(window, std::move(toplevel));
        },
    .finished =
        [](void* data, zwlr_foreign_toplevel_manager_v1* manager) {
          auto* source = static_cast<WaylandFrontSwitchSource*>(data);
          zwlr_foreign_toplevel_manager_v1_destroy(manager);
          source->manager_ = nullptr;
          source->Lost();
        },
};

const zwlr_foreign_toplevel_handle_v1_listener WaylandFrontSwitchSource::Listeners::kToplevel = {
    .title = [](void*, zwlr_foreign_toplevel_handle_v1*, const char*) {},
    .app_id =
        [](void* data, zwlr_foreign_toplevel_handle_v1*, const char* app_id) {
          // An empty app_id names no application either.
          static_cast<Toplevel*>(data)->app_id =
              *app_id != '\0' ? std::optional<std::string>(app_id) : std::nullopt;
        },
    .output_enter = [](void*, zwlr_foreign_toplevel_handle_v1*, wl_output*) {},
    .output_leave = [](void*, zwlr_foreign_toplevel_handle_v1*, wl_output*) {},
    .state =
        [](void* data, zwlr_foreign_toplevel_handle_v1*, wl_array* states) {
          static_cast<Toplevel*>(data)->activated_pending = HoldsActivated(states);
        },
    .done =
        [](void* data, zwlr_foreign_toplevel_handle_v1*) {
          auto* toplevel = static_cast<Toplevel*>(data);
          toplevel->source->ToplevelDone(*toplevel);
        },
    .closed =
        [](void* data, zwlr_foreign_toplevel_handle_v1*) {
          auto* toplevel = static_cast<Toplevel*>(data);
          toplevel->source->toplevels_.erase(toplevel->window);
        },
    .parent = [](void*, zwlr_foreign_toplevel_handle_v1*, zwlr_foreign_toplevel_handle_v1*) {},
};

std::unique_ptr<WaylandFrontSwitchSource> WaylandFrontSwitchSource::Start(
    hookwright::RunLoop& loop, const std::string& display, SwitchCallback on_switch,
    std::string* error) {
  wl_display* connection = wl_display_connect(display.c_str());
  if (connection == nullptr) {
    *error = "cannot connect to the Wayland display " + display;
    return nullptr;
  }
  std::unique_ptr<WaylandFrontSwitchSource> source(
      new WaylandFrontSwitchSource(loop, connection, std::move(on_switch)));
  source->registry_ = wl_display_get_registry(connection);
  wl_registry_add_listener(source->registry_, &Listeners::kRegistry, source.get());
  // The first round trip brings the globals; the second, what the manager
  // lists at once: every open toplevel with its states, the active one among
  // them, which is the front application rather than a switch.
  if (wl_display_roundtrip(connection) < 0 ||
      (source->manager_ != nullptr && wl_display_roundtrip(connection) < 0)) {
    *error = "the Wayland display " + display + " broke off the connection";
    return nullptr;
  }
  if (source->manager_ == nullptr) {
    const std::string compositor = CompositorName(connection);
    *error = "the Wayland compositor " + (compositor.empty() ? "" : compositor + " ") + "at " +
             display + " does not offer zwlr_foreign_toplevel_manager_v1";
    return nullptr;
  }
  source->reporting_ = true;

  WaylandFrontSwitchSource* self = source.get();
  if (!source->watch_.Start(wl_display_get_fd(connection), [self] { self->ProcessEvents(); })) {
    *error = "cannot watch the Wayland display's connection";
    return nullptr;
  }
  return source;
}

WaylandFrontSwitchSource::WaylandFrontSwitchSource(hookwright::RunLoop& loop, wl_display* display,
                                                   SwitchCallback on_switch)
    : display_(display), on_switch_(std::move(on_switch)), watch_(loop) {}

WaylandFrontSwitchSource::~WaylandFrontSwitchSource() {
  watch_.Stop();
  toplevels_.clear();
  if (manager_ != nullptr)
    zwlr_foreign_toplevel_manager_v1_destroy(manager_);
  if (registry_ != nullptr)
    wl_registry_destroy(registry_);
  wl_display_disconnect(display_);
}

void WaylandFrontSwitchSource::Lost() {
  if (!watch_.watching())
    return;
  hkwprintf("qbfa host: lost the Wayland display; front switches from it end here\n");
  watch_.Stop();
}

void WaylandFrontSwitchSource::ProcessEvents() {
  // The reading protocol of libwayland: events already queued are handled
  // before the socket may be read, and a read never waits (the socket is
  // non-blocking; an empty one reads as nothing).
  bool connected = true;
  while (connected && wl_display_prepare_read(display_) != 0)
    connected = wl_display_dispatch_pending(display_) >= 0;
  if (connected)
    connected = wl_display_read_events(display_) >= 0 && wl_display_dispatch_pending(display_) >= 0;
  // Requests the events led to (destroying closed toplevels) go out now; a
  // full socket keeps them for the next turn.
  if (connected)
    connected = wl_display_flush(display_) >= 0 || errno == EAGAIN;
  if (!connected)
    Lost();
}

void WaylandFrontSwitchSource::ToplevelDone(Toplevel& toplevel) {
  const bool became_active = toplevel.activated_pending && !toplevel.activated;
  toplevel.activated = toplevel.activated_pending;
  if (!became_active)
    return;
  const WaylandApplication now{.window = toplevel.window, .application = toplevel.app_id};
  if (tracker_.Activate(now) && reporting_)
    on_switch_(now);
}
