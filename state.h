// The plug-in's module-wide state, shared by core/, reader/, watch/ and diag/.
//
// Everything here except gLogStuff is touched on the main thread only; that
// rule, not a lock, keeps it consistent.
#ifndef STATE_H_
#define STATE_H_

#include <atomic>

#include "sqlite2/sqlite.h"

// The one connection to the font manager's database; null while closed. It is
// open only for the length of a read.
extern sqlite* db;

// The "Log Stuff" preference: turns the optional log lines and CFShow output
// on. Atomic because the watcher thread reads it too.
extern std::atomic<bool> gLogStuff;

#endif  // STATE_H_
