#include "platform/clock.h"

#include <time.h>

#include <mutex>
#include <utility>

namespace {

std::mutex& SourceMutex() {
  static std::mutex mutex;
  return mutex;
}

UpTimeSource& Source() {
  static UpTimeSource source;
  return source;
}

uint64_t MonotonicNanoseconds() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<uint64_t>(now.tv_sec) * 1'000'000'000u + static_cast<uint64_t>(now.tv_nsec);
}

UnsignedWide FromUInt64(uint64_t value) {
  return {static_cast<uint32_t>(value >> 32), static_cast<uint32_t>(value)};
}

uint64_t ToUInt64(UnsignedWide value) {
  return (uint64_t{value.hi} << 32) | value.lo;
}

}  // namespace

AbsoluteTime UpTime() {
  UpTimeSource source;
  {
    std::lock_guard lock(SourceMutex());
    source = Source();
  }
  return FromUInt64(source ? source() : MonotonicNanoseconds());
}

AbsoluteTime SubAbsoluteFromAbsolute(AbsoluteTime left, AbsoluteTime right) {
  const uint64_t later = ToUInt64(left);
  const uint64_t earlier = ToUInt64(right);
  return FromUInt64(later > earlier ? later - earlier : 0);
}

Nanoseconds AbsoluteToNanoseconds(AbsoluteTime time) {
  return time;
}

UpTimeSource SetUpTimeSourceForTesting(UpTimeSource source) {
  std::lock_guard lock(SourceMutex());
  return std::exchange(Source(), std::move(source));
}
