// The writer as a whole: schemas, rowids and indices as the library makes
// them, checked against the library's own files.
#include "tests/sqlite2_writer/database.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "sqlite2/format/keys.h"
#include "sqlite2/format/page.h"
#include "sqlite2/format/record.h"
#include "tests/sqlite2_writer/script.h"
#include "tests/sqlite2_writer/engine_reader.h"
#include "tests/sqlite2_writer/image_inspector.h"
#include "tests/sqlite2_writer/scratch_dir.h"

namespace sqlite2::writer {
namespace {

using Entries = std::vector<std::pair<std::string, std::string>>;

Entries Tree(const std::vector<uint8_t>& image, PageNumber root) {
  Entries entries;
  const Status status = testing::ReadTree(image, root, &entries);
  EXPECT_TRUE(status.ok()) << status.message();
  return entries;
}

std::vector<Value> Decode(std::string_view record, size_t columns) {
  format::RecordValues values;
  EXPECT_TRUE(format::DecodeRecord(record, columns, &values).ok());
  std::vector<Value> out;
  for (const auto& value : values)
    out.push_back(value ? Value(std::string(*value)) : std::nullopt);
  return out;
}

struct MasterRow {
  std::string type, name, table;
  PageNumber root;
  Value sql;
};

std::vector<MasterRow> Master(const std::vector<uint8_t>& image) {
  std::vector<MasterRow> rows;
  for (const auto& [key, record] : Tree(image, 2)) {
    const std::vector<Value> v = Decode(record, 5);
    rows.push_back({*v[0], *v[1], *v[2], static_cast<PageNumber>(std::stoul(*v[3])), v[4]});
  }
  return rows;
}

// Rows of one table: rowid and every value.
std::vector<std::pair<int32_t, std::vector<Value>>> Rows(const std::vector<uint8_t>& image,
                                                         PageNumber root, size_t columns) {
  std::vector<std::pair<int32_t, std::vector<Value>>> rows;
  for (const auto& [key, record] : Tree(image, root)) {
    rows.emplace_back(format::DecodeRowidKey(key.data()), Decode(record, columns));
  }
  return rows;
}

// Options that match the library's file: its byte order and format.
Options OptionsOf(const std::vector<uint8_t>& image) {
  Options options;
  options.byte_order = testing::ImageInspector(image).byte_order();
  options.file_format = format::Load32(&image[64], options.byte_order);
  return options;
}

// Every tree of `rebuilt` holds what the same tree of `original` holds:
// sqlite_master records (root pages included), table records under their
// rowids, and every index key, automatic ones too.
void ExpectSameTrees(const std::vector<uint8_t>& rebuilt, const std::vector<uint8_t>& original) {
  EXPECT_EQ(Tree(rebuilt, 2), Tree(original, 2));
  for (const MasterRow& row : Master(original)) {
    if (row.root == 0)
      continue;
    EXPECT_EQ(Tree(rebuilt, row.root), Tree(original, row.root)) << row.name;
  }
  EXPECT_EQ(format::Load32(&rebuilt[64], OptionsOf(rebuilt).byte_order),
            *OptionsOf(original).file_format);
}

std::vector<uint8_t> FixtureFile(const std::string& name) {
  return testing::ReadBytes(std::string(QBFA_FIXTURES_DIR) + "/" + name);
}

class FixtureTest : public ::testing::TestWithParam<const char*> {};

// Rebuilt from its own schema and rows, a fixture has the library's trees.
TEST_P(FixtureTest, RebuildingFromTheFileGivesTheLibrarysTrees) {
  const std::vector<uint8_t> original = FixtureFile(std::string(GetParam()) + ".db");
  Database clone(OptionsOf(original));
  const std::vector<MasterRow> master = Master(original);
  for (const MasterRow& row : master) {
    Status status;
    if (row.type == "table")
      status = clone.CreateTable(*row.sql);
    if (row.type == "index" && row.sql)
      status = clone.CreateIndex(*row.sql);
    if (row.type == "view")
      status = clone.CreateView(*row.sql);
    ASSERT_TRUE(status.ok()) << row.name << ": " << status.message();
  }
  for (const MasterRow& row : master) {
    if (row.type != "table")
      continue;
    for (const auto& [key, record] : Tree(original, row.root)) {
      const size_t width = format::RecordOffsetWidth(record.size());
      const size_t columns = static_cast<uint8_t>(record[0]) / width - 1;
      const Status status = clone.InsertWithRowid(row.name, format::DecodeRowidKey(key.data()),
                                                  Decode(record, columns));
      ASSERT_TRUE(status.ok()) << row.name << ": " << status.message();
    }
  }
  ExpectSameTrees(clone.Bytes(), original);
}

// Run from the script that made it, a fixture has the library's trees.
TEST_P(FixtureTest, RunningItsScriptGivesTheLibrarysTrees) {
  const std::vector<uint8_t> original = FixtureFile(std::string(GetParam()) + ".db");
  const std::vector<uint8_t> script = FixtureFile(std::string(GetParam()) + ".sql");
  Database db(OptionsOf(original));
  const Status status =
      RunScript(std::string_view(reinterpret_cast<const char*>(script.data()), script.size()), &db);
  ASSERT_TRUE(status.ok()) << status.message();
  ExpectSameTrees(db.Bytes(), original);
}

INSTANTIATE_TEST_SUITE_P(Fixtures, FixtureTest,
                         ::testing::Values("basic", "empty_tables", "font_edges", "indexed",
                                           "master_only", "medium", "no_fonts", "no_rel",
                                           "record_sizes", "record_sizes_be", "rel_edges",
                                           "set_names", "text_font_id", "untyped_ids"));

TEST(Script, RefusesWhatItCannotRead) {
  const struct {
    const char* script;
    const char* message;
  } cases[] = {
      {"CREATE TABLE t(a); INSERT INTO t VALUES(1+1);", "near \"+\": syntax error"},
      {"CREATE TABLE t(a); INSERT INTO t VALUES(1) x;", "near \"x\": syntax error"},
      {"CREATE TABLE t(a); INSERT INTO t(a) VALUES(1);", "near \"(\": syntax error"},
      {"CREATE TABLE t(a); UPDATE t SET a = 1;", "near \"UPDATE\": syntax error"},
      {"CREATE TRIGGER x AFTER INSERT ON t BEGIN SELECT 1; END;", "near \"TRIGGER\": syntax error"},
      {"CREATE TABLE t(a); INSERT INTO t VALUES(#);", "unrecognized token: \"#\""},
      {"INSERT INTO nosuch VALUES(1);", "no such table: nosuch"},
  };
  for (const auto& c : cases) {
    Database db;
    const Status status = RunScript(c.script, &db);
    EXPECT_EQ(status.rc, SQLITE_ERROR) << c.script;
    EXPECT_EQ(status.message(), c.message) << c.script;
  }
}

TEST(Script, StoresLiteralsAsTheLibraryDoes) {
  Database db;
  ASSERT_TRUE(RunScript("begin; CREATE TABLE t(a, b, c) -- note\n ; "
                        "INSERT INTO t VALUES(-05, +1.50, 'it''s');"
                        "INSERT INTO \"t\" VALUES(1e3, \"dq\", NULL); COMMIT",
                        &db)
                  .ok());
  const std::vector<uint8_t> image = db.Bytes();
  EXPECT_EQ(Master(image)[0].sql, "CREATE TABLE t(a, b, c)");
  using R = std::vector<std::pair<int32_t, std::vector<Value>>>;
  EXPECT_EQ(Rows(image, 3, 3), (R{{1, {"-05", "1.50", "it's"}}, {2, {"1e3", "dq", std::nullopt}}}));
}

// The schema rows the format notes decoded from a file the library wrote.
TEST(Schema, RowsAndRootPagesComeOutAsTheLibraryWritesThem) {
  Database db;
  for (const char* sql :
       {"CREATE TABLE items(id INTEGER PRIMARY KEY, name TEXT, size INTEGER, note);",
        "CREATE INDEX items_size ON items(size)",
        "  CREATE TABLE u(a TEXT UNIQUE, b NUMERIC, PRIMARY KEY(b))  ",
        "CREATE VIEW v AS SELECT name FROM items",
        "CREATE TABLE \"Odd Name\"('col one' text, [col two] INT, \"c3\" CHAR (3) NOT NULL "
        "DEFAULT 'x', UNIQUE('col one'))",
        "CREATE UNIQUE INDEX fi ON items(name, size)", "create index LowerIdx on items(note)"}) {
    const std::string_view text(sql);
    const Status status = text.find("INDEX") != text.npos || text.find("index") != text.npos
                              ? db.CreateIndex(sql)
                          : text.find("VIEW") != text.npos ? db.CreateView(sql)
                                                           : db.CreateTable(sql);
    ASSERT_TRUE(status.ok()) << sql << ": " << status.message();
  }
  const std::vector<uint8_t> image = db.Bytes();
  const std::vector<MasterRow> master = Master(image);
  const std::vector<MasterRow> expected = {
      {"table", "items", "items", 3,
       "CREATE TABLE items(id INTEGER PRIMARY KEY, name TEXT, size INTEGER, note)"},
      {"index", "items_size", "items", 4, "CREATE INDEX items_size ON items(size)"},
      {"table", "u", "u", 7, "CREATE TABLE u(a TEXT UNIQUE, b NUMERIC, PRIMARY KEY(b))"},
      {"index", "(u autoindex 1)", "u", 5, std::nullopt},
      {"index", "(u autoindex 2)", "u", 6, std::nullopt},
      {"view", "v", "v", 0, "CREATE VIEW v AS SELECT name FROM items"},
      {"table", "Odd Name", "Odd Name", 9,
       "CREATE TABLE \"Odd Name\"('col one' text, [col two] INT, \"c3\" CHAR (3) NOT NULL "
       "DEFAULT 'x', UNIQUE('col one'))"},
      {"index", "(Odd Name autoindex 1)", "Odd Name", 8, std::nullopt},
      {"index", "fi", "items", 10, "CREATE UNIQUE INDEX fi ON items(name, size)"},
      {"index", "LowerIdx", "items", 11, "create index LowerIdx on items(note)"},
  };
  ASSERT_EQ(master.size(), expected.size());
  for (size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(master[i].type, expected[i].type) << i;
    EXPECT_EQ(master[i].name, expected[i].name) << i;
    EXPECT_EQ(master[i].table, expected[i].table) << i;
    EXPECT_EQ(master[i].root, expected[i].root) << i;
    EXPECT_EQ(master[i].sql, expected[i].sql) << i;
  }

  // Every page belongs to exactly one tree, empty ones included.
  testing::ImageInspector inspector(image);
  inspector.Walk(2);
  for (const MasterRow& row : master) {
    if (row.root != 0)
      inspector.Walk(row.root);
  }
  inspector.ExpectEveryPageUsedOnce();
  EXPECT_EQ(image.size(), 11u * 1024);
}

TEST(Schema, CookieMovesWithEveryCreateAndNeverWithRows) {
  auto cookie = [](const Database& db) {
    const std::vector<uint8_t> image = db.Bytes();
    return format::Load32(&image[60], format::ByteOrder::kLittleEndian);
  };
  Database db;
  EXPECT_EQ(cookie(db), 0u);
  uint32_t last = 0;
  for (const char* sql : {"CREATE TABLE a(x)", "CREATE TABLE b(y UNIQUE)"}) {
    ASSERT_TRUE(db.CreateTable(sql).ok());
    const uint32_t now = cookie(db);
    EXPECT_GE(now - last, 1u);
    EXPECT_LE(now - last, 256u);
    last = now;
  }
  ASSERT_TRUE(db.Insert("a", {"1"}).ok());
  EXPECT_EQ(cookie(db), last);
}

struct InsertStep {
  const char* table;
  std::optional<int32_t> rowid;
  std::vector<Value> row;
  int rc;
  const char* message;
};

// Rowids, INTEGER PRIMARY KEY values and what the library refuses.
TEST(Rows, RowidsAndRefusalsFollowTheLibrary) {
  Database db;
  ASSERT_TRUE(db.CreateTable("CREATE TABLE k(id INTEGER PRIMARY KEY, name TEXT UNIQUE)").ok());
  ASSERT_TRUE(db.CreateTable("CREATE TABLE p(a, b)").ok());
  ASSERT_TRUE(db.CreateIndex("CREATE UNIQUE INDEX pab ON p(a, b)").ok());
  const InsertStep steps[] = {
      {"k", {}, {std::nullopt, "first"}, SQLITE_OK, ""},
      {"k", {}, {"05", "five"}, SQLITE_OK, ""},
      {"k", {}, {std::nullopt, "six"}, SQLITE_OK, ""},
      {"k", {}, {"-2147483648", "lowest"}, SQLITE_OK, ""},
      {"k", {}, {"1e1", "ten"}, SQLITE_OK, ""},
      {"k", {}, {"5", "again"}, SQLITE_CONSTRAINT, "PRIMARY KEY must be unique"},
      {"k", {}, {"7", "five"}, SQLITE_CONSTRAINT, "column name is not unique"},
      {"k", {}, {"2.5", "x"}, SQLITE_MISMATCH, "datatype mismatch"},
      {"k", 99, {std::nullopt, "explicit"}, SQLITE_OK, ""},
      {"k", {}, {std::nullopt, std::nullopt}, SQLITE_OK, ""},
      {"k", {}, {std::nullopt, std::nullopt}, SQLITE_OK, ""},
      {"k", {}, {"x"}, SQLITE_ERROR, "table k has 2 columns but 1 values were supplied"},
      {"nosuch", {}, {}, SQLITE_ERROR, "no such table: nosuch"},
      {"p", -7, {"1", "x"}, SQLITE_OK, ""},
      {"p", {}, {"1.0", "x"}, SQLITE_CONSTRAINT, "columns a, b are not unique"},
      {"p", {}, {"1", std::nullopt}, SQLITE_OK, ""},
      {"p", {}, {"1", std::nullopt}, SQLITE_OK, ""},
      {"p", {}, {std::string(1048576, 'x'), ""}, SQLITE_TOOBIG, "too much data for one table row"},
  };
  for (const InsertStep& step : steps) {
    const Status status = step.rowid ? db.InsertWithRowid(step.table, *step.rowid, step.row)
                                     : db.Insert(step.table, step.row);
    EXPECT_EQ(status.rc, step.rc) << step.table << " " << step.row.size();
    if (step.rc != SQLITE_OK) {
      EXPECT_EQ(status.message(), step.message);
    }
  }

  const std::vector<uint8_t> image = db.Bytes();
  using R = std::vector<std::pair<int32_t, std::vector<Value>>>;
  EXPECT_EQ(Rows(image, 4, 2), (R{{INT32_MIN, {std::nullopt, "lowest"}},
                                  {1, {std::nullopt, "first"}},
                                  {5, {std::nullopt, "five"}},
                                  {6, {std::nullopt, "six"}},
                                  {10, {std::nullopt, "ten"}},
                                  {99, {std::nullopt, "explicit"}},
                                  {100, {std::nullopt, std::nullopt}},
                                  {101, {std::nullopt, std::nullopt}}}));
  EXPECT_EQ(Rows(image, 5, 2),
            (R{{-7, {"1", "x"}}, {-6, {"1", std::nullopt}}, {-5, {"1", std::nullopt}}}));
}

// Which columns index as numbers: by declared type, COLLATE, and in a
// format 3 file every column.
TEST(Indices, KeysFollowTheColumnsClassAndTheFileFormat) {
  const struct {
    const char* column;
    std::optional<uint32_t> format;
    const char* first_field;
  } cases[] = {
      {"v INTEGER", {}, "b0G1b"},
      {"v", {}, "b0G1b"},
      {"v TEXT", {}, "c05"},
      {"v VARCHAR(9)", {}, "c05"},
      {"v TEXT", 3u, "b0G1b"},
      {"v TEXT COLLATE NUMERIC", {}, "b0G1b"},
      {"v INTEGER COLLATE TEXT", {}, "c05"},
  };
  for (const auto& c : cases) {
    Options options;
    options.file_format = c.format;
    Database db(options);
    ASSERT_TRUE(db.CreateTable(std::string("CREATE TABLE t(") + c.column + ")").ok());
    ASSERT_TRUE(db.CreateIndex("CREATE INDEX ti ON t(v)").ok());
    ASSERT_TRUE(db.Insert("t", {"05"}).ok());
    ASSERT_TRUE(db.Insert("t", {std::nullopt}).ok());
    const Entries keys = Tree(db.Bytes(), 4);
    ASSERT_EQ(keys.size(), 2u) << c.column;
    EXPECT_EQ(keys[0].first, std::string("a\0", 2) + format::EncodeRowidKey(2)) << c.column;
    EXPECT_EQ(keys[1].first, std::string(c.first_field) + '\0' + format::EncodeRowidKey(1))
        << c.column;
  }
}

TEST(Files, WriteFileReplacesTheFileWhole) {
  testing::ScratchDir dir;
  const std::string path = dir.File("fonts.db");
  testing::WriteBytes(path, std::vector<uint8_t>(5000, 0xee));
  Options options;
  options.byte_order = format::ByteOrder::kBigEndian;
  Database db(options);
  ASSERT_TRUE(db.CreateTable("CREATE TABLE t(x)").ok());
  ASSERT_TRUE(db.WriteFile(path).ok());
  EXPECT_EQ(testing::ReadBytes(path), db.Bytes());
  EXPECT_EQ(db.WriteFile(dir.File("missing/fonts.db")).rc, SQLITE_IOERR);
}

}  // namespace
}  // namespace sqlite2::writer
