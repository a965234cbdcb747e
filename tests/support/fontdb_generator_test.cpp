#include "tests/support/fontdb_generator.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "sqlite2/sqlite.h"

namespace qbfa_test {
namespace {

using Row = std::vector<std::string>;  // NULL as "<null>"

std::vector<Row> Select(sqlite* db, const std::string& sql) {
  std::vector<Row> rows;
  char* error = nullptr;
  const int rc = sqlite_exec(
      db, sql.c_str(),
      [](void* arg, int argc, char** argv, char**) {
        Row& row = static_cast<std::vector<Row>*>(arg)->emplace_back();
        for (int i = 0; i < argc; ++i)
          row.push_back(argv[i] ? argv[i] : "<null>");
        return 0;
      },
      &rows, &error);
  EXPECT_EQ(rc, SQLITE_OK) << sql << ": " << (error ? error : "");
  sqlite_freemem(error);
  return rows;
}

class FontDatabaseTest : public ::testing::TestWithParam<FontDatabaseShape::FontIds> {
 protected:
  void SetUp() override {
    std::string pattern = ::testing::TempDir() + "fontdb_XXXXXX";
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    dir_ = pattern;
  }
  void TearDown() override { std::filesystem::remove_all(dir_); }

  std::string dir_;
};

TEST_P(FontDatabaseTest, HasTheShapeAskedFor) {
  FontDatabaseShape shape;
  shape.font_count = 1000;
  shape.font_ids = GetParam();
  const std::string path = dir_ + "/fonts.db";
  ASSERT_TRUE(WriteFontDatabase(shape, path).ok());

  char* error = nullptr;
  sqlite* db = sqlite_open(path.c_str(), 0, &error);
  ASSERT_NE(db, nullptr) << error;
  const std::vector<Row> sets = Select(db, "SELECT * FROM sets");
  const std::vector<Row> fonts = Select(db, "SELECT * FROM fonts");
  const std::vector<Row> rel = Select(db, "SELECT * FROM rel");
  EXPECT_EQ(sets.size(), 50u);
  EXPECT_EQ(fonts.size(), 1000u);
  // Only the three tables: the text ids have no index to seek with.
  EXPECT_EQ(Select(db, "SELECT * FROM sqlite_master").size(), 3u);

  const size_t offset = GetParam() == FontDatabaseShape::FontIds::kIntegerPrimaryKey ? 1 : 0;
  std::map<std::string, std::string> parent_of;
  std::map<std::string, std::set<std::string>> sets_of_font;
  for (const Row& r : rel) {
    const std::string& parent = r[offset];
    const std::string& type = r[offset + 1];
    const std::string& child = r[offset + 2];
    ASSERT_TRUE(type == "1" || type == "2");
    if (type == "2") {
      EXPECT_TRUE(parent_of.emplace(child, parent).second) << "set " << child << " has two parents";
    } else {
      EXPECT_TRUE(sets_of_font[child].insert(parent).second) << "font " << child << " filed twice";
    }
  }
  EXPECT_EQ(rel.size(), 2000u + parent_of.size());
  EXPECT_EQ(sets_of_font.size(), 1000u);
  for (const auto& [font, in] : sets_of_font)
    EXPECT_EQ(in.size(), 2u) << font;

  size_t deepest = 0;
  for (const Row& set : sets) {
    size_t depth = 1;
    for (auto it = parent_of.find(set[0]); it != parent_of.end(); it = parent_of.find(it->second)) {
      ++depth;
    }
    deepest = std::max(deepest, depth);
    EXPECT_NE(set[1].rfind("__", 0), 0u);
  }
  EXPECT_EQ(deepest, 3u);

  // The plug-in's lookup finds each font by its id.
  for (const char* id : {"1", "500", "1000"}) {
    const std::vector<Row> found =
        Select(db, std::string("SELECT * FROM fonts WHERE id = '") + id + "'");
    ASSERT_EQ(found.size(), 1u) << id;
    EXPECT_EQ(found[0][0], id);
  }
  sqlite_close(db);
}

INSTANTIATE_TEST_SUITE_P(Ids, FontDatabaseTest,
                         ::testing::Values(FontDatabaseShape::FontIds::kIntegerPrimaryKey,
                                           FontDatabaseShape::FontIds::kTextWithoutIndex));

TEST(FontDatabase, SameShapeSameBytes) {
  FontDatabaseShape shape;
  shape.font_count = 300;
  sqlite2::writer::Database a, b, c;
  ASSERT_TRUE(BuildFontDatabase(shape, &a).ok());
  ASSERT_TRUE(BuildFontDatabase(shape, &b).ok());
  shape.seed = 2;
  ASSERT_TRUE(BuildFontDatabase(shape, &c).ok());
  EXPECT_EQ(a.Bytes(), b.Bytes());
  EXPECT_NE(a.Bytes(), c.Bytes());
}

}  // namespace
}  // namespace qbfa_test
