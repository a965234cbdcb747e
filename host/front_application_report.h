// Reports of the application in front from a desktop bridge: a script inside
// a compositor (a GNOME Shell extension, a KWin script) that sees every focus
// change and calls the host's D-Bus method with the focused window's
// application and process id.
//
// Anyone of the user's processes can call the method, so a report is only a
// hint: the worst it can do is cause a re-read a stale mark allows.
#ifndef HOST_FRONT_APPLICATION_REPORT_H_
#define HOST_FRONT_APPLICATION_REPORT_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "host/front_application.h"

// Application ids and window classes are short names; anything longer is no
// identity a desktop would report.
constexpr size_t kMaxReportedApplicationBytes = 1024;

// Why the host refuses `application` as an identity; empty when it takes it.
std::string WhyRefused(std::string_view application);

class FrontApplicationReports {
 public:
  // Takes a report of the focused window: its application (an app id or a
  // window class; empty when the window names none) and its process id (0 or
  // less when unknown). True when the front application switched. A report
  // with neither is "no window", which desktops send between two windows and
  // which is no application at all.
  bool Take(std::string_view application, int32_t pid);

 private:
  FrontApplicationTracker<std::string> tracker_;
};

#endif  // HOST_FRONT_APPLICATION_REPORT_H_
