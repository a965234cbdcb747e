#include "host/front_switch_signal.h"

#include <systemd/sd-bus.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "host/bus_error.h"

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
