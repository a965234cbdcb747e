#include "cli/sql_command.h"

#include <cstdio>
#include <memory>
#include <string>

#include "cli/json_row.h"
#include "sqlite2/sqlite.h"

namespace {

constexpr char kDescription[] =
    "Run SELECT statements on an SQLite 2 database file (one that starts with \"** This file "
    "contains an SQLite 2.1 database **\") and print each result row as one line of JSON";

constexpr char kFooter[] = R"(
The file is opened read-only: it is never changed, and a missing file is not created;
either byte order is read. The statements understood:

  SELECT * | item [, item]... [FROM table [[AS] alias]] [WHERE condition] [;]
    item       column | table.column | table.* | literal, each with [[AS] alias]
    condition  value = value   (also ==, <>, !=, <, <=, >, >=)
               value IS NULL | value IS NOT NULL
               NOT c | c AND c | c OR c | ( c )
    value      a column, rowid, 'text', "text" (a column if one has that name),
               a number, -number, NULL

Several statements separated by ';' run in order. Comparisons follow SQLite 2.8:
a column declared with a type containing CHAR, CLOB, TEXT or BLOB compares as
text; any other column compares numerically when both sides look like numbers
(so '01' finds 1). Rows come in the order SQLite 2.8 returns them.

Output: each row is a JSON array of [column, value] pairs in column order, with
null for SQL NULL; bytes that are not valid UTF-8 appear as \xHH.

Exit status: 0 on success. 1 on failure, after any rows delivered before it,
with the last line on standard error reading "SQL error <code>: <message>"
(SQLite's code and text: 1 for an SQL error such as "no such table: t",
11 for "database disk image is malformed"; a file that cannot be opened
is reported with code 14).

Example:
  qbfa sql FontAgent.db "SELECT id, font_family FROM fonts WHERE id = '7'"
)";

struct SqlOptions {
  std::string database;
  std::string statement;
};

int PrintRow(void*, int argc, char** argv, char** column_names) {
  const std::string line = JsonRow(argc, argv, column_names) + "\n";
  std::fwrite(line.data(), 1, line.size(), stdout);
  return 0;
}

void ReportFailure(int rc, const char* message) {
  std::fflush(stdout);
  std::fprintf(stderr, "SQL error %d: %s\n", rc,
               message != nullptr ? message : sqlite_error_string(rc));
}

int RunSql(const SqlOptions& options) {
  char* message = nullptr;
  sqlite* db = sqlite_open(options.database.c_str(), 0, &message);
  if (db == nullptr) {
    ReportFailure(SQLITE_CANTOPEN, message);
    sqlite_freemem(message);
    return 1;
  }
  const int rc = sqlite_exec(db, options.statement.c_str(), PrintRow, nullptr, &message);
  sqlite_close(db);
  std::fflush(stdout);
  if (rc != SQLITE_OK) {
    ReportFailure(rc, message);
    sqlite_freemem(message);
    return 1;
  }
  return 0;
}

}  // namespace

void RegisterSqlCommand(CLI::App& app) {
  auto options = std::make_shared<SqlOptions>();
  CLI::App* sql = app.add_subcommand("sql", kDescription);
  sql->footer(kFooter);
  sql->add_option("DB", options->database, "The SQLite 2 database file")->required();
  sql->add_option("STATEMENT", options->statement, "The SELECT statement(s) to run")->required();
  sql->callback([options] {
    if (RunSql(*options) != 0)
      throw CLI::RuntimeError(1);
  });
}
