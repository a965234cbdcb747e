// Part of the plug-in shared library only: what must happen when the host
// unloads it.
#include "state.h"
#include "watch/watcher.h"

namespace {

// Runs at unload, before the library's static objects are destroyed, on the
// thread that unloads it (the host's main thread, its run loop stopped). No
// thread may still run plug-in code, and nothing may still hold the database,
// once the code is gone.
__attribute__((destructor)) void QBFA_Unload() {
  QBFA_StopWatcher();
  if (db != nullptr) {
    sqlite_close(db);
    db = nullptr;
  }
  gLastKnownSets = nullptr;
}

}  // namespace
