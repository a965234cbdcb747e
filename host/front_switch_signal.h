// Front-application switches announced on the session bus, by `qbfa switch`:
// a trigger for scripts, tests and machines without a display.
//
// The announcement is a broadcast signal without arguments:
//   path       /com/quillbox/Host
//   interface  com.quillbox.Host
//   member     FrontApplicationSwitched
// Every host of the session subscribes to it (host/session_bus_source.h) and
// treats it as a switch of the front application. The path and interface are
// those of the host's own object on the bus.
#ifndef HOST_FRONT_SWITCH_SIGNAL_H_
#define HOST_FRONT_SWITCH_SIGNAL_H_

#include <string>

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

#endif  // HOST_FRONT_SWITCH_SIGNAL_H_
