// Builds SQLite 2 database files from CREATE statements and rows, for tests,
// benchmarks and sample data. The files are what the 2.8 library writes for
// the same statements: sqlite_master on page 2 in creation order, tables
// keyed by rowid, automatic and explicit indices, records and overflow pages
// exactly as the library lays them out, in either byte order.
//
//   Database db;
//   db.CreateTable("CREATE TABLE fonts(id INTEGER PRIMARY KEY, name TEXT)");
//   db.Insert("fonts", {std::nullopt, "Korvel Sans"});  // id becomes rowid 1
//   db.WriteFile("/tmp/fonts.db");
//
// A call the library would refuse (unknown table, wrong value count,
// duplicate key, ...) fails with the library's code and, where it has one,
// its text, and leaves the database as it was.
#ifndef TESTS_SQLITE2_WRITER_DATABASE_H_
#define TESTS_SQLITE2_WRITER_DATABASE_H_

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sqlite2/status.h"
#include "tests/sqlite2_writer/btree_builder.h"
#include "tests/sqlite2_writer/page_file.h"
#include "tests/sqlite2_writer/record.h"

namespace sqlite2::writer {

// One value per column, as text exactly as it is to be stored; nullopt is
// SQL NULL.
using Row = std::vector<Value>;

struct Options {
  ByteOrder byte_order = ByteOrder::kLittleEndian;
  // Meta 2 of page 1. Format 3 makes every column index as a number. When
  // unset: 4 once anything has been created, else 0, as the library leaves
  // a file whose schema was never written.
  std::optional<uint32_t> file_format;
  // The library moves the schema cookie by a random step from 1 to 256 at
  // every CREATE; the steps come from this seed, so equal inputs give
  // byte-identical files.
  uint32_t seed = 1;
  TreeLayout layout;
};

class Database {
 public:
  explicit Database(Options options = {});
  ~Database();
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  // `sql` is a CREATE TABLE statement; it is stored as given, without
  // surrounding whitespace and a final ';'. Its UNIQUE and PRIMARY KEY
  // constraints (except an INTEGER PRIMARY KEY) get automatic indices.
  Status CreateTable(std::string_view sql);
  // `sql` is a CREATE [UNIQUE] INDEX statement; rows already in the table
  // are indexed at once.
  Status CreateIndex(std::string_view sql);
  // `sql` is a CREATE VIEW statement, stored with root page 0.
  Status CreateView(std::string_view sql);

  // Adds a row. Its rowid is the INTEGER PRIMARY KEY value when the table
  // has one and the value is not NULL, else one more than the largest rowid
  // so far (1 in an empty table).
  Status Insert(std::string_view table, Row row);
  // Adds a row under an explicit rowid, as INSERT INTO t(rowid, ...) does.
  Status InsertWithRowid(std::string_view table, int32_t rowid, Row row);

  // The finished file.
  std::vector<uint8_t> Bytes() const;
  // Writes the finished file to `path` through a temporary file in the same
  // directory renamed over it, so a reader sees the old file or the new one
  // and never half of one.
  Status WriteFile(const std::string& path) const;

 private:
  struct Table;
  struct Index;
  struct SchemaEntry;

  Table* FindTable(std::string_view name) const;
  bool NameTaken(std::string_view name) const;
  // Format 3 indexes every column as a number, whatever its declared type.
  bool AllNumeric() const;
  // Pages a CREATE sets aside at once, as the library allocates them while
  // the statement runs: root pages, then the overflow pages of a schema row
  // too long for its cell.
  PageNumber AllocateAtCreate(uint32_t count = 1) {
    const PageNumber first = next_page_;
    next_page_ += count;
    return first;
  }
  void AddSchemaEntry(SchemaEntry entry);
  void ChangeSchemaCookie();
  Status AddRow(Table& table, std::optional<int32_t> rowid, Row row);

  Options options_;
  std::vector<std::unique_ptr<Table>> tables_;
  std::vector<std::unique_ptr<Index>> indices_;
  std::vector<SchemaEntry> schema_;
  PageNumber next_page_ = 3;
  int32_t schema_cookie_ = 0;
  uint32_t random_state_;
};

}  // namespace sqlite2::writer

#endif  // TESTS_SQLITE2_WRITER_DATABASE_H_
