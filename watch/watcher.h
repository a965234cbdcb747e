// The database file watcher.
#ifndef WATCH_WATCHER_H_
#define WATCH_WATCHER_H_

#include "platform/status.h"
#include "platform/values.h"

// Starts the task that watches the database file at `url` (borrowed; no
// reference is kept). 0 when the task runs, else a non-zero status.
OSStatus QBFA_RegisterKQueueForFile(const cf::URL* url);

#endif  // WATCH_WATCHER_H_
