#include "host/session_bus_source.h"

#include <systemd/sd-bus.h>

#include <cstring>

#include "hookwright/hkwprintf.h"
#include "host/bus_error.h"
#include "host/front_switch_signal.h"

namespace {

// A bus that takes longer than this to confirm a subscription is not working.
constexpr uint64_t kCallTimeoutUsec = 5'000'000;

}  // namespace

std::unique_ptr<SessionBusSource> SessionBusSource::Start(hookwright::RunLoop& loop,
                                                          Handlers handlers, std::string* error) {
  sd_bus* bus = nullptr;
  int r = sd_bus_open_user(&bus);
  if (r < 0) {
    *error = BusError("cannot connect to the session bus", r);
    return nullptr;
  }
  std::unique_ptr<SessionBusSource> source(new SessionBusSource(loop, bus, std::move(handlers)));
  sd_bus_set_method_call_timeout(bus, kCallTimeoutUsec);
  const std::string rule = std::string("type='signal',path='") + kFrontSwitchSignalPath +
                           "',interface='" + kFrontSwitchSignalInterface + "',member='" +
                           kFrontSwitchSignalMember + "'";
  // Synchronous: signals sent once this returns are delivered to us.
  r = sd_bus_add_match(
      bus, nullptr, rule.c_str(),
      [](sd_bus_message*, void* context, sd_bus_error*) {
        static_cast<SessionBusSource*>(context)->handlers_.on_switch_signal();
        return 0;
      },
      source.get());
  if (r < 0) {
    *error = BusError("cannot subscribe on the session bus", r);
    return nullptr;
  }
  if (!source->method_.Export(bus, error))
    return nullptr;
  // Synchronous too: once the name is ours, a bridge's call finds the method.
  r = sd_bus_request_name(bus, kHostBusName, SD_BUS_NAME_QUEUE);
  if (r < 0) {
    *error = BusError("cannot ask for the name com.quillbox.Host on the session bus", r);
    return nullptr;
  }
  source->queued_for_name_ = r == 0;
  SessionBusSource* self = source.get();
  if (!source->watch_.Start(sd_bus_get_fd(bus), [self] { self->Process(); })) {
    *error = "cannot watch the session bus connection";
    return nullptr;
  }
  return source;
}

SessionBusSource::SessionBusSource(hookwright::RunLoop& loop, sd_bus* bus, Handlers handlers)
    : bus_(bus),
      handlers_(std::move(handlers)),
      method_([this] { handlers_.on_reported_switch(); }),
      watch_(loop) {}

SessionBusSource::~SessionBusSource() {
  watch_.Stop();
  sd_bus_close_unref(bus_);
}

void SessionBusSource::Process() {
  int r;
  while ((r = sd_bus_process(bus_, nullptr)) > 0) {
  }
  if (r < 0) {
    hkwprintf(
        "qbfa host: lost the session bus (%s); qbfa switch and desktop bridges no longer reach "
        "this host\n",
        std::strerror(-r));
    watch_.Stop();
    return;
  }
  // The bus asks for EPOLLOUT only while it has something left to send.
  int wanted = sd_bus_get_events(bus_);
  if (wanted > 0)
    watch_.WaitFor(static_cast<uint32_t>(wanted));
}
