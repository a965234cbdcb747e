// Every fixture database read through the C API gives exactly what the
// real 2.8 library gave: each table's rows in order, NULLs, error codes
// and texts, and every font lookup. Where the library hung, crashed or
// looped, ours ends with "database disk image is malformed".
#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "cli/json_row.h"
#include "sqlite2/sqlite.h"
#include "tests/sqlite2/fixture_dump.h"

namespace sqlite2::testing {
namespace {

struct Answer {
  int rc = 0;
  std::optional<std::string> error;
  std::vector<std::string> rows;  // JSON rows
};

int CollectRow(void* answer, int argc, char** argv, char** names) {
  static_cast<Answer*>(answer)->rows.push_back(JsonRow(argc, argv, names));
  return 0;
}

void TakeError(char* message, Answer* answer) {
  if (message != nullptr)
    answer->error = message;
  sqlite_freemem(message);
}

// Opens the fixture; on failure returns null and the message.
sqlite* OpenFixture(const std::string& name, std::string* error) {
  char* message = nullptr;
  sqlite* db = sqlite_open(FixturePath(name, ".db").c_str(), 0, &message);
  if (db == nullptr && message != nullptr)
    *error = message;
  sqlite_freemem(message);
  return db;
}

Answer Exec(sqlite* db, const std::string& sql) {
  Answer answer;
  char* message = nullptr;
  answer.rc = sqlite_exec(db, sql.c_str(), CollectRow, &answer, &message);
  TakeError(message, &answer);
  return answer;
}

std::string Join(const std::vector<std::string>& parts) {
  std::string out;
  for (const std::string& part : parts)
    out += (out.empty() ? "" : ", ") + part;
  return out;
}

void ExpectEndedAsMalformed(const Answer& answer, const std::vector<std::string>& library_rows) {
  EXPECT_EQ(answer.rc, SQLITE_CORRUPT);
  EXPECT_EQ(answer.error.value_or("(none)"), "database disk image is malformed");
  // Rows before the damaged spot may come out; those that do are right.
  for (size_t i = 0; i < std::min(answer.rows.size(), library_rows.size()); ++i)
    EXPECT_EQ(answer.rows[i], library_rows[i]) << "row " << i;
}

class FixtureTest : public ::testing::TestWithParam<std::string> {};

TEST_P(FixtureTest, TableDumpsMatchTheLibrary) {
  const FixtureDump dump = LoadDump(GetParam());
  std::string open_error;
  sqlite* db = OpenFixture(GetParam(), &open_error);
  if (db == nullptr) {
    EXPECT_EQ(dump.schema_line, R"({"schema": null, "stage": "open", "rc": null, "error": )" +
                                    JsonString(open_error) + R"(, "outcome": "error"})");
    return;
  }
  const Answer schema = Exec(db, "SELECT * FROM sqlite_master;");
  sqlite_close(db);
  EXPECT_EQ(dump.schema_line,
            "{\"schema\": [" + Join(schema.rows) + "], \"rc\": " + std::to_string(schema.rc) +
                ", \"error\": " + (schema.error ? JsonString(*schema.error) : "null") +
                ", \"outcome\": \"" + (schema.rc == 0 ? "ok" : "error") + "\"}");

  for (const TableDump& table : dump.tables) {
    SCOPED_TRACE("table " + table.name);
    // Each scan on a fresh handle, as the dump was made.
    sqlite* scan_db = OpenFixture(GetParam(), &open_error);
    ASSERT_NE(scan_db, nullptr) << open_error;
    const Answer answer = Exec(scan_db, "SELECT * FROM " + table.name + ";");
    sqlite_close(scan_db);
    std::vector<std::string> lines;
    for (const std::string& row : answer.rows)
      lines.push_back(RowLine(table.name, row));
    if (LibraryDidNotFinish(table.outcome)) {
      Answer as_lines = answer;
      as_lines.rows = lines;
      ExpectEndedAsMalformed(as_lines, table.row_lines);
      continue;
    }
    EXPECT_EQ(lines, table.row_lines);
    EXPECT_EQ(StatusLine(table.name, answer.rc, answer.error, answer.rows.size()),
              table.status_line);
  }
}

TEST_P(FixtureTest, FontLookupsMatchTheLibrary) {
  const std::vector<std::string> lines = ReadLines(FixturePath(GetParam(), ".lookups.jsonl"));
  std::string open_error;
  sqlite* db = OpenFixture(GetParam(), &open_error);
  for (const std::string& line : lines) {
    const std::string raw_id = RawField(line, "id");
    SCOPED_TRACE("id " + raw_id);
    const std::string head = "{\"id\": " + raw_id + ", \"from\": " + RawField(line, "from");
    if (db == nullptr) {
      EXPECT_EQ(line, head + R"(, "stage": "open", "rc": null, "error": )" +
                          JsonString(open_error) + R"(, "rows": [], "outcome": "error"})");
      continue;
    }
    // The id goes in raw, as the plug-in pastes it; a NULL id prints as
    // nothing.
    std::optional<std::string> id;
    if (raw_id != "null") {
      size_t pos = 0;
      id = DecodeJsonString(raw_id, &pos);
    }
    Answer answer;
    char* message = nullptr;
    answer.rc = sqlite_exec_printf(db, "SELECT * FROM fonts WHERE id = '%s';", CollectRow, &answer,
                                   &message, id ? id->c_str() : nullptr);
    TakeError(message, &answer);

    std::string outcome = RawField(line, "outcome");
    outcome = outcome.substr(1, outcome.size() - 2);
    if (outcome == "skipped") {
      // Never run by the library: any clean answer will do.
      EXPECT_TRUE(answer.rc == SQLITE_OK || answer.rc == SQLITE_ERROR ||
                  answer.rc == SQLITE_CORRUPT)
          << answer.rc;
      continue;
    }
    if (LibraryDidNotFinish(outcome)) {
      ExpectEndedAsMalformed(answer, {});
      continue;
    }
    EXPECT_EQ(line, head + ", \"rc\": " + std::to_string(answer.rc) +
                        ", \"error\": " + (answer.error ? JsonString(*answer.error) : "null") +
                        ", \"rows\": [" + Join(answer.rows) + "], \"outcome\": \"" +
                        (answer.rc == 0 ? "ok" : "error") + "\"}");
  }
  sqlite_close(db);
}

INSTANTIATE_TEST_SUITE_P(Fixtures, FixtureTest, ::testing::ValuesIn(FixtureNames()),
                         [](const auto& info) { return info.param; });

}  // namespace
}  // namespace sqlite2::testing
