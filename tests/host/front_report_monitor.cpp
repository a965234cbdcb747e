#include "tests/host/front_report_monitor.h"

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "host/front_application_method.h"
#include "host/front_switch_signal.h"

namespace qbfa_test {
namespace {

// Reports follow a key press within a second; this long means none comes.
constexpr auto kPatience = std::chrono::seconds(60);

}  // namespace

std::ostream& operator<<(std::ostream& out, const FrontReport& report) {
  return out << "(\"" << report.application << "\", " << report.pid << ")";
}

FrontReportMonitor::FrontReportMonitor() {
  const char* address = std::getenv("DBUS_SESSION_BUS_ADDRESS");
  sd_bus* bus = nullptr;
  int r = sd_bus_new(&bus);
  // A monitor only listens: the bus passes it copies of what the rules
  // match, and it may send nothing after asking to become one.
  if (r >= 0 && address != nullptr)
    r = sd_bus_set_address(bus, address);
  if (r >= 0)
    r = sd_bus_set_bus_client(bus, 1);
  if (r >= 0)
    r = sd_bus_set_monitor(bus, 1);
  if (r >= 0)
    r = sd_bus_start(bus);
  const std::string rule = std::string("type='method_call',interface='") +
                           kFrontSwitchSignalInterface + "',member='" + kFrontApplicationMethod +
                           "'";
  sd_bus_error error = SD_BUS_ERROR_NULL;
  sd_bus_message* call = nullptr;
  if (r >= 0)
    r = sd_bus_message_new_method_call(bus, &call, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                       "org.freedesktop.DBus.Monitoring", "BecomeMonitor");
  if (r >= 0)
    r = sd_bus_message_append(call, "asu", 1, rule.c_str(), 0u);
  if (r >= 0)
    r = sd_bus_call(bus, call, 0, &error, nullptr);
  sd_bus_message_unref(call);
  if (r < 0) {
    error_ = std::string("cannot monitor the session bus: ") +
             (sd_bus_error_is_set(&error) ? error.message : std::strerror(-r));
    sd_bus_error_free(&error);
    sd_bus_unref(bus);
    return;
  }
  bus_ = bus;
}

FrontReportMonitor::~FrontReportMonitor() {
  sd_bus_close_unref(bus_);
}

void FrontReportMonitor::Take() {
  sd_bus_message* message = nullptr;
  while (sd_bus_process(bus_, &message) > 0) {
    const char* application = nullptr;
    int32_t pid = 0;
    if (message != nullptr &&
        sd_bus_message_is_method_call(message, kFrontSwitchSignalInterface,
                                      kFrontApplicationMethod) > 0 &&
        sd_bus_message_read(message, "si", &application, &pid) >= 0) {
      reports_.push_back({application, pid});
    }
    message = sd_bus_message_unref(message);
  }
}

std::vector<FrontReport> FrontReportMonitor::Await(size_t count) {
  const auto deadline = std::chrono::steady_clock::now() + kPatience;
  for (Take(); running() && reports_.size() < count; Take()) {
    const auto left = deadline - std::chrono::steady_clock::now();
    if (left <= decltype(left)::zero())
      break;
    sd_bus_wait(bus_, std::chrono::duration_cast<std::chrono::microseconds>(left).count());
  }
  return reports_;
}

}  // namespace qbfa_test
