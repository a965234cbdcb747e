// Front-application switches announced on the session bus, by `qbfa switch`:
// a trigger for scripts, tests and machines without a display.
//
// The announcement is a broadcast signal without arguments:
//   path       /com/quillbox/Host
//   interface  com.quillbox.Host
//   member     FrontApplicationSwitched
// Every host of the session subscribes to it and treats it as a switch of
// the front application.
#ifndef HOST_FRONT_SWITCH_SIGNAL_H_
#define HOST_FRONT_SWITCH_SIGNAL_H_

#include <functional>
#include <memory>
#include <string>

#include "hookwright/run_loop.h"
#include "host/connection_watch.h"

struct sd_bus;

constexpr char kFrontSwitchSignalPath[] = "/com/quillbox/Host";
constexpr char kFrontSwitchSignalInterface[] = "com.quillbox.Host";
constexpr char kFrontSwitchSignalMember[] = "FrontApplicationSwitched";

// Whether this session names a bus at all: DBUS_SESSION_BUS_ADDRESS is set,
// or the runtime folder holds the bus socket. Without one nobody can send a
// switch, which is no fault.
bool SessionBusConfigured();

// Sends the signal and waits until it has left this process. False, with
// `error` set, when the session bus cannot be reached.
bool EmitFrontSwitchSignal(std::string* error);

class FrontSwitchSignalSource {
 public:
  // Subscribes on the session bus and calls `on_switch` on `loop`'s thread
  // for every signal sent from then on. A bus that goes away ends the watch
  // (logged). Null, with `error` set, when the bus cannot be reached.
  static std::unique_ptr<FrontSwitchSignalSource> Start(hookwright::RunLoop& loop,
                                                        std::function<void()> on_switch,
                                                        std::string* error);

  FrontSwitchSignalSource(const FrontSwitchSignalSource&) = delete;
  FrontSwitchSignalSource& operator=(const FrontSwitchSignalSource&) = delete;
  // Stops watching and disconnects. Call on the loop's thread.
  ~FrontSwitchSignalSource();

 private:
  FrontSwitchSignalSource(hookwright::RunLoop& loop, sd_bus* bus, std::function<void()> on_switch);

  // Handles what the bus has for us; keeps the watch on what it waits for.
  void Process();

  sd_bus* bus_;
  std::function<void()> on_switch_;
  ConnectionWatch watch_;
};

#endif  // HOST_FRONT_SWITCH_SIGNAL_H_
