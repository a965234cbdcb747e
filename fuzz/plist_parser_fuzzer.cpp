// libFuzzer target: arbitrary bytes as the publication on the pasteboard,
// read as a listener reads it - XML or binary, whichever they look like.
// Any crash, sanitizer report, hang or runaway memory is a finding, and so
// is a tree that does not survive being written and read again.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "fuzz/read_plist.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string problem =
      qbfa_fuzz::ReadPropertyList({reinterpret_cast<const char*>(data), size});
  if (!problem.empty()) {
    std::fprintf(stderr, "%s\n", problem.c_str());
    std::abort();
  }
  return 0;
}
