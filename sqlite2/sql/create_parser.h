// The CREATE TABLE and CREATE INDEX statements kept in sqlite_master.
//
// The file has no column catalogue: names, declared types, the INTEGER
// PRIMARY KEY and the constraints that own automatic indices exist only in
// the CREATE text, which is parsed again at every schema load. A statement
// that does not parse is skipped: its object simply does not exist.
#ifndef SQLITE2_SQL_CREATE_PARSER_H_
#define SQLITE2_SQL_CREATE_PARSER_H_

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace sqlite2::sql {

struct ColumnDefinition {
  std::string name;  // without quotes
  // The declared type with its whitespace removed; nullopt when there is none.
  std::optional<std::string> type;
  // Compares and indexes as text, by the declared type or, when there is
  // one, the last COLLATE clause. (A format-3 file overrides this.)
  bool text = false;
};

// A UNIQUE or PRIMARY KEY constraint's index, made with the table.
struct AutomaticIndex {
  std::vector<size_t> columns;
  // Declared ON CONFLICT REPLACE: ranked after every other index.
  bool replace = false;
};

struct TableDefinition {
  std::string name;  // without quotes
  std::vector<ColumnDefinition> columns;
  // The INTEGER PRIMARY KEY column: its value is the rowid, its record
  // slot is unused.
  std::optional<size_t> rowid_column;
  // Named "(<table> autoindex <n>)", n counting from 1 in this order.
  std::vector<AutomaticIndex> automatic_indices;
};

struct IndexDefinition {
  std::string name;
  std::string table;
  std::vector<std::string> columns;
  bool replace = false;
};

// Something else that parses (a view, a trigger) or nothing that does.
struct OtherDefinition {};

using Definition = std::variant<OtherDefinition, TableDefinition, IndexDefinition>;

Definition ParseCreateStatement(std::string_view sql);

// The name the library gives the `number`th (from 1) automatic index.
std::string AutomaticIndexName(std::string_view table, size_t number);

}  // namespace sqlite2::sql

#endif  // SQLITE2_SQL_CREATE_PARSER_H_
