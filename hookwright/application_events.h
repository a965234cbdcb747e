// The application event target: where the host delivers application-wide
// events (such as "the front application changed") to whoever asked for them.
//
// Handlers are registered for an (event class, kind) pair. Events here are
// notifications, so every handler registered for the pair sees each event,
// in the order the handlers were added; a handler's result does not stop the
// others. Handlers run on the main thread; the host dispatches from there.
#ifndef HOOKWRIGHT_APPLICATION_EVENTS_H_
#define HOOKWRIGHT_APPLICATION_EVENTS_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

namespace hookwright {

struct ApplicationEvent {
  uint32_t event_class;  // a four-character code
  uint32_t kind;
};

class EventTarget {
 public:
  // Returns the handler's status; the target only passes it along.
  using Handler = std::function<int32_t(const ApplicationEvent&)>;

  // May be called from any thread, also from inside a handler (the new
  // handler then sees the next event, not the one being dispatched).
  void AddHandler(uint32_t event_class, uint32_t kind, Handler handler);

  // Calls the handlers for the event's class and kind; returns how many ran.
  // Call on the main thread.
  size_t Dispatch(const ApplicationEvent& event);

  // Removes every handler. Nothing in a running host does this; tests do,
  // to start each case from an empty target.
  void Clear();

 private:
  struct Registration {
    uint32_t event_class;
    uint32_t kind;
    std::shared_ptr<Handler> handler;
  };

  std::mutex mutex_;
  std::vector<Registration> registrations_;
};

// The process's one application event target.
EventTarget& ApplicationEventTarget();

}  // namespace hookwright

#endif  // HOOKWRIGHT_APPLICATION_EVENTS_H_
