#include "watch/watcher.h"

#include <cassert>

#include "platform/kqueue.h"

FSRef gDBFile;
MPTaskID gTask = nullptr;

OSStatus QBFA_RegisterKQueueForFile(const cf::URL* url) {
  if (url == nullptr)
    return paramErr;
  // A running task reads gDBFile; replacing it under the task would be a race.
  assert(gTask == nullptr);
  if (!CFURLGetFSRef(url, &gDBFile))
    return fnfErr;
  return MPCreateTask(QBFA_KernelQueueThreadIgnoreMeInCrashLogsCommaOkayQuestionMark, &gDBFile, 0,
                      nullptr, nullptr, nullptr, 0, &gTask);
}

void QBFA_StopWatcher() {
  gNotDone = false;
  // A task that has not published its queue yet sees gNotDone and wakes its
  // own first wait; see the task body.
  if (int kq = gKernelQueue.load(); kq >= 0)
    KQueueWake(kq);
  if (gTask != nullptr)
    JoinTask(gTask, nullptr);
  gTask = nullptr;
  // The task never closes its queue; nothing uses it any more.
  if (int kq = gKernelQueue.exchange(-1); kq >= 0)
    KQueueClose(kq);
  gDBFile = FSRef();
  gNotDone = true;
}
