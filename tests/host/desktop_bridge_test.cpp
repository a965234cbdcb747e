// What the host makes of the answers GNOME Shell and KWin give about its
// bridges, from stand-ins that own their names on a private session bus and
// answer as those desktops do.
#include "host/desktop_bridge.h"

#include <gtest/gtest.h>
#include <systemd/sd-bus.h>

#include <functional>
#include <string>
#include <thread>

#include "tests/support/session_bus.h"

namespace {

// Answers one method on a connection of its own, on a thread of its own.
class StandIn {
 public:
  using Answer = std::function<int(sd_bus_message* call)>;

  StandIn(const char* name, const char* path, const char* interface, const char* member,
          const char* result, Answer answer)
      : answer_(std::move(answer)) {
    sd_bus_open_user(&bus_);
    vtable_[0] = SD_BUS_VTABLE_START(0);
    vtable_[1] = SD_BUS_METHOD(member, "s", result, &StandIn::Handle, 0);
    vtable_[2] = SD_BUS_VTABLE_END;
    sd_bus_add_object_vtable(bus_, nullptr, path, interface, vtable_, this);
    sd_bus_request_name(bus_, name, 0);
    thread_ = std::thread([this] {
      while (!done_) {
        if (sd_bus_process(bus_, nullptr) == 0)
          sd_bus_wait(bus_, 50'000);
      }
    });
  }
  ~StandIn() {
    done_ = true;
    thread_.join();
    sd_bus_flush_close_unref(bus_);
  }

 private:
  static int Handle(sd_bus_message* call, void* context, sd_bus_error*) {
    return static_cast<StandIn*>(context)->answer_(call);
  }

  Answer answer_;
  sd_bus* bus_ = nullptr;
  sd_bus_vtable vtable_[3];
  std::atomic<bool> done_ = false;
  std::thread thread_;
};

// GetExtensionInfo's answer: `fields` appends the a{sv}'s entries.
StandIn::Answer ExtensionInfo(std::function<void(sd_bus_message*)> fields) {
  return [fields](sd_bus_message* call) {
    sd_bus_message* reply = nullptr;
    sd_bus_message_new_method_return(call, &reply);
    sd_bus_message_open_container(reply, 'a', "{sv}");
    fields(reply);
    sd_bus_message_close_container(reply);
    int r = sd_bus_send(nullptr, reply, nullptr);
    sd_bus_message_unref(reply);
    return r;
  };
}

void Field(sd_bus_message* reply, const char* key, const char* type, auto value) {
  sd_bus_message_append(reply, "{sv}", key, type, value);
}

StandIn::Answer ScriptLoaded(bool loaded) {
  return [loaded](sd_bus_message* call) { return sd_bus_reply_method_return(call, "b", loaded); };
}

StandIn::Answer Refusal() {
  return [](sd_bus_message* call) {
    return sd_bus_reply_method_errorf(call, SD_BUS_ERROR_ACCESS_DENIED, "not for you");
  };
}

struct Case {
  const char* what;
  const DesktopBridge* bridge;
  StandIn::Answer answer;  // null: the desktop is not on the bus
  BridgeStatus::State state;
  std::string why;
};

TEST(DesktopBridge, TellsRunningFromNotRunningAndSaysWhy) {
  qbfa_test::PrivateSessionBus session;
  ASSERT_TRUE(session.running()) << session.error();
  const Case cases[] = {
      {"GNOME Shell absent", &kGnomeShellBridge, nullptr, BridgeStatus::kNoDesktop, ""},
      {"extension enabled", &kGnomeShellBridge, ExtensionInfo([](sd_bus_message* r) {
         Field(r, "uuid", "s", kGnomeShellExtensionUuid);
         Field(r, "state", "d", 1.0);
         Field(r, "error", "s", "");
       }),
       BridgeStatus::kRunning, ""},
      {"extension unknown to the shell", &kGnomeShellBridge, ExtensionInfo([](sd_bus_message*) {}),
       BridgeStatus::kNotRunning, "it is not installed"},
      {"extension disabled", &kGnomeShellBridge, ExtensionInfo([](sd_bus_message* r) {
         Field(r, "hasPrefs", "b", 0);
         Field(r, "state", "d", 2.0);
       }),
       BridgeStatus::kNotRunning, "it is not enabled"},
      {"extension installed, never enabled", &kGnomeShellBridge,
       ExtensionInfo([](sd_bus_message* r) { Field(r, "state", "d", 6.0); }),
       BridgeStatus::kNotRunning, "it is not enabled"},
      {"extension failed", &kGnomeShellBridge, ExtensionInfo([](sd_bus_message* r) {
         Field(r, "error", "s", "SyntaxError: missing ;");
         Field(r, "state", "d", 3.0);
       }),
       BridgeStatus::kNotRunning, "it failed: SyntaxError: missing ;"},
      {"extension of another shell version", &kGnomeShellBridge,
       ExtensionInfo([](sd_bus_message* r) { Field(r, "state", "d", 4.0); }),
       BridgeStatus::kNotRunning, "it is out of date"},
      {"a state of the wrong type", &kGnomeShellBridge,
       ExtensionInfo([](sd_bus_message* r) { Field(r, "state", "s", "enabled"); }),
       BridgeStatus::kNotRunning, "it is not installed"},
      {"a shell that refuses", &kGnomeShellBridge, Refusal(), BridgeStatus::kNotRunning,
       "it did not say whether it does: not for you"},
      {"KWin absent", &kKWinBridge, nullptr, BridgeStatus::kNoDesktop, ""},
      {"script loaded", &kKWinBridge, ScriptLoaded(true), BridgeStatus::kRunning, ""},
      {"script not loaded", &kKWinBridge, ScriptLoaded(false), BridgeStatus::kNotRunning,
       "it is not loaded"},
      {"a KWin that refuses", &kKWinBridge, Refusal(), BridgeStatus::kNotRunning,
       "it did not say whether it does: not for you"},
  };
  sd_bus* bus = nullptr;
  ASSERT_GE(sd_bus_open_user(&bus), 0);
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    std::unique_ptr<StandIn> desktop;
    if (c.answer && c.bridge == &kGnomeShellBridge) {
      desktop = std::make_unique<StandIn>("org.gnome.Shell", "/org/gnome/Shell",
                                          "org.gnome.Shell.Extensions", "GetExtensionInfo", "a{sv}",
                                          c.answer);
    } else if (c.answer) {
      desktop = std::make_unique<StandIn>("org.kde.KWin", "/Scripting", "org.kde.kwin.Scripting",
                                          "isScriptLoaded", "b", c.answer);
    }
    const BridgeStatus status = c.bridge->ask(bus);
    EXPECT_EQ(status.state, c.state);
    EXPECT_EQ(status.why, c.why);
  }
  sd_bus_flush_close_unref(bus);
}

TEST(DesktopBridge, TheWarningGivesTheCommandThatEnablesTheBridge) {
  const BridgeStatus off{BridgeStatus::kNotRunning, "it is not enabled"};
  EXPECT_EQ(
      BridgeWarning(kGnomeShellBridge, off),
      "GNOME Shell runs without qbfa's GNOME Shell extension (it is not enabled), so switches "
      "between its windows do not reach this host; enable it with `gnome-extensions enable "
      "qbfa-front-switch@quillbox.com`");
  EXPECT_NE(BridgeWarning(kKWinBridge, off)
                .find("--file kwinrc --group Plugins --key qbfa-front-switchEnabled true && "
                      "dbus-send --session --type=method_call --dest=org.kde.KWin /KWin "
                      "org.kde.KWin.reconfigure`"),
            std::string::npos);
}

}  // namespace
