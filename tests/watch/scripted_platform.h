// A scripted stand-in for the platform calls the watcher task makes, so its
// rules can be played through event by event: what each wait returns, which
// content date the file has then, and which calls fail.
//
// Linked instead of the platform library; the task's calls are checked as
// they come, and what the task does is written to a transcript.
#ifndef TESTS_WATCH_SCRIPTED_PLATFORM_H_
#define TESTS_WATCH_SCRIPTED_PLATFORM_H_

#include <string>
#include <vector>

#include "platform/kqueue.h"
#include "platform/status.h"

namespace scripted {

// One return of kevent.
struct Wait {
  int result = 1;            // 1: `event` arrived; 0: the wait timed out; -1: it failed
  struct kevent event = {};  // stored only when `result` is 1
  double date = 0;           // the file's content date until the next wait
  OSStatus catalog = noErr;  // what reading the date returns until the next wait
  OSStatus conversion = noErr;
  bool stop = false;  // a stop comes during this wait (gNotDone is cleared)
};

struct Script {
  OSStatus make_path = noErr;    // FSRefMakePath's result
  std::string path = {};         // and the path it gives
  int queue = 3;                 // what kqueue returns
  std::vector<Wait> waits = {};  // every wait after the last fails
};

// Makes `script` the platform's behaviour and empties the transcript.
void Load(const Script& script);

// In order: each remote call ("remote call\n") and each mistake in a call
// the task made ("mistake: ...\n"). Log lines are added by whoever captures
// the log.
std::string& Transcript();

// The descriptor the task registered with its queue; -1 when it registered
// none.
int RegisteredDescriptor();

}  // namespace scripted

#endif  // TESTS_WATCH_SCRIPTED_PLATFORM_H_
