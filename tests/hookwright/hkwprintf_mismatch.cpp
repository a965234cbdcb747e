// Compiled by the build's tests, once per MISMATCH value: every variant but
// the well-formed one must be rejected by the compiler.
#include "hookwright/hkwprintf.h"

struct NotDescribable {};

void Log() {
#if MISMATCH == 0
  hkwprintf("[QB] %s took %d tries\n", "open", 3);
#elif MISMATCH == 1
  hkwprintf("[QB] %d tries\n", "three");  // a string for an integer
#elif MISMATCH == 2
  hkwprintf("[QB] %@\n", NotDescribable{});  // %@ with no description
#elif MISMATCH == 3
  hkwprintf("[QB] %d tries\n", 3, 4);  // one argument too many
#elif MISMATCH == 4
  hkwprintf("[QB] %s took %d tries\n", "open");  // one argument too few
#endif
}
