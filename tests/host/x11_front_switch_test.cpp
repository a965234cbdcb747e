// Front switches from an X11 display: which changes of the active window are
// switches, and the source on a real display (Xvfb) with windows of two
// processes.
#include "host/x11_front_switch.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "tests/host/x11_display.h"

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

TEST(X11FrontSwitchSource, SwitchesBetweenWindowsOfTwoProcesses) {
  qbfa_test::Xvfb server;
  ASSERT_FALSE(server.display().empty()) << "Xvfb did not start";
  qbfa_test::WindowProcess first(server.display());
  qbfa_test::WindowProcess second(server.display());
  ASSERT_NE(first.window(), 0u);
  ASSERT_NE(second.window(), 0u);
  qbfa_test::ActiveWindowSetter manager(server.display());
  ASSERT_TRUE(manager.connected());
  const xcb_window_t lone = qbfa_test::CreateWindow(manager.connection(), std::nullopt);

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
          manager.Activate(steps[reported.size()]);
        } else {
          loop.Stop();
        }
      },
      &error);
  ASSERT_NE(source, nullptr) << error;
  manager.Activate(steps[0]);
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
