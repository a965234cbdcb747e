// Hostile files built to order end cleanly. (Every fixture and every file
// the fuzzer found a fault with is replayed by tests/fuzz.)
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "sqlite2/sqlite.h"
#include "tests/sqlite2_writer/database.h"
#include "tests/sqlite2/read_support.h"
#include "tests/sqlite2_writer/scratch_dir.h"

namespace sqlite2::testing {
namespace {

// Table cells that all point at one long overflow chain: each is a sound
// row on its own, but together they would have a scan copy the chain once
// per cell - far more than the file holds. The scan stops instead.
TEST(SharedOverflowChain, StopsAScanBeforeItCopiesMuchMoreThanTheFile) {
  writer::Database file;
  ASSERT_TRUE(file.CreateTable("CREATE TABLE t(a TEXT)").ok());
  ASSERT_TRUE(file.Insert("t", {std::string(200 * 1024, 'q')}).ok());
  constexpr int kRows = 600;
  for (int i = 2; i <= kRows; ++i)
    ASSERT_TRUE(file.Insert("t", {std::string(300, 'q')}).ok());
  std::vector<uint8_t> image = file.Bytes();

  // Every table cell's payload overflows; find row 1's among them.
  const std::vector<RowCell> cells = RowCells(image);
  ASSERT_EQ(cells.size(), static_cast<size_t>(kRows));
  const size_t first =
      std::find_if(cells.begin(), cells.end(), [](const RowCell& c) { return c.rowid == 1; })->at;
  // Each cell takes row 1's sizes, local payload and chain; it keeps its
  // left child, its place in the list and its own rowid.
  for (const RowCell& spot : cells) {
    std::copy_n(image.begin() + static_cast<ptrdiff_t>(first + 4), 2,
                image.begin() + static_cast<ptrdiff_t>(spot.at + 4));
    std::copy_n(image.begin() + static_cast<ptrdiff_t>(first + 8), 4,
                image.begin() + static_cast<ptrdiff_t>(spot.at + 8));
    std::copy_n(image.begin() + static_cast<ptrdiff_t>(first + 16), 236,
                image.begin() + static_cast<ptrdiff_t>(spot.at + 16));
  }

  writer::testing::ScratchDir dir;
  const std::string path = dir.File("shared.db");
  writer::testing::WriteBytes(path, image);
  sqlite* db = sqlite_open(path.c_str(), 0, nullptr);
  ASSERT_NE(db, nullptr);
  int rows = 0;
  char* error = nullptr;
  const int rc = sqlite_exec(
      db, "SELECT rowid FROM t;",
      [](void* count, int, char**, char**) {
        ++*static_cast<int*>(count);
        return 0;
      },
      &rows, &error);
  EXPECT_EQ(rc, SQLITE_CORRUPT);
  EXPECT_STREQ(error, "database disk image is malformed");
  sqlite_freemem(error);
  EXPECT_GT(rows, 0);
  EXPECT_LT(rows, kRows / 10);
  sqlite_close(db);
}

}  // namespace
}  // namespace sqlite2::testing
