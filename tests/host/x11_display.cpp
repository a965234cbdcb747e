#include "tests/host/x11_display.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "host/x11_atom.h"
#include "tests/support/child_process.h"

namespace qbfa_test {
namespace {

// Waits until the server has carried out everything sent before.
void Sync(xcb_connection_t* connection) {
  std::free(xcb_get_input_focus_reply(connection, xcb_get_input_focus(connection), nullptr));
}

}  // namespace

Xvfb::Xvfb() {
  int ready[2];
  if (pipe2(ready, O_CLOEXEC) != 0)
    return;
  server_ = fork();
  if (server_ == 0) {
    close(ready[0]);
    // The one descriptor the server is meant to keep; it ends with the test.
    fcntl(ready[1], F_SETFD, 0);
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    const std::string fd = std::to_string(ready[1]);
    execlp("Xvfb", "Xvfb", "-displayfd", fd.c_str(), "-nolisten", "tcp", "-screen", "0",
           "320x200x24", static_cast<char*>(nullptr));
    _exit(127);
  }
  close(ready[1]);
  // Xvfb writes the display number once it takes connections.
  char number[32] = {};
  size_t got = 0;
  for (ssize_t n; got + 1 < sizeof number &&
                  (n = read(ready[0], number + got, sizeof number - 1 - got)) > 0;) {
    got += static_cast<size_t>(n);
    if (std::memchr(number, '\n', got) != nullptr)
      break;
  }
  close(ready[0]);
  if (got > 0 && number[0] >= '0' && number[0] <= '9')
    display_ = std::string(1, ':').append(number, std::strcspn(number, "\n"));
}

Xvfb::~Xvfb() {
  if (server_ > 0) {
    kill(server_, SIGTERM);
    waitpid(server_, nullptr, 0);
  }
}

xcb_window_t CreateWindow(xcb_connection_t* connection, std::optional<uint32_t> pid) {
  xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
  xcb_window_t window = xcb_generate_id(connection);
  xcb_create_window(connection, XCB_COPY_FROM_PARENT, window, screen->root, 0, 0, 10, 10, 0,
                    XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual, 0, nullptr);
  if (pid) {
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, window,
                        InternAtom(connection, "_NET_WM_PID"), XCB_ATOM_CARDINAL, 32, 1, &*pid);
  }
  Sync(connection);
  return window;
}

WindowProcess::WindowProcess(const std::string& display) {
  int to_child[2], from_child[2];
  // Close-on-exec: programs the test starts later must not hold the pipes open.
  if (pipe2(to_child, O_CLOEXEC) != 0 || pipe2(from_child, O_CLOEXEC) != 0)
    return;
  process_ = StartChildProcess([&] {
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    close(to_child[1]);
    close(from_child[0]);
    xcb_connection_t* connection = xcb_connect(display.c_str(), nullptr);
    if (xcb_connection_has_error(connection))
      return 1;
    xcb_window_t window = CreateWindow(connection, static_cast<uint32_t>(getpid()));
    if (write(from_child[1], &window, sizeof window) != sizeof window)
      return 1;
    // Holds the window until the parent closes its end.
    char byte;
    while (read(to_child[0], &byte, 1) > 0) {
    }
    xcb_disconnect(connection);
    return 0;
  });
  close(to_child[0]);
  close(from_child[1]);
  release_ = to_child[1];
  if (read(from_child[0], &window_, sizeof window_) != sizeof window_)
    window_ = 0;
  close(from_child[0]);
}

WindowProcess::~WindowProcess() {
  close(release_);
  WaitForChildProcess(process_);
}

ActiveWindowSetter::ActiveWindowSetter(const std::string& display)
    : connection_(xcb_connect(display.c_str(), nullptr)) {
  if (!connected())
    return;
  root_ = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data->root;
  active_window_ = InternAtom(connection_, "_NET_ACTIVE_WINDOW");
}

ActiveWindowSetter::~ActiveWindowSetter() {
  xcb_disconnect(connection_);
}

void ActiveWindowSetter::Activate(xcb_window_t window) {
  xcb_change_property(connection_, XCB_PROP_MODE_REPLACE, root_, active_window_, XCB_ATOM_WINDOW,
                      32, 1, &window);
  xcb_flush(connection_);
}

}  // namespace qbfa_test
