#include "tests/host/bridge_client.h"

#include <atomic>
#include <vector>

#include "host/front_application_method.h"
#include "host/front_switch_signal.h"
#include "host/session_bus_source.h"

namespace qbfa_test {

namespace {

// Long enough for a loaded machine; only a host that stopped answering waits.
constexpr uint64_t kCallTimeoutUsec = 60'000'000;

}  // namespace

BridgeClient::BridgeClient() {
  if (sd_bus_open_user(&bus_) < 0)
    bus_ = nullptr;
}

BridgeClient::~BridgeClient() {
  sd_bus_flush_close_unref(bus_);
}

sd_bus_message* BridgeClient::NewCall() {
  sd_bus_message* call = nullptr;
  sd_bus_message_new_method_call(bus_, &call, kHostBusName, kFrontSwitchSignalPath,
                                 kFrontSwitchSignalInterface, kFrontApplicationMethod);
  return call;
}

std::string BridgeClient::Call(const std::function<int(sd_bus_message*)>& append) {
  sd_bus_message* call = NewCall();
  if (int r = append(call); r < 0) {
    sd_bus_message_unref(call);
    return "cannot append the arguments: " + std::to_string(r);
  }
  sd_bus_error error = SD_BUS_ERROR_NULL;
  sd_bus_message* reply = nullptr;
  int r = sd_bus_call(bus_, call, kCallTimeoutUsec, &error, &reply);
  std::string answer;
  if (r < 0) {
    answer = std::string(error.name ? error.name : "(no error name)") + ": " +
             (error.message ? error.message : "");
  }
  sd_bus_error_free(&error);
  sd_bus_message_unref(reply);
  sd_bus_message_unref(call);
  return answer;
}

std::string BridgeClient::Report(const std::string& application, int32_t pid) {
  return Call([&](sd_bus_message* call) {
    return sd_bus_message_append(call, "si", application.c_str(), pid);
  });
}

int BridgeClient::Burst(int count, const std::function<std::string(int)>& application) {
  struct Outstanding {
    int pending = 0;
    int failed = 0;
  } outstanding{count, 0};
  for (int i = 0; i < count; ++i) {
    sd_bus_message* call = NewCall();
    sd_bus_message_append(call, "si", application(i).c_str(), int32_t{1000 + i});
    sd_bus_call_async(
        bus_, nullptr, call,
        [](sd_bus_message* reply, void* context, sd_bus_error*) {
          auto* o = static_cast<Outstanding*>(context);
          if (sd_bus_message_is_method_error(reply, nullptr))
            ++o->failed;
          --o->pending;
          return 0;
        },
        &outstanding, kCallTimeoutUsec);
    sd_bus_message_unref(call);
  }
  while (outstanding.pending > 0) {
    if (sd_bus_process(bus_, nullptr) == 0 && sd_bus_wait(bus_, kCallTimeoutUsec) <= 0)
      break;
  }
  return outstanding.failed + outstanding.pending;
}

}  // namespace qbfa_test
