#include "cli/read_command.h"

#include <malloc.h>

#include <cstdio>
#include <filesystem>
#include <memory>

#include "core/set_read.h"
#include "platform/xml.h"

namespace {

// Exit codes besides 0: the connect failed; the read gave nothing publishable.
constexpr int kConnectFailed = 2;
constexpr int kNothingToPublish = 3;

struct ReadOptions {
  bool log = false;
  std::string database;
};

int Read(const ReadOptions& options) {
  std::error_code error;
  std::filesystem::path absolute = std::filesystem::absolute(options.database, error);
  const qbfa::DatabaseSource given =
      qbfa::GivenDatabase(error ? options.database : absolute.string());
  qbfa::SetReadPlan plan;
  plan.source = &given;
  plan.log_switch = options.log;
  qbfa::SetRead read = qbfa::ReadFontSets(plan);
  if (read.status != noErr)
    return kConnectFailed;
  cf::Ref<cf::Array> sets = std::move(read.sets);
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
