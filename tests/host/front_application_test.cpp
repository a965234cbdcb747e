// Which changes of the active window are switches of the front application.
#include "host/front_application.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace {

TEST(FrontApplicationTracker, SwitchesAreChangesOfApplication) {
  using Application = FrontApplication<uint32_t>;
  struct Case {
    const char* what;
    std::vector<Application> activated;
    std::vector<bool> switched;
  };
  const Application a1{.window = 0x100, .application = 41};
  const Application a2{.window = 0x101, .application = 41};  // another window of a1's application
  const Application b{.window = 0x200, .application = 42};
  const Application lone1{.window = 0x300, .application = std::nullopt};  // names none
  const Application lone2{.window = 0x301, .application = std::nullopt};
  const Application none{};
  const Case cases[] = {
      {"the first active window", {a1}, {true}},
      {"windows of two applications", {a1, b, a1}, {true, true, true}},
      {"windows of one application", {a1, a2, a1}, {true, false, false}},
      {"a window that names no application is an application of its own",
       {lone1, lone1, lone2, lone1},
       {true, false, true, true}},
      {"nor does it share one with a window that names one",
       {Application{.window = 41, .application = std::nullopt},
        Application{.window = 0x400, .application = 41}},
       {true, true}},
      {"no active window in between changes nothing",
       {a1, none, a2, none, b},
       {true, false, false, false, true}},
      {"no active window at first", {none, a1}, {false, true}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    FrontApplicationTracker<uint32_t> tracker;
    std::vector<bool> switched;
    for (const Application& application : c.activated)
      switched.push_back(tracker.Activate(application));
    EXPECT_EQ(switched, c.switched);
  }
}

}  // namespace
