// What a desktop bridge tells the host, seen from the side: every call of
// the host's ReportFrontApplication method on the session bus, whether a
// host answers it or not.
#ifndef TESTS_HOST_FRONT_REPORT_MONITOR_H_
#define TESTS_HOST_FRONT_REPORT_MONITOR_H_

#include <sys/types.h>
#include <systemd/sd-bus.h>

#include <ostream>
#include <string>
#include <vector>

namespace qbfa_test {

struct FrontReport {
  std::string application;
  pid_t pid = 0;

  bool operator==(const FrontReport&) const = default;
};

std::ostream& operator<<(std::ostream& out, const FrontReport& report);

// A monitor connection to the bus DBUS_SESSION_BUS_ADDRESS names, from
// construction on.
class FrontReportMonitor {
 public:
  FrontReportMonitor();
  FrontReportMonitor(const FrontReportMonitor&) = delete;
  FrontReportMonitor& operator=(const FrontReportMonitor&) = delete;
  ~FrontReportMonitor();

  // False when the bus would not make this a monitor; error() says why.
  bool running() const { return bus_ != nullptr; }
  const std::string& error() const { return error_; }

  // The reports seen since construction, in the order the bus passed them
  // on, once there are at least `count`; all there are when a minute has
  // passed first.
  std::vector<FrontReport> Await(size_t count);

 private:
  // Takes in what has arrived, without waiting.
  void Take();

  sd_bus* bus_ = nullptr;
  std::string error_;
  std::vector<FrontReport> reports_;
};

}  // namespace qbfa_test

#endif  // TESTS_HOST_FRONT_REPORT_MONITOR_H_
