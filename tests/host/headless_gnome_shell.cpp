#include "tests/host/headless_gnome_shell.h"

#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string_view>
#include <thread>

#include "host/program_path.h"
#include "tests/support/environment.h"
#include "tests/support/file_text.h"

namespace qbfa_test {
namespace {

namespace fs = std::filesystem;

// The shell needs a few seconds on a loaded machine with no GPU; this long
// means it never comes.
constexpr auto kPatience = std::chrono::seconds(60);
constexpr char kStarted[] = "GNOME Shell started at";

constexpr char kShell[] = "org.gnome.Shell";
constexpr char kShellPath[] = "/org/gnome/Shell";
constexpr char kRemoteDesktop[] = "org.gnome.Mutter.RemoteDesktop";
constexpr uint32_t kAltKeysym = 0xffe9;  // Alt_L
constexpr uint32_t kTabKeysym = 0xff09;

// A bus of its own as the system bus, listening on `socket`: the shell
// leaves at once without one, and needs nothing on it.
std::string SystemBusConfiguration(const std::string& socket) {
  return "<busconfig>\n"
         "  <type>system</type>\n"
         "  <listen>unix:path=" +
         socket +
         "</listen>\n"
         "  <auth>EXTERNAL</auth>\n"
         "  <policy context=\"default\">\n"
         "    <allow send_destination=\"*\"/><allow receive_sender=\"*\"/><allow own=\"*\"/>\n"
         "  </policy>\n"
         "</busconfig>\n";
}

// The user's settings, in the file GSETTINGS_BACKEND=keyfile reads. Alt+Tab
// goes through windows rather than applications, so that a test can move
// between two windows of one application as between two applications.
std::string Settings(const GnomeShellSetup& setup) {
  const std::string enabled = setup.enabled && !setup.extension.empty()
                                  ? "['" + fs::path(setup.extension).filename().string() + "']"
                                  : "@as []";
  return "[org/gnome/shell]\n"
         "disable-user-extensions=false\n"
         "enabled-extensions=" +
         enabled +
         "\n\n"
         "[org/gnome/desktop/wm/keybindings]\n"
         "switch-windows=['<Alt>Tab']\n"
         "switch-applications=@as []\n";
}

template <typename Ready>
bool AwaitWithPatience(Ready ready) {
  const auto deadline = std::chrono::steady_clock::now() + kPatience;
  while (!ready()) {
    if (std::chrono::steady_clock::now() > deadline)
      return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  return true;
}

// Reads an a{sv} dictionary at `message`'s position: `read(key)` finds the
// message at the entry's variant, and returns false when it leaves it
// unread. Leaves the message past the dictionary.
template <typename Read>
void ReadDictionary(sd_bus_message* message, Read read) {
  if (sd_bus_message_enter_container(message, SD_BUS_TYPE_ARRAY, "{sv}") <= 0)
    return;
  while (sd_bus_message_enter_container(message, SD_BUS_TYPE_DICT_ENTRY, "sv") > 0) {
    const char* key = nullptr;
    if (sd_bus_message_read(message, "s", &key) < 0 || !read(std::string_view(key)))
      sd_bus_message_skip(message, "v");
    sd_bus_message_exit_container(message);
  }
  sd_bus_message_exit_container(message);
}

// The variant at `message`'s position, of the basic type `type`.
template <typename Value>
bool ReadVariant(sd_bus_message* message, char type, Value* value) {
  const char contents[] = {type, '\0'};
  if (sd_bus_message_enter_container(message, SD_BUS_TYPE_VARIANT, contents) <= 0)
    return false;
  bool read = sd_bus_message_read_basic(message, type, value) >= 0;
  sd_bus_message_exit_container(message);
  return read;
}

}  // namespace

std::string WhyGnomeShellCannotRun() {
  for (const char* program : {"gnome-shell", "gjs", "dbus-daemon"}) {
    if (ProgramOnPath(program).empty())
      return std::string(program) + " is not installed (scripts/install-deps.sh installs it)";
  }
  return "";
}

HeadlessGnomeShell::HeadlessGnomeShell(const GnomeShellSetup& setup) {
  if (!Start(setup) || !StartKeyboard())
    display_.clear();
}

HeadlessGnomeShell::~HeadlessGnomeShell() {
  sd_bus_flush_close_unref(bus_);
}

bool HeadlessGnomeShell::Start(const GnomeShellSetup& setup) {
  const std::string& directory = server_.directory();
  if (directory.empty())
    return Failed("cannot make the shell's runtime directory");
  const std::string home = directory + "/home";
  const std::string data = home + "/.local/share";
  const std::string configuration = home + "/.config";
  std::error_code failed;
  fs::create_directories(configuration + "/glib-2.0/settings", failed);
  fs::create_directories(data + "/applications", failed);
  if (!setup.extension.empty()) {
    const fs::path installed =
        data + "/gnome-shell/extensions/" + fs::path(setup.extension).filename().string();
    fs::create_directories(installed, failed);
    fs::copy(setup.extension, installed, fs::copy_options::recursive, failed);
  }
  if (failed)
    return Failed("cannot lay out the shell's home: " + failed.message());
  std::ofstream(configuration + "/glib-2.0/settings/keyfile") << Settings(setup);
  for (const std::string& application : setup.applications) {
    std::ofstream(data + "/applications/" + application + ".desktop")
        << "[Desktop Entry]\nType=Application\nName=" << application << "\nExec=true\n";
  }

  const std::string system_configuration = directory + "/system-bus.conf";
  std::ofstream(system_configuration) << SystemBusConfiguration(directory + "/system_bus_socket");
  system_bus_.emplace(std::vector<std::string>{ProgramOnPath("dbus-daemon"),
                                               "--config-file=" + system_configuration,
                                               "--print-address", "--nofork"});
  if (!system_bus_->WaitForOutput("unix:"))
    return Failed("the system bus did not start: " + system_bus_->err());
  const std::string system_address = system_bus_->out().substr(0, system_bus_->out().find('\n'));

  const char* session_address = std::getenv("DBUS_SESSION_BUS_ADDRESS");
  if (session_address == nullptr)
    return Failed("the shell needs the test's session bus: DBUS_SESSION_BUS_ADDRESS is not set");
  session_ = {
      {"HOME", home},          {"XDG_RUNTIME_DIR", directory},   {"XDG_CONFIG_HOME", configuration},
      {"XDG_DATA_HOME", data}, {"GSETTINGS_BACKEND", "keyfile"},
  };
  const char* path = std::getenv("PATH");
  std::vector<std::string> environment = {
      std::string("PATH=") + (path != nullptr ? path : "/usr/bin:/bin"),
      std::string("DBUS_SESSION_BUS_ADDRESS=") + session_address,
      "DBUS_SYSTEM_BUS_ADDRESS=" + system_address,
  };
  for (const auto& [name, value] : session_)
    environment.push_back(name + "=" + value);
  log_ = directory + "/gnome-shell.log";
  server_.Start([&] {
    return ExecServer(log_,
                      {"gnome-shell", "--headless", "--virtual-monitor", "1280x720", "--wayland",
                       "--no-x11", "--unsafe-mode"},
                      environment);
  });

  bool ended = false;
  if (!AwaitWithPatience(
          [&] { return (ended = server_.Ended()) || Log().find(kStarted) != std::string::npos; }) ||
      ended) {
    return Failed(ended ? "GNOME Shell ended at start-up" : "GNOME Shell did not come up");
  }
  display_ = directory + "/wayland-0";

  if (int r = sd_bus_open_user(&bus_); r < 0)
    return Failed("cannot connect to the session bus: " + std::string(std::strerror(-r)));
  // The shell starts in the overview, where a new window does not get the
  // focus; a user leaves it to work.
  if (!SetOverviewActive(false))
    return false;
  if (setup.enabled && !setup.extension.empty())
    return AwaitExtensionState(fs::path(setup.extension).filename(), true);
  return true;
}

bool HeadlessGnomeShell::StartKeyboard() {
  sd_bus_error error = SD_BUS_ERROR_NULL;
  sd_bus_message* reply = nullptr;
  const char* session = nullptr;
  if (sd_bus_call_method(bus_, kRemoteDesktop, "/org/gnome/Mutter/RemoteDesktop", kRemoteDesktop,
                         "CreateSession", &error, &reply, "") < 0 ||
      sd_bus_message_read(reply, "o", &session) < 0) {
    sd_bus_message_unref(reply);
    return Failed("cannot make a remote desktop session", &error);
  }
  keyboard_session_ = session;
  sd_bus_message_unref(reply);
  if (sd_bus_call_method(bus_, kRemoteDesktop, keyboard_session_.c_str(),
                         "org.gnome.Mutter.RemoteDesktop.Session", "Start", &error, nullptr,
                         "") < 0) {
    return Failed("cannot start the remote desktop session", &error);
  }
  return true;
}

std::map<std::string, std::optional<std::string>> HeadlessGnomeShell::SessionEnvironment() const {
  std::map<std::string, std::optional<std::string>> environment(session_.begin(), session_.end());
  environment["WAYLAND_DISPLAY"] = display_;
  return environment;
}

std::string HeadlessGnomeShell::Log() const {
  return FileText(log_);
}

std::optional<double> HeadlessGnomeShell::ExtensionState(const std::string& uuid) {
  sd_bus_message* reply = nullptr;
  if (sd_bus_call_method(bus_, kShell, kShellPath, "org.gnome.Shell.Extensions", "GetExtensionInfo",
                         nullptr, &reply, "s", uuid.c_str()) < 0) {
    return std::nullopt;
  }
  std::optional<double> state;
  ReadDictionary(reply, [&](std::string_view key) {
    double value = 0;
    if (key != "state" || !ReadVariant(reply, 'd', &value))
      return false;
    state = value;
    return true;
  });
  sd_bus_message_unref(reply);
  return state;
}

bool HeadlessGnomeShell::SetExtensionEnabled(const std::string& uuid, bool enabled) {
  sd_bus_error error = SD_BUS_ERROR_NULL;
  if (sd_bus_call_method(bus_, kShell, kShellPath, "org.gnome.Shell.Extensions",
                         enabled ? "EnableExtension" : "DisableExtension", &error, nullptr, "s",
                         uuid.c_str()) < 0) {
    return Failed("cannot change whether " + uuid + " is enabled", &error);
  }
  return AwaitExtensionState(uuid, enabled);
}

// The shell changes the setting and acts on it when it reads it back.
bool HeadlessGnomeShell::AwaitExtensionState(const std::string& uuid, bool enabled) {
  const double wanted = enabled ? 1 : 2;
  if (!AwaitWithPatience([&] { return ExtensionState(uuid) == wanted; }))
    return Failed(std::string("the shell did not ") + (enabled ? "enable " : "disable ") + uuid);
  return true;
}

bool HeadlessGnomeShell::Key(uint32_t keysym, bool pressed) {
  sd_bus_error error = SD_BUS_ERROR_NULL;
  if (sd_bus_call_method(bus_, kRemoteDesktop, keyboard_session_.c_str(),
                         "org.gnome.Mutter.RemoteDesktop.Session", "NotifyKeyboardKeysym", &error,
                         nullptr, "ub", keysym, pressed) < 0) {
    return Failed("cannot type on the shell's keyboard", &error);
  }
  return true;
}

bool HeadlessGnomeShell::SetOverviewActive(bool active) {
  sd_bus_error error = SD_BUS_ERROR_NULL;
  if (sd_bus_set_property(bus_, kShell, kShellPath, kShell, "OverviewActive", &error, "b",
                          static_cast<int>(active)) < 0) {
    return Failed(active ? "cannot open the overview" : "cannot leave the overview", &error);
  }
  return true;
}

bool HeadlessGnomeShell::AltTab(int times) {
  if (!Key(kAltKeysym, true))
    return false;
  for (int tab = 0; tab < times; ++tab) {
    if (!Key(kTabKeysym, true) || !Key(kTabKeysym, false))
      return false;
  }
  return Key(kAltKeysym, false);
}

std::optional<std::string> HeadlessGnomeShell::FocusedTitle() {
  sd_bus_message* reply = nullptr;
  if (sd_bus_call_method(bus_, kShell, "/org/gnome/Shell/Introspect", "org.gnome.Shell.Introspect",
                         "GetWindows", nullptr, &reply, "") < 0) {
    return "(the shell does not say which window has the focus)";
  }
  std::optional<std::string> focused;
  sd_bus_message_enter_container(reply, SD_BUS_TYPE_ARRAY, "{ta{sv}}");
  while (sd_bus_message_enter_container(reply, SD_BUS_TYPE_DICT_ENTRY, "ta{sv}") > 0) {
    uint64_t window = 0;
    int has_focus = 0;
    const char* title = "";
    sd_bus_message_read(reply, "t", &window);
    ReadDictionary(reply, [&](std::string_view key) {
      return (key == "has-focus" && ReadVariant(reply, 'b', &has_focus)) ||
             (key == "title" && ReadVariant(reply, 's', &title));
    });
    if (has_focus)
      focused = title;
    sd_bus_message_exit_container(reply);
  }
  sd_bus_message_unref(reply);
  return focused;
}

bool HeadlessGnomeShell::AwaitFocus(const std::optional<std::string>& title) {
  if (!AwaitWithPatience([&] { return FocusedTitle() == title; })) {
    return Failed(title ? "the window titled '" + *title + "' did not get the focus"
                        : "a window kept the focus");
  }
  return true;
}

bool HeadlessGnomeShell::Failed(const std::string& what, const sd_bus_error* bus_error) {
  error_ = what;
  if (bus_error != nullptr && sd_bus_error_is_set(bus_error))
    error_ += std::string(" (") + bus_error->name + ": " + bus_error->message + ")";
  error_ += "\nGNOME Shell's log:\n" + Log();
  return false;
}

}  // namespace qbfa_test
