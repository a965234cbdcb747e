#include "host/front_application_report.h"

#include <limits>

#include "platform/utf8.h"

std::string WhyRefused(std::string_view application) {
  if (application.size() > kMaxReportedApplicationBytes)
    return "the application is longer than " + std::to_string(kMaxReportedApplicationBytes) +
           " bytes";
  if (!cf::IsWellFormedUtf8(application))
    return "the application is not UTF-8";
  return "";
}

bool FrontApplicationReports::Take(std::string_view application, int32_t pid) {
  // A window that names no application is told apart by its process, as the
  // X11 source tells windows apart; one that names one needs no process, but
  // must still count as a window.
  FrontApplication<std::string> now;
  if (pid > 0)
    now.window = static_cast<uint64_t>(pid);
  if (!application.empty()) {
    now.application = std::string(application);
    if (now.window == 0)
      now.window = std::numeric_limits<uint64_t>::max();
  }
  return tracker_.Activate(now);
}
