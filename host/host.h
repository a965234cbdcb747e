// The host process: loads plug-ins and runs the main run loop for them.
#ifndef HOST_HOST_H_
#define HOST_HOST_H_

#include <string>
#include <vector>

// Starts the event sources, loads every plug-in of `plugins` (none: the one
// built with the project), calls each one's QBFA_Initialize on the main
// thread and logs a non-zero result, then runs the main run loop until a
// stop signal comes. Unloads the plug-ins before returning. Returns 0 after a
// clean stop, 1 when a plug-in or a required source could not be started
// (logged).
int RunHost(const std::vector<std::string>& plugins);

#endif  // HOST_HOST_H_
