#include "bench/system_rig.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <stdexcept>

#include "bench/timed_process.h"
#include "host/front_switch_signal.h"
#include "state.h"
#include "tests/watch/watched_file.h"
#include "watch/broadcast.h"

namespace qbfa_bench {
namespace {

constexpr std::chrono::seconds kPatience(60);
const std::string kQbfa = QBFA_BINARY_DIR "/cli/qbfa";

void WriteInPlace(const std::string& path, std::string_view bytes) {
  const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  bool written = fd >= 0;
  while (written && !bytes.empty()) {
    const ssize_t step = write(fd, bytes.data(), bytes.size());
    written = step > 0;
    if (written)
      bytes.remove_prefix(static_cast<size_t>(step));
  }
  if (fd < 0 || close(fd) != 0 || !written)
    throw std::runtime_error("cannot write " + path);
}

}  // namespace

SystemRig::SystemRig(std::string_view library) {
  if (!bus_.running())
    throw std::runtime_error(bus_.error());
  database_ = home_.home() + "/Library/FontAgent Pro/FontAgent.db";
  std::filesystem::create_directories(std::filesystem::path(database_).parent_path());
  WriteInPlace(database_, library);
  RunToEnd({kQbfa, "defaults", "write", kQBBundleIdentifier, "Log Stuff", "-bool", "yes"});

  std::string error;
  listener_ = NotificationListener::Create(
      {kQBSetsUpdatedNotificationName, kQBFontCollectionChangedNotificationName}, &error);
  if (!listener_)
    throw std::runtime_error("cannot listen: " + error);
  PasteboardRef board = nullptr;
  if (PasteboardCreate(kQBSetsPasteboardName, &board) != noErr)
    throw std::runtime_error("cannot open the pasteboard");
  board_.reset(board);

  host_.emplace(kQbfa);
  AwaitPublication();
  if (!qbfa_test::WaitForInotifyWatches(host_->pid(), 1, kPatience))
    throw std::runtime_error("the host's watcher never registered the database");
}

Write SystemRig::WriteDatabase(std::string_view library) {
  struct stat before;
  if (stat(database_.c_str(), &before) != 0)
    throw std::runtime_error("cannot stat " + database_);
  qbfa_test::AwaitFileClockPast(home_.root(), before.st_mtim);
  const size_t from = host_->LineCount();
  Write write;
  write.began = Clock::now();
  WriteInPlace(database_, library);
  // A big file is written in many steps, and the watcher may see several
  // dates; the sets are read after the last one.
  const LoggedHost::Line dates =
      host_->Await(" vs " + qbfa_test::WatcherLoggedDate(database_), from);
  // The event is logged once the main thread has marked the sets stale.
  write.stale = host_->Await("[QB] \tident=", dates.index).at;
  return write;
}

Clock::time_point SystemRig::Switch() {
  const Clock::time_point sent = Clock::now();
  std::string error;
  if (!EmitFrontSwitchSignal(&error))
    throw std::runtime_error("cannot send a switch: " + error);
  return sent;
}

Clock::time_point SystemRig::AwaitPublication() {
  for (;;) {
    std::optional<DistributedNotification> next = listener_->Wait(kPatience);
    if (!next)
      throw std::runtime_error("no publication arrived");
    if (next->name == kQBFontCollectionChangedNotificationName)
      return Clock::now();
  }
}

cf::Data SystemRig::ReadPasteboard() {
  PasteboardSynchronize(board_.get());
  PasteboardItemID item = 0;
  cf::Data xml;
  if (PasteboardGetItemIdentifier(board_.get(), 1, &item) != noErr ||
      PasteboardCopyItemFlavorData(board_.get(), item, kQBSetTreeFlavorType, &xml) != noErr) {
    throw std::runtime_error("the pasteboard holds no publication");
  }
  return xml;
}

}  // namespace qbfa_bench
