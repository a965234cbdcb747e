// The desktops whose compositors tell no ordinary client which window is
// active (GNOME Shell, KWin on Wayland), and the bridges qbfa ships for them:
// a script inside the compositor that calls the host's ReportFrontApplication
// method. At start-up the host asks each desktop on the session bus whether
// it runs the bridge, so that a user who has not enabled it learns how.
#ifndef HOST_DESKTOP_BRIDGE_H_
#define HOST_DESKTOP_BRIDGE_H_

#include <string>

struct sd_bus;

constexpr char kGnomeShellExtensionUuid[] = "qbfa-front-switch@quillbox.com";
constexpr char kKWinScriptName[] = "qbfa-front-switch";

struct BridgeStatus {
  enum State {
    kNoDesktop,  // the desktop is not on the bus
    kRunning,
    kNotRunning,  // `why` says how it stands
  } state = kNoDesktop;
  std::string why;
};

struct DesktopBridge {
  // The desktop as the host's log names it ("GNOME Shell").
  const char* desktop;
  // The bridge as the start-up line names it among its sources.
  const char* bridge;
  // Asks the desktop on `bus` whether it runs the bridge.
  BridgeStatus (*ask)(sd_bus* bus);
  // The command a user runs to enable the bridge.
  std::string (*enable_command)();
};

extern const DesktopBridge kGnomeShellBridge;
extern const DesktopBridge kKWinBridge;

// The host's warning for a desktop that does not run its bridge, without the
// "qbfa host: warning: " lead.
std::string BridgeWarning(const DesktopBridge& bridge, const BridgeStatus& status);

#endif  // HOST_DESKTOP_BRIDGE_H_
