#include "diag/duration.h"

#include <string>

#include "hookwright/hkwprintf.h"

namespace {

constexpr uint64_t k86400000000000 = 86400000000000;  // a day in nanoseconds
constexpr uint64_t k3600000000000 = 3600000000000;    // an hour
constexpr uint64_t k60000000000 = 60000000000;        // a minute

struct WholeUnit {
  uint64_t nanoseconds;
  hookwright::FormatString<uint64_t> piece;
};

constexpr WholeUnit kWholeUnits[] = {
    {k86400000000000, "%qud: "},
    {k3600000000000, "%quh: "},
    {k60000000000, "%qum: "},
    {1000000000, "%qus: "},
};

}  // namespace

cf::Ref<cf::String> FormattedNanoseconds(uint64_t nanoseconds) {
  std::string text;
  uint64_t rest = nanoseconds;
  // The test against 1 comes before every piece, so a single left-over
  // nanosecond is dropped rather than printed as "1ns".
  for (const WholeUnit& unit : kWholeUnits) {
    if (rest <= 1)
      return cf::String::Create(text);
    if (rest / unit.nanoseconds != 0) {
      text += hookwright::Format(unit.piece, rest / unit.nanoseconds);
      rest %= unit.nanoseconds;
    }
  }
  if (rest <= 1)
    return cf::String::Create(text);
  // One sub-second piece at most: what lies below a millisecond after it is
  // not worth a log reader's attention.
  if (rest > 999999) {
    text += hookwright::Format("%qums", rest / 1000000);
  } else {
    text += hookwright::Format("%quns", rest);
  }
  return cf::String::Create(text);
}

uint64_t UnsignedWideToUInt64(UnsignedWide value) {
  return (static_cast<uint64_t>(value.hi) << 32) | value.lo;
}
