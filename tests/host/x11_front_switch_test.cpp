// Front switches from an X11 display: the source on a real display (Xvfb)
// with windows of two processes.
#include "host/x11_front_switch.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "tests/host/x11_display.h"

namespace {

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
  std::vector<X11Application> reported;
  hookwright::RunLoop loop;
  std::string error;
  auto source = X11FrontSwitchSource::Start(
      loop, server.display(),
      [&](const X11Application& now) {
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
  EXPECT_EQ(reported[0].application, first.pid());
  EXPECT_EQ(reported[1].window, second.window());
  EXPECT_EQ(reported[1].application, second.pid());
  EXPECT_EQ(reported[2].window, lone);
  EXPECT_EQ(reported[2].application, std::nullopt);
  EXPECT_EQ(reported[3].application, first.pid());
}

TEST(X11FrontSwitchSource, NoDisplayNoSource) {
  hookwright::RunLoop loop;
  std::string error;
  EXPECT_EQ(X11FrontSwitchSource::Start(
                loop, ":999999", [](const X11Application&) {}, &error),
            nullptr);
  EXPECT_NE(error.find(":999999"), std::string::npos) << error;
}

}  // namespace
