// A Wayland compositor as the desktops that do not list their toplevels look
// to the host (GNOME's, KDE's): a display that takes connections and offers
// no zwlr_foreign_toplevel_manager_v1. It offers nothing at all.
#ifndef TESTS_HOST_BARE_COMPOSITOR_H_
#define TESTS_HOST_BARE_COMPOSITOR_H_

#include <string>

#include "tests/host/display_server.h"

namespace qbfa_test {

// Runs in a child process named kBareCompositorName, while this lives.
class BareCompositor {
 public:
  BareCompositor();
  BareCompositor(const BareCompositor&) = delete;
  BareCompositor& operator=(const BareCompositor&) = delete;

  // Its socket by its absolute path; empty when it did not start.
  const std::string& display() const { return display_; }

 private:
  DisplayServer server_;
  std::string display_;
};

// The process name a client sees at the other end of the socket.
constexpr char kBareCompositorName[] = "bare-compositor";

}  // namespace qbfa_test

#endif  // TESTS_HOST_BARE_COMPOSITOR_H_
