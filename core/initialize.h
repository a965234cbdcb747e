// The plug-in's entry point, the one symbol its shared library exports.
#ifndef CORE_INITIALIZE_H_
#define CORE_INITIALIZE_H_

#include "platform/status.h"

// Start-up, called once by the loader on the main thread: reads the log
// switch, connects to the database, reads the set tree and closes the
// database again, logs how long the read took (with the log switch on), keeps
// the tree as the last known sets and publishes it. Returns the connect's
// status when that failed, else 0, also when nothing could be read or the
// publication failed.
extern "C" OSStatus QBFA_Initialize(void);

#endif  // CORE_INITIALIZE_H_
