#include "host/front_application_method.h"

#include <systemd/sd-bus.h>

#include <cstring>
#include <string_view>

#include "hookwright/hkwprintf.h"
#include "host/front_switch_signal.h"

FrontApplicationMethod::~FrontApplicationMethod() {
  sd_bus_slot_unref(slot_);
}

bool FrontApplicationMethod::Export(sd_bus* bus, std::string* error) {
  static const sd_bus_vtable kVtable[] = {
      SD_BUS_VTABLE_START(0),
      SD_BUS_METHOD_WITH_ARGS(kFrontApplicationMethod, SD_BUS_ARGS("s", application, "i", pid),
                              SD_BUS_NO_RESULT, &FrontApplicationMethod::Handle,
                              SD_BUS_VTABLE_UNPRIVILEGED),
      SD_BUS_VTABLE_END,
  };
  int r = sd_bus_add_object_vtable(bus, &slot_, kFrontSwitchSignalPath, kFrontSwitchSignalInterface,
                                   kVtable, this);
  if (r < 0) {
    *error = std::string("cannot offer ") + kFrontApplicationMethod +
             " on the session bus: " + std::strerror(-r);
    return false;
  }
  return true;
}

int FrontApplicationMethod::Handle(sd_bus_message* call, void* context, sd_bus_error* reply_error) {
  auto* self = static_cast<FrontApplicationMethod*>(context);
  const char* application = nullptr;
  int32_t pid = 0;
  // The bus library checks the text is UTF-8 as it reads it.
  std::string why;
  if (sd_bus_message_read(call, "si", &application, &pid) < 0)
    why = "the application is not UTF-8";
  else
    why = WhyRefused(application);
  if (!why.empty()) {
    if (!self->refusal_logged_) {
      self->refusal_logged_ = true;
      hkwprintf(
          "qbfa host: refused a front-application report from %s: %s (later refusals are "
          "not logged)\n",
          sd_bus_message_get_sender(call) ? sd_bus_message_get_sender(call) : "a peer", why);
    }
    return sd_bus_error_set(reply_error, SD_BUS_ERROR_INVALID_ARGS, why.c_str());
  }
  if (self->reports_.Take(application, pid))
    self->on_switch_();
  return sd_bus_reply_method_return(call, "");
}
