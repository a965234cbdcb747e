// The tables and indices of a database, as loaded from sqlite_master.
//
// sqlite_master is the table rooted at page 2, with the columns
//   type text, name text, tbl_name text, rootpage integer, sql text
// and one row per table, index, view or trigger, in creation (rowid)
// order. `sql` is the CREATE statement as typed, NULL for the automatic
// indices of UNIQUE and PRIMARY KEY constraints, whose columns come from
// their table's CREATE TABLE. `rootpage` is text.
#ifndef SQLITE2_SCHEMA_H_
#define SQLITE2_SCHEMA_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sqlite2/format/page.h"
#include "sqlite2/format/pager.h"
#include "sqlite2/sql/create_parser.h"
#include "sqlite2/status.h"

namespace sqlite2 {

struct IndexInfo {
  std::string name;
  format::PageNumber root = 0;
  std::vector<size_t> columns;  // into the table's columns
  bool replace = false;         // declared ON CONFLICT REPLACE
};

struct TableInfo {
  std::string name;
  // Below 2 (a root page text that is no number, an automatic index
  // without its sqlite_master row) the tree cannot be read.
  format::PageNumber root = 0;
  // sqlite_temp_master has no tree in the file and reads as empty.
  bool in_file = true;
  // Each column's `text` already accounts for the file format.
  std::vector<sql::ColumnDefinition> columns;
  std::optional<size_t> rowid_column;
  // In the order a query considers them: the newest first, except that
  // indices declared ON CONFLICT REPLACE come after all the others. On
  // equal merit the first one wins.
  std::vector<IndexInfo> indices;
};

class Schema {
 public:
  // Reads sqlite_master through `pager` (already refreshed). A row with a
  // NULL type or root page is "malformed database schema"; a CREATE
  // statement that does not parse, or that clashes with what exists, is
  // skipped as the library skips it.
  static Status Load(format::Pager& pager, Schema* out);

  // Case-insensitive, like every name in SQL. sqlite_master and
  // sqlite_temp_master are always there.
  const TableInfo* FindTable(std::string_view name) const;
  int32_t cookie() const { return cookie_; }

 private:
  // Only the tables from the file; the built-in ones never change.
  TableInfo* FindMutableTable(std::string_view name);
  IndexInfo* FindIndex(std::string_view name);
  void AddTable(const sql::TableDefinition& definition, format::PageNumber root, bool all_numeric);
  void AddIndex(const sql::IndexDefinition& definition, format::PageNumber root);

  std::vector<std::unique_ptr<TableInfo>> tables_;
  int32_t cookie_ = 0;
};

// The definition of sqlite_master itself.
const TableInfo& MasterTable();

}  // namespace sqlite2

#endif  // SQLITE2_SCHEMA_H_
