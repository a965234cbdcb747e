// Durations as log text.
#ifndef DIAG_DURATION_H_
#define DIAG_DURATION_H_

#include <cstdint>

#include "platform/clock.h"
#include "platform/values.h"

// A duration as days, hours, minutes and seconds, each only when not zero,
// followed by milliseconds or, below one millisecond, nanoseconds:
// "1h: 2m: 3s: 500ms". Whole units keep their ": " even when nothing follows
// ("1m: "); a left-over of 0 or 1 ns writes nothing, so 0 and 1 give "".
// The caller owns the new string.
cf::Ref<cf::String> FormattedNanoseconds(uint64_t nanoseconds);

// hi * 2^32 + lo.
uint64_t UnsignedWideToUInt64(UnsignedWide value);

#endif  // DIAG_DURATION_H_
