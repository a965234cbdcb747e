#include "core/connection.h"

#include "core/location.h"
#include "hookwright/hkwprintf.h"
#include "platform/description.h"
#include "platform/file_urls.h"
#include "state.h"
#include "watch/watcher.h"

namespace {

qbfa::WatcherStart& WatcherStartReplacement() {
  static qbfa::WatcherStart start;
  return start;
}

OSStatus StartWatcher(const cf::URL* url) {
  if (const auto& start = WatcherStartReplacement())
    return start(url);
  return QBFA_RegisterKQueueForFile(url);
}

}  // namespace

namespace qbfa {

const DatabaseSource& SearchedDatabase() {
  static const DatabaseSource searched{.locate = QBFA_CopyFinalFilePath, .watch = StartWatcher};
  return searched;
}

DatabaseSource GivenDatabase(std::string path) {
  DatabaseSource given;
  given.locate = [path = std::move(path)](cf::Ref<cf::URL>* url) {
    return CopyGivenFilePath(path, url);
  };
  return given;
}

WatcherStart ReplaceWatcherStart(WatcherStart start) {
  std::swap(WatcherStartReplacement(), start);
  return start;
}

OSStatus ConnectToDatabase(const DatabaseSource& source) {
  // One watcher per process: set once a start has succeeded, never reset.
  static bool installedEvent = false;

  cf::Ref<cf::URL> url;
  OSStatus status = source.locate(&url);
  if (!url) {
    hkwprintf("[QB] Cannot find FontAgent Pro database\n");
    return status;
  }
  uint8_t path[1024];
  if (!CFURLGetFileSystemRepresentation(url.get(), false, path, sizeof path)) {
    hkwprintf("[QB] Cannot get path for %@\n", url);
    return status;
  }
  const char* pathText = reinterpret_cast<const char*>(path);
  char* errorText = nullptr;
  db = sqlite_open(pathText, 0, &errorText);
  if (errorText != nullptr) {
    status = kQBFACannotOpenDatabaseErr;
    hkwprintf("[QB] Unable to open database \"%s\": %s\n", pathText, errorText);
    sqlite_freemem(errorText);
  } else if (db != nullptr && !installedEvent && source.watch) {
    status = source.watch(url.get());
    if (status != noErr) {
      hkwprintf(
          "[QB] Could not create thread to check for kqueue events (that means I won't know if "
          "font sets were updated. Error %d occurred.\n",
          status);
    } else {
      installedEvent = true;
    }
  }
  return status;
}

}  // namespace qbfa

OSStatus QBFA_ConnectToDatabase() {
  return qbfa::ConnectToDatabase(qbfa::SearchedDatabase());
}
