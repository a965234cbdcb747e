// Opening the font manager's database into `db`.
#ifndef CORE_CONNECTION_H_
#define CORE_CONNECTION_H_

#include <functional>

#include "platform/status.h"
#include "platform/values.h"

// The plug-in's own status for a database that could not be opened.
constexpr OSStatus kQBFACannotOpenDatabaseErr = -802;

// Finds the database, opens it into `db` (overwriting the handle without
// closing it) and, until that has once succeeded, starts the file watcher.
// Returns the search's status, kQBFACannotOpenDatabaseErr, or the watcher's
// failure; see the outcome table in the tests. Logs every failure.
OSStatus QBFA_ConnectToDatabase();

namespace qbfa {

// Starts watching the database file at a URL; 0 when the watcher runs.
using WatcherStart = std::function<OSStatus(const cf::URL* url)>;

// Replaces the watcher start that a connect makes (tests, and `qbfa read`,
// which must not watch anything); an empty function restores the real one,
// QBFA_RegisterKQueueForFile. Returns the replacement set before.
WatcherStart ReplaceWatcherStart(WatcherStart start);

}  // namespace qbfa

#endif  // CORE_CONNECTION_H_
