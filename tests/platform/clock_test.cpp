#include "platform/clock.h"

#include <gtest/gtest.h>

namespace {

uint64_t Joined(UnsignedWide value) {
  return (uint64_t{value.hi} << 32) | value.lo;
}

TEST(Clock, SubtractionBorrowsAcrossWordsAndNeverGoesNegative) {
  struct Case {
    UnsignedWide left, right;
    uint64_t difference;
  } cases[] = {
      {{0, 10}, {0, 3}, 7},          {{1, 0}, {0, 1}, 0xFFFFFFFFu},
      {{2, 5}, {1, 7}, 0xFFFFFFFEu}, {{0xFFFFFFFF, 0xFFFFFFFF}, {0, 0}, UINT64_MAX},
      {{0, 3}, {0, 10}, 0},          {{1, 0}, {1, 0}, 0},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Joined(SubAbsoluteFromAbsolute(c.left, c.right)), c.difference)
        << c.left.hi << ":" << c.left.lo << " - " << c.right.hi << ":" << c.right.lo;
  }
}

TEST(Clock, TestSourceDrivesUpTimeUntilRemoved) {
  uint64_t now = 0x1'0000'0002;
  UpTimeSource previous = SetUpTimeSourceForTesting([&] { return now; });
  EXPECT_FALSE(previous);
  AbsoluteTime start = UpTime();
  EXPECT_EQ(start.hi, 1u);
  EXPECT_EQ(start.lo, 2u);
  now += 1'500'000'000;
  Nanoseconds elapsed = AbsoluteToNanoseconds(SubAbsoluteFromAbsolute(UpTime(), start));
  EXPECT_EQ(Joined(elapsed), 1'500'000'000u);

  EXPECT_TRUE(SetUpTimeSourceForTesting(nullptr));
  const uint64_t first = Joined(UpTime());
  EXPECT_LE(first, Joined(UpTime()));
}

}  // namespace
