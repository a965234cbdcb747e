#include "host/leak_check.h"

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>

// The leak checker of this toolchain crashes scanning the thread-local
// storage of a library loaded at run time, so it is left out: nothing the
// plug-ins own is reachable only from there. Its built-in suppression of the
// dynamic thread-local blocks then matches, and the report of suppressions
// it would print must not land in the output of `qbfa read` and the others.
extern "C" const char* __lsan_default_options() {
  return "use_tls=0:print_suppressions=0";
}

void CheckLeaksBeforeUnloading() {
  __lsan_do_leak_check();
}
#else
void CheckLeaksBeforeUnloading() {}
#endif
