#include "diag/duration.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace {

TEST(FormattedNanoseconds, WritesEachNonZeroUnitAndOneSubSecondPiece) {
  struct Case {
    uint64_t nanoseconds;
    const char* text;
  } cases[] = {
      // Nothing, or a single nanosecond, is not worth a piece.
      {0, ""},
      {1, ""},
      {2, "2ns"},
      {999, "999ns"},
      // The millisecond boundary; milliseconds are cut, not rounded.
      {999'999, "999999ns"},
      {1'000'000, "1ms"},
      {1'500'000, "1ms"},
      {999'999'999, "999ms"},
      // The second boundary; whole units keep their separator at the end.
      {1'000'000'000, "1s: "},
      {1'000'000'001, "1s: "},
      {1'000'000'002, "1s: 2ns"},
      {1'500'000'000, "1s: 500ms"},
      {60'000'000'000, "1m: "},
      {60'000'000'001, "1m: "},
      {60'000'000'002, "1m: 2ns"},
      // Zero units in between are skipped.
      {3'600'005'000'000, "1h: 5ms"},
      {86'405'000'000'000, "1d: 5s: "},
      {3'723'000'000'000, "1h: 2m: 3s: "},
      {3'723'500'000'000, "1h: 2m: 3s: 500ms"},
      {86'400'000'000'000, "1d: "},
      {90'061'001'000'001, "1d: 1h: 1m: 1s: 1ms"},
      // Days have no cap, and the largest duration does not overflow.
      {864'000'000'000'000'000, "10000d: "},
      {UINT64_MAX, "213503d: 23h: 34m: 33s: 709ms"},
  };
  for (const auto& c : cases) {
    cf::Ref<cf::String> text = FormattedNanoseconds(c.nanoseconds);
    ASSERT_TRUE(text) << c.nanoseconds;
    EXPECT_EQ(text->utf8(), c.text) << c.nanoseconds;
  }
}

TEST(FormattedNanoseconds, EveryCallMakesItsOwnString) {
  cf::Ref<cf::String> first = FormattedNanoseconds(2);
  cf::Ref<cf::String> second = FormattedNanoseconds(2);
  EXPECT_NE(first.get(), second.get());
}

TEST(UnsignedWideToUInt64, JoinsTheNamedWords) {
  struct Case {
    UnsignedWide wide;
    uint64_t value;
  } cases[] = {
      {{0, 0}, 0},
      {{1, 0}, 4'294'967'296},
      {{0, 0xFFFFFFFF}, 0xFFFFFFFF},
      {{0x12345678, 0x9ABCDEF0}, 0x123456789ABCDEF0},
      {{0xFFFFFFFF, 0xFFFFFFFF}, UINT64_MAX},
  };
  for (const auto& c : cases)
    EXPECT_EQ(UnsignedWideToUInt64(c.wide), c.value);
}

}  // namespace
