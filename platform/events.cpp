#include "platform/events.h"

#include <memory>

#include "hookwright/main_thread.h"

// What an event handler reference stands for: one installed handler.
struct OpaqueEventHandlerRef {
  EventHandlerUPP handler;
  void* user_data;
};

struct OpaqueEventRef {
  hookwright::ApplicationEvent event;
};

EventTargetRef GetApplicationEventTarget() {
  return &hookwright::ApplicationEventTarget();
}

OSStatus InstallEventHandler(EventTargetRef target, EventHandlerUPP handler, ItemCount num_types,
                             const EventTypeSpec* list, void* user_data, EventHandlerRef* out_ref) {
  if (target == nullptr || handler == nullptr || num_types == 0 || list == nullptr) {
    return paramErr;
  }
  // Shared by the registrations of every listed type, and freed with the last.
  auto installed =
      std::make_shared<OpaqueEventHandlerRef>(OpaqueEventHandlerRef{handler, user_data});
  for (ItemCount i = 0; i < num_types; ++i) {
    target->AddHandler(list[i].eventClass, list[i].eventKind,
                       [installed](const hookwright::ApplicationEvent& event) {
                         OpaqueEventRef ref{event};
                         return installed->handler(nullptr, &ref, installed->user_data);
                       });
  }
  if (out_ref != nullptr)
    *out_ref = installed.get();
  return noErr;
}

OSType GetEventClass(EventRef event) {
  return event->event.event_class;
}

uint32_t GetEventKind(EventRef event) {
  return event->event.kind;
}

OSStatus SendFrontSwitchedEvent() {
  size_t handlers = 0;
  const bool delivered = hookwright::RunOnMainThreadAndWait([&handlers] {
    handlers = hookwright::ApplicationEventTarget().Dispatch(
        {kEventClassApplication, kEventAppFrontSwitched});
  });
  return delivered && handlers > 0 ? noErr : eventNotHandledErr;
}
