#include <unistd.h>

#include <string>

#include "fuzz/checks.h"
#include "fuzz/read_all.h"
#include "fuzz/scratch.h"
#include "sqlite2/sqlite.h"

namespace qbfa_fuzz {
namespace {

// What the magics of the three journal formats share; the byte after it
// tells them apart (d4 to d6), or makes a magic the reader does not know.
constexpr std::string_view kJournalMagic("\xd9\xd5\x05\xf9\x20\xa1\x63", 7);

// Fine, an SQL error (no such table or column), a schema whose root page
// is not a number (the library's own "internal" error), the reader's
// callback stopping a scan, or damage. Nothing else: no other process
// holds a lock, both files are readable, and nothing is misused.
bool EndsAsAReaderMay(int rc) {
  return rc == SQLITE_OK || rc == SQLITE_ERROR || rc == SQLITE_INTERNAL || rc == SQLITE_ABORT ||
         rc == SQLITE_CORRUPT;
}

// Empty when the file at `path` holds `expected`, or is missing and
// `expected` is null.
std::string Changes(const std::string& path, const std::string_view* expected) {
  bool missing = false;
  const std::string now = ReadFile(path, &missing);
  if (expected == nullptr)
    return missing ? "" : path + " appeared";
  if (missing)
    return path + " disappeared";
  return now == *expected ? "" : path + " changed";
}

}  // namespace

std::string CheckDatabaseInput(std::string_view input) {
  const size_t split = input.find(kJournalMagic);
  const std::string_view database_bytes = input.substr(0, split);
  const std::string_view journal_bytes =
      split == std::string_view::npos ? std::string_view() : input.substr(split);
  const std::string database = ScratchDirectory() + "/fuzz.db";
  const std::string journal = database + "-journal";
  WriteFile(database, database_bytes);
  if (split == std::string_view::npos) {
    unlink(journal.c_str());
  } else {
    WriteFile(journal, journal_bytes);
  }

  const std::vector<int> codes = ReadAll(database);
  for (size_t i = 0; i < codes.size(); ++i) {
    if (!EndsAsAReaderMay(codes[i]))
      return "statement " + std::to_string(i + 1) + " ended with code " + std::to_string(codes[i]);
  }
  std::string changes = Changes(database, &database_bytes);
  if (changes.empty())
    changes = Changes(journal, split == std::string_view::npos ? nullptr : &journal_bytes);
  return changes;
}

}  // namespace qbfa_fuzz
