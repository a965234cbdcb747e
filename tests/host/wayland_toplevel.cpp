#include "tests/host/wayland_toplevel.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <unistd.h>
#include <wayland-client.h>

#include <cstring>

#include "tests/host/headless_sway.h"
#include "tests/host/xdg-shell-client-protocol.h"
#include "tests/support/child_process.h"

namespace qbfa_test {
namespace {

constexpr int kSide = 32;  // the window's size in pixels; any will do

struct Window {
  wl_compositor* compositor = nullptr;
  wl_shm* shm = nullptr;
  xdg_wm_base* wm_base = nullptr;
  wl_surface* surface = nullptr;
  wl_buffer* buffer = nullptr;
  bool configured = false;
};

const wl_registry_listener kRegistryListener = {
    .global =
        [](void* data, wl_registry* registry, uint32_t name, const char* interface, uint32_t) {
          auto* window = static_cast<Window*>(data);
          auto bind = [&](const wl_interface* wanted) {
            return std::strcmp(interface, wanted->name) == 0
                       ? wl_registry_bind(registry, name, wanted, 1)
                       : nullptr;
          };
          if (void* compositor = bind(&wl_compositor_interface))
            window->compositor = static_cast<wl_compositor*>(compositor);
          if (void* shm = bind(&wl_shm_interface))
            window->shm = static_cast<wl_shm*>(shm);
          if (void* wm_base = bind(&xdg_wm_base_interface))
            window->wm_base = static_cast<xdg_wm_base*>(wm_base);
        },
    .global_remove = [](void*, wl_registry*, uint32_t) {},
};

const xdg_wm_base_listener kWmBaseListener = {
    .ping = [](void*, xdg_wm_base* wm_base, uint32_t serial) { xdg_wm_base_pong(wm_base, serial); },
};

// Every configure is acknowledged with a frame: the first one maps the window.
const xdg_surface_listener kSurfaceListener = {
    .configure =
        [](void* data, xdg_surface* surface, uint32_t serial) {
          auto* window = static_cast<Window*>(data);
          xdg_surface_ack_configure(surface, serial);
          wl_surface_attach(window->surface, window->buffer, 0, 0);
          wl_surface_damage(window->surface, 0, 0, kSide, kSide);
          wl_surface_commit(window->surface);
          window->configured = true;
        },
};

const xdg_toplevel_listener kToplevelListener = {
    .configure = [](void*, xdg_toplevel*, int32_t, int32_t, wl_array*) {},
    .close = [](void*, xdg_toplevel*) {},
    .configure_bounds = [](void*, xdg_toplevel*, int32_t, int32_t) {},
    .wm_capabilities = [](void*, xdg_toplevel*, wl_array*) {},
};

// A black frame in shared memory.
wl_buffer* MakeBuffer(wl_shm* shm) {
  const int stride = kSide * 4;
  const int size = stride * kSide;
  int fd = memfd_create("toplevel", MFD_CLOEXEC);
  if (fd < 0 || ftruncate(fd, size) != 0)
    return nullptr;
  wl_shm_pool* pool = wl_shm_create_pool(shm, fd, size);
  wl_buffer* buffer =
      wl_shm_pool_create_buffer(pool, 0, kSide, kSide, stride, WL_SHM_FORMAT_XRGB8888);
  wl_shm_pool_destroy(pool);
  close(fd);
  return buffer;
}

// Shows the window, says so on `shown`, and keeps it up, answering the
// compositor, until a signal ends the process or the compositor goes. Its
// exit code.
int ShowToplevel(const std::string& name, const std::optional<std::string>& app_id,
                 const std::string& title, int shown) {
  wl_display* display = wl_display_connect(name.c_str());
  if (display == nullptr)
    return 1;
  Window window;
  wl_registry_add_listener(wl_display_get_registry(display), &kRegistryListener, &window);
  if (wl_display_roundtrip(display) < 0 || window.compositor == nullptr || window.shm == nullptr ||
      window.wm_base == nullptr) {
    return 1;
  }
  xdg_wm_base_add_listener(window.wm_base, &kWmBaseListener, &window);
  window.buffer = MakeBuffer(window.shm);
  window.surface = wl_compositor_create_surface(window.compositor);
  xdg_surface* surface = xdg_wm_base_get_xdg_surface(window.wm_base, window.surface);
  xdg_surface_add_listener(surface, &kSurfaceListener, &window);
  xdg_toplevel* toplevel = xdg_surface_get_toplevel(surface);
  xdg_toplevel_add_listener(toplevel, &kToplevelListener, &window);
  xdg_toplevel_set_title(toplevel, title.c_str());
  if (app_id)
    xdg_toplevel_set_app_id(toplevel, app_id->c_str());
  wl_surface_commit(window.surface);
  while (!window.configured) {
    if (wl_display_dispatch(display) < 0)
      return 1;
  }
  // Once the compositor answers, it has the frame the configure sent.
  if (window.buffer == nullptr || wl_display_roundtrip(display) < 0 || write(shown, "!", 1) != 1) {
    return 1;
  }

  // Answers pings and configures for as long as the compositor is there.
  while (wl_display_dispatch(display) >= 0) {
  }
  return 1;
}

}  // namespace

ToplevelProcess::ToplevelProcess(const std::string& display,
                                 const std::optional<std::string>& app_id, const std::string& title,
                                 WindowUser user) {
  int shown[2];
  if (pipe2(shown, O_CLOEXEC) != 0)
    return;
  process_ = StartChildProcess([&] {
    close(shown[0]);
    if (user == WindowUser::kSwayUser && !BecomeDesktopUser())
      return 126;
    // After the change of user, which clears it.
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    return ShowToplevel(display, app_id, title, shown[1]);
  });
  close(shown[1]);
  char byte;
  shown_ = read(shown[0], &byte, 1) == 1;
  close(shown[0]);
}

// A signal rather than a pipe: every window process forked later would hold
// a copy of the pipe, and keep this one's window up.
ToplevelProcess::~ToplevelProcess() {
  if (process_ > 0)
    kill(process_, SIGTERM);
  WaitForChildProcess(process_);
}

}  // namespace qbfa_test
