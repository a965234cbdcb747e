#include <cstdlib>
#include <string>

#include "cli/json_row.h"
#include "fuzz/checks.h"
#include "fuzz/scratch.h"
#include "sqlite2/sqlite.h"
#include "tests/sqlite2_writer/database.h"
#include "tests/sqlite2_writer/script.h"

namespace qbfa_fuzz {
namespace {

// Small, but with every path a statement can take: the font manager's three
// tables, rowid and INTEGER PRIMARY KEY lookups, text and numeric indices
// (single, multi-column, unique), untyped columns holding numbers and text
// that looks like numbers, NULLs, names that need quoting, an empty table
// and a view.
constexpr char kDatabaseScript[] = R"sql(
CREATE TABLE sets(id INTEGER PRIMARY KEY, set_displayName TEXT, set_comment);
CREATE TABLE fonts(id INTEGER PRIMARY KEY, font_family TEXT, font_displayName TEXT,
                   font_foundry TEXT, font_type, font_path TEXT);
CREATE TABLE rel(id INTEGER PRIMARY KEY, parentID INTEGER, childtype INTEGER, childid);
CREATE INDEX rel_parent ON rel(parentID);
CREATE INDEX rel_child ON rel(childid, childtype);
CREATE UNIQUE INDEX fonts_path ON fonts(font_path);
CREATE INDEX fonts_family ON fonts(font_family);
CREATE TABLE "odd name"([a b] NUMERIC, "c""d" VARCHAR(10), e BLOB UNIQUE);
CREATE TABLE nothing(x);
CREATE VIEW set_names AS SELECT set_displayName FROM sets;
INSERT INTO sets VALUES(1, 'Sans', 'every day');
INSERT INTO sets VALUES(2, 'Serif', NULL);
INSERT INTO sets VALUES(3, 'O''Brien', '');
INSERT INTO fonts VALUES(1, 'Korvel Sans', 'Korvel Sans Regular', 'Atelier', '(OTF)', '~/a.otf');
INSERT INTO fonts VALUES(2, 'Korvel Sans', 'Korvel Sans Bold', NULL, 'TrueType', '~/b.ttf');
INSERT INTO fonts VALUES(7, 'Ambrette', 'Ambrette', 'Northgate', 1, '/Library/Fonts/Ambrette.dfont');
INSERT INTO fonts VALUES(-3, '', NULL, 'x', 1.5, NULL);
INSERT INTO rel VALUES(1, 1, 1, 1);
INSERT INTO rel VALUES(2, 1, 1, '2');
INSERT INTO rel VALUES(3, 1, 2, 2);
INSERT INTO rel VALUES(4, 2, 1, '07');
INSERT INTO rel VALUES(5, 2, 1, 'abc');
INSERT INTO rel VALUES(6, 3, 1, NULL);
INSERT INTO rel VALUES(7, NULL, 1, 1.0);
INSERT INTO rel VALUES(8, 3, 2, -3);
INSERT INTO "odd name" VALUES(1, 'one', 'x');
INSERT INTO "odd name" VALUES('01', 'zero one', NULL);
INSERT INTO "odd name" VALUES(NULL, NULL, 'y');
INSERT INTO "odd name" VALUES(1e3, '1e3', '1e3');
)sql";

// Made once, never changed: every input reads the same file.
const std::string& DatabasePath() {
  static const std::string path = [] {
    // A path longer than a page holds: its row goes on in overflow pages.
    const std::string script = std::string(kDatabaseScript) +
                               "INSERT INTO fonts VALUES(12, 'Long', 'Long', 'Long', 'Long', '/" +
                               std::string(1500, 'p') + "');";
    sqlite2::writer::Database database;
    const std::string file = ScratchDirectory() + "/sql.db";
    if (!sqlite2::writer::RunScript(script, &database).ok() || !database.WriteFile(file).ok()) {
      std::abort();
    }
    return file;
  }();
  return path;
}

struct Run {
  sqlite* db;
  const char* sql;
  int rows;
  std::string problem;  // of the nested run
};

std::string Outcome(int rc, char* message) {
  std::string problem;
  if (rc != SQLITE_OK && rc != SQLITE_ERROR)
    problem = "ended with code " + std::to_string(rc) + " on a sound database";
  else if ((rc == SQLITE_OK) != (message == nullptr))
    problem = rc == SQLITE_OK ? "succeeded with a message" : "failed without a message";
  sqlite_freemem(message);
  return problem;
}

// Each row becomes the line `qbfa sql` would print for it.
int FormatRow(void*, int argc, char** argv, char** names) {
  static_cast<void>(JsonRow(argc, argv, names));
  return 0;
}

int FormatRowAndNest(void* arg, int argc, char** argv, char** names) {
  auto* run = static_cast<Run*>(arg);
  static_cast<void>(JsonRow(argc, argv, names));
  if (++run->rows == 1) {
    char* message = nullptr;
    const int rc = sqlite_exec(run->db, run->sql, FormatRow, nullptr, &message);
    run->problem = Outcome(rc, message);
    if (!run->problem.empty())
      run->problem = "nested: " + run->problem;
  }
  return 0;
}

}  // namespace

std::string CheckSqlText(std::string_view input) {
  // A command-line argument ends at its first NUL, and so does the text.
  const std::string sql(input.substr(0, input.find('\0')));
  sqlite* db = sqlite_open(DatabasePath().c_str(), 0, nullptr);
  if (db == nullptr)
    return "cannot open the database";
  Run run{db, sql.c_str(), 0, {}};
  char* message = nullptr;
  const int rc = sqlite_exec(db, sql.c_str(), FormatRowAndNest, &run, &message);
  sqlite_close(db);
  const std::string problem = Outcome(rc, message);
  return problem.empty() ? run.problem : problem;
}

}  // namespace qbfa_fuzz
