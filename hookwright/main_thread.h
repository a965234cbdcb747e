// The host's main run loop and the main thread.
//
// The thread that runs MainRunLoop() is the main thread: the host's
// application events, the plug-in's start-up and everything the plug-in
// hands over from its background task run there. While the loop does not
// run, the process's initial thread counts as the main thread, so a host can
// start the plug-in before entering the loop and tests can call main-thread
// code directly.
#ifndef HOOKWRIGHT_MAIN_THREAD_H_
#define HOOKWRIGHT_MAIN_THREAD_H_

#include <functional>

#include "hookwright/run_loop.h"

namespace hookwright {

// The process's one main run loop; it lives until the process ends.
RunLoop& MainRunLoop();

// True on the main thread (see above).
bool IsMainThread();

// Runs `work` on the main thread and waits for it: inline on the main thread
// itself, otherwise through the main run loop. False, promptly, when the work
// could not run because the loop is not running or stops before reaching it.
bool RunOnMainThreadAndWait(std::function<void()> work);

}  // namespace hookwright

#endif  // HOOKWRIGHT_MAIN_THREAD_H_
