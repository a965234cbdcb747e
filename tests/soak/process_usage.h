// What a running process holds, from /proc.
#ifndef TESTS_SOAK_PROCESS_USAGE_H_
#define TESTS_SOAK_PROCESS_USAGE_H_

#include <sys/types.h>

#include <cstddef>
#include <optional>

namespace qbfa_soak {

struct ProcessUsage {
  size_t resident_kb = 0;       // VmRSS
  size_t peak_resident_kb = 0;  // VmHWM: the most it ever held
  size_t descriptors = 0;       // entries of /proc/PID/fd
};

// Nothing when the process is gone (or a zombie, which holds no memory).
std::optional<ProcessUsage> ReadProcessUsage(pid_t pid);

}  // namespace qbfa_soak

#endif  // TESTS_SOAK_PROCESS_USAGE_H_
