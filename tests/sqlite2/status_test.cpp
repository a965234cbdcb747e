#include "sqlite2/status.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace sqlite2 {
namespace {

TEST(StatusTest, EachKindCarriesTheLibrarysCodeAndText) {
  const struct {
    Status status;
    int rc;
    std::string text;
  } kCases[] = {
      {Status::Ok(), 0, ""},
      {Status(), 0, ""},
      {Status::Corrupt(), 11, "database disk image is malformed"},
      {Status::NotADatabase(), 26, "file is encrypted or is not a database"},
      {Status::IoError(), 10, "disk I/O error"},
      {Status::Busy(), 5, "database is locked"},
      {Status::CantOpen("/x/y.db"), 14, "unable to open database: /x/y.db"},
      // A text of its own wins over the library's, even an empty one.
      {Status::Error(SQLITE_CORRUPT, "malformed database schema"), 11, "malformed database schema"},
      {Status::Error(SQLITE_ABORT, ""), 4, ""},
  };
  for (const auto& c : kCases) {
    EXPECT_EQ(c.status.rc, c.rc) << c.text;
    EXPECT_EQ(c.status.message(), c.text);
    EXPECT_EQ(c.status.ok(), c.rc == 0) << c.text;
    // Copies and moves keep both.
    Status copy = c.status;
    EXPECT_EQ(copy.message(), c.text);
    Status assigned = Status::Corrupt();
    assigned = copy;
    const Status moved = std::move(copy);
    EXPECT_EQ(assigned.message(), c.text);
    EXPECT_EQ(moved.rc, c.rc);
    EXPECT_EQ(moved.message(), c.text);
  }
}

}  // namespace
}  // namespace sqlite2
