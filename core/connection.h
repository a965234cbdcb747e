// Opening the font manager's database into `db`.
#ifndef CORE_CONNECTION_H_
#define CORE_CONNECTION_H_

#include <functional>
#include <string>

#include "platform/status.h"
#include "platform/values.h"

// The plug-in's own status for a database that could not be opened.
constexpr OSStatus kQBFACannotOpenDatabaseErr = -802;

namespace qbfa {

// Where a connect finds the database, and whether it watches it.
struct DatabaseSource {
  // Finds the file: writes `url` when it does; the status as the search's.
  std::function<OSStatus(cf::Ref<cf::URL>* url)> locate;
  // Starts watching the file; 0 when the watcher runs. Empty: nothing is
  // watched, and the located status stands.
  std::function<OSStatus(const cf::URL* url)> watch;
};

// The plug-in's own: the search of the Library folders and the fallback
// path, and the file watcher.
const DatabaseSource& SearchedDatabase();

// One given file, searched nowhere else and not watched (`qbfa read`).
DatabaseSource GivenDatabase(std::string path);

// Finds the database through `source`, opens it into `db` (overwriting the
// handle without closing it) and, until that has once succeeded in this
// process, starts the source's watcher. Returns the search's status,
// kQBFACannotOpenDatabaseErr, or the watcher's failure; see the outcome table
// in the tests. Logs every failure.
OSStatus ConnectToDatabase(const DatabaseSource& source);

// Starts watching the database file at a URL; 0 when the watcher runs.
using WatcherStart = std::function<OSStatus(const cf::URL* url)>;

// Replaces the watcher start of SearchedDatabase() (tests of the plug-in's
// entry point, which has no other way in); an empty function restores the
// real one, QBFA_RegisterKQueueForFile. Returns the replacement set before.
WatcherStart ReplaceWatcherStart(WatcherStart start);

}  // namespace qbfa

// ConnectToDatabase(SearchedDatabase()): the connect of the plug-in's start-up,
// of the readers and of the refresh.
OSStatus QBFA_ConnectToDatabase();

#endif  // CORE_CONNECTION_H_
