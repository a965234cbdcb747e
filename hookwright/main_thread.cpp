#include "hookwright/main_thread.h"

#include <unistd.h>

namespace hookwright {

RunLoop& MainRunLoop() {
  // Never destroyed: the plug-in's unload and other exit-time code may still
  // post to it or ask for the main thread after static destructors began.
  static RunLoop* loop = new RunLoop;
  return *loop;
}

bool IsMainThread() {
  // While some thread is inside Run(), also while it stops, only that thread
  // is the main thread; otherwise the initial thread (whose id is the process
  // id) stands in.
  const std::thread::id loop_thread = MainRunLoop().LoopThread();
  if (loop_thread != std::thread::id())
    return loop_thread == std::this_thread::get_id();
  return gettid() == getpid();
}

bool RunOnMainThreadAndWait(std::function<void()> work) {
  if (IsMainThread()) {
    work();
    return true;
  }
  return MainRunLoop().RunAndWait(std::move(work));
}

}  // namespace hookwright
