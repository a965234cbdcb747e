#include "platform/task.h"

#include <map>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>

#include "hookwright/blocking_call.h"
#include "hookwright/main_thread.h"

struct OpaqueMPTaskID {
  std::thread thread;
  OSStatus result = noErr;  // written by the task; read after it was joined

  std::mutex mutex;  // guards the two below
  bool joining = false;
  std::shared_ptr<hookwright::BlockingCall> remote_call;  // the one in flight
};

namespace {

// The task whose entry function runs on this thread, if any.
thread_local OpaqueMPTaskID* current_task = nullptr;

struct Registry {
  std::mutex mutex;
  std::map<MPTaskID, std::unique_ptr<OpaqueMPTaskID>> tasks;
};

Registry& Tasks() {
  // Never destroyed: a task nobody joined is still running at exit, and its
  // thread object must not be destroyed while joinable.
  static Registry* registry = new Registry;
  return *registry;
}

// Hands `work` to the main run loop and waits for it, on behalf of `task`
// (null on a thread that is not a task).
bool RunOnMainLoopAndWait(OpaqueMPTaskID* task, std::function<void()> work) {
  std::shared_ptr<hookwright::BlockingCall> call;
  if (task == nullptr) {
    call = hookwright::MainRunLoop().PostBlocking(std::move(work));
    return call && call->Wait();
  }
  {
    // Posted under the task's lock, so JoinTask either sees the call and
    // cancels it or the call sees the join and is never posted.
    std::lock_guard lock(task->mutex);
    if (task->joining)
      return false;
    call = hookwright::MainRunLoop().PostBlocking(std::move(work));
    task->remote_call = call;
  }
  const bool ran = call && call->Wait();
  std::lock_guard lock(task->mutex);
  task->remote_call.reset();
  return ran;
}

}  // namespace

OSStatus MPCreateTask(TaskProc entry_point, void* parameter, ByteCount /*stack_size*/,
                      MPQueueID notify_queue, void* /*termination_parameter1*/,
                      void* /*termination_parameter2*/, MPTaskOptions options, MPTaskID* task) {
  if (entry_point == nullptr || task == nullptr || notify_queue != nullptr || options != 0) {
    return paramErr;
  }
  auto record = std::make_unique<OpaqueMPTaskID>();
  OpaqueMPTaskID* self = record.get();
  try {
    self->thread = std::thread([self, entry_point, parameter] {
      current_task = self;
      self->result = entry_point(parameter);
    });
  } catch (const std::system_error& error) {
    return StatusFromErrno(error.code().value());
  }
  {
    std::lock_guard lock(Tasks().mutex);
    Tasks().tasks.emplace(self, std::move(record));
  }
  *task = self;
  return noErr;
}

void* MPRemoteCall(MPRemoteProcedure remote_proc, void* parameter, MPRemoteContext /*context*/) {
  if (remote_proc == nullptr)
    return nullptr;
  void* result = nullptr;
  auto work = [&result, remote_proc, parameter] { result = remote_proc(parameter); };
  if (hookwright::IsMainThread()) {
    work();
    return result;
  }
  // `result` is written only when the work ran; a cancelled call never starts.
  return RunOnMainLoopAndWait(current_task, work) ? result : nullptr;
}

OSStatus JoinTask(MPTaskID task, OSStatus* task_result) {
  std::unique_ptr<OpaqueMPTaskID> record;
  {
    std::lock_guard lock(Tasks().mutex);
    auto it = Tasks().tasks.find(task);
    if (it == Tasks().tasks.end() || task == current_task)
      return paramErr;
    record = std::move(it->second);
    Tasks().tasks.erase(it);
  }
  std::shared_ptr<hookwright::BlockingCall> in_flight;
  {
    std::lock_guard lock(record->mutex);
    record->joining = true;
    in_flight = record->remote_call;
  }
  if (in_flight)
    in_flight->Cancel();
  record->thread.join();
  if (task_result != nullptr)
    *task_result = record->result;
  return noErr;
}

size_t UnjoinedTaskCount() {
  std::lock_guard lock(Tasks().mutex);
  return Tasks().tasks.size();
}
