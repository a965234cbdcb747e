#include "sqlite2/format/page_set.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <set>
#include <vector>

namespace sqlite2::format {
namespace {

// Each page is new exactly once, however many pages came before it and
// wherever they hash, through growth and after a clear.
TEST(PageSetTest, AnswersAsASetWouldThroughGrowthAndClearing) {
  std::vector<PageNumber> pages = {0, 1, UINT32_MAX, 2, 0, UINT32_MAX, 1};
  for (PageNumber i = 0; i < 3000; ++i) {
    pages.push_back(i * 7 % 2048 + 1);  // every page of 1-2048, some twice
    pages.push_back(UINT32_MAX - i * 64);
  }
  PageSet set;
  for (int round = 0; round < 2; ++round) {
    std::set<PageNumber> seen;
    for (PageNumber page : pages) {
      ASSERT_EQ(set.Insert(page), seen.insert(page).second) << page << " in round " << round;
    }
    set.Clear();
  }
}

}  // namespace
}  // namespace sqlite2::format
