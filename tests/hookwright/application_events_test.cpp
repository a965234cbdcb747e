#include "hookwright/application_events.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using hookwright::ApplicationEvent;
using hookwright::EventTarget;

constexpr uint32_t kAppl = 0x6170706C;
constexpr uint32_t kOther = 0x6B657962;

TEST(EventTarget, EveryHandlerOfTheClassAndKindSeesTheEventInOrder) {
  EventTarget target;
  std::string calls;
  target.AddHandler(kAppl, 7, [&](const ApplicationEvent&) {
    calls += "first ";
    return -1;  // a failing handler does not hide the event from the next
  });
  target.AddHandler(kAppl, 8, [&](const ApplicationEvent&) {
    calls += "other-kind ";
    return 0;
  });
  target.AddHandler(kOther, 7, [&](const ApplicationEvent&) {
    calls += "other-class ";
    return 0;
  });
  target.AddHandler(kAppl, 7, [&](const ApplicationEvent& event) {
    calls += "second ";
    EXPECT_EQ(event.event_class, kAppl);
    EXPECT_EQ(event.kind, 7u);
    return 0;
  });

  struct Case {
    ApplicationEvent event;
    size_t handlers;
    std::string calls;
  } cases[] = {
      {{kAppl, 7}, 2, "first second "},
      {{kAppl, 8}, 1, "other-kind "},
      {{kOther, 7}, 1, "other-class "},
      {{kOther, 8}, 0, ""},
  };
  for (const auto& c : cases) {
    calls.clear();
    EXPECT_EQ(target.Dispatch(c.event), c.handlers);
    EXPECT_EQ(calls, c.calls);
  }
}

TEST(EventTarget, HandlerAddedDuringDispatchSeesOnlyLaterEvents) {
  EventTarget target;
  int late_calls = 0;
  bool added = false;
  target.AddHandler(kAppl, 7, [&](const ApplicationEvent&) {
    if (!added) {
      added = true;
      target.AddHandler(kAppl, 7, [&](const ApplicationEvent&) {
        ++late_calls;
        return 0;
      });
    }
    return 0;
  });
  EXPECT_EQ(target.Dispatch({kAppl, 7}), 1u);
  EXPECT_EQ(late_calls, 0);
  EXPECT_EQ(target.Dispatch({kAppl, 7}), 2u);
  EXPECT_EQ(late_calls, 1);
}

TEST(EventTarget, ClearRemovesEveryHandler) {
  EventTarget& target = hookwright::ApplicationEventTarget();
  EXPECT_EQ(&target, &hookwright::ApplicationEventTarget());
  int calls = 0;
  target.AddHandler(kAppl, 7, [&](const ApplicationEvent&) {
    ++calls;
    return 0;
  });
  EXPECT_EQ(target.Dispatch({kAppl, 7}), 1u);
  target.Clear();
  EXPECT_EQ(target.Dispatch({kAppl, 7}), 0u);
  EXPECT_EQ(calls, 1);
}

}  // namespace
