// The plug-in's module-wide state, shared by core/, reader/, watch/ and diag/.
//
// Everything here except gLogStuff is touched on the main thread only; that
// rule, not a lock, keeps it consistent.
#ifndef STATE_H_
#define STATE_H_

#include <atomic>

#include "platform/values.h"
#include "sqlite2/sqlite.h"

// The one connection to the font manager's database; null while closed. It is
// open only for the length of a read.
extern sqlite* db;

// The "Log Stuff" preference: turns the optional log lines and CFShow output
// on. Atomic because the watcher thread reads it too.
extern std::atomic<bool> gLogStuff;

// The host product's reverse-DNS bundle identifier, fixed when the plug-in is
// built. The "Log Stuff" preference is read in its domain, and the names every
// listener knows are formed from it.
extern const char kQBBundleIdentifier[];
// The named pasteboard the set tree is published on: kQBBundleIdentifier
// followed by ".pasteboard.fap".
extern const char kQBSetsPasteboardName[];
// The notification that announces a publication: kQBBundleIdentifier followed
// by ".fontsetsupdated.fap".
extern const char kQBSetsUpdatedNotificationName[];

// The set tree last handed to the broadcast, null until the first one; a
// refresh publishes only a tree that differs from it.
extern cf::Ref<cf::Array> gLastKnownSets;

// The database file changed since the last refresh, so the next front switch
// re-reads the sets. Set through the watcher's remote call and cleared by the
// switch handler, both on the main thread.
extern bool gShouldUpdateSets;

#endif  // STATE_H_
