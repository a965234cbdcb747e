// Which application is in front, as a desktop makes one window after another
// active. Each source of switches names windows and their applications its
// own way (X11: a window id and a process id; Wayland: a toplevel and its
// app_id); the rule that turns activations into switches is the same.
#ifndef HOST_FRONT_APPLICATION_H_
#define HOST_FRONT_APPLICATION_H_

#include <cstdint>
#include <optional>

// The application behind an active window.
template <typename ApplicationId>
struct FrontApplication {
  uint64_t window = 0;  // 0: no window is active
  // Tells the window's application apart, when the window names one.
  std::optional<ApplicationId> application;
};

template <typename ApplicationId>
class FrontApplicationTracker {
 public:
  // Records that `now` became active. True when it belongs to another
  // application than the last active window, or is the first one seen. No
  // active window changes nothing: the application that comes back after it
  // has not switched.
  bool Activate(const FrontApplication<ApplicationId>& now) {
    if (now.window == 0)
      return false;
    bool switched = !front_ || !SameApplication(*front_, now);
    front_ = now;
    return switched;
  }

 private:
  // A window that names no application is an application of its own.
  static bool SameApplication(const FrontApplication<ApplicationId>& a,
                              const FrontApplication<ApplicationId>& b) {
    if (a.application && b.application)
      return *a.application == *b.application;
    return !a.application && !b.application && a.window == b.window;
  }

  std::optional<FrontApplication<ApplicationId>> front_;
};

#endif  // HOST_FRONT_APPLICATION_H_
