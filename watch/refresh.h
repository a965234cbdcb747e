// Refresh on application switch: a changed database file marks the sets as
// stale, and the next front-application switch re-reads and republishes them.
//
// Both functions run on the main thread only, which is what keeps
// gShouldUpdateSets, gLastKnownSets and `db` consistent without a lock.
#ifndef WATCH_REFRESH_H_
#define WATCH_REFRESH_H_

#include "platform/events.h"

// The watcher's remote procedure. Marks the sets as stale and, until that has
// once succeeded, installs QBFA_FrontSwitchedHandler for front switches.
// Ignores `parameter`; returns null.
void* QBFA_CheckDatabaseForUpdatedSets(void* parameter);

// The front-application-switch handler. When the sets are stale: clears the
// mark, reads the sets afresh and, when they differ from the last known sets,
// makes them the last known sets and publishes them. Ignores its arguments
// and returns noErr on every path.
OSStatus QBFA_FrontSwitchedHandler(EventHandlerCallRef call, EventRef event, void* userData);

#endif  // WATCH_REFRESH_H_
