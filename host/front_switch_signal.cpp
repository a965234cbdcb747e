#include "host/front_switch_signal.h"

#include <systemd/sd-bus.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "hookwright/hkwprintf.h"

namespace {

// A bus that takes longer than this to confirm a subscription is not working.
constexpr uint64_t kCallTimeoutUsec = 5'000'000;

std::string BusError(const char* what, int r) {
  return std::string(what) + ": " + std::strerror(-r);
}

}  // namespace

bool SessionBusConfigured() {
  const char* address = std::getenv("DBUS_SESSION_BUS_ADDRESS");
  if (address != nullptr && *address != '\0')
    return true;
  const char* runtime = std::getenv("XDG_RUNTIME_DIR");
  return runtime != nullptr && *runtime != '\0' &&
         access((std::string(runtime) + "/bus").c_str(), F_OK) == 0;
}

bool EmitFrontSwitchSignal(std::string* error) {
  sd_bus* bus = nullptr;
  int r = sd_bus_open_user(&bus);
  if (r < 0) {
    *error = BusError("cannot connect to the session bus", r);
    return false;
  }
  r = sd_bus_emit_signal(bus, kFrontSwitchSignalPath, kFrontSwitchSignalInterface,
                         kFrontSwitchSignalMember, nullptr);
  if (r >= 0)
    r = sd_bus_flush(bus);
  sd_bus_flush_close_unref(bus);
  if (r < 0) {
    *error = BusError("cannot send on the session bus", r);
    return false;
  }
  return true;
}

std::unique_ptr<FrontSwitchSignalSource> FrontSwitchSignalSource::Start(
    hookwright::RunLoop& loop, std::function<void()> on_switch, std::string* error) {
  sd_bus* bus = nullptr;
  int r = sd_bus_open_user(&bus);
  if (r < 0) {
    *error = BusError("cannot connect to the session bus", r);
    return nullptr;
  }
  std::unique_ptr<FrontSwitchSignalSource> source(
      new FrontSwitchSignalSource(loop, bus, std::move(on_switch)));
  sd_bus_set_method_call_timeout(bus, kCallTimeoutUsec);
  const std::string rule = std::string("type='signal',path='") + kFrontSwitchSignalPath +
                           "',interface='" + kFrontSwitchSignalInterface + "',member='" +
                           kFrontSwitchSignalMember + "'";
  // Synchronous: signals sent once this returns are delivered to us.
  r = sd_bus_add_match(
      bus, nullptr, rule.c_str(),
      [](sd_bus_message*, void* context, sd_bus_error*) {
        static_cast<FrontSwitchSignalSource*>(context)->on_switch_();
        return 0;
      },
      source.get());
  if (r < 0) {
    *error = BusError("cannot subscribe on the session bus", r);
    return nullptr;
  }
  FrontSwitchSignalSource* self = source.get();
  if (!source->watch_.Start(sd_bus_get_fd(bus), [self] { self->Process(); })) {
    *error = "cannot watch the session bus connection";
    return nullptr;
  }
  return source;
}

FrontSwitchSignalSource::FrontSwitchSignalSource(hookwright::RunLoop& loop, sd_bus* bus,
                                                 std::function<void()> on_switch)
    : bus_(bus), on_switch_(std::move(on_switch)), watch_(loop) {}

FrontSwitchSignalSource::~FrontSwitchSignalSource() {
  watch_.Stop();
  sd_bus_close_unref(bus_);
}

void FrontSwitchSignalSource::Process() {
  int r;
  while ((r = sd_bus_process(bus_, nullptr)) > 0) {
  }
  if (r < 0) {
    hkwprintf("qbfa host: lost the session bus (%s); qbfa switch no longer reaches this host\n",
              std::strerror(-r));
    watch_.Stop();
    return;
  }
  // The bus asks for EPOLLOUT only while it has something left to send.
  int wanted = sd_bus_get_events(bus_);
  if (wanted > 0)
    watch_.WaitFor(static_cast<uint32_t>(wanted));
}
