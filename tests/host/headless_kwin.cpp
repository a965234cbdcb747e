#include "tests/host/headless_kwin.h"

#include <signal.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <thread>

#include "host/program_path.h"
#include "tests/support/file_text.h"

namespace qbfa_test {
namespace {

namespace fs = std::filesystem;

// Long enough for a loaded machine; only ever reached when something is wrong.
constexpr std::chrono::seconds kPatience(60);
constexpr std::chrono::milliseconds kPollInterval(20);

// Scripts say what they saw with print(), which KWin writes to its log as
// "js: " and the text; ours start the text with this.
constexpr char kPrinted[] = "js: qbfa-test: ";

// How KWin logs an exception a script raised, or code it could not compile.
constexpr char kScriptError[] = "kwin_scripting: ";

// Runs for as long as KWin does, naming each window it gets; the line it
// prints at once tells that KWin is up and runs scripts.
constexpr char kWindowWatcher[] = R"(
workspace.clientAdded.connect(function (window) { print("qbfa-test: window " + window.caption); });
print("qbfa-test: ready");
)";

// `text` as a JavaScript string literal.
std::string JsString(const std::string& text) {
  std::string literal = "\"";
  for (char c : text) {
    if (c == '"' || c == '\\')
      literal += '\\';
    literal += c;
  }
  return literal + "\"";
}

std::string BusError(const std::string& what, const sd_bus_error& error, int r) {
  return what + ": " + (error.message != nullptr ? error.message : std::strerror(-r));
}

}  // namespace

std::string WhyKWinCannotRun() {
  for (const char* program : {"kwin_wayland", "qmlscene", "wev", "kwriteconfig5"}) {
    if (ProgramOnPath(program).empty())
      return std::string(program) + " is not installed (scripts/install-deps.sh installs it)";
  }
  return "";
}

HeadlessKWin::HeadlessKWin(const std::vector<std::string>& packages) {
  const std::string& directory = server_.directory();
  if (directory.empty()) {
    error_ = "cannot make KWin's runtime directory";
    return;
  }
  const char* bus_address = std::getenv("DBUS_SESSION_BUS_ADDRESS");
  if (bus_address == nullptr) {
    error_ = "KWin needs a session bus, and DBUS_SESSION_BUS_ADDRESS is not set";
    return;
  }
  int r = sd_bus_open_user(&bus_);
  if (r < 0) {
    error_ = std::string("cannot connect to the session bus: ") + std::strerror(-r);
    return;
  }
  home_ = directory + "/home";
  fs::create_directories(home_ + "/.config");
  fs::create_directories(home_ + "/.local/share");
  for (const std::string& package : packages) {
    if (!InstallPackage(package))
      return;
  }

  // /usr/bin/kwin_wayland carries a file capability, which a container
  // without it refuses to run; a copy drops it. Its name stays, as KWin's Qt
  // platform plug-in is found by the program's name.
  const std::string program = directory + "/kwin_wayland";
  std::error_code copy_error;
  fs::copy_file(ProgramOnPath("kwin_wayland"), program, copy_error);
  if (copy_error) {
    error_ = "cannot copy kwin_wayland: " + copy_error.message();
    return;
  }

  const std::string log = directory + "/kwin.log";
  const char* path = std::getenv("PATH");
  std::vector<std::string> environment = {
      std::string("PATH=") + (path != nullptr ? path : "/usr/bin:/bin"),
      std::string("DBUS_SESSION_BUS_ADDRESS=") + bus_address,
  };
  for (const char* name : {"HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_RUNTIME_DIR"})
    environment.push_back(name + ("=" + *SessionEnvironment().at(name)));
  server_.Start([&] {
    return ExecServer(log,
                      {program, "--virtual", "--width", "1024", "--height", "768", "--socket",
                       "wayland-0", "--no-lockscreen", "--no-global-shortcuts", "--no-kactivities"},
                      environment);
  });

  // KWin takes scripts once it is on the bus.
  const auto deadline = std::chrono::steady_clock::now() + kPatience;
  while (!RunScript(kWindowWatcher)) {
    if (server_.Ended()) {
      error_ = "KWin ended at start-up:\n" + Log();
      return;
    }
    if (std::chrono::steady_clock::now() > deadline) {
      error_ = "KWin did not come up: " + error_ + "\n" + Log();
      return;
    }
    std::this_thread::sleep_for(kPollInterval);
  }
  if (AwaitPrinted("ready"))
    display_ = directory + "/wayland-0";
}

HeadlessKWin::~HeadlessKWin() {
  sd_bus_flush_close_unref(bus_);
}

HeadlessKWin::Environment HeadlessKWin::SessionEnvironment() const {
  return {
      {"HOME", home_},
      {"XDG_CONFIG_HOME", home_ + "/.config"},
      {"XDG_DATA_HOME", home_ + "/.local/share"},
      {"XDG_RUNTIME_DIR", server_.directory()},
      {"WAYLAND_DISPLAY", display_},
      {"QT_QPA_PLATFORM", "wayland"},
      {"DISPLAY", std::nullopt},
  };
}

bool HeadlessKWin::InstallPackage(const std::string& folder) {
  // A copy, not a link: KWin does not find packages behind symbolic links.
  const fs::path scripts = home_ + "/.local/share/kwin/scripts";
  std::error_code failed;
  fs::create_directories(scripts, failed);
  if (!failed)
    fs::copy(folder, scripts / fs::path(folder).filename(), fs::copy_options::recursive, failed);
  if (failed)
    error_ = "cannot install " + folder + ": " + failed.message();
  return !failed;
}

bool HeadlessKWin::IsScriptLoaded(const std::string& name) {
  sd_bus_error error = SD_BUS_ERROR_NULL;
  sd_bus_message* reply = nullptr;
  int loaded = 0;
  int r = sd_bus_call_method(bus_, "org.kde.KWin", "/Scripting", "org.kde.kwin.Scripting",
                             "isScriptLoaded", &error, &reply, "s", name.c_str());
  if (r >= 0)
    r = sd_bus_message_read(reply, "b", &loaded);
  if (r < 0)
    error_ = BusError("isScriptLoaded", error, r);
  sd_bus_error_free(&error);
  sd_bus_message_unref(reply);
  return r >= 0 && loaded != 0;
}

bool HeadlessKWin::AwaitScriptLoaded(const std::string& name, bool loaded) {
  const auto deadline = std::chrono::steady_clock::now() + kPatience;
  while (IsScriptLoaded(name) != loaded) {
    if (std::chrono::steady_clock::now() > deadline) {
      error_ = "the script " + name + (loaded ? " never loaded" : " never unloaded") + "\n" + Log();
      return false;
    }
    std::this_thread::sleep_for(kPollInterval);
  }
  return true;
}

std::unique_ptr<BackgroundProcess> HeadlessKWin::StartApplication(
    const std::vector<std::string>& argv, const std::vector<std::string>& titles) {
  std::vector<std::string> resolved = argv;
  resolved[0] = ProgramOnPath(argv[0]);
  auto application = std::make_unique<BackgroundProcess>(resolved, SessionEnvironment());
  for (const std::string& title : titles) {
    if (!AwaitPrinted("window " + title, [&] { return application->Running(); })) {
      error_ = argv[0] + " showed no window " + title + ":\n" + application->err() + "\n" + Log();
      return nullptr;
    }
  }
  return application;
}

std::vector<std::string> HeadlessKWin::QmlWindows(const std::vector<std::string>& titles) {
  // The first window holds the others, each a window of its own: one
  // declared inside another would otherwise be its transient, as a dialog is
  // to its main window.
  std::string qml = "import QtQuick 2.0\nimport QtQuick.Window 2.13\n";
  for (size_t i = 0; i < titles.size(); ++i) {
    qml += "Window { title: " + JsString(titles[i]) + "; width: 200; height: 150; visible: true";
    qml += i == 0 ? "\n" : "; transientParent: null }\n";
  }
  qml += "}\n";
  const std::string file = server_.directory() + "/windows" + std::to_string(++made_) + ".qml";
  std::ofstream(file) << qml;
  return {"qmlscene", file};
}

bool HeadlessKWin::Focus(const std::string& title) {
  const std::string wanted = JsString(title);
  const std::optional<int> script = RunScript(
      "workspace.clientList().forEach(function (window) {\n"
      "  if (window.caption === " +
      wanted +
      ")\n"
      "    workspace.activeClient = window;\n"
      "});\n"
      "var active = workspace.activeClient;\n"
      "print(\"qbfa-test: focus \" + script + \": \" + (active ? active.caption : \"no "
      "window\"));\n");
  return script && AwaitPrinted("focus " + std::to_string(*script) + ": " + title);
}

bool HeadlessKWin::Flush(const std::string& service) {
  const std::optional<int> script = RunScript(
      "callDBus(" + JsString(service) +
      ", \"/\", \"org.freedesktop.DBus.Peer\", \"Ping\",\n"
      "         function () { print(\"qbfa-test: flush \" + script + \" answered\"); });\n");
  return script && AwaitPrinted("flush " + std::to_string(*script) + " answered");
}

std::optional<int> HeadlessKWin::RunScript(const std::string& code) {
  const int number = ++made_;
  const std::string name = "qbfa-test-" + std::to_string(number);
  const std::string file = server_.directory() + "/" + name + ".js";
  // Its number, for what it prints.
  std::ofstream(file) << "var script = " << number << ";\n" << code;
  sd_bus_error error = SD_BUS_ERROR_NULL;
  // A name is loaded once; start() runs every script loaded and not running.
  int r = sd_bus_call_method(bus_, "org.kde.KWin", "/Scripting", "org.kde.kwin.Scripting",
                             "loadScript", &error, nullptr, "ss", file.c_str(), name.c_str());
  if (r >= 0)
    r = sd_bus_call_method(bus_, "org.kde.KWin", "/Scripting", "org.kde.kwin.Scripting", "start",
                           &error, nullptr, "");
  if (r < 0)
    error_ = BusError("KWin did not take the script " + name, error, r);
  sd_bus_error_free(&error);
  if (r < 0)
    return std::nullopt;
  return number;
}

bool HeadlessKWin::AwaitPrinted(const std::string& line, const std::function<bool()>& worth_it) {
  const std::string printed = std::string("\n") + kPrinted + line + "\n";
  const auto deadline = std::chrono::steady_clock::now() + kPatience;
  while (Log().find(printed) == std::string::npos) {
    if (server_.Ended() || (worth_it && !worth_it()) ||
        std::chrono::steady_clock::now() > deadline) {
      error_ = "no script printed \"" + line + "\"; KWin's log:\n" + Log();
      return false;
    }
    std::this_thread::sleep_for(kPollInterval);
  }
  return true;
}

std::string HeadlessKWin::ScriptErrors() const {
  std::istringstream log(Log());
  std::string errors;
  for (std::string line; std::getline(log, line);) {
    if (line.starts_with(kScriptError))
      errors += line + "\n";
  }
  return errors;
}

std::string HeadlessKWin::Log() const {
  return FileText(server_.directory() + "/kwin.log");
}

}  // namespace qbfa_test
