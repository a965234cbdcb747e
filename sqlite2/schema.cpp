#include "sqlite2/schema.h"

#include <algorithm>
#include <limits>
#include <utility>
#include <variant>

#include "sqlite2/format/record.h"
#include "sqlite2/format/table_cursor.h"
#include "sqlite2/sql/tokenizer.h"

namespace sqlite2 {
namespace {

constexpr format::PageNumber kMasterRoot = 2;
constexpr size_t kMasterColumns = 5;
enum MasterColumn { kType = 0, kName = 1, kRootPage = 3, kSql = 4 };

TableInfo MakeMasterTable(std::string name, bool in_file) {
  TableInfo table;
  table.name = std::move(name);
  table.root = kMasterRoot;
  table.in_file = in_file;
  for (const char* column : {"type", "name", "tbl_name", "rootpage", "sql"}) {
    const bool text = std::string_view(column) != "rootpage";
    table.columns.push_back({column, text ? "text" : "integer", text});
  }
  return table;
}

const TableInfo& TempMasterTable() {
  static const TableInfo table = MakeMasterTable("sqlite_temp_master", false);
  return table;
}

// The root page as atoi() reads the text: leading digits, anything else 0.
format::PageNumber ParseRootPage(std::string_view text) {
  size_t pos = 0;
  while (pos < text.size() && (text[pos] == ' ' || (text[pos] >= '\t' && text[pos] <= '\r')))
    ++pos;
  if (pos < text.size() && text[pos] == '+')
    ++pos;
  uint64_t value = 0;
  for (; pos < text.size() && text[pos] >= '0' && text[pos] <= '9'; ++pos) {
    value = value * 10 + static_cast<uint64_t>(text[pos] - '0');
    if (value > std::numeric_limits<format::PageNumber>::max())
      return 0;
  }
  return static_cast<format::PageNumber>(value);
}

Status MalformedSchema() {
  return Status::Error(SQLITE_CORRUPT, "malformed database schema");
}

// Where a new index goes in its table's list (see TableInfo::indices).
void InsertIndex(std::vector<IndexInfo>* indices, IndexInfo index) {
  auto position = indices->begin();
  if (index.replace) {
    position = std::find_if(indices->begin(), indices->end(),
                            [](const IndexInfo& other) { return other.replace; });
  }
  indices->insert(position, std::move(index));
}

}  // namespace

const TableInfo& MasterTable() {
  static const TableInfo table = MakeMasterTable("sqlite_master", true);
  return table;
}

Status Schema::Load(format::Pager& pager, Schema* out) {
  Schema schema;
  schema.cookie_ = pager.header().schema_cookie;
  const bool all_numeric = pager.header().file_format == 3;

  format::TableCursor cursor(&pager, kMasterRoot);
  format::RecordValues row;
  for (;;) {
    bool has_row = false;
    if (Status status = cursor.Next(&has_row); !status.ok())
      return status;
    if (!has_row)
      break;
    if (Status status = format::DecodeRecord(cursor.record(), kMasterColumns, &row); !status.ok())
      return status;
    if (!row[kType] || !row[kRootPage])
      return MalformedSchema();
    const format::PageNumber root = ParseRootPage(*row[kRootPage]);
    if (row[kSql] && !row[kSql]->empty()) {
      const sql::Definition definition = sql::ParseCreateStatement(*row[kSql]);
      if (const auto* table = std::get_if<sql::TableDefinition>(&definition))
        schema.AddTable(*table, root, all_numeric);
      else if (const auto* index = std::get_if<sql::IndexDefinition>(&definition))
        schema.AddIndex(*index, root);
    } else if (row[kName]) {
      // An automatic index: its table made it, this row tells where it lives.
      IndexInfo* index = schema.FindIndex(*row[kName]);
      if (index != nullptr && index->root == 0)
        index->root = root;
    }
  }
  *out = std::move(schema);
  return Status::Ok();
}

const TableInfo* Schema::FindTable(std::string_view name) const {
  for (const TableInfo* builtin : {&MasterTable(), &TempMasterTable()}) {
    if (sql::EqualsIgnoringCase(builtin->name, name))
      return builtin;
  }
  // The lookup itself changes nothing.
  return const_cast<Schema*>(this)->FindMutableTable(name);
}

TableInfo* Schema::FindMutableTable(std::string_view name) {
  for (const auto& table : tables_) {
    if (sql::EqualsIgnoringCase(table->name, name))
      return table.get();
  }
  return nullptr;
}

IndexInfo* Schema::FindIndex(std::string_view name) {
  for (const auto& table : tables_) {
    for (IndexInfo& index : table->indices) {
      if (sql::EqualsIgnoringCase(index.name, name))
        return &index;
    }
  }
  return nullptr;
}

void Schema::AddTable(const sql::TableDefinition& definition, format::PageNumber root,
                      bool all_numeric) {
  if (FindTable(definition.name) != nullptr)
    return;
  auto table = std::make_unique<TableInfo>();
  table->name = definition.name;
  table->root = root;
  table->columns = definition.columns;
  if (all_numeric) {
    for (sql::ColumnDefinition& column : table->columns)
      column.text = false;
  }
  table->rowid_column = definition.rowid_column;
  for (size_t i = 0; i < definition.automatic_indices.size(); ++i) {
    const sql::AutomaticIndex& automatic = definition.automatic_indices[i];
    InsertIndex(&table->indices, {sql::AutomaticIndexName(definition.name, i + 1), 0,
                                  automatic.columns, automatic.replace});
  }
  tables_.push_back(std::move(table));
}

void Schema::AddIndex(const sql::IndexDefinition& definition, format::PageNumber root) {
  TableInfo* table = FindMutableTable(definition.table);
  if (table == nullptr || FindIndex(definition.name) != nullptr)
    return;
  IndexInfo index{definition.name, root, {}, definition.replace};
  for (const std::string& name : definition.columns) {
    auto column = std::find_if(table->columns.begin(), table->columns.end(), [&](const auto& c) {
      return sql::EqualsIgnoringCase(c.name, name);
    });
    if (column == table->columns.end())
      return;
    index.columns.push_back(static_cast<size_t>(column - table->columns.begin()));
  }
  InsertIndex(&table->indices, std::move(index));
}

}  // namespace sqlite2
