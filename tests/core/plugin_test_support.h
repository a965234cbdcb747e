// What the plug-in's tests share: a private set of places for the database
// search, a recorder for the watcher start, and the captured log.
#ifndef TESTS_CORE_PLUGIN_TEST_SUPPORT_H_
#define TESTS_CORE_PLUGIN_TEST_SUPPORT_H_

#include <string>
#include <vector>

#include "hookwright/log.h"
#include "platform/status.h"
#include "tests/support/temporary_home.h"

namespace qbfa_test {

// Collects everything logged while it lives.
class CapturedLog {
 public:
  CapturedLog();
  CapturedLog(const CapturedLog&) = delete;
  CapturedLog& operator=(const CapturedLog&) = delete;
  ~CapturedLog();

  // The text logged since the last call.
  std::string Take();

 private:
  std::string text_;
  hookwright::LogSink previous_;
};

enum class Place { kLocal, kUser, kFallback };

// The three places the database is searched, moved into a temporary tree
// while it lives: the local Library folder, the user's (in a temporary
// $HOME), and the fallback path. Both Library folders exist; the database is
// nowhere until PutDatabase puts it somewhere. Also turns the log switch off
// and closes `db` at both ends, and replaces the watcher start with one that
// records its calls and returns `watcher_status`.
class SearchPlaces {
 public:
  SearchPlaces();
  SearchPlaces(const SearchPlaces&) = delete;
  SearchPlaces& operator=(const SearchPlaces&) = delete;
  ~SearchPlaces();

  // Where the database goes at `place`.
  std::string DatabasePath(Place place) const;
  // The file URL text of that path, as the log prints it.
  std::string DatabaseURL(Place place) const;
  // Copies `source` (a fixture name such as "basic", or an absolute path) to
  // `place`, creating folders; returns the database's path.
  std::string PutDatabase(Place place, const std::string& source = "basic");

  // Puts the database in a local Library folder whose path is longer than
  // the 1024 bytes a connect has room for; returns the line a connect logs.
  std::string PutDatabaseBeyondPathLimit();
  // Points a Library folder at a path that may or may not exist.
  void MoveLibraryFolder(Place place, const std::string& folder);
  const std::string& local_library() const { return local_library_; }
  const std::string& user_library() const { return user_library_; }
  const std::string& root() const { return home_.root(); }

  OSStatus watcher_status = noErr;
  // The paths the watcher start was asked to watch, in order.
  std::vector<std::string> watcher_calls;

 private:
  void ApplyPlaces();

  TemporaryHome home_;
  std::string local_library_;
  std::string user_library_;
  std::string fallback_;
};

// The absolute path of a fixture database, "basic" -> ".../basic.db".
std::string FixturePath(const std::string& name);

// Closes `db` if it is open.
void CloseDatabase();

}  // namespace qbfa_test

#endif  // TESTS_CORE_PLUGIN_TEST_SUPPORT_H_
