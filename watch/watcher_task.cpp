// The watcher task's body: the one place the plug-in runs off the main thread.
#include <fcntl.h>
#include <unistd.h>

#include <cstdint>

#include "diag/kevent_dump.h"
#include "hookwright/hkwprintf.h"
#include "platform/kqueue.h"
#include "state.h"
#include "watch/refresh.h"
#include "watch/watcher.h"

std::atomic<bool> gNotDone{true};
std::atomic<int> gKernelQueue{-1};

namespace {

// Every change to the file's content or names. Attribute changes are left
// out: a new owner or mode does not change the sets.
constexpr uint32_t kWatchedNotes =
    NOTE_DELETE | NOTE_WRITE | NOTE_EXTEND | NOTE_LINK | NOTE_RENAME | NOTE_REVOKE;

constexpr struct timespec kLongestWait = {30, 0};

}  // namespace

OSStatus QBFA_KernelQueueThreadIgnoreMeInCrashLogsCommaOkayQuestionMark(void* parameter) {
  // The content date of the last change handed to the main thread. Starting
  // at 0.0 makes the first event after start-up always count.
  static CFAbsoluteTime lastTime = 0.0;

  const FSRef* file = static_cast<const FSRef*>(parameter);
  uint8_t path[1024];
  OSStatus status = FSRefMakePath(file, path, sizeof path);
  if (status != noErr) {
    hkwprintf("[QB] Could not turn file into path because error %d occurred\n", status);
    return status;
  }

  int kq = kqueue();
  gKernelQueue = kq;
  // A stop that came before the queue was published could not wake it; the
  // wake it would have made ends the first wait instead.
  if (!gNotDone)
    KQueueWake(kq);
  if (kq == 0)
    return status;

  const char* pathText = reinterpret_cast<const char*>(path);
  int fd = open(pathText, O_EVTONLY);
  if (fd <= 0) {
    hkwprintf("[QB] Could not open file descriptor for %s because error %d happened. Bad Day.\n",
              pathText, fd);
    return status;
  }

  struct kevent change = {};
  struct kevent received = {};
  EV_SET(&change, static_cast<uintptr_t>(fd), EVFILT_VNODE, EV_ADD | EV_CLEAR, kWatchedNotes, 0,
         nullptr);
  struct timespec timeout = kLongestWait;
  int result = kevent(kq, &change, 1, &received, 1, &timeout);

  // A timed-out wait leaves `received` as the last event left it, so after
  // the first event each timeout checks the date again: the file is polled.
  while (result >= 0 && gNotDone && received.flags != EV_ERROR) {
    if (received.fflags != 0) {
      FSCatalogInfo info;
      status = FSGetCatalogInfo(file, kFSCatInfoContentMod, &info, nullptr, nullptr, nullptr);
      CFAbsoluteTime newTime = 0.0;
      if (status == noErr)
        status = UCConvertUTCDateTimeToCFAbsoluteTime(&info.contentModDate, &newTime);
      if (status == noErr && newTime > lastTime) {
        if (gLogStuff)
          hkwprintf("[QB] %f vs %f\n", lastTime, newTime);
        // Blocks until the main thread has marked the sets stale, so this
        // task is never more than one change ahead of it.
        void* remoteResult =
            MPRemoteCall(QBFA_CheckDatabaseForUpdatedSets, nullptr, kMPOwningProcessRemoteContext);
        status = static_cast<OSStatus>(reinterpret_cast<intptr_t>(remoteResult));
        lastTime = newTime;
        QBFA_PrintKEvent(&received);
      }
    }
    result = kevent(kq, &change, 0, &received, 1, &timeout);
  }
  close(fd);
  return status;
}
