#include "tests/watch/scripted_platform.h"

#include <errno.h>

#include <cstring>

#include "platform/file_ref.h"
#include "platform/task.h"
#include "watch/refresh.h"
#include "watch/watcher.h"

namespace scripted {
namespace {

struct State {
  Script script;
  std::string transcript;
  size_t waits_done = 0;
  const Wait* current = nullptr;  // the wait that returned last
  const FSRef* file = nullptr;    // the reference the task made its path from
  int registered = -1;
};

State& TheState() {
  static State state;
  return state;
}

void Complain(const std::string& what) {
  TheState().transcript += "mistake: " + what + "\n";
}

// Whether the change a kevent call makes is what the watcher must register:
// its descriptor for every content and name change, notes kept until
// delivered.
void CheckChanges(const struct kevent* changes, int count, bool first) {
  if (!first) {
    if (count != 0)
      Complain("changes again after the first wait");
    return;
  }
  if (count != 1 || changes == nullptr) {
    Complain("first wait registers no single change");
    return;
  }
  const struct kevent& change = changes[0];
  constexpr uint32_t kContentAndNames =
      NOTE_DELETE | NOTE_WRITE | NOTE_EXTEND | NOTE_LINK | NOTE_RENAME | NOTE_REVOKE;
  if (change.filter != EVFILT_VNODE || change.flags != (EV_ADD | EV_CLEAR) ||
      change.fflags != kContentAndNames || change.data != 0 || change.udata != nullptr) {
    Complain("unexpected registration");
  }
  TheState().registered = static_cast<int>(change.ident);
}

}  // namespace

void Load(const Script& script) {
  TheState() = State();
  TheState().script = script;
}

std::string& Transcript() {
  return TheState().transcript;
}

int RegisteredDescriptor() {
  return TheState().registered;
}

}  // namespace scripted

using scripted::TheState;

int kqueue() {
  return TheState().script.queue;
}

int kevent(int kq, const struct kevent* changelist, int nchanges, struct kevent* eventlist,
           int nevents, const struct timespec* timeout) {
  auto& state = TheState();
  if (kq < 0 || kq != state.script.queue) {
    errno = EBADF;
    return -1;
  }
  scripted::CheckChanges(changelist, nchanges, state.waits_done == 0);
  if (nevents != 1 || eventlist == nullptr)
    scripted::Complain("room for other than one event");
  if (timeout == nullptr || timeout->tv_sec != 30 || timeout->tv_nsec != 0)
    scripted::Complain("a wait other than 30 seconds");
  if (state.waits_done == state.script.waits.size()) {
    errno = EINTR;
    return -1;
  }
  const scripted::Wait& wait = state.script.waits[state.waits_done++];
  state.current = &wait;
  if (wait.stop)
    gNotDone = false;
  if (wait.result > 0)
    *eventlist = wait.event;
  return wait.result;
}

int KQueueWake(int) {
  return 0;
}

OSStatus FSRefMakePath(const FSRef* ref, uint8_t* path, uint32_t max_size) {
  auto& state = TheState();
  state.file = ref;
  if (state.script.make_path != noErr)
    return state.script.make_path;
  if (state.script.path.size() + 1 > max_size)
    return paramErr;
  memcpy(path, state.script.path.c_str(), state.script.path.size() + 1);
  return noErr;
}

OSStatus FSGetCatalogInfo(const FSRef* ref, FSCatalogInfoBitmap which, FSCatalogInfo* info,
                          void* out_name, void* fs_spec, FSRef* parent_ref) {
  auto& state = TheState();
  if (ref != state.file || which != kFSCatInfoContentMod || info == nullptr ||
      out_name != nullptr || fs_spec != nullptr || parent_ref != nullptr) {
    scripted::Complain("unexpected catalog read");
    return paramErr;
  }
  if (state.current == nullptr)
    return fnfErr;
  // The date itself is handed over by the conversion; this marks which wait's
  // date the record carries.
  info->contentModDate = {0, static_cast<uint32_t>(state.waits_done), 0, 0};
  return state.current->catalog;
}

OSStatus UCConvertUTCDateTimeToCFAbsoluteTime(const UTCDateTime* date, CFAbsoluteTime* out) {
  auto& state = TheState();
  if (date == nullptr || out == nullptr || date->lowSeconds == 0 ||
      date->lowSeconds > state.waits_done) {
    scripted::Complain("conversion of a date that was not read");
    return paramErr;
  }
  const scripted::Wait& wait = state.script.waits[date->lowSeconds - 1];
  if (wait.conversion != noErr)
    return wait.conversion;
  *out = wait.date;
  return noErr;
}

// The main thread's side is not played here; the remote call only names it.
void* QBFA_CheckDatabaseForUpdatedSets(void*) {
  return nullptr;
}

void* MPRemoteCall(MPRemoteProcedure remote_proc, void* parameter, MPRemoteContext context) {
  if (remote_proc != QBFA_CheckDatabaseForUpdatedSets || parameter != nullptr ||
      context != kMPOwningProcessRemoteContext) {
    scripted::Complain("unexpected remote call");
  }
  TheState().transcript += "remote call\n";
  return nullptr;
}
