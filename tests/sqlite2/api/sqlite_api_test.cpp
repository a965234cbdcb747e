// The contracts of the C interface: opening, what sqlite_exec() hands the
// callback, aborts, several statements, nested statements, error texts.
#include "sqlite2/sqlite.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

namespace {

const std::string kBasic = std::string(QBFA_FIXTURES_DIR) + "/basic.db";

class ScratchDir {
 public:
  ScratchDir()
      : path_(std::filesystem::temp_directory_path() /
              ("sqlite_api_test_" + std::to_string(::getpid()))) {
    std::filesystem::create_directories(path_);
  }
  ~ScratchDir() { std::filesystem::remove_all(path_); }
  std::string File(const std::string& name, const std::string& bytes) const {
    const std::string file = (path_ / name).string();
    std::ofstream(file, std::ios::binary) << bytes;
    return file;
  }
  std::string path(const std::string& name) const { return (path_ / name).string(); }

 private:
  std::filesystem::path path_;
};

struct OpenResult {
  bool opened = false;
  std::string error;
};

OpenResult TryOpen(const std::string& path) {
  char* message = nullptr;
  sqlite* db = sqlite_open(path.c_str(), 0, &message);
  OpenResult result{db != nullptr, message != nullptr ? message : ""};
  sqlite_freemem(message);
  sqlite_close(db);
  return result;
}

TEST(SqliteOpenTest, WhatOpensAndHowOpeningFails) {
  ScratchDir dir;
  const std::string page_of_text(2048, 'x');
  std::string sqlite3_header = "SQLite format 3";
  sqlite3_header.push_back('\0');
  sqlite3_header.resize(4096, '\0');
  const struct {
    std::string path;
    OpenResult expected;
  } cases[] = {
      {kBasic, {true, ""}},
      {dir.File("zero", ""), {true, ""}},
      {dir.File("short", "garbage shorter than a page"), {true, ""}},
      {dir.File("text", page_of_text), {false, "file is encrypted or is not a database"}},
      {dir.File("v3", sqlite3_header), {false, "file is encrypted or is not a database"}},
      {dir.path(""), {false, "disk I/O error"}},
      {dir.path("missing.db"), {false, "unable to open database: " + dir.path("missing.db")}},
      {"", {true, ""}},
  };
  for (const auto& c : cases) {
    const OpenResult result = TryOpen(c.path);
    EXPECT_EQ(result.opened, c.expected.opened) << c.path;
    EXPECT_EQ(result.error, c.expected.error) << c.path;
  }
  // Opening never creates the file.
  EXPECT_FALSE(std::filesystem::exists(dir.path("missing.db")));
}

struct Rows {
  std::vector<std::vector<std::optional<std::string>>> values;
  std::vector<std::string> names_and_types;
  bool argv_terminated = true;
  int stop_after = -1;
};

int Collect(void* arg, int argc, char** argv, char** names) {
  auto* rows = static_cast<Rows*>(arg);
  std::vector<std::optional<std::string>> row;
  for (int i = 0; i < argc; ++i)
    row.push_back(argv[i] != nullptr ? std::optional<std::string>(argv[i]) : std::nullopt);
  rows->values.push_back(row);
  rows->argv_terminated = rows->argv_terminated && argv[argc] == nullptr;
  rows->names_and_types.clear();
  for (int i = 0; i < 2 * argc; ++i)
    rows->names_and_types.push_back(names[i] != nullptr ? names[i] : "(NULL)");
  return rows->stop_after >= 0 && static_cast<int>(rows->values.size()) >= rows->stop_after;
}

class SqliteExecTest : public ::testing::Test {
 protected:
  void SetUp() override {
    db_ = sqlite_open(kBasic.c_str(), 0, nullptr);
    ASSERT_NE(db_, nullptr);
  }
  void TearDown() override { sqlite_close(db_); }

  int Exec(const char* sql, Rows* rows, std::optional<std::string>* error) {
    char* message = nullptr;
    const int rc = sqlite_exec(db_, sql, Collect, rows, &message);
    *error = message != nullptr ? std::optional<std::string>(message) : std::nullopt;
    sqlite_freemem(message);
    return rc;
  }

  sqlite* db_ = nullptr;
};

TEST_F(SqliteExecTest, CallbackGetsValuesNamesAndTypes) {
  Rows rows;
  std::optional<std::string> error;
  ASSERT_EQ(Exec("SELECT id, set_comment AS c, 'lit', 5, NULL, rowid FROM sets WHERE id = 3", &rows,
                 &error),
            SQLITE_OK);
  ASSERT_EQ(rows.values.size(), 1u);
  EXPECT_EQ(rows.values[0], (std::vector<std::optional<std::string>>{"3", std::nullopt, "lit", "5",
                                                                     std::nullopt, "3"}));
  EXPECT_TRUE(rows.argv_terminated);
  EXPECT_EQ(rows.names_and_types,
            (std::vector<std::string>{"id", "c", "'lit'", "5", "NULL", "rowid", "INTEGER", "TEXT",
                                      "TEXT", "NUMERIC", "TEXT", "INTEGER"}));
}

TEST_F(SqliteExecTest, ResultCodesAndMessages) {
  const struct {
    const char* sql;
    int rc;
    std::optional<std::string> error;
    size_t rows;
  } cases[] = {
      {"SELECT * FROM nosuch", SQLITE_ERROR, "no such table: nosuch", 0},
      {"SELECT nosuch FROM sets", SQLITE_ERROR, "no such column: nosuch", 0},
      {"SELECT * FROM sets s WHERE sets.id = 1", SQLITE_ERROR, "no such column: sets.id", 0},
      {"SELECT s.* FROM sets s WHERE s.id = 1", SQLITE_OK, std::nullopt, 1},
      {"SELECT *", SQLITE_ERROR, "no tables specified", 0},
      {"   ;  ", SQLITE_OK, std::nullopt, 0},
      // Rows of earlier statements stay delivered; later ones do not run.
      {"SELECT * FROM sets WHERE id < 3; SELECT 2; SELECT nosuch FROM sets; SELECT 3;",
       SQLITE_ERROR, "no such column: nosuch", 3},
      {"SELECT * FROM sets WHERE id = 1; garbage", SQLITE_ERROR, "near \"garbage\": syntax error",
       1},
      // A double-quoted word names a column when there is one, else it is text.
      {"SELECT * FROM sets WHERE set_displayName = \"Display\"", SQLITE_OK, std::nullopt, 1},
      {"SELECT * FROM sets WHERE \"id\" = '2'", SQLITE_OK, std::nullopt, 1},
      {"SELECT * FROM sets WHERE set_displayName = 'Displ", SQLITE_OK, std::nullopt, 0},
  };
  for (const auto& c : cases) {
    Rows rows;
    std::optional<std::string> error;
    EXPECT_EQ(Exec(c.sql, &rows, &error), c.rc) << c.sql;
    EXPECT_EQ(error, c.error) << c.sql;
    EXPECT_EQ(rows.values.size(), c.rows) << c.sql;
  }
}

TEST_F(SqliteExecTest, EmptySqlLeavesTheMessageAlone) {
  char sentinel[] = "untouched";
  char* message = sentinel;
  EXPECT_EQ(sqlite_exec(db_, "", Collect, nullptr, &message), SQLITE_OK);
  EXPECT_EQ(message, sentinel);
  EXPECT_EQ(sqlite_exec(db_, nullptr, Collect, nullptr, &message), SQLITE_OK);
  EXPECT_EQ(message, sentinel);
  EXPECT_EQ(sqlite_exec(db_, ";", Collect, nullptr, &message), SQLITE_OK);
  EXPECT_EQ(message, nullptr);
  // No callback: the statement still runs.
  EXPECT_EQ(sqlite_exec(db_, "SELECT * FROM fonts", nullptr, nullptr, nullptr), SQLITE_OK);
}

TEST_F(SqliteExecTest, CallbackAbortStopsEverything) {
  Rows rows;
  rows.stop_after = 2;
  std::optional<std::string> error = "not reset";
  EXPECT_EQ(Exec("SELECT * FROM sets; SELECT * FROM fonts;", &rows, &error), SQLITE_ABORT);
  EXPECT_EQ(error, std::nullopt);
  EXPECT_EQ(rows.values.size(), 2u);
}

struct Nested {
  sqlite* db;
  std::vector<std::string> pairs;
  int inner_rc = SQLITE_OK;
};

int CollectFont(void* arg, int, char** argv, char**) {
  static_cast<std::vector<std::string>*>(arg)->push_back(argv[1] != nullptr ? argv[1] : "NULL");
  return 0;
}

// The plug-in's shape: a font lookup inside the rel scan, same handle.
int LookUpChild(void* arg, int, char** argv, char**) {
  auto* nested = static_cast<Nested*>(arg);
  std::vector<std::string> fonts;
  const int rc = sqlite_exec_printf(nested->db, "SELECT * FROM fonts WHERE id = '%s';", CollectFont,
                                    &fonts, nullptr, argv[3]);
  if (rc != SQLITE_OK)
    nested->inner_rc = rc;
  for (const std::string& font : fonts)
    nested->pairs.push_back(std::string(argv[0]) + ":" + font);
  return 0;
}

TEST_F(SqliteExecTest, StatementsRunInsideACallbackOnTheSameHandle) {
  Nested nested{db_, {}};
  ASSERT_EQ(
      sqlite_exec(db_, "SELECT * FROM rel WHERE childtype = 1", LookUpChild, &nested, nullptr),
      SQLITE_OK);
  EXPECT_EQ(nested.inner_rc, SQLITE_OK);
  EXPECT_GT(nested.pairs.size(), 10u);
  // The outer scan went on to its end: it saw the same rows as on its own.
  Rows alone;
  std::optional<std::string> error;
  ASSERT_EQ(Exec("SELECT * FROM rel WHERE childtype = 1", &alone, &error), SQLITE_OK);
  size_t outer_rows_with_fonts = 0;
  for (const auto& row : alone.values)
    outer_rows_with_fonts += row[3].has_value();
  EXPECT_EQ(nested.pairs.size(), outer_rows_with_fonts);
}

TEST(SqliteErrorStringTest, GenericTexts) {
  EXPECT_STREQ(sqlite_error_string(SQLITE_CORRUPT), "database disk image is malformed");
  EXPECT_STREQ(sqlite_error_string(SQLITE_NOTADB), "file is encrypted or is not a database");
  EXPECT_STREQ(sqlite_error_string(SQLITE_ERROR), "SQL logic error or missing database");
  EXPECT_STREQ(sqlite_error_string(27), "unknown error");
  EXPECT_STREQ(sqlite_error_string(-1), "unknown error");
  EXPECT_STREQ(sqlite_libversion(), sqlite_version);
}

}  // namespace
