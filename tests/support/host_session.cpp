#include "tests/support/host_session.h"

#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "state.h"
#include "tests/support/background_process.h"
#include "tests/support/watched_file.h"

namespace qbfa_test {
namespace {

constexpr std::chrono::seconds kPatience(60);

}  // namespace

HostSession::HostSession(std::string qbfa, std::string_view library) : qbfa_(std::move(qbfa)) {
  if (!bus_.running())
    throw std::runtime_error(bus_.error());
  database_ = home_.home() + "/Library/FontAgent Pro/FontAgent.db";
  std::filesystem::create_directories(std::filesystem::path(database_).parent_path());
  std::ofstream file(database_, std::ios::binary);
  if (!file.write(library.data(), static_cast<std::streamsize>(library.size())) || !file.flush())
    throw std::runtime_error("cannot write " + database_);

  BackgroundProcess logging(
      {qbfa_, "defaults", "write", kQBBundleIdentifier, "Log Stuff", "-bool", "yes"});
  if (logging.Wait() != 0)
    throw std::runtime_error("cannot turn the log switch on: " + logging.err());
}

LoggedHost& HostSession::StartHost() {
  host_.emplace(qbfa_);
  host_->Await("[QB] Notified!", 0);
  if (!WaitForInotifyWatches(host_->pid(), 1, kPatience))
    throw std::runtime_error("the host's watcher never registered the database");
  return *host_;
}

}  // namespace qbfa_test
