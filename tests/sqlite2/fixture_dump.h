// The fixture databases and what the real library returned for them, read
// from their .dump.jsonl and .lookups.jsonl files, and the same lines built
// from our own answers so that the two compare as text.
#ifndef TESTS_SQLITE2_FIXTURE_DUMP_H_
#define TESTS_SQLITE2_FIXTURE_DUMP_H_

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sqlite2::testing {

// Names of the fixture databases (without ".db"), sorted.
std::vector<std::string> FixtureNames();
std::string FixturePath(const std::string& name, const std::string& suffix);
std::vector<std::string> ReadLines(const std::string& path);

// The raw bytes of a JSON string literal starting at json[*pos] (which is
// advanced past it), with \xHH put back as the byte it stands for.
std::string DecodeJsonString(std::string_view json, size_t* pos);
// The raw text of the value of `key` in a one-line JSON object, up to the
// next top-level ", " or "}".
std::string RawField(std::string_view line, std::string_view key);

struct TableDump {
  std::string name;                    // raw bytes
  std::vector<std::string> row_lines;  // {"table": T, "row": ROW} lines
  std::string status_line;
  std::string outcome;
};

struct FixtureDump {
  std::string schema_line;
  std::vector<TableDump> tables;
};

FixtureDump LoadDump(const std::string& name);

// The lines as the dump writes them, from an answer of ours.
std::string RowLine(std::string_view table, const std::string& row_json);
std::string StatusLine(std::string_view table, int rc, const std::optional<std::string>& error,
                       size_t rows);

// Whether the real library failed to end on its own there: it hung,
// crashed or looped, or the probe was never run after such hangs.
bool LibraryDidNotFinish(const std::string& outcome);

}  // namespace sqlite2::testing

#endif  // TESTS_SQLITE2_FIXTURE_DUMP_H_
