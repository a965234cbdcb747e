#include "cli/read_command.h"

#include <malloc.h>

#include <cstdio>
#include <filesystem>
#include <memory>

#include "core/connection.h"
#include "core/location.h"
#include "platform/folders.h"
#include "platform/xml.h"
#include "reader/set_reader.h"
#include "state.h"

namespace {

// Exit codes besides 0: the connect failed; the read gave nothing publishable.
constexpr int kConnectFailed = 2;
constexpr int kNothingToPublish = 3;

struct ReadOptions {
  bool log = false;
  std::string database;
};

// Makes the database search find `database` and nothing else, and keeps the
// connect from starting a watcher.
void AimSearchAt(const std::string& database) {
  std::error_code error;
  std::filesystem::path absolute = std::filesystem::absolute(database, error);
  SetLibraryFolderPlaces(LibraryFolderPlaces{});
  qbfa::SetFallbackDatabasePath(error ? database : absolute.string());
  qbfa::ReplaceWatcherStart([](const cf::URL*) { return noErr; });
}

void CloseDatabase() {
  if (db == nullptr)
    return;
  sqlite_close(db);
  db = nullptr;
}

int Read(const ReadOptions& options) {
  gLogStuff = options.log;
  AimSearchAt(options.database);
  if (QBFA_ConnectToDatabase() != noErr) {
    CloseDatabase();
    return kConnectFailed;
  }
  cf::Ref<cf::Array> sets = QBFA_CopyFontSets();
  CloseDatabase();
  // The engine's pages are free by now but lie among the tree's; hand them
  // back before the XML, as large as the tree, is written.
  malloc_trim(0);
  std::optional<cf::Data> xml = CFPropertyListCreateXMLData(sets.get());
  if (!xml)
    return kNothingToPublish;
  std::fwrite(xml->data(), 1, xml->size(), stdout);
  std::fflush(stdout);
  return 0;
}

}  // namespace

void RegisterReadCommand(CLI::App& app) {
  auto options = std::make_shared<ReadOptions>();
  CLI::App* read = app.add_subcommand(
      "read",
      "Read the font sets of a FontAgent Pro database as the plug-in does at start-up and print "
      "the XML property list it would publish (exit 2: cannot connect, 3: nothing to publish)");
  read->add_flag("--log", options->log, "Turn the plug-in's log switch on (log goes to stderr)");
  read->add_option("DB", options->database, "The database file")->required();
  read->callback([options] {
    int status = Read(*options);
    if (status != 0)
      throw CLI::RuntimeError(status);
  });
}
