// A desktop bridge's side of the host's ReportFrontApplication method, for
// tests: a session bus connection of its own that calls the method.
#ifndef TESTS_HOST_BRIDGE_CLIENT_H_
#define TESTS_HOST_BRIDGE_CLIENT_H_

#include <systemd/sd-bus.h>

#include <cstdint>
#include <functional>
#include <string>

namespace qbfa_test {

class BridgeClient {
 public:
  // Connects to the session bus DBUS_SESSION_BUS_ADDRESS names.
  BridgeClient();
  BridgeClient(const BridgeClient&) = delete;
  BridgeClient& operator=(const BridgeClient&) = delete;
  ~BridgeClient();
  bool connected() const { return bus_ != nullptr; }

  // Calls the method with the arguments `append` adds, and waits for the
  // answer: empty for a plain return, else the D-Bus error's name and
  // message, "name: message".
  std::string Call(const std::function<int(sd_bus_message*)>& append);
  std::string Report(const std::string& application, int32_t pid);

  // Sends `count` reports of `application(i)` without waiting in between,
  // then waits for every answer; how many were not answered with a plain
  // return.
  int Burst(int count, const std::function<std::string(int)>& application);

 private:
  sd_bus_message* NewCall();

  sd_bus* bus_ = nullptr;
};

}  // namespace qbfa_test

#endif  // TESTS_HOST_BRIDGE_CLIENT_H_
