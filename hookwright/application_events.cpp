#include "hookwright/application_events.h"

#include <utility>

namespace hookwright {

void EventTarget::AddHandler(uint32_t event_class, uint32_t kind, Handler handler) {
  std::lock_guard lock(mutex_);
  registrations_.push_back({event_class, kind, std::make_shared<Handler>(std::move(handler))});
}

size_t EventTarget::Dispatch(const ApplicationEvent& event) {
  // Handlers run outside the lock, so they may add handlers or dispatch again.
  std::vector<std::shared_ptr<Handler>> matching;
  {
    std::lock_guard lock(mutex_);
    for (const auto& registration : registrations_) {
      if (registration.event_class == event.event_class && registration.kind == event.kind) {
        matching.push_back(registration.handler);
      }
    }
  }
  for (const auto& handler : matching)
    (*handler)(event);
  return matching.size();
}

void EventTarget::Clear() {
  std::vector<Registration> removed;
  {
    std::lock_guard lock(mutex_);
    removed.swap(registrations_);
  }
  // `removed` is destroyed here, outside the lock: a handler's captures may
  // hold anything, including things whose destruction touches the target.
}

EventTarget& ApplicationEventTarget() {
  // Never destroyed, like the main run loop: handlers may be installed by
  // code that outlives static destruction order.
  static EventTarget* target = new EventTarget;
  return *target;
}

}  // namespace hookwright
