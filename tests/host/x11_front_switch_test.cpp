// Front switches from an X11 display: which changes of the active window are
// switches, and the source on a real display (Xvfb) with windows of two
// processes.
#include "host/x11_front_switch.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>
#include <xcb/xcb.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "tests/support/child_process.h"

namespace {

TEST(FrontApplicationTracker, SwitchesAreChangesOfApplication) {
  struct Case {
    const char* what;
    std::vector<FrontApplication> activated;
    std::vector<bool> switched;
  };
  const FrontApplication a1{.window = 0x100, .pid = 41};
  const FrontApplication a2{.window = 0x101, .pid = 41};  // another window of a1's process
  const FrontApplication b{.window = 0x200, .pid = 42};
  const FrontApplication lone1{.window = 0x300, .pid = std::nullopt};  // no _NET_WM_PID
  const FrontApplication lone2{.window = 0x301, .pid = std::nullopt};
  const FrontApplication none{};
  const Case cases[] = {
      {"the first active window", {a1}, {true}},
      {"windows of two processes", {a1, b, a1}, {true, true, true}},
      {"windows of one process", {a1, a2, a1}, {true, false, false}},
      {"a window without a process is an application of its own",
       {lone1, lone1, lone2, lone1},
       {true, false, true, true}},
      {"nor does it share one with a window that has a process",
       {FrontApplication{.window = 41, .pid = std::nullopt},
        FrontApplication{.window = 0x400, .pid = 41}},
       {true, true}},
      {"no active window in between changes nothing",
       {a1, none, a2, none, b},
       {true, false, false, false, true}},
      {"no active window at first", {none, a1}, {false, true}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    FrontApplicationTracker tracker;
    std::vector<bool> switched;
    for (const FrontApplication& application : c.activated)
      switched.push_back(tracker.Activate(application));
    EXPECT_EQ(switched, c.switched);
  }
}

// A private X server for one test, on a display number it picks itself.
class Xvfb {
 public:
  Xvfb() {
    int ready[2];
    if (pipe(ready) != 0)
      return;
    server_ = fork();
    if (server_ == 0) {
      close(ready[0]);
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
      display_ = ":" + std::string(number, std::strcspn(number, "\n"));
  }
  ~Xvfb() {
    if (server_ > 0) {
      kill(server_, SIGTERM);
      waitpid(server_, nullptr, 0);
    }
  }

  // Empty when the server did not start.
  const std::string& display() const { return display_; }

 private:
  pid_t server_ = -1;
  std::string display_;
};

// An X client's window: the top-level window of some application.
xcb_window_t CreateWindow(xcb_connection_t* connection, std::optional<uint32_t> pid) {
  xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
  xcb_window_t window = xcb_generate_id(connection);
  xcb_create_window(connection, XCB_COPY_FROM_PARENT, window, screen->root, 0, 0, 10, 10, 0,
                    XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual, 0, nullptr);
  if (pid) {
    xcb_intern_atom_reply_t* atom = xcb_intern_atom_reply(
        connection, xcb_intern_atom(connection, 0, 11, "_NET_WM_PID"), nullptr);
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, window, atom->atom, XCB_ATOM_CARDINAL,
                        32, 1, &*pid);
    std::free(atom);
  }
  xcb_flush(connection);
  return window;
}

// Another process that owns one window, named with its pid, until the pipe
// to it closes.
class WindowProcess {
 public:
  explicit WindowProcess(const std::string& display) {
    int to_child[2], from_child[2];
    if (pipe(to_child) != 0 || pipe(from_child) != 0)
      return;
    process_ = qbfa_test::StartChildProcess([&] {
      close(to_child[1]);
      close(from_child[0]);
      xcb_connection_t* connection = xcb_connect(display.c_str(), nullptr);
      if (xcb_connection_has_error(connection))
        return 1;
      xcb_window_t window = CreateWindow(connection, static_cast<uint32_t>(getpid()));
      Sync(connection);
      if (write(from_child[1], &window, sizeof window) != sizeof window)
        return 1;
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
  ~WindowProcess() {
    close(release_);
    qbfa_test::WaitForChildProcess(process_);
  }

  xcb_window_t window() const { return window_; }
  uint32_t pid() const { return static_cast<uint32_t>(process_); }

 private:
  // Waits until the server has carried out everything sent before.
  static void Sync(xcb_connection_t* connection) {
    std::free(xcb_get_input_focus_reply(connection, xcb_get_input_focus(connection), nullptr));
  }

  pid_t process_ = -1;
  int release_ = -1;
  xcb_window_t window_ = 0;
};

TEST(X11FrontSwitchSource, SwitchesBetweenWindowsOfTwoProcesses) {
  Xvfb server;
  ASSERT_FALSE(server.display().empty()) << "Xvfb did not start";
  WindowProcess first(server.display());
  WindowProcess second(server.display());
  ASSERT_NE(first.window(), 0u);
  ASSERT_NE(second.window(), 0u);

  // The window manager's part: naming the active window on the root.
  xcb_connection_t* manager = xcb_connect(server.display().c_str(), nullptr);
  ASSERT_FALSE(xcb_connection_has_error(manager));
  const xcb_window_t lone = CreateWindow(manager, std::nullopt);
  xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(manager)).data->root;
  xcb_intern_atom_reply_t* atom = xcb_intern_atom_reply(
      manager, xcb_intern_atom(manager, 0, 18, "_NET_ACTIVE_WINDOW"), nullptr);
  const xcb_atom_t active = atom->atom;
  std::free(atom);
  auto activate = [&](xcb_window_t window) {
    xcb_change_property(manager, XCB_PROP_MODE_REPLACE, root, active, XCB_ATOM_WINDOW, 32, 1,
                        &window);
    xcb_flush(manager);
  };

  // Each switch the source reports makes the next change, so every change
  // is read before the next one replaces it.
  const std::vector<xcb_window_t> steps = {first.window(), second.window(), lone, first.window()};
  std::vector<FrontApplication> reported;
  hookwright::RunLoop loop;
  std::string error;
  auto source = X11FrontSwitchSource::Start(
      loop, server.display(),
      [&](const FrontApplication& now) {
        reported.push_back(now);
        if (reported.size() < steps.size()) {
          activate(steps[reported.size()]);
        } else {
          loop.Stop();
        }
      },
      &error);
  ASSERT_NE(source, nullptr) << error;
  activate(steps[0]);
  // Only a source that stopped reporting gets here.
  loop.AddTimer(std::chrono::seconds(60), [&] { loop.Stop(); });
  loop.Run();

  ASSERT_EQ(reported.size(), steps.size());
  EXPECT_EQ(reported[0].window, first.window());
  EXPECT_EQ(reported[0].pid, first.pid());
  EXPECT_EQ(reported[1].window, second.window());
  EXPECT_EQ(reported[1].pid, second.pid());
  EXPECT_EQ(reported[2].window, lone);
  EXPECT_EQ(reported[2].pid, std::nullopt);
  EXPECT_EQ(reported[3].pid, first.pid());
  source.reset();
  xcb_disconnect(manager);
}

TEST(X11FrontSwitchSource, NoDisplayNoSource) {
  hookwright::RunLoop loop;
  std::string error;
  EXPECT_EQ(X11FrontSwitchSource::Start(
                loop, ":999999", [](const FrontApplication&) {}, &error),
            nullptr);
  EXPECT_NE(error.find(":999999"), std::string::npos) << error;
}

}  // namespace
