// Front switches from a Wayland compositor: the source on a real headless
// sway with toplevels of several processes, a compositor that dies under it,
// and displays it cannot follow.
#include "host/wayland_front_switch.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "hookwright/log.h"
#include "tests/host/bare_compositor.h"
#include "tests/host/headless_sway.h"
#include "tests/host/wayland_toplevel.h"

namespace {

using qbfa_test::FocusCommand;

// Only a source that stopped reporting waits this long.
constexpr auto kPatience = std::chrono::seconds(60);

class WaylandFrontSwitchSourceTest : public testing::Test {
 protected:
  void SetUp() override {
    QBFA_SKIP_WITHOUT_SWAY();
    sway_.emplace();
    ASSERT_TRUE(sway_->running()) << sway_->error();
  }

  std::optional<qbfa_test::HeadlessSway> sway_;
  hookwright::RunLoop loop_;
};

TEST_F(WaylandFrontSwitchSourceTest, SwitchesAreActivationsMovingToAnotherApplication) {
  struct Window {
    std::optional<std::string> app_id;
    std::string title;
  };
  const Window windows[] = {{"alpha", "alpha-1"},
                            {"alpha", "alpha-2"},
                            {"beta", "beta"},
                            {std::nullopt, "lone-1"},
                            {std::nullopt, "lone-2"}};
  std::vector<std::unique_ptr<qbfa_test::ToplevelProcess>> clients;
  for (const Window& window : windows) {
    clients.push_back(std::make_unique<qbfa_test::ToplevelProcess>(sway_->display(), window.app_id,
                                                                   window.title));
    ASSERT_TRUE(clients.back()->shown()) << window.title;
  }
  ASSERT_TRUE(sway_->Focus("lone-2"));

  // Each step's commands run once the switch before it is reported; the
  // step's own switch is the next one reported, so a move that wrongly
  // counts as a switch shows up as the wrong application.
  struct Step {
    const char* what;
    std::vector<std::string> commands;
    std::optional<std::string> switched_to;
  };
  const std::vector<Step> steps = {
      {"a window of another application", {FocusCommand("alpha-1")}, "alpha"},
      {"another window of the same application is no switch",
       {FocusCommand("alpha-2"), FocusCommand("beta")},
       "beta"},
      {"an empty workspace in between is no switch; no app_id is an application of its own",
       {"workspace 2", FocusCommand("beta"), FocusCommand("lone-1")},
       std::nullopt},
      {"and so is every other window without one", {FocusCommand("lone-2")}, std::nullopt},
      {"back to the first application", {FocusCommand("alpha-2")}, "alpha"},
  };
  std::vector<WaylandApplication> reported;
  auto run_step = [&](const Step& step) {
    for (const std::string& command : step.commands)
      EXPECT_TRUE(sway_->Command(command)) << command;
  };
  std::string error;
  auto source = WaylandFrontSwitchSource::Start(
      loop_, sway_->display(),
      [&](const WaylandApplication& now) {
        reported.push_back(now);
        if (reported.size() < steps.size()) {
          run_step(steps[reported.size()]);
        } else {
          loop_.Stop();
        }
      },
      &error);
  ASSERT_NE(source, nullptr) << error;
  run_step(steps[0]);
  loop_.AddTimer(kPatience, [&] { loop_.Stop(); });
  loop_.Run();

  ASSERT_EQ(reported.size(), steps.size());
  for (size_t i = 0; i < steps.size(); ++i) {
    SCOPED_TRACE(steps[i].what);
    EXPECT_EQ(reported[i].application, steps[i].switched_to);
    EXPECT_NE(reported[i].window, 0u);
  }
  EXPECT_NE(reported[2].window, reported[3].window);
}

TEST_F(WaylandFrontSwitchSourceTest, ACompositorThatDiesEndsTheSourceOnce) {
  qbfa_test::ToplevelProcess client(sway_->display(), "alpha", "alpha");
  ASSERT_TRUE(client.shown());
  bool switched = false;
  std::string error;
  auto source = WaylandFrontSwitchSource::Start(
      loop_, sway_->display(), [&](const WaylandApplication&) { switched = true; }, &error);
  ASSERT_NE(source, nullptr) << error;

  std::string log;
  hookwright::LogSink previous = hookwright::SetLogSink([&](std::string_view bytes) {
    log += bytes;
    // A little longer, for any second word about it.
    loop_.AddTimer(std::chrono::milliseconds(200), [&] { loop_.Stop(); });
  });
  sway_->Kill();
  loop_.AddTimer(kPatience, [&] { loop_.Stop(); });
  loop_.Run();
  hookwright::SetLogSink(previous);
  EXPECT_EQ(log, "qbfa host: lost the Wayland display; front switches from it end here\n");
  EXPECT_FALSE(switched);
}

TEST(WaylandFrontSwitchSource, DisplaysItCannotFollow) {
  qbfa_test::BareCompositor bare;
  ASSERT_FALSE(bare.display().empty()) << "the bare compositor did not start";
  struct Case {
    std::string display;
    std::string error;
  };
  const Case cases[] = {
      {bare.display(), std::string("the Wayland compositor ") + qbfa_test::kBareCompositorName +
                           " at " + bare.display() +
                           " does not offer zwlr_foreign_toplevel_manager_v1"},
      {"/nonexistent/wayland-0", "cannot connect to the Wayland display /nonexistent/wayland-0"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.display);
    hookwright::RunLoop loop;
    std::string error;
    EXPECT_EQ(WaylandFrontSwitchSource::Start(
                  loop, c.display, [](const WaylandApplication&) {}, &error),
              nullptr);
    EXPECT_EQ(error, c.error);
  }
}

}  // namespace
