// Queries on databases the writer builds: which rows come back, in which
// order, for each access path, in deep trees and in both byte orders, and
// statements run from inside a row callback.
#include "sqlite2/query.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "sqlite2/sqlite.h"
#include "tests/sqlite2_writer/database.h"

namespace sqlite2 {
namespace {

using writer::ByteOrder;
using writer::Row;

class QueryTest : public ::testing::Test {
 protected:
  void TearDown() override {
    sqlite_close(db_);
    std::filesystem::remove(path_);
  }

  // Writes `file` and opens it.
  void Open(const writer::Database& file) {
    sqlite_close(db_);
    db_ = nullptr;
    ASSERT_TRUE(file.WriteFile(path_).ok());
    char* error = nullptr;
    db_ = sqlite_open(path_.c_str(), 0, &error);
    ASSERT_NE(db_, nullptr) << error;
  }

  // The first column of every row, "NULL" for SQL NULL; "rc N" is
  // appended when the statement fails.
  std::vector<std::string> Column(const std::string& sql) {
    std::vector<std::string> values;
    const int rc = sqlite_exec(
        db_, sql.c_str(),
        [](void* out, int, char** argv, char**) {
          static_cast<std::vector<std::string>*>(out)->push_back(argv[0] ? argv[0] : "NULL");
          return 0;
        },
        &values, nullptr);
    if (rc != SQLITE_OK)
      values.push_back("rc " + std::to_string(rc));
    return values;
  }

  const std::string path_ = (std::filesystem::temp_directory_path() /
                             ("query_test_" + std::to_string(::getpid()) + ".db"))
                                .string();
  sqlite* db_ = nullptr;
};

using Strings = std::vector<std::string>;

TEST_F(QueryTest, AMultiColumnIndexOrdersRowsByItsNextColumn) {
  writer::Database file;
  ASSERT_TRUE(file.CreateTable("CREATE TABLE t(x, y)").ok());
  ASSERT_TRUE(file.CreateIndex("CREATE INDEX txy ON t(x, y)").ok());
  const std::pair<int, std::optional<std::string>> rows[] = {
      {10, "a"}, {20, std::nullopt}, {30, "c"}, {40, "a"}, {50, "b"}, {60, "5"}};
  for (const auto& [rowid, y] : rows)
    ASSERT_TRUE(file.InsertWithRowid("t", rowid, Row{"k", y}).ok());
  ASSERT_TRUE(file.InsertWithRowid("t", 70, Row{"other", "a"}).ok());
  Open(file);
  // NULL first, then numbers, then text; rowid breaks ties.
  EXPECT_EQ(Column("SELECT rowid FROM t WHERE x = 'k'"),
            (Strings{"20", "60", "10", "40", "50", "30"}));
  EXPECT_EQ(Column("SELECT rowid FROM t WHERE 'k' = x AND y <> 'c'"),
            (Strings{"60", "10", "40", "50"}));
  // Without a usable term the table is scanned in rowid order.
  EXPECT_EQ(Column("SELECT rowid FROM t WHERE x = 'k' OR x = 'k'"),
            (Strings{"10", "20", "30", "40", "50", "60"}));
  // Equality on both columns, then a range on the second.
  EXPECT_EQ(Column("SELECT rowid FROM t WHERE x = 'k' AND y = 'a'"), (Strings{"10", "40"}));
  EXPECT_EQ(Column("SELECT rowid FROM t WHERE x = 'k' AND y > 'a'"), (Strings{"50", "30"}));
  EXPECT_EQ(Column("SELECT rowid FROM t WHERE x = 'k' AND y <= 'b'"),
            (Strings{"60", "10", "40", "50"}));
}

TEST_F(QueryTest, TheNewestEquallyGoodIndexWins) {
  writer::Database file;
  ASSERT_TRUE(file.CreateTable("CREATE TABLE t(x, y)").ok());
  ASSERT_TRUE(file.CreateIndex("CREATE INDEX txy ON t(x, y)").ok());
  ASSERT_TRUE(file.CreateIndex("CREATE INDEX tx ON t(x)").ok());
  for (const auto& [rowid, y] : {std::pair{1, "b"}, {2, "a"}})
    ASSERT_TRUE(file.InsertWithRowid("t", rowid, Row{"k", y}).ok());
  Open(file);
  EXPECT_EQ(Column("SELECT rowid FROM t WHERE x = 'k'"), (Strings{"1", "2"}));
}

TEST_F(QueryTest, IndexSeeksAndScansAgreeOnEveryComparisonRule) {
  const std::optional<std::string> values[] = {
      "5",  "05", " 5",  "5.0", "1e1", "10", "abc", "",   std::nullopt, "+5",
      "5.", ".5", "0.5", "5e0", "-0",  "0",  "5 ",  "-3", "7.25",       "1e300"};
  for (bool indexed : {false, true}) {
    SCOPED_TRACE(indexed ? "with indices" : "without indices");
    writer::Database file;
    ASSERT_TRUE(file.CreateTable("CREATE TABLE t(id INTEGER PRIMARY KEY, s TEXT, n NUMERIC)").ok());
    if (indexed) {
      ASSERT_TRUE(file.CreateIndex("CREATE INDEX ts ON t(s)").ok());
      ASSERT_TRUE(file.CreateIndex("CREATE INDEX tn ON t(n)").ok());
    }
    for (const auto& value : values)
      ASSERT_TRUE(file.Insert("t", Row{std::nullopt, value, value}).ok());
    Open(file);
    EXPECT_EQ(Column("SELECT id FROM t WHERE s = '5'"), (Strings{"1"}));
    EXPECT_EQ(Column("SELECT id FROM t WHERE n = '5'"), (Strings{"1", "2", "4", "10", "14"}));
    EXPECT_EQ(Column("SELECT id FROM t WHERE n = '0'"), (Strings{"15", "16"}));
    EXPECT_EQ(Column("SELECT id FROM t WHERE n = '1e1'"), (Strings{"5", "6"}));
    EXPECT_EQ(Column("SELECT id FROM t WHERE s = ''"), (Strings{"8"}));
    EXPECT_EQ(Column("SELECT id FROM t WHERE n = NULL"), (Strings{}));
    EXPECT_EQ(Column("SELECT id FROM t WHERE n IS NULL"), (Strings{"9"}));
    // Ranges: through an index the rows come in its key order.
    const Strings below_five =
        indexed ? Strings{"18", "15", "16", "13"} : Strings{"13", "15", "16", "18"};
    EXPECT_EQ(Column("SELECT id FROM t WHERE n < '5' AND n > '-10'"), below_five);
  }
}

TEST_F(QueryTest, RowidLookups) {
  writer::Database file;
  ASSERT_TRUE(file.CreateTable("CREATE TABLE t(id INTEGER PRIMARY KEY, v)").ok());
  for (int32_t rowid : {2147483647, -5, 1, 5, 10, -2147483647 - 1})
    ASSERT_TRUE(file.Insert("t", Row{std::to_string(rowid), "v"}).ok());
  Open(file);
  EXPECT_EQ(Column("SELECT id FROM t"),
            (Strings{"-2147483648", "-5", "1", "5", "10", "2147483647"}));
  const struct {
    std::string literal;
    Strings rows;
  } cases[] = {
      {"'05'", {"5"}},
      {"'+5'", {"5"}},
      {"'5.0'", {"5"}},
      {"'0.5e1'", {"5"}},
      {"'1e1'", {"10"}},
      {"' 5'", {}},
      {"'5.5'", {}},
      {"'abc'", {}},
      {"NULL", {}},
      {"5", {"5"}},
      {"'-2147483648'", {"-2147483648"}},
      {"'2147483648'", {}},
      {"'4'", {}},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Column("SELECT id FROM t WHERE id = " + c.literal), c.rows) << c.literal;
    EXPECT_EQ(Column("SELECT id FROM t WHERE " + c.literal + " = oid"), c.rows) << c.literal;
  }
}

// Narrow pages make a deep tree out of a few thousand rows, with interior
// cells that are rows themselves and payloads on overflow pages.
std::unique_ptr<writer::Database> DeepTable(ByteOrder order) {
  writer::Options options;
  options.byte_order = order;
  options.layout.page_fill = 0.2;
  auto file = std::make_unique<writer::Database>(options);
  EXPECT_TRUE(file->CreateTable("CREATE TABLE t(id INTEGER PRIMARY KEY, k INTEGER, pad)").ok());
  EXPECT_TRUE(file->CreateIndex("CREATE INDEX tk ON t(k)").ok());
  for (int i = 1; i <= 3000; ++i) {
    const std::string pad(i % 7 == 0 ? 1500 : 20, static_cast<char>('a' + i % 26));
    EXPECT_TRUE(file->Insert("t", Row{std::nullopt, std::to_string(i % 100), pad}).ok());
  }
  return file;
}

TEST_F(QueryTest, DeepTreesInEitherByteOrder) {
  for (ByteOrder order : {ByteOrder::kLittleEndian, ByteOrder::kBigEndian}) {
    Open(*DeepTable(order));
    const Strings all = Column("SELECT id FROM t");
    ASSERT_EQ(all.size(), 3000u);
    for (size_t i = 0; i < all.size(); ++i)
      ASSERT_EQ(all[i], std::to_string(i + 1));
    EXPECT_EQ(Column("SELECT id FROM t WHERE id = '2999'"), (Strings{"2999"}));
    const Strings sevens = Column("SELECT id FROM t WHERE k = '07'");
    ASSERT_EQ(sevens.size(), 30u);
    EXPECT_EQ(sevens.front(), "7");
    EXPECT_EQ(sevens.back(), "2907");
    EXPECT_EQ(Column("SELECT pad FROM t WHERE id = 7")[0], std::string(1500, 'h'));
  }
}

struct Outer {
  sqlite* db;
  int rows = 0;
  int inner_rows = 0;
  int stop_after = -1;
};

TEST_F(QueryTest, NestedStatementsAndAbortsInADeepTree) {
  Open(*DeepTable(ByteOrder::kLittleEndian));
  // Every outer row looks itself up again, by rowid and through the index.
  Outer outer{db_};
  auto callback = [](void* arg, int, char** argv, char**) {
    auto* o = static_cast<Outer*>(arg);
    ++o->rows;
    auto count = [](void* n, int, char**, char**) {
      ++*static_cast<int*>(n);
      return 0;
    };
    sqlite_exec_printf(o->db, "SELECT * FROM t WHERE id = %s; SELECT * FROM t WHERE k = %Q", count,
                       &o->inner_rows, nullptr, argv[0], argv[1]);
    return o->stop_after >= 0 && o->rows >= o->stop_after ? 1 : 0;
  };
  ASSERT_EQ(sqlite_exec(db_, "SELECT id, k FROM t WHERE id < 500", callback, &outer, nullptr),
            SQLITE_OK);
  EXPECT_EQ(outer.rows, 499);
  EXPECT_EQ(outer.inner_rows, 499 * 31);

  Outer stopped{db_, 0, 0, 3};
  char* error = nullptr;
  EXPECT_EQ(
      sqlite_exec(db_, "SELECT id, k FROM t; SELECT id, k FROM t", callback, &stopped, &error),
      SQLITE_ABORT);
  EXPECT_EQ(error, nullptr);
  EXPECT_EQ(stopped.rows, 3);
}

// One prepared statement serves every text of its shape, at every level of
// nesting at once: each run reads its own literals, doubled quotes and all.
TEST_F(QueryTest, EachRunOfACachedStatementReadsItsOwnLiterals) {
  writer::Database file;
  ASSERT_TRUE(file.CreateTable("CREATE TABLE t(s TEXT)").ok());
  for (const char* value : {"it's", "plain", "x'y", "''", "q"})
    ASSERT_TRUE(file.Insert("t", Row{value}).ok());
  Open(file);
  EXPECT_EQ(Column("SELECT s FROM t WHERE s = 'plain'"), (Strings{"plain"}));
  EXPECT_EQ(Column("SELECT s FROM t WHERE s = 'it''s'"), (Strings{"it's"}));
  EXPECT_EQ(Column("SELECT s FROM t WHERE s = ''''''"), (Strings{"''"}));
  EXPECT_EQ(Column("SELECT s FROM t WHERE s = 'q'"), (Strings{"q"}));

  // Every outer row runs the outer statement's shape again with its own
  // value, while the outer run goes on with its literal.
  struct Counts {
    sqlite* db;
    Strings outer;
    Strings inner;
  } counts{db_, {}, {}};
  auto callback = [](void* arg, int, char** argv, char**) {
    auto* c = static_cast<Counts*>(arg);
    c->outer.push_back(argv[0]);
    int rows = 0;
    sqlite_exec_printf(
        c->db, "SELECT s FROM t WHERE s <> %Q",
        [](void* n, int, char**, char**) {
          ++*static_cast<int*>(n);
          return 0;
        },
        &rows, nullptr, argv[0]);
    c->inner.push_back(std::to_string(rows));
    return 0;
  };
  ASSERT_EQ(sqlite_exec(db_, "SELECT s FROM t WHERE s <> 'x''y'", callback, &counts, nullptr),
            SQLITE_OK);
  EXPECT_EQ(counts.outer, (Strings{"it's", "plain", "''", "q"}));
  EXPECT_EQ(counts.inner, (Strings{"4", "4", "4", "4"}));
}

TEST_F(QueryTest, ASchemaChangedByAnotherWriterIsReloaded) {
  writer::Database file;
  ASSERT_TRUE(file.CreateTable("CREATE TABLE a(x)").ok());
  ASSERT_TRUE(file.Insert("a", Row{"1"}).ok());
  Open(file);
  EXPECT_EQ(Column("SELECT * FROM b"), (Strings{"rc 1"}));
  // Rewritten in place, as a writer in another process changes the file.
  ASSERT_TRUE(file.CreateTable("CREATE TABLE b(y)").ok());
  ASSERT_TRUE(file.Insert("b", Row{"2"}).ok());
  const std::vector<uint8_t> bytes = file.Bytes();
  std::ofstream(path_, std::ios::binary | std::ios::trunc)
      .write(reinterpret_cast<const char*>(bytes.data()),
             static_cast<std::streamsize>(bytes.size()));
  EXPECT_EQ(Column("SELECT * FROM b"), (Strings{"2"}));
  EXPECT_EQ(Column("SELECT * FROM a"), (Strings{"1"}));
}

}  // namespace
}  // namespace sqlite2
