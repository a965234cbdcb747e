// Font lookups run the way the plug-in runs them - nested inside another
// statement, all under one lock, so that a column without an index is
// answered from an automatic index - give the real library's rows, order
// and errors.
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "cli/json_row.h"
#include "sqlite2/sqlite.h"
#include "tests/sqlite2_writer/database.h"
#include "tests/sqlite2/fixture_dump.h"
#include "tests/sqlite2_writer/scratch_dir.h"

namespace sqlite2::testing {
namespace {

struct Answer {
  int rc = 0;
  std::string error;  // "null" when there is none
  std::vector<std::string> rows;
};

int CollectJsonRow(void* answer, int argc, char** argv, char** names) {
  static_cast<Answer*>(answer)->rows.push_back(JsonRow(argc, argv, names));
  return 0;
}

Answer Lookup(sqlite* db, const char* format, const char* value) {
  Answer answer;
  char* error = nullptr;
  answer.rc = sqlite_exec_printf(db, format, CollectJsonRow, &answer, &error, value);
  answer.error = error ? JsonString(error) : "null";
  sqlite_freemem(error);
  return answer;
}

// Runs `body` inside the row callback of another statement, as the plug-in
// runs its lookups inside the scan of rel.
template <typename Body>
void Nested(sqlite* db, Body body) {
  const int rc = sqlite_exec(
      db, "SELECT 1;",
      [](void* arg, int, char**, char**) {
        (*static_cast<Body*>(arg))();
        return 0;
      },
      &body, nullptr);
  EXPECT_EQ(rc, SQLITE_OK);
}

std::string Unquote(const std::string& json) {
  return json.substr(1, json.size() - 2);
}

class NestedFixtureLookups : public ::testing::TestWithParam<std::string> {};

TEST_P(NestedFixtureLookups, MatchTheLibrary) {
  const std::vector<std::string> lines = ReadLines(FixturePath(GetParam(), ".lookups.jsonl"));
  sqlite* db = sqlite_open(FixturePath(GetParam(), ".db").c_str(), 0, nullptr);
  if (db == nullptr)
    GTEST_SKIP() << "the library could not open it either";
  Nested(db, [&] {
    for (const std::string& line : lines) {
      const std::string raw_id = RawField(line, "id");
      SCOPED_TRACE("id " + raw_id);
      std::optional<std::string> id;
      if (raw_id != "null") {
        size_t pos = 0;
        id = DecodeJsonString(raw_id, &pos);
      }
      const Answer answer =
          Lookup(db, "SELECT * FROM fonts WHERE id = '%s';", id ? id->c_str() : nullptr);
      const std::string outcome = Unquote(RawField(line, "outcome"));
      if (outcome == "skipped") {
        // Never run by the library: any clean answer will do.
        EXPECT_TRUE(answer.rc == SQLITE_OK || answer.rc == SQLITE_ERROR ||
                    answer.rc == SQLITE_CORRUPT)
            << answer.rc;
        continue;
      }
      if (LibraryDidNotFinish(outcome)) {
        // Rows may come before the damage; the end must be the error.
        EXPECT_EQ(answer.rc, SQLITE_CORRUPT) << outcome;
        EXPECT_EQ(answer.error, "\"database disk image is malformed\"");
        continue;
      }
      std::string rows;
      for (const std::string& row : answer.rows)
        rows += (rows.empty() ? "" : ", ") + row;
      EXPECT_EQ(RawField(line, "rc"), std::to_string(answer.rc));
      EXPECT_EQ(RawField(line, "error"), answer.error);
      EXPECT_EQ(line.substr(line.find("\"rows\": ")),
                "\"rows\": [" + rows + "], \"outcome\": \"" + outcome + "\"}");
    }
  });
  sqlite_close(db);
}

INSTANTIATE_TEST_SUITE_P(Fixtures, NestedFixtureLookups, ::testing::ValuesIn(FixtureNames()),
                         [](const auto& info) { return info.param; });

// An automatic index answers exactly what a scan answers, row for row and in
// the same order, for every way two values can be equal or not: in text
// and numeric columns, against quoted and unquoted literals, either side
// of the '='.
TEST(AutomaticIndex, AnswersWhatAScanAnswers) {
  writer::testing::ScratchDir dir;
  const std::string path = dir.File("values.db");
  writer::Database file;
  ASSERT_TRUE(file.CreateTable("CREATE TABLE t(num INTEGER, txt TEXT, untyped, pad)").ok());
  const char* const kValues[] = {"5",
                                 "05",
                                 " 5",
                                 "5.0",
                                 "1e1",
                                 "10",
                                 "abc",
                                 "",
                                 "+5",
                                 "5.",
                                 ".5",
                                 "0.5",
                                 "5e0",
                                 "-0",
                                 "0",
                                 "5 ",
                                 "0.0",
                                 "1e0",
                                 "01",
                                 "1.0",
                                 "9007199254740993",
                                 "9007199254740992",
                                 "1e999",
                                 "0e99999",
                                 "ABC",
                                 "a'b"};
  int rowid = 1000;
  for (const char* value : kValues) {
    // Rowids out of insertion order, so scan order is not insertion order.
    rowid = (rowid * 7919) % 10007;
    ASSERT_TRUE(file.InsertWithRowid("t", rowid, {value, value, value, "x"}).ok());
  }
  ASSERT_TRUE(file.Insert("t", {std::nullopt, std::nullopt, std::nullopt, "null row"}).ok());
  ASSERT_TRUE(file.WriteFile(path).ok());
  sqlite* db = sqlite_open(path.c_str(), 0, nullptr);
  ASSERT_NE(db, nullptr);

  std::vector<std::string> queries;
  for (const char* column : {"num", "txt", "untyped"}) {
    for (const char* shape : {"SELECT rowid FROM t WHERE %s = '%%q';",
                              "SELECT rowid FROM t WHERE '%%q' = %s AND pad = 'x';"}) {
      char* query = sqlite_mprintf(shape, column);
      queries.push_back(query);
      sqlite_freemem(query);
    }
    for (const char* number : {"5", "10", "0", "1e1"}) {
      queries.push_back(std::string("SELECT rowid FROM t WHERE ") + column + " = " + number + ";");
    }
  }
  for (const std::string& query : queries) {
    for (const char* value : kValues) {
      const Answer scanned = Lookup(db, query.c_str(), value);
      Answer indexed;
      Nested(db, [&] { indexed = Lookup(db, query.c_str(), value); });
      EXPECT_EQ(indexed.rows, scanned.rows) << query << " with " << value;
      EXPECT_EQ(indexed.rc, SQLITE_OK);
    }
  }
  sqlite_close(db);
}

// Rows answered from an automatic index are loaded from where the index's
// scan found them, which in a tree several levels deep is any cell of any page: the
// first or last on a leaf, on an interior page, or spilling onto overflow
// pages. Each comes back as a scan gives it.
TEST(AutomaticIndex, LoadsRowsFromEveryPlaceInTheTree) {
  writer::testing::ScratchDir dir;
  const std::string path = dir.File("deep.db");
  writer::Database file;
  ASSERT_TRUE(file.CreateTable("CREATE TABLE t(id TEXT, body TEXT)").ok());
  constexpr int kRows = 600;
  constexpr int kIds = 37;
  for (int i = 0; i < kRows; ++i) {
    // Every 50th row overflows; the rest fill about five rows to a page.
    const size_t size = i % 50 == 7 ? 3000 : 150;
    std::string body = std::to_string(i);
    body.resize(size, static_cast<char>('a' + i % 26));
    ASSERT_TRUE(file.Insert("t", {std::to_string(i % kIds), body}).ok());
  }
  ASSERT_TRUE(file.WriteFile(path).ok());
  sqlite* db = sqlite_open(path.c_str(), 0, nullptr);
  ASSERT_NE(db, nullptr);
  for (int id = 0; id <= kIds; ++id) {
    const std::string value = std::to_string(id);
    const char* query = "SELECT rowid, id, body FROM t WHERE id = '%q';";
    const Answer scanned = Lookup(db, query, value.c_str());
    Answer indexed;
    Nested(db, [&] { indexed = Lookup(db, query, value.c_str()); });
    EXPECT_EQ(indexed.rows, scanned.rows) << id;
    EXPECT_EQ(indexed.rc, SQLITE_OK);
    EXPECT_EQ(scanned.rows.size(), id < kIds ? (kRows - id + kIds - 1) / kIds : 0u) << id;
  }
  sqlite_close(db);
}

}  // namespace
}  // namespace sqlite2::testing
