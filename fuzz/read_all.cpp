#include "fuzz/read_all.h"

#include <cstring>
#include <utility>

#include "sqlite2/sqlite.h"

namespace qbfa_fuzz {
namespace {

// Bounds that keep one run short whatever the file claims to hold.
constexpr int kMaxTables = 16;
constexpr int kMaxRowsPerScan = 200;
constexpr int kRowsLookedUp = 3;
constexpr int kMaxColumns = 8;

struct Lookup {
  std::string column;
  std::string value;
};

struct Scan {
  sqlite* db;
  std::vector<int>* codes;
  const std::string* table;
  int rows = 0;
  std::vector<Lookup> lookups;  // the first row's, for the top level
};

int CountRow(void* rows, int, char**, char**) {
  return ++*static_cast<int*>(rows) > kMaxRowsPerScan;
}

void RunLookup(sqlite* db, const std::string& table, const Lookup& lookup,
               std::vector<int>* codes) {
  int rows = 0;
  codes->push_back(sqlite_exec_printf(db, "SELECT * FROM '%q' WHERE \"%s\" = '%q';", CountRow,
                                      &rows, nullptr, table.c_str(), lookup.column.c_str(),
                                      lookup.value.c_str()));
}

// The plug-in's font lookup, with `id` pasted between the quotes as it is:
// text from the file becomes SQL.
void RunFontLookup(sqlite* db, const char* id, std::vector<int>* codes) {
  int rows = 0;
  codes->push_back(
      sqlite_exec_printf(db, "SELECT * FROM fonts WHERE id = '%s';", CountRow, &rows, nullptr, id));
}

int OnScannedRow(void* arg, int argc, char** argv, char** names) {
  auto* scan = static_cast<Scan*>(arg);
  if (++scan->rows > kMaxRowsPerScan)
    return 1;
  if (scan->rows > kRowsLookedUp)
    return 0;
  for (int i = 0; i < argc && i < kMaxColumns; ++i) {
    RunFontLookup(scan->db, argv[i], scan->codes);
    // A quote inside the name would end the identifier early.
    if (argv[i] == nullptr || names[i] == nullptr || std::strchr(names[i], '"') != nullptr)
      continue;
    const Lookup lookup{names[i], argv[i]};
    RunLookup(scan->db, *scan->table, lookup, scan->codes);
    if (scan->rows == 1)
      scan->lookups.push_back(lookup);
  }
  return 0;
}

int CollectName(void* names, int argc, char** argv, char**) {
  auto* list = static_cast<std::vector<std::string>*>(names);
  if (argc > 0 && argv[0] != nullptr)
    list->push_back(argv[0]);
  return list->size() >= kMaxTables;
}

}  // namespace

std::vector<int> ReadAll(const std::string& path) {
  std::vector<int> codes;
  sqlite* db = sqlite_open(path.c_str(), 0, nullptr);
  if (db == nullptr)
    return codes;
  std::vector<std::string> tables;
  codes.push_back(sqlite_exec(db, "SELECT name FROM sqlite_master WHERE type = 'table';",
                              CollectName, &tables, nullptr));
  tables.push_back("fonts");  // the plug-in asks for it whether or not it exists
  for (const std::string& table : tables) {
    Scan scan{db, &codes, &table, 0, {}};
    codes.push_back(
        sqlite_exec_printf(db, "SELECT * FROM '%q';", OnScannedRow, &scan, nullptr, table.c_str()));
    for (const Lookup& lookup : scan.lookups)
      RunLookup(db, table, lookup, &codes);
  }
  int rows = 0;
  codes.push_back(sqlite_exec(db, "SELECT * FROM fonts WHERE id = '1';", CountRow, &rows, nullptr));
  sqlite_close(db);
  return codes;
}

}  // namespace qbfa_fuzz
