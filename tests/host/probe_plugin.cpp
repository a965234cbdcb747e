// A stand-in plug-in for the host's tests. It says where it was started,
// answers with the status in $QBFA_PROBE_STATUS, and says when it is unloaded.
#include <cstdint>
#include <cstdlib>

#include "hookwright/hkwprintf.h"
#include "hookwright/main_thread.h"

extern "C" __attribute__((visibility("default"))) int32_t QBFA_Initialize(void) {
  hkwprintf("probe: started %s the main run loop\n",
            hookwright::MainRunLoop().IsLoopThread() ? "inside" : "outside");
  const char* status = std::getenv("QBFA_PROBE_STATUS");
  return status != nullptr ? std::atoi(status) : 0;
}

namespace {

__attribute__((destructor)) void SayUnloaded() {
  hkwprintf("probe: unloaded\n");
}

}  // namespace
