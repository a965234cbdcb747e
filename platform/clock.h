// Uptime and durations in the platform's two-word form.
//
// UpTime() reads a monotonic clock whose native unit is the nanosecond, so
// AbsoluteToNanoseconds changes the unit of nothing; callers still convert,
// so their code does not depend on what the native unit is.
#ifndef PLATFORM_CLOCK_H_
#define PLATFORM_CLOCK_H_

#include <cstdint>
#include <functional>

// An unsigned 64-bit number as two named 32-bit words.
struct UnsignedWide {
  uint32_t hi;
  uint32_t lo;
};

// A point on the uptime clock, in native units.
using AbsoluteTime = UnsignedWide;
using Nanoseconds = UnsignedWide;

// Time since an arbitrary start (boot), in native units; never goes back.
AbsoluteTime UpTime();

// left - right. A duration is never negative: 0 when right is later.
AbsoluteTime SubAbsoluteFromAbsolute(AbsoluteTime left, AbsoluteTime right);

Nanoseconds AbsoluteToNanoseconds(AbsoluteTime time);

// Seam for tests: UpTime() returns what `source` returns, in nanoseconds.
// An empty function restores the monotonic clock. Returns the previous source.
using UpTimeSource = std::function<uint64_t()>;
UpTimeSource SetUpTimeSourceForTesting(UpTimeSource source);

#endif  // PLATFORM_CLOCK_H_
