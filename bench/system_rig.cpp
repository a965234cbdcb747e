#include "bench/system_rig.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <stdexcept>

#include "host/front_switch_signal.h"
#include "state.h"
#include "tests/support/watched_file.h"
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

SystemRig::SystemRig(std::string_view library) : session_(kQbfa, library) {
  std::string error;
  listener_ = NotificationListener::Create(
      {kQBSetsUpdatedNotificationName, kQBFontCollectionChangedNotificationName}, &error);
  if (!listener_)
    throw std::runtime_error("cannot listen: " + error);
  PasteboardRef board = nullptr;
  if (PasteboardCreate(kQBSetsPasteboardName, &board) != noErr)
    throw std::runtime_error("cannot open the pasteboard");
  board_.reset(board);

  session_.StartHost();
  // Subscribed before the host started, so its start-up publication is
  // waiting here.
  AwaitPublication();
}

Write SystemRig::WriteDatabase(std::string_view library) {
  const std::string& database = session_.database();
  struct stat before;
  if (stat(database.c_str(), &before) != 0)
    throw std::runtime_error("cannot stat " + database);
  qbfa_test::AwaitFileClockPast(session_.home().root(), before.st_mtim);
  const LoggedHost& host = session_.host();
  const size_t from = host.LineCount();
  Write write;
  write.began = Clock::now();
  WriteInPlace(database, library);
  // A big file is written in many steps, and the watcher may see several
  // dates; the sets are read after the last one.
  const LoggedHost::Line dates = host.Await(" vs " + qbfa_test::WatcherLoggedDate(database), from);
  // The event is logged once the main thread has marked the sets stale.
  write.stale = host.Await("[QB] \tident=", dates.index).at;
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
