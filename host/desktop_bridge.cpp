#include "host/desktop_bridge.h"

#include <systemd/sd-bus.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string_view>

#include "host/program_path.h"

namespace {

// A desktop that is busy starting answers late; one that answers later than
// this is not waited for at the host's start.
constexpr uint64_t kAskTimeoutUsec = 5'000'000;

// Calls `member` on a desktop without starting it: a desktop that is not
// running is no fault. The reply, or null with `status` saying why.
sd_bus_message* AskDesktop(sd_bus* bus, const char* destination, const char* path,
                           const char* interface, const char* member, const char* argument,
                           BridgeStatus* status) {
  sd_bus_message* call = nullptr;
  sd_bus_message* reply = nullptr;
  sd_bus_error error = SD_BUS_ERROR_NULL;
  int r = sd_bus_message_new_method_call(bus, &call, destination, path, interface, member);
  if (r >= 0)
    r = sd_bus_message_set_auto_start(call, 0);
  if (r >= 0)
    r = sd_bus_message_append(call, "s", argument);
  if (r >= 0)
    r = sd_bus_call(bus, call, kAskTimeoutUsec, &error, &reply);
  sd_bus_message_unref(call);
  if (r < 0) {
    if (sd_bus_error_has_names(&error, SD_BUS_ERROR_SERVICE_UNKNOWN,
                               SD_BUS_ERROR_NAME_HAS_NO_OWNER)) {
      status->state = BridgeStatus::kNoDesktop;
    } else {
      status->state = BridgeStatus::kNotRunning;
      status->why = std::string("it did not say whether it does: ") +
                    (sd_bus_error_is_set(&error) ? error.message : std::strerror(-r));
    }
    sd_bus_error_free(&error);
    return nullptr;
  }
  return reply;
}

// GNOME Shell's ExtensionState values the host tells apart.
std::string ExtensionStateText(double state, const std::string& error) {
  // A freshly installed extension the user has not enabled yet is
  // "initialized" (6); one the user turned off, "disabled" (2).
  if (state == 2 || state == 6)
    return "it is not enabled";
  if (state == 3)
    return "it failed: " + error;
  if (state == 4)
    return "it is out of date";
  return "its state is " + std::to_string(static_cast<int>(state));
}

// GetExtensionInfo answers an a{sv} of the extension's fields; an empty one
// for an extension the shell does not know.
BridgeStatus AskGnomeShell(sd_bus* bus) {
  BridgeStatus status;
  sd_bus_message* reply =
      AskDesktop(bus, "org.gnome.Shell", "/org/gnome/Shell", "org.gnome.Shell.Extensions",
                 "GetExtensionInfo", kGnomeShellExtensionUuid, &status);
  if (reply == nullptr)
    return status;
  bool known = false;
  double state = 0;
  std::string error;
  int r = sd_bus_message_enter_container(reply, 'a', "{sv}");
  while (r > 0 && (r = sd_bus_message_enter_container(reply, 'e', "sv")) > 0) {
    const char* key = nullptr;
    r = sd_bus_message_read(reply, "s", &key);
    const char* text = nullptr;
    if (r >= 0 && std::strcmp(key, "state") == 0) {
      r = sd_bus_message_read(reply, "v", "d", &state);
      known = r >= 0;
    } else if (r >= 0 && std::strcmp(key, "error") == 0 &&
               sd_bus_message_read(reply, "v", "s", &text) >= 0) {
      error = text;
    } else if (r >= 0) {
      r = sd_bus_message_skip(reply, "v");
    }
    if (r >= 0)
      r = sd_bus_message_exit_container(reply);
  }
  sd_bus_message_unref(reply);
  if (known && state == 1) {
    status.state = BridgeStatus::kRunning;
  } else {
    status.state = BridgeStatus::kNotRunning;
    status.why = known ? ExtensionStateText(state, error) : "it is not installed";
  }
  return status;
}

BridgeStatus AskKWin(sd_bus* bus) {
  BridgeStatus status;
  sd_bus_message* reply = AskDesktop(bus, "org.kde.KWin", "/Scripting", "org.kde.kwin.Scripting",
                                     "isScriptLoaded", kKWinScriptName, &status);
  if (reply == nullptr)
    return status;
  int loaded = 0;
  int r = sd_bus_message_read(reply, "b", &loaded);
  sd_bus_message_unref(reply);
  status.state = r >= 0 && loaded ? BridgeStatus::kRunning : BridgeStatus::kNotRunning;
  if (status.state == BridgeStatus::kNotRunning)
    status.why = "it is not loaded";
  return status;
}

std::string GnomeShellEnableCommand() {
  return std::string("gnome-extensions enable ") + kGnomeShellExtensionUuid;
}

// Plasma 6 renamed the configuration tool; the one on the user's path is the
// one that matches the running KWin.
std::string KWinEnableCommand() {
  const char* tool = !ProgramOnPath("kwriteconfig6").empty() ? "kwriteconfig6" : "kwriteconfig5";
  return std::string(tool) + " --file kwinrc --group Plugins --key " + kKWinScriptName +
         "Enabled true && dbus-send --session --type=method_call --dest=org.kde.KWin /KWin "
         "org.kde.KWin.reconfigure";
}

}  // namespace

const DesktopBridge kGnomeShellBridge = {
    .desktop = "GNOME Shell",
    .bridge = "GNOME Shell extension",
    .ask = AskGnomeShell,
    .enable_command = GnomeShellEnableCommand,
};

const DesktopBridge kKWinBridge = {
    .desktop = "KWin",
    .bridge = "KWin script",
    .ask = AskKWin,
    .enable_command = KWinEnableCommand,
};

std::string BridgeWarning(const DesktopBridge& bridge, const BridgeStatus& status) {
  return std::string(bridge.desktop) + " runs without qbfa's " + bridge.bridge + " (" + status.why +
         "), so switches between its windows do not reach this host; enable it with `" +
         bridge.enable_command() + "`";
}
