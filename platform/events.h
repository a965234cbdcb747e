// Application events: handlers for application-wide events on the host's
// application event target, and the host's call that delivers a front switch.
//
// Handlers run on the main thread. Every handler installed for an event type
// sees each event of that type, in installation order, whatever the others
// return. Handlers cannot be removed one by one; tests empty the target with
// GetApplicationEventTarget()->Clear(), after which the EventHandlerRefs
// handed out before are stale.
#ifndef PLATFORM_EVENTS_H_
#define PLATFORM_EVENTS_H_

#include <cstdint>

#include "hookwright/application_events.h"
#include "platform/status.h"

using OSType = uint32_t;
using ItemCount = unsigned long;

using EventTargetRef = hookwright::EventTarget*;
using EventHandlerRef = struct OpaqueEventHandlerRef*;
using EventHandlerCallRef = struct OpaqueEventHandlerCallRef*;
using EventRef = struct OpaqueEventRef*;

using EventHandlerProcPtr = OSStatus (*)(EventHandlerCallRef call, EventRef event, void* user_data);
using EventHandlerUPP = EventHandlerProcPtr;

struct EventTypeSpec {
  OSType eventClass;
  uint32_t eventKind;
};

constexpr OSType kEventClassApplication = 0x6170706C;  // 'appl'
constexpr uint32_t kEventAppFrontSwitched = 7;

// No handler took the event.
constexpr OSStatus eventNotHandledErr = -9874;

EventTargetRef GetApplicationEventTarget();

// Installs `handler` for each of the `num_types` event types in `list`; it is
// called with a null call reference, the event and `user_data`. Writes a
// reference to the installation to `out_ref` when that is not null.
// paramErr for a null target or handler, or an empty or missing type list.
OSStatus InstallEventHandler(EventTargetRef target, EventHandlerUPP handler, ItemCount num_types,
                             const EventTypeSpec* list, void* user_data, EventHandlerRef* out_ref);

// What a handler can learn about the event it was called for.
OSType GetEventClass(EventRef event);
uint32_t GetEventKind(EventRef event);

// The host's side: tells the application's handlers that the front
// application changed. Runs them on the main thread: at once when called
// there, otherwise through the main run loop, waiting until they have run.
// noErr when at least one handler ran; eventNotHandledErr when none is
// installed, or when the main run loop is not running to take the event.
OSStatus SendFrontSwitchedEvent();

#endif  // PLATFORM_EVENTS_H_
