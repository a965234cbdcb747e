// Preemptive tasks and remote calls onto the host's main thread.
//
// A task is a thread running an entry function. It touches state owned by the
// main thread only through MPRemoteCall, which runs a function on the main
// thread while the task waits.
//
// Tasks end when their entry function returns; nothing ends them from outside.
// To stop one (at unload, in tests), make its entry function return - for a
// task waiting on a kernel queue, KQueueWake releases the wait - and then
// JoinTask it, so that no thread outlives the code it runs.
#ifndef PLATFORM_TASK_H_
#define PLATFORM_TASK_H_

#include <cstddef>
#include <cstdint>

#include "platform/status.h"

using MPTaskID = struct OpaqueMPTaskID*;
using MPQueueID = struct OpaqueMPQueueID*;
using TaskProc = OSStatus (*)(void* parameter);
using ByteCount = unsigned long;
using MPTaskOptions = uint32_t;
using MPRemoteProcedure = void* (*)(void* parameter);
using MPRemoteContext = uint8_t;

// Run the remote procedure in the process that owns the calling task: here,
// on the host's main thread. Every context means that here.
constexpr MPRemoteContext kMPOwningProcessRemoteContext = 1;

// Starts a thread that calls entry_point(parameter) and writes its id to
// `task`. The task's status goes nowhere: notification queues do not exist
// here, so `notify_queue` must be null and the two termination parameters are
// not used. `stack_size` is a minimum, and the default stack (8 MB) is larger
// than any task here asks for, so it is not passed on. paramErr for a null
// entry point or task out-parameter, a notification queue or any option;
// the errno mapping of a failed thread creation.
OSStatus MPCreateTask(TaskProc entry_point, void* parameter, ByteCount stack_size,
                      MPQueueID notify_queue, void* termination_parameter1,
                      void* termination_parameter2, MPTaskOptions options, MPTaskID* task);

// Runs remote_proc(parameter) on the main thread and returns its result,
// blocking the caller until it has run. On the main thread itself it runs at
// once. Returns null without running it when the main run loop is not running
// or stops first, or when the calling task is being joined - so a caller is
// never left blocked at shutdown.
void* MPRemoteCall(MPRemoteProcedure remote_proc, void* parameter, MPRemoteContext context);

// Waits for `task`'s entry function to return and releases the task; its
// status goes to `task_result` when that is not null. While it waits, remote
// calls made by the task return null instead of waiting for the main thread,
// so joining from the main thread cannot deadlock with a task handing work to
// it. paramErr for a null or unknown task (one already joined) and for a task
// joining itself.
OSStatus JoinTask(MPTaskID task, OSStatus* task_result);

// Tasks created and not yet joined, finished or not.
size_t UnjoinedTaskCount();

#endif  // PLATFORM_TASK_H_
