// The database file watcher.
//
// A task waits on a kernel event queue for changes to the database file, at
// most 30 seconds at a time. When the file's content date has moved past the
// last one acted on, it has the main thread mark the sets as stale (through a
// blocking remote call) and waits again. It touches no shared state itself.
//
// After the first event every wait that times out repeats the date check
// against the event last received, so from then on the file is in effect also
// polled every 30 seconds. The task follows the file it opened: a database
// replaced by rename is no longer followed.
#ifndef WATCH_WATCHER_H_
#define WATCH_WATCHER_H_

#include <atomic>

#include "platform/file_ref.h"
#include "platform/status.h"
#include "platform/task.h"
#include "platform/values.h"

// The database file; filled before the task starts, then only read by it.
extern FSRef gDBFile;
// The running watcher task; null when none was started.
extern MPTaskID gTask;
// The task's loop goes on while this is true. Only QBFA_StopWatcher clears it.
extern std::atomic<bool> gNotDone;
// The task's kernel queue, -1 before it has one. Kept here so that a stop can
// wake the task's wait and close the queue afterwards.
extern std::atomic<int> gKernelQueue;

// Starts the task that watches the database file at `url` (borrowed; the task
// works from gDBFile). 0 when the task runs; paramErr for a null URL, fnfErr
// when the file cannot be reached, or the task creation's status. One watcher
// at a time: a second start needs a QBFA_StopWatcher first.
OSStatus QBFA_RegisterKQueueForFile(const cf::URL* url);

// The task's entry function; `parameter` points to the file's FSRef. Returns
// the status of the last step it took.
OSStatus QBFA_KernelQueueThreadIgnoreMeInCrashLogsCommaOkayQuestionMark(void* parameter);

// Stops the task and waits until it has ended: wakes its wait, cancels a
// remote call it is blocked in, joins it and closes its queue. Afterwards a
// new start is possible. Safe to call when no task runs. Called at unload, so
// that no thread outlives the plug-in's code.
void QBFA_StopWatcher();

#endif  // WATCH_WATCHER_H_
