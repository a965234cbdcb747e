#include "watch/watcher.h"

// Until the kernel-queue watcher exists, starting it succeeds and nothing is
// watched: a connect then behaves exactly as with a running watcher.
OSStatus QBFA_RegisterKQueueForFile(const cf::URL* url) {
  return url == nullptr ? paramErr : noErr;
}
