// The host's D-Bus method for desktop bridges, on the host's object:
//   path       /com/quillbox/Host
//   interface  com.quillbox.Host
//   method     ReportFrontApplication(s application, i pid) -> ()
// `application` is the focused window's app id or window class, `pid` its
// process (0 when unknown). Arguments of other types get the bus's
// InvalidArgs error; an identity the host refuses gets InvalidArgs saying why.
#ifndef HOST_FRONT_APPLICATION_METHOD_H_
#define HOST_FRONT_APPLICATION_METHOD_H_

#include <systemd/sd-bus.h>

#include <functional>
#include <string>

#include "host/front_application_report.h"

constexpr char kFrontApplicationMethod[] = "ReportFrontApplication";

class FrontApplicationMethod {
 public:
  // `on_switch` runs for each report that switches the front application,
  // on the thread that processes the bus.
  explicit FrontApplicationMethod(std::function<void()> on_switch)
      : on_switch_(std::move(on_switch)) {}
  FrontApplicationMethod(const FrontApplicationMethod&) = delete;
  FrontApplicationMethod& operator=(const FrontApplicationMethod&) = delete;
  ~FrontApplicationMethod();

  // Offers the method on `bus`; false, with `error` set, when it cannot.
  bool Export(sd_bus* bus, std::string* error);

 private:
  static int Handle(sd_bus_message* call, void* context, sd_bus_error* reply_error);

  std::function<void()> on_switch_;
  FrontApplicationReports reports_;
  // A caller that sends bad reports sends them in a stream; one line says so.
  bool refusal_logged_ = false;
  sd_bus_slot* slot_ = nullptr;
};

#endif  // HOST_FRONT_APPLICATION_METHOD_H_
