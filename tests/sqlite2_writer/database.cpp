#include "tests/sqlite2_writer/database.h"

#include <algorithm>
#include <map>
#include <set>

#include "sqlite2/format/btree_page.h"
#include "sqlite2/format/keys.h"
#include "sqlite2/format/payload.h"
#include "sqlite2/sql/compare.h"
#include "sqlite2/sql/tokenizer.h"
#include "tests/sqlite2_writer/atomic_file.h"
#include "tests/sqlite2_writer/create_statements.h"

namespace sqlite2::writer {
namespace {

using sql::EqualsIgnoringCase;
using sql::TableDefinition;

// The library stores a statement from its first token to its last: no
// surrounding whitespace, no final ';'.
std::string_view TrimStatement(std::string_view sql) {
  auto is_space = [](char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v';
  };
  while (!sql.empty() && (is_space(sql.back()) || sql.back() == ';'))
    sql.remove_suffix(1);
  while (!sql.empty() && is_space(sql.front()))
    sql.remove_prefix(1);
  return sql;
}

Status Refused(std::string message) {
  return Status::Error(SQLITE_ERROR, std::move(message));
}

Status NotUnique(const TableDefinition& table, const std::vector<size_t>& columns) {
  std::string names;
  for (size_t column : columns) {
    names += (names.empty() ? "" : ", ") + table.columns[column].name;
  }
  return Status::Error(SQLITE_CONSTRAINT, columns.size() == 1
                                              ? "column " + names + " is not unique"
                                              : "columns " + names + " are not unique");
}

}  // namespace

struct Database::Index {
  std::string name;
  std::vector<size_t> columns;
  bool unique = false;
  PageNumber root = 0;
  // Complete keys, fields then rowid, in key order.
  std::set<std::string> keys;
};

struct Database::Table {
  TableDefinition definition;
  PageNumber root = 0;
  std::map<int32_t, Row> rows;
  std::vector<Index*> indices;

  // The fields of `row` in `index`, without the rowid. `has_null` tells
  // whether one of them is NULL: NULLs never collide in a unique index.
  std::string Fields(const Index& index, int32_t rowid, const Row& row, bool all_numeric,
                     bool* has_null) const {
    std::string fields;
    *has_null = false;
    for (size_t column : index.columns) {
      const Value value =
          definition.rowid_column == column ? Value(std::to_string(rowid)) : row[column];
      *has_null = *has_null || !value;
      format::AppendIndexField(value, definition.columns[column].text && !all_numeric, &fields);
    }
    return fields;
  }
};

struct Database::SchemaEntry {
  std::string type;
  std::string name;
  std::string table;
  PageNumber root = 0;
  Value sql;
  PageNumber overflow = 0;  // first of the pages set aside for its overflow

  std::string Record() const {
    const Value values[] = {type, name, table, std::to_string(root), sql};
    return EncodeRecord(values);
  }
};

Database::Database(Options options) : options_(options), random_state_(options.seed) {}

Database::~Database() = default;

Database::Table* Database::FindTable(std::string_view name) const {
  for (const auto& table : tables_) {
    if (EqualsIgnoringCase(table->definition.name, name))
      return table.get();
  }
  return nullptr;
}

bool Database::NameTaken(std::string_view name) const {
  return std::any_of(schema_.begin(), schema_.end(), [&](const SchemaEntry& entry) {
    return EqualsIgnoringCase(entry.name, name);
  });
}

bool Database::AllNumeric() const {
  return options_.file_format == 3u;
}

void Database::ChangeSchemaCookie() {
  // A linear congruential step keeps files reproducible from the seed.
  random_state_ = random_state_ * 1103515245u + 12345u;
  schema_cookie_ += static_cast<int32_t>((random_state_ >> 16) % 256 + 1);
}

void Database::AddSchemaEntry(SchemaEntry entry) {
  const auto payload = static_cast<uint32_t>(format::kRowidKeySize + entry.Record().size());
  if (payload > format::kMaxLocalPayload) {
    entry.overflow = AllocateAtCreate(format::OverflowPageCount(payload));
  }
  schema_.push_back(std::move(entry));
}

Status Database::CreateTable(std::string_view sql) {
  sql = TrimStatement(sql);
  TableDefinition definition;
  if (Status status = DescribeTable(sql, &definition); !status.ok())
    return status;
  if (NameTaken(definition.name))
    return Refused("table " + definition.name + " already exists");

  auto table = std::make_unique<Table>();
  table->definition = std::move(definition);
  const std::string& name = table->definition.name;
  // The library creates the automatic indices' trees before the table's own,
  // so their root pages come first although their rows come after.
  std::vector<SchemaEntry> automatic;
  for (size_t i = 0; i < table->definition.automatic_indices.size(); ++i) {
    auto index = std::make_unique<Index>();
    index->name = sql::AutomaticIndexName(name, i + 1);
    index->columns = table->definition.automatic_indices[i].columns;
    index->unique = true;
    index->root = AllocateAtCreate();
    automatic.push_back({"index", index->name, name, index->root, std::nullopt});
    table->indices.push_back(index.get());
    indices_.push_back(std::move(index));
  }
  table->root = AllocateAtCreate();
  AddSchemaEntry({"table", name, name, table->root, std::string(sql)});
  for (SchemaEntry& entry : automatic)
    AddSchemaEntry(std::move(entry));
  tables_.push_back(std::move(table));
  ChangeSchemaCookie();
  return Status::Ok();
}

Status Database::CreateIndex(std::string_view sql) {
  sql = TrimStatement(sql);
  sql::IndexDefinition definition;
  bool unique = false;
  if (Status status = DescribeIndex(sql, &definition, &unique); !status.ok())
    return status;
  Table* table = FindTable(definition.table);
  if (table == nullptr)
    return Refused("no such table: " + definition.table);
  if (NameTaken(definition.name))
    return Refused("index " + definition.name + " already exists");

  auto index = std::make_unique<Index>();
  index->name = definition.name;
  index->unique = unique;
  const auto& columns = table->definition.columns;
  for (const std::string& name : definition.columns) {
    auto it = std::find_if(columns.begin(), columns.end(), [&](const sql::ColumnDefinition& c) {
      return EqualsIgnoringCase(c.name, name);
    });
    if (it == columns.end()) {
      return Refused("table " + table->definition.name + " has no column named " + name);
    }
    index->columns.push_back(static_cast<size_t>(it - columns.begin()));
  }
  std::set<std::string> seen;
  for (const auto& [rowid, row] : table->rows) {
    bool has_null = false;
    std::string key = table->Fields(*index, rowid, row, AllNumeric(), &has_null);
    if (index->unique && !has_null && !seen.insert(key).second) {
      return Status::Error(SQLITE_CONSTRAINT, "indexed columns are not unique");
    }
    key += format::EncodeRowidKey(rowid);
    index->keys.insert(std::move(key));
  }
  index->root = AllocateAtCreate();
  schema_.push_back({"index", index->name, table->definition.name, index->root, std::string(sql)});
  table->indices.push_back(index.get());
  indices_.push_back(std::move(index));
  ChangeSchemaCookie();
  return Status::Ok();
}

Status Database::CreateView(std::string_view sql) {
  sql = TrimStatement(sql);
  std::string name;
  if (Status status = DescribeView(sql, &name); !status.ok())
    return status;
  if (NameTaken(name))
    return Refused("view " + name + " already exists");
  // A view has no tree of its own: root page 0.
  AddSchemaEntry({"view", name, name, 0, std::string(sql)});
  ChangeSchemaCookie();
  return Status::Ok();
}

Status Database::Insert(std::string_view table, Row row) {
  Table* found = FindTable(table);
  if (found == nullptr)
    return Refused("no such table: " + std::string(table));
  return AddRow(*found, std::nullopt, std::move(row));
}

Status Database::InsertWithRowid(std::string_view table, int32_t rowid, Row row) {
  Table* found = FindTable(table);
  if (found == nullptr)
    return Refused("no such table: " + std::string(table));
  return AddRow(*found, rowid, std::move(row));
}

Status Database::AddRow(Table& table, std::optional<int32_t> rowid, Row row) {
  const TableDefinition& definition = table.definition;
  if (row.size() != definition.columns.size()) {
    return Refused("table " + definition.name + " has " +
                   std::to_string(definition.columns.size()) + " columns but " +
                   std::to_string(row.size()) + " values were supplied");
  }
  if (definition.rowid_column && row[*definition.rowid_column]) {
    const std::optional<int32_t> key = sql::RowidFromLiteral(*row[*definition.rowid_column]);
    if (!key)
      return Status::Error(SQLITE_MISMATCH, "datatype mismatch");
    if (rowid && *rowid != *key)
      return Refused("the rowid and the INTEGER PRIMARY KEY differ");
    rowid = key;
  }
  if (!rowid) {
    // One past the largest rowid, as long as there is one; the library
    // would then guess at random, which a reproducible file cannot.
    if (!table.rows.empty() && table.rows.rbegin()->first == INT32_MAX) {
      return Status::Error(SQLITE_FULL, "database or disk is full");
    }
    rowid = table.rows.empty() ? 1 : table.rows.rbegin()->first + 1;
  }
  if (table.rows.count(*rowid) != 0) {
    return Status::Error(SQLITE_CONSTRAINT, "PRIMARY KEY must be unique");
  }
  // The slot of an INTEGER PRIMARY KEY column stays NULL: the rowid is the
  // value.
  if (definition.rowid_column)
    row[*definition.rowid_column] = std::nullopt;
  if (EncodeRecord(row).size() > kMaxRowBytes) {
    return Status::Error(SQLITE_TOOBIG, "too much data for one table row");
  }

  std::vector<std::string> keys;
  for (const Index* index : table.indices) {
    bool has_null = false;
    const std::string fields = table.Fields(*index, *rowid, row, AllNumeric(), &has_null);
    if (index->unique && !has_null) {
      // Entries with these fields sort right after them, whatever rowid.
      auto next = index->keys.lower_bound(fields);
      if (next != index->keys.end() && next->size() == fields.size() + format::kRowidKeySize &&
          next->compare(0, fields.size(), fields) == 0) {
        return NotUnique(definition, index->columns);
      }
    }
    keys.push_back(fields + format::EncodeRowidKey(*rowid));
    if (keys.back().size() > kMaxRowBytes) {
      return Status::Error(SQLITE_TOOBIG, "too much data for one table row");
    }
  }
  for (size_t i = 0; i < keys.size(); ++i)
    table.indices[i]->keys.insert(std::move(keys[i]));
  table.rows.emplace(*rowid, std::move(row));
  return Status::Ok();
}

std::vector<uint8_t> Database::Bytes() const {
  PageFile file(options_.byte_order);
  // Page 1 is the header and page 2 the root of sqlite_master; the roots
  // handed out at CREATE time follow, then everything below them.
  file.Allocate();
  const PageNumber master_root = file.Allocate();
  while (file.page_count() + 1 < next_page_)
    file.Allocate();

  std::vector<Entry> master;
  int32_t master_rowid = 0;
  for (const SchemaEntry& object : schema_) {
    master.push_back({format::EncodeRowidKey(++master_rowid), object.Record(), object.overflow});
  }
  WriteBtree(file, master_root, master, options_.layout);

  for (const auto& table : tables_) {
    std::vector<Entry> entries;
    entries.reserve(table->rows.size());
    for (const auto& [rowid, row] : table->rows) {
      entries.push_back({format::EncodeRowidKey(rowid), EncodeRecord(row)});
    }
    WriteBtree(file, table->root, entries, options_.layout);
  }
  for (const auto& index : indices_) {
    std::vector<Entry> entries;
    entries.reserve(index->keys.size());
    for (const std::string& key : index->keys)
      entries.push_back({key, {}});
    WriteBtree(file, index->root, entries, options_.layout);
  }

  // The free list stays empty: nothing was ever deleted.
  file.WriteHeader(schema_cookie_, options_.file_format.value_or(schema_.empty() ? 0 : 4));
  return file.Bytes();
}

Status Database::WriteFile(const std::string& path) const {
  return WriteFileAtomically(path, Bytes());
}

}  // namespace sqlite2::writer
