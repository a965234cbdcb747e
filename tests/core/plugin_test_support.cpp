#include "tests/core/plugin_test_support.h"

#include <filesystem>

#include "core/connection.h"
#include "core/location.h"
#include "platform/folders.h"
#include "state.h"

namespace qbfa_test {

namespace fs = std::filesystem;

CapturedLog::CapturedLog()
    : previous_(hookwright::SetLogSink([this](std::string_view bytes) { text_ += bytes; })) {}

CapturedLog::~CapturedLog() {
  hookwright::SetLogSink(previous_);
}

std::string CapturedLog::Take() {
  return std::exchange(text_, std::string());
}

std::string FixturePath(const std::string& name) {
  return fs::weakly_canonical(fs::path(QBFA_FIXTURES_DIR) / (name + ".db")).string();
}

void CloseDatabase() {
  if (db != nullptr)
    sqlite_close(db);
  db = nullptr;
}

SearchPlaces::SearchPlaces()
    : local_library_(home_.root() + "/Library"),
      user_library_(home_.home() + "/Library"),
      fallback_(home_.root() + "/Users/Shared/Library/FontAgent Pro/FontAgent.db") {
  fs::create_directories(local_library_);
  fs::create_directories(user_library_);
  ApplyPlaces();
  qbfa::SetFallbackDatabasePath(fallback_);
  qbfa::ReplaceWatcherStart([this](const cf::URL* url) {
    watcher_calls.push_back(url != nullptr ? url->path() : "(null)");
    return watcher_status;
  });
  gLogStuff = false;
  CloseDatabase();
}

SearchPlaces::~SearchPlaces() {
  CloseDatabase();
  gLogStuff = false;
  qbfa::ReplaceWatcherStart(nullptr);
  qbfa::SetFallbackDatabasePath("/Users/Shared/Library/FontAgent Pro/FontAgent.db");
  SetLibraryFolderPlaces(std::nullopt);
}

std::string SearchPlaces::PutDatabaseBeyondPathLimit() {
  std::string deep = root();
  while (deep.size() <= 1024)
    deep += "/" + std::string(100, 'd');
  MoveLibraryFolder(Place::kLocal, deep);
  fs::create_directories(deep);
  PutDatabase(Place::kLocal);
  return "[QB] Cannot get path for " + DatabaseURL(Place::kLocal) + "\n";
}

void SearchPlaces::ApplyPlaces() {
  SetLibraryFolderPlaces(LibraryFolderPlaces{local_library_, user_library_});
}

std::string SearchPlaces::DatabasePath(Place place) const {
  switch (place) {
    case Place::kLocal:
      return local_library_ + "/FontAgent Pro/FontAgent.db";
    case Place::kUser:
      return user_library_ + "/FontAgent Pro/FontAgent.db";
    case Place::kFallback:
      break;
  }
  return fallback_;
}

std::string SearchPlaces::DatabaseURL(Place place) const {
  return cf::URL::CreateWithFileSystemPath(DatabasePath(place))->AbsoluteString();
}

std::string SearchPlaces::PutDatabase(Place place, const std::string& source) {
  std::string path = DatabasePath(place);
  fs::create_directories(fs::path(path).parent_path());
  fs::copy_file(source.starts_with("/") ? source : FixturePath(source), path,
                fs::copy_options::overwrite_existing);
  // Fixtures are read-only; tests may want to change their copy.
  fs::permissions(path, fs::perms::owner_read | fs::perms::owner_write, fs::perm_options::add);
  return path;
}

void SearchPlaces::MoveLibraryFolder(Place place, const std::string& folder) {
  (place == Place::kLocal ? local_library_ : user_library_) = folder;
  ApplyPlaces();
}

}  // namespace qbfa_test
