// `qbfa sql` end to end: the built command, run on every fixture table,
// prints the rows the real library returned and fails the way it failed.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "cli/json_row.h"
#include "tests/sqlite2/fixture_dump.h"

namespace {

using sqlite2::testing::FixtureDump;
using sqlite2::testing::FixturePath;
using sqlite2::testing::LibraryDidNotFinish;
using sqlite2::testing::ReadLines;
using sqlite2::testing::RowLine;
using sqlite2::testing::TableDump;

struct CommandRun {
  int exit_code = -1;
  std::vector<std::string> out;
  std::string last_error_line;
};

std::string ShellQuote(const std::string& text) {
  std::string quoted = "'";
  for (char c : text)
    quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

CommandRun RunSql(const std::string& db, const std::string& statement) {
  const std::filesystem::path dir =
      std::filesystem::temp_directory_path() / ("qbfa_sql_test_" + std::to_string(::getpid()));
  std::filesystem::create_directories(dir);
  const std::string out = (dir / "out").string(), err = (dir / "err").string();
  const std::string command = ShellQuote(std::string(QBFA_BINARY_DIR) + "/cli/qbfa") + " sql " +
                              ShellQuote(db) + " " + ShellQuote(statement) + " >" + out + " 2>" +
                              err;
  const int status = std::system(command.c_str());
  CommandRun run;
  run.exit_code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  run.out = ReadLines(out);
  const std::vector<std::string> errors = ReadLines(err);
  if (!errors.empty())
    run.last_error_line = errors.back();
  std::filesystem::remove_all(dir);
  return run;
}

// The failure line for the code and text of a dump line; a failed open
// has no code of its own and is reported as 14, "unable to open".
std::string FailureLine(const std::string& line) {
  std::string rc = sqlite2::testing::RawField(line, "rc");
  const std::string error = sqlite2::testing::RawField(line, "error");
  size_t pos = 0;
  return "SQL error " + (rc == "null" ? "14" : rc) + ": " +
         sqlite2::testing::DecodeJsonString(error, &pos);
}

class SqlCommandTest : public ::testing::TestWithParam<std::string> {};

TEST_P(SqlCommandTest, PrintsEveryTableAsTheLibraryReturnedIt) {
  const std::string db = FixturePath(GetParam(), ".db");
  const FixtureDump dump = sqlite2::testing::LoadDump(GetParam());
  if (dump.schema_line.find("\"stage\": \"open\"") != std::string::npos) {
    const CommandRun run = RunSql(db, "SELECT * FROM sqlite_master");
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_EQ(run.last_error_line, FailureLine(dump.schema_line));
    return;
  }
  for (const TableDump& table : dump.tables) {
    SCOPED_TRACE("table " + table.name);
    const CommandRun run = RunSql(db, "SELECT * FROM " + table.name + ";");
    std::vector<std::string> lines;
    for (const std::string& row : run.out)
      lines.push_back(RowLine(table.name, row));
    if (LibraryDidNotFinish(table.outcome)) {
      EXPECT_EQ(run.exit_code, 1);
      EXPECT_EQ(run.last_error_line, "SQL error 11: database disk image is malformed");
      continue;
    }
    EXPECT_EQ(lines, table.row_lines);
    if (table.outcome == "ok") {
      EXPECT_EQ(run.exit_code, 0);
      EXPECT_EQ(run.last_error_line, "");
    } else {
      EXPECT_EQ(run.exit_code, 1);
      EXPECT_EQ(run.last_error_line, FailureLine(table.status_line));
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Fixtures, SqlCommandTest,
                         ::testing::ValuesIn(sqlite2::testing::FixtureNames()),
                         [](const auto& info) { return info.param; });

}  // namespace
