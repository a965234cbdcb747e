#include "tests/host/bare_compositor.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>
#include <wayland-server.h>

#include <cstdlib>
#include <string>

namespace qbfa_test {
namespace {

constexpr char kSocketName[] = "wayland-bare";

}  // namespace

BareCompositor::BareCompositor() {
  const std::string& directory = server_.directory();
  int ready[2];
  if (directory.empty() || pipe2(ready, O_CLOEXEC) != 0)
    return;
  server_.Start([&] {
    close(ready[0]);
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    prctl(PR_SET_NAME, kBareCompositorName);
    // The server makes its socket in the runtime directory, by name.
    setenv("XDG_RUNTIME_DIR", directory.c_str(), 1);
    wl_display* display = wl_display_create();
    if (display == nullptr || wl_display_add_socket(display, kSocketName) != 0 ||
        write(ready[1], "!", 1) != 1) {
      return 1;
    }
    wl_display_run(display);
    return 0;
  });
  close(ready[1]);
  char byte;
  if (read(ready[0], &byte, 1) == 1)
    display_ = directory + "/" + kSocketName;
  close(ready[0]);
}

}  // namespace qbfa_test
